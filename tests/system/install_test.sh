#!/bin/bash
# The Debian package in a clean root: what is in it, and that the unit's commands work as the unit runs
# them - no root, two rights - on a kernel bridge of this machine's first network namespace.
# Usage: install_test.sh BUILD-FOLDER (needs root; the programs are built). The clean root is kept in build/test-root.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
top=$(cd "$here/../.." && pwd)
[ -n "${MSTP_OWN_MOUNTS:-}" ] || MSTP_OWN_MOUNTS=1 exec unshare --mount "$0" "$@"
. "$top/scripts/bridges.sh"
. "$here/check.sh"

cache=${MSTP_ROOT_CACHE:-$top/build/test-root}
bridge=mstp-it$(($$ % 10000))
tag=it$(($$ % 10000))
daemon='' listener=''
br_init "$top"
root=$BR_RUN/root

clean() {
    [ -z "$daemon" ] || kill -9 "$daemon" 2>/dev/null
    [ -z "$listener" ] || kill "$listener" 2>/dev/null
    ip link del "$tag-a" 2>/dev/null
    ip link del "$tag-c" 2>/dev/null
    ip link del "$bridge" 2>/dev/null
    umount "$root/proc" "$root/sys" 2>/dev/null
    br_down
}
trap clean EXIT
trap 'exit 130' INT TERM HUP

# check_until SENTENCE EXPECTED COMMAND...: what the command prints becomes this.
check_until() {
    local actual end=$((SECONDS + 90))
    while actual=$("${@:3}" 2>&1); [ "$actual" != "$2" ] && [ $SECONDS -lt $end ]; do
        sleep 0.3
    done
    check_equal "$1" "$2" "$actual"
}

in_root() { chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C "$@"; }

# The packages that the package depends on, no more than that.
make_root() {
    local release needs
    release=$(. /etc/os-release && echo "$VERSION_CODENAME")
    needs=$(dpkg-deb -f "$package" Depends | sed 's/ *([^)]*)//g; s/ //g')
    mkdir -p "$cache" "$root"
    if ! [ -e "$cache/$release-$needs.tar" ]; then
        mmdebstrap --quiet --variant=essential --include="$needs" "$release" "$cache/making.$$.tar" || return 1
        mv "$cache/making.$$.tar" "$cache/$release-$needs.tar"
    fi
    tar -C "$root" --exclude='./dev/*' -xf "$cache/$release-$needs.tar" &&
        mknod -m 666 "$root/dev/null" c 1 3 &&
        mount --bind /proc "$root/proc" && mount --bind /sys "$root/sys"
}

# unit_values KEY: the installed unit's lines of this key, specifiers and variables filled in.
unit_values() {
    local line
    sed -n "s/^$1=//p" "$root/usr/lib/systemd/system/mstp@.service" | sed "s/%[iI]/$bridge/g" |
        while read -r line; do
            eval "$(sed -n 's/^Environment=//p' "$root/usr/lib/systemd/system/mstp@.service" | grep -v %)"
            eval "echo \"$line\""
        done
}

# as_unit COMMAND...: another user, with the rights in the unit and nothing else.
as_unit() {
    local rights
    rights=$(unit_values AmbientCapabilities | tr A-Z a-z | sed 's/cap_/+/g; s/ /,/g')
    exec chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin NOTIFY_SOCKET=/run/notify "$(unit_values Environment | grep ^MSTP_RUN_DIR=)" \
        setpriv --reuid 64321 --regid 64321 --clear-groups --no-new-privs \
        --inh-caps="-all,$rights" --ambient-caps="-all,$rights" --bounding-set="-all,$rights" "$@"
}

# ---- the package

package=$(cd "$1" && cpack -G DEB | sed -n 's/.*package: \(.*\) generated.*/\1/p')
[ -f "$package" ] || { echo "no package was made: $package"; exit 1; }
make_root || { echo "the clean root could not be made"; exit 1; }
cp "$package" "$root/mstp.deb"
in_root dpkg -i /mstp.deb >"$BR_RUN/dpkg.log" 2>&1
check_equal "the package installs in a clean root" 0 $?
[ $failed = 0 ] || { cat "$BR_RUN/dpkg.log"; exit 1; }

files=$(in_root dpkg -L mstp)
missing=$(for file in /usr/sbin/mstp-daemon /usr/bin/mstp /usr/bin/mstp-sim /usr/sbin/bridge-stp \
    /usr/lib/systemd/system/mstp@.service /usr/share/mstp/start.conf /etc/default/mstp /etc/mstp \
    /usr/share/bash-completion/completions/mstp /usr/share/zsh/vendor-completions/_mstp \
    $(cd "$top/docs/man" && ls | sed 's!.*\.\([0-9]\)$!/usr/share/man/man\1/&!'); do
    grep -qx "$file\(.gz\)\?" <<<"$files" || echo "$file"
done)
check_equal "all that belongs to it is in the package" "" "$missing"
check_equal "nothing is where packages must not put files" "" "$(grep -E '^/(usr/local|home|root|tmp|run|var)' <<<"$files")"
for program in mstp mstp-sim; do
    in_root $program --help >"$BR_RUN/help" 2>&1
    check_equal "$program runs with the libraries that the package asks for" 0 $?
