#!/bin/bash
# A thousand VLANs in 64 instances on 32 ports of one kernel bridge: the kernel's states become the
# daemon's, and what each step costs the daemon is printed. An emulated machine computes ten
# to twenty times slower than the machine that it runs on. Runs inside the virtual machine:
#   tests/system/vm/run.sh tests/system/vm/scale_test.sh BUILD-FOLDER
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
top=$here/../../..
. "$top/scripts/bridges.sh"
. "$here/check.sh"

br_init "$(cd "$1" && pwd)"
trap br_down EXIT

# CPU of the daemon so far, in milliseconds.
cpu() { awk -v tick="$(getconf CLK_TCK)" '{ sub(/.*\) /, ""); printf "%d", ($12 + $13) * 1000 / tick }' "/proc/$daemon/stat"; }

# spent STEP: what the daemon used since the last call is the step's. Hellos cost while a step lasts,
# so how long it lasted is told, too.
costs="" used=0 since=$(date +%s%N)
declare -A ms=() lasted=()
spent() {
    local now time
    now=$(cpu) time=$(date +%s%N)
    ms[$1]=$((now - used)) lasted[$1]=$(((time - since) / 1000000))
    costs+=$(awk -v what="$1" -v ms="${ms[$1]}" -v time="${lasted[$1]}" \
        'BEGIN { printf " %s %.2f (in %.0f s),", what, ms / 1000, time / 1000 }')
    used=$now since=$time
}

# What is above the quiet in a cut and a repair, in seconds.
change() {
    awk -v spent=$((ms[cut] + ms[repair])) -v time=$((lasted[cut] + lasted[repair])) \
        -v quiet="${ms[quiet]}" -v span="${lasted[quiet]}" \
        'BEGIN { printf "%.2f", (spent - quiet * time / span) / 1000 }'
}

tell() { echo "$1 ($(cut -d' ' -f1 /proc/uptime) s since boot)"; }

PORTS=32 INSTANCES=63 # MST instances, besides the CIST
BR_NUMBERS=(1) BR_LINKS=()
# VLAN v is in instance v % 64 from 2 to 1001; instance 0 is the CIST.
vlans_of() { seq -s, $(($1 < 2 ? $1 + 64 : $1)) 64 1001; }

br_stp_script "$top/packaging/bridge-stp"
ip link add sw1 address 02:00:00:00:00:01 type bridge vlan_filtering 1 vlan_default_pvid 0 || exit 1
mkdir -p "$BR_RUN/sw1"
for port in $(seq $PORTS); do
    echo "link add sw1-$port type veth peer name far$port"
done | ip -batch - || exit 1

MSTP_RUN_DIR=$BR_RUN/sw1 "$BR_BUILD/mstp-daemon" sw1 0 0 0 1 $((INSTANCES + 1)) $((2 * PORTS)) >>"$BR_RUN/sw1/log" 2>&1 &
BR_DAEMON[1]=$!
disown
for _ in $(seq 300); do
    br_mstp 1 show bridge >/dev/null 2>&1 && break
    sleep 0.1
done
daemon=${BR_DAEMON[1]}
tell "the daemon runs"

{
    echo "instance add 0"
    for instance in $(seq $INSTANCES); do
        echo "instance add $instance"
        echo "set instance $instance vlans $(vlans_of "$instance")"
    done
    echo "set region revision 1"
    # A port is on its way for twice the forward delay, and hellos cost meanwhile.
    echo "set bridge max-age 6"
    echo "set bridge forward-delay 4"
} >"$BR_RUN/conf"
br_mstp 1 -f "$BR_RUN/conf" || exit 1
spent configure
tell "its instances are there"
ip link set sw1 up
for port in $(seq $PORTS); do
    ip link set "sw1-$port" master sw1
    bridge vlan add dev "sw1-$port" vid 2-1001
    ip link set "far$port" up
    ip link set "sw1-$port" up
done || exit 1
tell "the ports are in all VLANs"

# What states there are in the kernel, whatever their number; it is much to read.
kernel_has() { bridge -j -d vlan show | jq -r '[.[].vlans[].state] | unique | join(" ")'; }

# Waits until all states in the kernel are forwarding. Asks nothing of the daemon, whose CPU is read next.
wait_forwarding() {
    local end=$((SECONDS + 600))
    while [ "$(kernel_has)" != forwarding ] && [ $SECONDS -lt $end ]; do
        sleep 1
    done
    tell "states in the kernel: $(kernel_has)"
}

check_states() { # SENTENCE
    local found
    br_kernel_states 1 >"$BR_RUN/kernel"
    br_daemon_states 1 >"$BR_RUN/daemon"
    found=$(diff "$BR_RUN/kernel" "$BR_RUN/daemon")
    check "$1, all states in the kernel are the daemon's" $? "$found"
    check "$1, every VLAN is forwarded on every port" $(($(grep -c ' forwarding$' "$BR_RUN/kernel") != PORTS * 1000)) \
        "$(cut -d' ' -f3 "$BR_RUN/kernel" | sort | uniq -c)"
}

wait_forwarding
spent converge
check_states "after the start"

changes() { for instance in $(seq 0 $INSTANCES); do br_mstp 1 get instance "$instance" topology-changes; done; }
changes >"$BR_RUN/before"
used=$(cpu) since=$(date +%s%N)
sleep 10
spent quiet
ip link set far1 down
for _ in $(seq 300); do
    [ "$(cat /sys/class/net/sw1-1/brport/state)" = 0 ] && break
    sleep 0.1
done
sleep 2
spent cut
ip link set far1 up
for _ in $(seq 300); do
    [ "$(cat /sys/class/net/sw1-1/brport/state)" != 0 ] && break
    sleep 0.1
done
wait_forwarding
spent repair
changes >"$BR_RUN/after"
check "the repair was a topology change in every instance" \
    $(($(paste "$BR_RUN/before" "$BR_RUN/after" | awk '$NF > $(NF / 2)' | wc -l) != INSTANCES + 1)) \
    "$(paste "$BR_RUN/before" "$BR_RUN/after")"
# Of that port only: reading everything takes the daemon longer than the repair did.
found=$(for instance in $(seq 0 $INSTANCES); do br_mstp 1 get instance "$instance" port sw1-1 state; done | sort | uniq -c | xargs)
[ "$found" = "$((INSTANCES + 1)) forwarding" ]
check "the daemon forwards in all instances on the wire that was mended" $? "$found"
echo "CPU seconds for:${costs%,}"
echo "CPU seconds for a topology change alone, without the hellos of that time: $(change)"
finish
