#!/bin/bash
# Runs a command on a kernel of Debian's, in a machine of its own that sees this machine's files: CI's
# own kernel lacks bridge VLAN filtering. Needs root and no KVM; boots in seconds.
#
# The kernel is the one that runs as a process (user-mode-linux), as quick as programs outside. With
# MSTP_VM=stock it is the very kernel that Debian boots, with two processors, on an emulated machine,
# which computes ten to twenty times slower.
#
#   tests/system/vm/run.sh [-t SECONDS] [-o FOLDER] COMMAND [ARGUMENT...]
#
# The machine's root is this machine's, read-only, under a memory file system that forgets everything
# at the end; only FOLDER (/out inside; by default forgotten too) is really written. The command's
# output comes out as it is made, and its exit code is this script's. 124: the time was up, 125: the
# machine did not start.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
top=$(cd "$here/../../.." && pwd)
cache=${MSTP_VM_CACHE:-$top/build/vm}

# What the kernel sees this machine's files by.
case ${MSTP_VM:-process} in
stock) machine=stock files=(virtio_pci 9pnet_virtio 9p virtio_rng) ;;
*) machine=process files=() ;;
esac
seconds=600 out=
while getopts t:o: option; do
    case $option in
    t) seconds=$OPTARG ;;
    o) out=$OPTARG ;;
    *) exit 2 ;;
    esac
done
shift $((OPTIND - 1))
[ $# -gt 0 ] || { echo "usage: run.sh [-t SECONDS] [-o FOLDER] COMMAND [ARGUMENT...]" >&2; exit 2; }

# The kernel's package is unpacked, not installed: it would want to boot this machine.
fetch_kernel() {
    local package=user-mode-linux
    [ -e "$cache/$machine/kernel" ] && return
    [ $machine = process ] ||
        package=$(apt-cache depends linux-image-amd64 | sed -n 's/^ *Depends: \(linux-image-[^ ]*\)$/\1/p' | head -1)
    rm -rf "$cache/unpacked"
    mkdir -p "$cache/unpacked/lib"
    cd "$cache"
    apt-get download -qq -o APT::Sandbox::User=root "$package" ||
        { apt-get update -qq && apt-get download -qq -o APT::Sandbox::User=root "$package"; }
    dpkg-deb -x "$package"_*.deb unpacked
    rm -f "$cache/$package"_*.deb
    if [ $machine = process ]; then
        mv unpacked/usr/lib/uml/modules unpacked/lib/
        mv unpacked/usr/bin/linux.uml unpacked/kernel
    else
        mv unpacked/boot/vmlinuz-* unpacked/kernel
    fi
    depmod -b "$cache/unpacked" "$(basename "$cache"/unpacked/lib/modules/*)"
    rm -rf "${cache:?}/$machine"
    mv "$cache/unpacked" "$cache/$machine"
}

# Just enough to mount this machine's files: a shell, and the modules on the way there.
make_initramfs() {
    local root=$1 release module
    release=$(basename "$cache/$machine"/lib/modules/*)
    mkdir -p "$root"/{bin,proc,sys,dev,host,over,root,modules}
    cp /bin/busybox "$root/bin/busybox"
    modprobe -d "$cache/$machine" -S "$release" -a --show-depends "${files[@]}" overlay |
        awk '$1 == "insmod" && !seen[$2]++ { print $2 }' >"$root/modules/order"
    while read -r module; do
        cp "$module" "$root/modules/"
    done <"$root/modules/order"
    sed -i 's!.*/!!' "$root/modules/order"
    cp "$here/init" "$root/init"
    (cd "$root" && find . | cpio -o -H newc --quiet | gzip -1) >"$root.gz"
}

mkdir -p "$cache"
(
    flock 9
    fetch_kernel
) 9>"$cache/lock"

work=$(mktemp -d /tmp/mstp-vm-XXXXXX)
trap 'rm -rf "$work"' EXIT
trap 'exit 130' INT TERM HUP
make_initramfs "$work/initramfs"
mkdir -p "$work/share"
{
    printf 'cd %q\n' "$PWD"
    printf 'export MSTP_VM=1 HOME=/root PATH=%q\n' "$PATH"
    printf '%q ' "$@"
    echo
} >"$work/share/command"
echo "$cache/$machine" >"$work/share/kernel"

[ -z "$out" ] || mkdir -p "$out"
# The console carries the command's output, so the kernel keeps quiet on it.
quiet="quiet loglevel=${MSTP_VM_LOGLEVEL:-1} panic=-1"
memory=${MSTP_VM_MEMORY:-1024}M

boot_process() {
    mkdir -p "$work/uml"
    timeout --foreground "$seconds" "$cache/process/kernel" mem="$memory" initrd="$work/initramfs.gz" \
        uml_dir="$work/uml" con0=fd:0,fd:1 con=null ssl=null share="$work/share" out="$out" $quiet </dev/null 2>&1
}

boot_stock() {
    local shares=(-virtfs "local,path=/,mount_tag=host,security_model=none,readonly=on,multidevs=remap"
        -virtfs "local,path=$work/share,mount_tag=share,security_model=none")
    [ -z "$out" ] || shares+=(-virtfs "local,path=$out,mount_tag=out,security_model=none")
    timeout --foreground "$seconds" qemu-system-x86_64 -accel tcg,thread=multi -cpu max -smp 2 -m "$memory" \
        -nodefaults -no-user-config -display none -no-reboot -serial stdio \
        -kernel "$cache/stock/kernel" -initrd "$work/initramfs.gz" \
        -append "console=ttyS0 $quiet mitigations=off random.trust_cpu=on tsc=reliable no_timer_check" \
        "${shares[@]}" </dev/null
}

boot() { "boot_$machine" | sed -u -e 's/\r//g' -e '0,/^the machine has started$/d' -e '/reboot: \(Power down\|System halted\)$/d'; }
# On a busy machine the kernel may find its clocks wanting before it gets anywhere: then once more.
for attempt in 1 2 3; do
    boot && ran=0 || ran=$?
    [ "$ran" != 124 ] || { echo "vm: the command was not done in $seconds s" >&2; exit 124; }
    [ -e "$work/share/started" ] && break
    echo "vm: the machine did not come up ($attempt)" >&2
done
[ -s "$work/share/status" ] || { echo "vm: the machine did not come up, or died" >&2; exit 125; }
exit "$(cat "$work/share/status")"