done
check_equal "bash completes the client's commands" "0" "$(in_root bash -c '. /usr/share/bash-completion/completions/mstp && complete -p mstp >/dev/null; echo $?' 2>&1)"
# The clean root has no service manager, but what units lean on by default must be there.
for target in sysinit basic shutdown; do printf '[Unit]\n' >"$root/usr/lib/systemd/system/$target.target"; done
check_equal "the unit has no error" "" "$(systemd-analyze verify --root="$root" --man=no "/usr/lib/systemd/system/mstp@.service" 2>&1 | grep -F 'mstp@')"

# ---- the unit's commands

br_stp_script "$root/usr/sbin/bridge-stp"
ip link add "$bridge" type bridge && ip link set "$bridge" up || exit 1
for pair in "a b" "c d"; do
    read -r port far <<<"$pair"
    ip link add "$tag-$port" type veth peer name "$tag-$far" && ip link set "$tag-$port" master "$bridge" &&
        ip link set "$tag-$port" up && ip link set "$tag-$far" up || exit 1
done
printf 'set region name installed\nset port %s edge on\nset port %s edge on\n' "$tag-a" "$tag-c" >"$root/etc/mstp/$bridge.conf"
found_stp=$(cat "/sys/class/net/$bridge/bridge/stp_state")
install -d -m 700 -o 64321 -g 64321 "$root/run/mstp" "$root/run/mstp/$bridge"
perl -MSocket -e 'socket(S, AF_UNIX, SOCK_DGRAM, 0) && bind(S, sockaddr_un($ARGV[0])) && chmod(0666, $ARGV[0]) || die;
    $| = 1; print "listening\n"; while (defined recv(S, $m, 4096, 0)) { print "$m\n" }' "$root/run/notify" >"$BR_RUN/notices" &
listener=$!
check_until "a notification socket is there" listening cat "$BR_RUN/notices"

read -r -a command <<<"$(unit_values ExecStart)"
as_unit "${command[@]}" >"$BR_RUN/log" 2>&1 &
daemon=$!
check_until "the service manager is told that the daemon is ready" READY=1 grep -x READY=1 "$BR_RUN/notices"
check_equal "the daemon is not root" "64321 64321 64321 64321" "$(sed -n 's/^Uid:\t//p' "/proc/$daemon/status" | xargs)"
check_equal "the daemon has two rights and can get no others" "CapBnd: 0000000000003000 CapEff: 0000000000003000 NoNewPrivs: 1" \
    "$(grep -E '^(CapEff|CapBnd|NoNewPrivs)' "/proc/$daemon/status" | sort | xargs)"
check_equal "the kernel leaves spanning tree to it" 2 "$(cat "/sys/class/net/$bridge/bridge/stp_state")"
while read -r line; do
    read -r -a command <<<"${line#-}"
    output=$(as_unit "${command[@]}" 2>&1)
    status=$?
    check_equal "it takes: ${line/$bridge/BRIDGE}" "0 " "$status $output"
done <<<"$(unit_values ExecStartPost)"

ports() {
    (as_unit mstp show --json) | jq -r '.ports[] | "\(.name) \(.instances[0].role) \(.instances[0].state)"' | sort
}
check_until "every port of the bridge is in the tree, without being named" \
    "$(printf '%s designated forwarding\n' "$tag-a" "$tag-c")" ports
kernel_states() { cat "/sys/class/net/$tag-a/brport/state" "/sys/class/net/$tag-c/brport/state" | xargs; }
check_until "the kernel forwards on them" "3 3" kernel_states
check_equal "the bridge's own file was read" installed "$( (as_unit mstp show --json) | jq -r .region.name)"

kill -TERM "$daemon"
wait "$daemon"
check_equal "it ends in good order when it is told to" 0 $?
daemon=''
check_equal "the bridge is given back as it was found" "$found_stp" "$(cat "/sys/class/net/$bridge/bridge/stp_state")"
check_equal "nothing else was said than what this bridge cannot do" "" "$(grep -v 'VLAN filtering is off' "$BR_RUN/log")"

# ---- who runs spanning tree

in_root /sbin/bridge-stp unknown start
check_equal "a bridge without a daemon or a file stays with the kernel" 1 $?
in_root /sbin/bridge-stp "$bridge" start
check_equal "a bridge with a file but no service manager stays with the kernel" 1 $?
mkdir -p "$root/run/systemd/system" "$root/fake"
printf '#!/bin/sh\necho "$*" >>/fake/calls\n' >"$root/fake/systemctl"
printf '#!/bin/sh\necho "$1"\n' >"$root/fake/systemd-escape"
chmod +x "$root"/fake/*
in_root PATH=/fake:/usr/bin:/bin /sbin/bridge-stp "$bridge" start
check_equal "a bridge with a file is the daemon's" 0 $?
check_equal "its unit is started, and nobody waits for it" "--no-block start mstp@$bridge.service" "$(cat "$root/fake/calls")"
in_root PATH=/fake:/usr/bin:/bin /sbin/bridge-stp ../passwd start
check_equal "a name that is a path is nobody's" 1 $?

[ $failed = 0 ] || sed 's/^/log: /' "$BR_RUN/log"
check_verdict
