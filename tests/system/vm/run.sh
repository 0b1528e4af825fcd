#!/bin/bash
# Runs a command on Debian's stock kernel, in a virtual machine that sees this machine's files: CI's
# own kernel lacks bridge VLAN filtering. Needs root and no KVM; boots in seconds.
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
    local package
    [ -e "$cache/kernel/vmlinuz" ] && return
    package=$(apt-cache depends linux-image-amd64 | sed -n 's/^ *Depends: \(linux-image-[^ ]*\)$/\1/p' | head -1)
    rm -rf "$cache/kernel" "$cache/unpacked"
    mkdir -p "$cache/unpacked"
    cd "$cache"
    apt-get download -qq -o APT::Sandbox::User=root "$package" ||
        { apt-get update -qq && apt-get download -qq -o APT::Sandbox::User=root "$package"; }
    dpkg-deb -x "$package"_*.deb unpacked
    rm -f "$cache/$package"_*.deb
    depmod -b "$cache/unpacked" "$(basename "$cache"/unpacked/lib/modules/*)"
    mv "$cache"/unpacked/boot/vmlinuz-* "$cache/unpacked/vmlinuz"
    mv "$cache/unpacked" "$cache/kernel"
}

# Just enough to mount this machine's files: a shell, and the modules on the way there.
make_initramfs() {
    local root=$1 release module
    release=$(basename "$cache"/kernel/lib/modules/*)
    mkdir -p "$root"/{bin,proc,sys,dev,host,over,root,modules}
    cp /bin/busybox "$root/bin/busybox"
    modprobe -d "$cache/kernel" -S "$release" -a --show-depends virtio_pci 9pnet_virtio 9p overlay virtio_rng |
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
echo "$cache/kernel" >"$work/share/kernel"

shares=(-virtfs "local,path=/,mount_tag=host,security_model=none,readonly=on,multidevs=remap"
    -virtfs "local,path=$work/share,mount_tag=share,security_model=none")
if [ -n "$out" ]; then
    mkdir -p "$out"
    shares+=(-virtfs "local,path=$out,mount_tag=out,security_model=none")
fi

# The console carries the command's output, so the kernel keeps quiet on it.
boot() {
    timeout --foreground "$seconds" qemu-system-x86_64 -accel tcg,thread=multi -cpu max -smp 2 -m "${MSTP_VM_MEMORY:-1024}" \
        -nodefaults -no-user-config -display none -no-reboot -serial stdio \
        -kernel "$cache/kernel/vmlinuz" -initrd "$work/initramfs.gz" \
        -append "console=ttyS0 quiet loglevel=${MSTP_VM_LOGLEVEL:-1} panic=-1 mitigations=off random.trust_cpu=on tsc=reliable no_timer_check" \
        "${shares[@]}" </dev/null | sed -u -e 's/\r//g' -e '/reboot: Power down$/d'
}
# On a busy machine the kernel may find its clocks wanting before it gets anywhere: then once more.
for attempt in 1 2 3; do
    boot && ran=0 || ran=$?
    [ "$ran" != 124 ] || { echo "vm: the command was not done in $seconds s" >&2; exit 124; }
    [ -e "$work/share/started" ] && break
    echo "vm: the machine did not come up ($attempt)" >&2
done
[ -s "$work/share/status" ] || { echo "vm: the machine did not come up, or died" >&2; exit 125; }
exit "$(cat "$work/share/status")"
