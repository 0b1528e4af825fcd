#!/bin/bash
# The demo's network, asserted: its trees after start, after a cut, after the repair, and after a
# switch has died. Usage: network_test.sh BUILD-FOLDER (needs root)
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../../scripts/network.sh"
. "$here/check.sh"

net_init "$(cd "$1" && pwd)"
trap net_down EXIT
trap 'exit 130' INT TERM HUP

# "SWITCH PORT INSTANCE ROLE STATE" of every living switch, in the order of the words.
all_roles() {
    local switch
    for switch in "${!NET_DAEMON[@]}"; do
        net_roles "$switch" | sed "s/^/$switch /"
    done | LC_ALL=C sort
}

# check_roles SENTENCE SECONDS EXPECTED: the roles become the expected ones within the seconds.
check_roles() {
    local actual expected end=$((SECONDS + $2))
    expected=$(LC_ALL=C sort <<<"$3")
    while actual=$(all_roles); [ "$actual" != "$expected" ] && [ $SECONDS -lt $end ]; do
        sleep 0.5
    done
    check_equal "$1" "$expected" "$actual"
}

row() { # SWITCH PORT then "ROLE STATE" for each instance
    local instance=0 cell
    for cell in "${@:3}"; do
        echo "$1 $2 $instance $cell"
        instance=$((instance + 1))
    done
}
D="designated forwarding" R="root forwarding" A="alternate discarding" X="disabled down"

whole=$(
    row s1 to-s2 "$D" "$D" "$D"
    row s1 to-s3 "$D" "$D" "$R"
    row s1 to-s4 "$D" "$D" "$D"
    row s2 to-s1 "$R" "$R" "$A"
    row s2 to-s3 "$D" "$D" "$R"
    row s3 to-s2 "$A" "$A" "$D"
    row s3 to-s4 "$D" "$D" "$D"
    row s3 to-s1 "$R" "$R" "$D"
    row s4 to-s3 "$A" "$A" "$R"
    row s4 to-s1 "$R" "$R" "$A"
)
cut=$(
    row s1 to-s2 "$D" "$D" "$R"
    row s1 to-s3 "$X" "$X" "$X"
    row s1 to-s4 "$D" "$D" "$A"
    row s2 to-s1 "$R" "$R" "$D"
    row s2 to-s3 "$D" "$D" "$R"
    row s3 to-s2 "$R" "$R" "$D"
    row s3 to-s4 "$A" "$A" "$D"
    row s3 to-s1 "$X" "$X" "$X"
    row s4 to-s3 "$D" "$D" "$R"
    row s4 to-s1 "$R" "$R" "$D"
)
dead=$(
    row s1 to-s2 "$D" "$D" "$D"
    row s1 to-s3 "$D" "$D" "$D"
    row s1 to-s4 "$D" "$D" "$D"
    row s2 to-s1 "$R" "$R" "$R"
    row s2 to-s3 "$D" "$D" "$D"
    row s4 to-s3 "$D" "$D" "$D"
    row s4 to-s1 "$R" "$R" "$R"
)

net_wire || { echo "the network could not be made"; exit 1; }
for switch in "${NET_SWITCHES[@]}"; do
    net_start "$switch" || exit 1
done
for switch in "${NET_SWITCHES[@]}"; do
    net_configure "$switch" || exit 1
done

check_roles "four switches agree on three trees" 30 "$whole"
digests=$(for switch in "${NET_SWITCHES[@]}"; do net_mstp "$switch" show region; done | sort -u | wc -l)
check_equal "all switches have the same region, revision and digest" 2 "$digests"

ip -n "$(net_ns s1)" link set to-s3 down
check_roles "the trees find another way around a wire that is cut" 10 "$cut"
ip -n "$(net_ns s1)" link set to-s3 up
check_roles "the trees return when the wire is mended" 30 "$whole"

net_kill s3
check_roles "the switches that are left agree on new trees when one dies" 45 "$dead"

ip -n "$(net_ns s2)" link del to-s3
for _ in $(seq 20); do
    roles=$(net_roles s2 | awk '{ print $1 }' | sort -u)
    [ "$roles" = to-s1 ] && break
    sleep 0.5
done
check_equal "a port whose interface vanishes leaves the bridge" "to-s1" "$roles"

net_mstp s1 port del to-s2
roles=$(net_roles s1 | awk '{ print $1 }' | sort -u | xargs)
check_equal "a port that is taken out is no longer shown" "to-s3 to-s4" "$roles"
net_mstp s1 instance del 2
instances=$(net_mstp s1 show instances | awk 'NR > 2 { if (!NF) exit; print $1 }' | xargs)
check_equal "an instance that is removed is no longer shown" "0 1" "$instances"

reports=$(cat "$NET_RUN"/*/log 2>/dev/null | grep -E 'Sanitizer|runtime error' | head -5)
check_equal "no daemon was reported by a sanitizer" "" "$reports"
alive=$(for switch in s1 s2 s4; do kill -0 "${NET_DAEMON[$switch]}" && echo alive; done | sort | uniq -c | xargs)
check_equal "every daemon that was not killed still runs" "3 alive" "$alive"

tag=$NET_TAG run=$NET_RUN
net_down
check_equal "no namespace is left behind" "" "$(ip netns list | grep "$tag")"
check_equal "no daemon is left behind" "" "$(pgrep -af "mstp-daemon s[1-4] 0 0 0 1 8 16")"
check_equal "no file is left behind" "" "$(ls -d "$run" 2>/dev/null)"

check_verdict
