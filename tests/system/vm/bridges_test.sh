#!/bin/bash
# Four kernel bridges follow their daemons: per VLAN and port the kernel's state is the daemon's, and
# broadcast frames of every VLAN come to every host exactly once. Runs inside the virtual machine:
#   tests/system/vm/run.sh tests/system/vm/bridges_test.sh BUILD-FOLDER
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
top=$here/../../..
. "$top/scripts/bridges.sh"
. "$here/check.sh"

br_init "$(cd "$1" && pwd)"
probe=$BR_BUILD/tests/system/vm/vlan_probe
trap br_down EXIT

# Where kernel and daemon differ. Nothing to compare is a difference, too.
differences() {
    local number kernel daemon
    for number in "${!BR_DAEMON[@]}"; do
        kernel=$(br_kernel_states "$number")
        daemon=$(br_daemon_states "$number")
        [ "$kernel" = "$daemon" ] && [ -n "$kernel" ] && continue
        echo "sw$number: $(wc -l <<<"$kernel") states of the kernel, $(wc -l <<<"$daemon") of the daemon"
        echo "$kernel" >/tmp/kernel
        echo "$daemon" >/tmp/daemon
        diff /tmp/kernel /tmp/daemon | sed -n "s/^</kernel:/p; s/^>/daemon:/p"
    done
}

# Ports that are to forward and do not yet.
waiting() {
    local number
    for number in "${!BR_DAEMON[@]}"; do br_roles "$number"; done | grep -E ' (root|designated|master) (discarding|learning)'
}

# Waits until two looks at the kernel, three seconds apart, see the same, nobody waits to forward, and
# the daemons have nothing more to tell the kernel; how they differ is then in differ. Every look takes
# long on an emulated machine, so the next is made only where the last was well.
differ=
settle() {
    local before="" now try
    for try in $(seq 60); do
        now=$(bridge -d vlan show)
        if [ "$now" = "$before" ] && ! waiting >/dev/null; then
            differ=$(differences)
            [ -n "$differ" ] || return 0
        fi
        before=$now
        sleep 3
    done
    echo "the network does not settle:"
    waiting
    differ=$(differences)
    return 1
}

# check_network SENTENCE [VLANS]
check_network() {
    local found
    settle
    check "$1: the kernel's states are the daemons'" $((${#differ} > 0)) "$differ"
    found=$("$probe" -w 500 "${2:-$BR_VLANS}" h1 h2 h3 h4)
    check "$1: every broadcast arrives exactly once" $? "$found"
}

br_stp_script "$top/packaging/bridge-stp"
br_wire || exit 1
for number in "${BR_NUMBERS[@]}"; do
    br_start "$number" || exit 1
    check "the kernel leaves spanning tree on sw$number to user space" \
        $(($(cat "/sys/class/net/sw$number/bridge/stp_state") != 2))
    br_configure "$number" || exit 1
done
br_plug || exit 1
capture || exit 1
for number in "${BR_NUMBERS[@]}"; do br_edge "$number" "sw$number-h" || exit 1; done
check_network "after the start"

ways=$(for instance in 0 1 2; do
    for number in "${BR_NUMBERS[@]}"; do
        br_mstp "$number" show --json | jq -r --argjson instance $instance \
            '.ports[] | .name as $name | .instances[] | select(.id == $instance and .role == "root") | $name'
    done | xargs
done)
check "each instance has a root of its own" $(($(sort -u <<<"$ways" | wc -l) != 3)) "$ways"

for link in "${BR_LINKS[@]}"; do
    read -r a b <<<"$link"
    ip link set "sw$a-$b" down
    check_network "with the wire between sw$a and sw$b cut"
    ip link set "sw$a-$b" up
    check_network "with that wire mended"
done

for port in sw1-2 sw2-1 sw2-3 sw3-2 sw1-3 sw3-1 sw1-h sw2-h sw3-h; do bridge vlan add dev $port vid 40-45; done
for number in 1 2 3; do br_mstp "$number" set instance 1 vlans +42; br_mstp "$number" set region revision 2; done
br_mstp 4 set instance 1 vlans +42 && br_mstp 4 set region revision 2
settle
check "VLANs that are added follow their instance" $((${#differ} > 0)) "$differ"
found=$("$probe" -w 500 40-45 h1 h2 h3)
check "VLANs that are added reach the hosts that have them, once" $? "$found"
for port in sw1-2 sw2-1; do bridge vlan del dev $port vid 12-14; done
for port in sw1-2 sw2-1; do bridge vlan add dev $port vid 12-14; done
check_network "after VLANs left a wire and came back"

br_kill 3
sleep 1
br_start 3 && br_configure 3
check_network "after a daemon was killed and started again"

for port in $(br_ports 4); do ip link set "$port" nomaster; done
for try in $(seq 60); do
    left=$(br_mstp 4 show --json | jq -r '.ports[].name' | xargs)
    [ -n "$left" ] || break
    sleep 1
done
check "ports that leave the bridge leave the daemon" $((${#left} > 0)) "$left"
for port in $(br_ports 4); do br_join 4 "$port"; done
check_network "after a bridge's ports were removed and added"

stop_capture

before=$(br_kernel_states 2)
kill -TERM "${BR_DAEMON[2]}"
for try in $(seq 100); do kill -0 "${BR_DAEMON[2]}" 2>/dev/null || break; sleep 0.1; done
check "a daemon that is asked to end does so" $((try == 100))
check "it gives the bridge back" $(($(cat /sys/class/net/sw2/bridge/stp_state) != 0))
check "it leaves every port in its state, so that what was blocked stays blocked" \
    "$([ "$before" = "$(br_kernel_states 2)" ]; echo $?)" "$(diff <(echo "$before") <(br_kernel_states 2))"
br_start 2
check "the next daemon takes it over again" $(($(cat /sys/class/net/sw2/bridge/stp_state) != 2))
finish
