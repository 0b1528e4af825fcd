#!/bin/bash
# Every BPDU on every wire of the demo's network, from the start through a cut, a repair and older
# protocol versions, as an independent decoder reads it: nothing malformed, and what is in the last one
# of each sender is what the sender's daemon shows. Usage: frames_test.sh BUILD-FOLDER (needs root)
#
# Left out: the layout that a port set to pre-standard sends. It follows no standard, and the decoder
# would not know it.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../../scripts/network.sh"
. "$here/frames.sh"

net_init "$(cd "$1" && pwd)"
trap net_down EXIT
trap 'exit 130' INT TERM HUP

capture_file() { echo "$NET_RUN/$1-$2.pcapng"; } # one of NET_LINKS

# A wire is captured at its second end, for it is cut at its first: a capture ends with its interface.
declare -A capturing=()
capture() {
    local file try
    file=$(capture_file "$1" "$2")
    ip netns exec "$(net_ns "$2")" dumpcap -q -i "to-$1" -f 'ether dst 01:80:c2:00:00:00' -w "$file" 2>"$file.log" &
    capturing[$1-$2]=$!
    for try in $(seq 200); do
        [ -s "$file" ] && return 0
        sleep 0.1
    done
    cat "$file.log" >&2
    return 1
}

captures() {
    local link a b
    for link in "${NET_LINKS[@]}"; do
        read -r a b <<<"$link"
        capture_file "$a" "$b"
    done
}
all_differences() {
    local switch
    for switch in "${NET_SWITCHES[@]}"; do
        net_mstp "$switch" show --json >"$NET_RUN/$switch.json" || return 1
    done
    frame_differences $(captures) -- "$NET_RUN"/*.json
}

# The frames follow the daemon within a hello time, so a difference may be about to end.
check_frames() { # SENTENCE
    local found end=$((SECONDS + 90))
    while found=$(all_differences 2>&1); [ -n "$found" ] && [ $SECONDS -lt $end ]; do
        sleep 1
    done
    check "$1, what is sent is what the daemons show" $((${#found} > 0)) "$found"
}

count_frames() { # FILTER
    local file
    for file in $(captures); do read_frames "$file" -Y "$1" -T fields -e frame.number; done | wc -l
}
check_seen() { # SENTENCE FILTER
    local end=$((SECONDS + 90))
    while [ "$(count_frames "$2")" = 0 ] && [ $SECONDS -lt $end ]; do
        sleep 1
    done
    check "$1" $(($(count_frames "$2") == 0)) "no frame matches $2"
}

# Values that no field has by default, so that none is right by chance.
configure_further() {
    local switch
    for switch in "${NET_SWITCHES[@]}"; do
        net_mstp "$switch" set region name 'a name of thirty-two characters.' || return 1
        net_settle_reset
        net_mstp "$switch" set region revision 40961 || return 1
        net_settle_reset
    done
    net_mstp s1 set bridge max-age 16 && net_mstp s1 set bridge forward-delay 9 &&
        net_mstp s1 set bridge max-hops 30 &&
        net_mstp s2 set bridge hello-time 1 && net_mstp s2 set port to-s3 cost 3000 &&
        net_mstp s4 set instance 0 port to-s3 priority 64 && net_mstp s3 set instance 2 port to-s4 priority 16 &&
        net_mstp s3 set instance 1 priority 8192 && net_mstp s4 set instance 1 port to-s1 cost 54321
}

net_wire || { echo "the network could not be made"; exit 1; }
for link in "${NET_LINKS[@]}"; do
    read -r a b <<<"$link"
    capture "$a" "$b" || exit 1
done
for switch in "${NET_SWITCHES[@]}"; do net_start "$switch" || exit 1; done
for switch in "${NET_SWITCHES[@]}"; do net_configure "$switch" || exit 1; done
check_frames "after the start"
configure_further || exit 1
check_frames "with other settings"

ip -n "$(net_ns s1)" link set to-s3 down
check_frames "with a wire cut"
ip -n "$(net_ns s1)" link set to-s3 up
check_frames "with the wire mended"

net_mstp s2 set bridge version rstp
check_seen "a switch set to RSTP sends RST BPDUs" 'stp.version == 2'
net_mstp s2 set bridge version stp
check_seen "a switch set to STP sends configuration BPDUs" 'stp.version == 0 && stp.type == 0'
check_seen "its neighbours answer so" 'stp.version == 0 && stp.type == 0 && eth.src == 02:00:00:00:01:02'
ip -n "$(net_ns s1)" link set to-s2 down
sleep 1
ip -n "$(net_ns s1)" link set to-s2 up
check_seen "a change of its tree is told by TCN BPDUs" 'stp.type == 0x80'
net_mstp s2 set bridge version mstp
for port in to-s1 to-s3; do net_mstp s2 set port $port migrate on; done
check_frames "with the switch back at MSTP"

for pid in "${capturing[@]}"; do kill -INT "$pid"; done
wait "${capturing[@]}"
for link in "${NET_LINKS[@]}"; do
    read -r a b <<<"$link"
    check_decoded "the wire $a-$b" "$(capture_file "$a" "$b")"
done

check_verdict
