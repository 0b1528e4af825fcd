#!/bin/bash
# Two bridges with daemons and one with the kernel's own spanning tree, in a triangle: the daemons fall
# back to the old protocol on the wires to it, there is one tree, and traffic passes. Runs inside the
# virtual machine:
#   tests/system/vm/run.sh tests/system/vm/neighbour_test.sh BUILD-FOLDER
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
top=$here/../../..
. "$top/scripts/bridges.sh"
. "$here/check.sh"

BR_NUMBERS=(1 2 3)
BR_LINKS=("1 2" "2 3" "3 1")
BR_VLANS=
probe=$1/tests/system/vm/vlan_probe
br_init "$(cd "$1" && pwd)"
trap br_down EXIT

br_stp_script "$top/packaging/bridge-stp"
br_wire || exit 1
# No daemon bears the third bridge's name, so the kernel keeps its spanning tree. Its times are as short
# as it lets them be.
ip link set sw3 type bridge stp_state 1 forward_delay 400 hello_time 100 max_age 600
check "a bridge without daemon stays with the kernel" $(($(cat /sys/class/net/sw3/bridge/stp_state) != 1))
for number in 1 2; do
    br_start "$number" || exit 1
    br_configure "$number" || exit 1
    br_mstp "$number" set bridge max-age 6 && br_mstp "$number" set bridge forward-delay 4 &&
        br_mstp "$number" set bridge hello-time 1 || exit 1
done
br_plug || exit 1
capture || exit 1
for number in 1 2; do br_edge "$number" "sw$number-h" || exit 1; done

# port NUMBER PORT FILTER: what the daemon tells of a port.
port() { br_mstp "$1" show port "$2" --json | jq -r ".ports[0]$3"; }

for try in $(seq 60); do
    states=$(bridge -j link show | jq -r '.[] | select(.ifname | test("^sw[0-9]-[0-9]")) | "\(.ifname) \(.state)"')
    [ "$(grep -c blocking <<<"$states")" = 1 ] && ! grep -qE 'listening|learning|disabled' <<<"$states" && break
    sleep 1
done
check "of the three wires one is blocked, at one end" \
    $(($(grep -c blocking <<<"$states") != 1 || $(grep -c forwarding <<<"$states") != 5)) "$states"
for number in 1 2; do
    counters=$(port "$number" "sw$number-3" .counters)
    check "sw$number speaks the old protocol to the kernel" \
        "$(jq -e '.txStp + .txTcn > 0 and .rxMstp == 0' <<<"$counters" >/dev/null; echo $?)" "$counters"
done
counters=$(port 1 sw1-2 .counters)
check "the daemons speak the new one to each other" \
    "$(jq -e '.txMstp > 0 and .rxMstp > 0 and .rxStp == 0' <<<"$counters" >/dev/null; echo $?)" "$counters"
roots=$(for number in 1 2; do br_mstp "$number" show --json | jq -r '.instances[0].root'; done
    cut -d. -f2 /sys/class/net/sw3/bridge/root_id)
check "all three agree on the root" \
    $(($(sed -n '1,2p' <<<"$roots" | sort -u | wc -l) != 1)) "$roots"
found=$("$probe" -w 500 1 h1 h2 h3)
check "broadcasts pass from every host to every other, once" $? "$found"

ip link set sw1-2 down
for try in $(seq 60); do
    found=$("$probe" -w 500 1 h1 h2 h3) && break
    sleep 1
done
check "they pass again after the wire between the daemons is cut" $? "$found"
stop_capture
finish
