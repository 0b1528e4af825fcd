#!/bin/bash
# The demo shows what it is there for, and leaves nothing behind, however it ends: no interface,
# namespace, process or file.
# Usage: demo_test.sh BUILD-FOLDER (needs root)
set -uo pipefail
build=$(cd "$1" && pwd)
scripts=$(cd "$(dirname "$0")/../../scripts" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

inventory() {
    ls /sys/class/net /run/netns 2>/dev/null
    pgrep -a -f "^$build/(mstp-daemon|tools/mstp/mstp) " | cut -d' ' -f2-
    pgrep -a -x ping | cut -d' ' -f2-
    ls -d /tmp/mstp-bridges-* /tmp/mstp-net-* 2>/dev/null
    ls -l --time-style=+ /sbin/bridge-stp 2>/dev/null
    return 0
}

failed=0
# interrupt SCRIPT SIGNAL LINE: sends the signal when a line of the output matches.
interrupt() {
    local script=$1 signal=$2 line=$3 pid status try found
    inventory >"$work/before"
    # A command in the background is started with INT ignored.
    env --default-signal "$scripts/$script" "$build" >"$work/out" 2>&1 &
    pid=$!
    for try in $(seq 1200); do
        grep -q "$line" "$work/out" && break
        kill -0 $pid 2>/dev/null || break
        sleep 0.1
    done
    kill -"$signal" $pid
    wait $pid
    status=$?
    for try in $(seq 50); do
        found=$(inventory | diff "$work/before" -) && break
        sleep 0.1
    done
    if [ $status != 130 ] || [ -n "$found" ] || ! grep -q "$line" "$work/out"; then
        echo "FAILED: $script, $signal at \"$line\": exit code $status"
        echo "$found"
        tail -20 "$work/out"
        failed=1
    else
        echo "ok: $script leaves nothing behind after $signal at \"$line\""
    fi
}

# The whole demo: with pings through kernel bridges, where the daemon loses fewer than the kernel's own
# spanning tree in the same run, or with bare links where the kernel leaves none to user space.
whole() {
    local found lost
    inventory >"$work/before"
    "$scripts/demo" "$build" >"$work/out" 2>&1 || { echo "FAILED: the demo ends with $?"; tail -20 "$work/out"; failed=1; }
    found=$(inventory | diff "$work/before" -) || { echo "FAILED: the demo leaves behind"; echo "$found"; failed=1; }
    lost=$(sed -n 's/^  .* VLAN.* \([0-9]*\) pings lost, .* \([0-9]*\) pings lost, .*/\1 \2/p' "$work/out")
    grep 'pings lost\|stable again' "$work/out"
    if grep -q 'bare links instead' "$work/out"; then
        [ "$(grep -c 'stable again' "$work/out")" = 3 ] || { echo "FAILED: three figures are missing"; failed=1; }
    elif [ -z "$lost" ] || ! awk '$1 >= $2 { exit 1 }' <<<"$lost"; then
        echo "FAILED: the daemon loses no fewer pings than the kernel's own spanning tree"
        failed=1
    fi
}

whole
interrupt demo INT 'in a ring with a chord, and four more'
interrupt demo TERM '│'
interrupt demo-links INT 'Four switches'
interrupt demo-links HUP '│'
exit $failed
