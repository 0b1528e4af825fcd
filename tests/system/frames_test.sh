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

net_init "$(cd "$1" && pwd)"
trap net_down EXIT
trap 'exit 130' INT TERM HUP

passed=0 failed=0
check() { # SENTENCE STATUS [DETAIL]
    if [ "$2" = 0 ]; then
        passed=$((passed + 1))
        echo "ok: $1"
    else
        failed=$((failed + 1))
        printf 'FAILED: %s\n' "$1"
        sed 's/^/    /' <<<"${3:-}" | head -60
    fi
}

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

read_frames() { tshark -n -r "$@" 2>/dev/null; } # FILE ARGUMENTS...

# These, between tabs, a line for each MST BPDU on all wires, in the order of sending on each.
FIELDS="stp.flags.port_role stp.flags.learning stp.flags.forwarding
    stp.root.prio stp.root.ext stp.root.hw stp.root.cost stp.bridge.prio stp.bridge.ext stp.bridge.hw stp.port
    stp.msg_age stp.max_age stp.hello stp.forward
    mstp.config_format_selector mstp.config_name mstp.config_revision_level mstp.config_digest
    mstp.cist_internal_root_path_cost mstp.cist_bridge.prio mstp.cist_bridge.ext mstp.cist_bridge.hw
    mstp.cist_remaining_hops mstp.msti.msti_id mstp.msti.priority mstp.msti.root.hw mstp.msti.root_cost
    mstp.msti.bridge_priority mstp.msti.port_priority mstp.msti.remaining_hops"
mst_frames() {
    local link a b
    for link in "${NET_LINKS[@]}"; do
        read -r a b <<<"$link"
        read_frames "$(capture_file "$a" "$b")" -Y "stp.version == 3" -T fields -E aggregator=';' $(printf ' -e %s' $FIELDS)
    done
}

# The last MST BPDU of each port, by "BRIDGE PORT", in the daemons' words. Numbers are written
# in several ways ("0x8001", "True"); the words of the daemon are reached from each.
sent_last() {
    mst_frames | jq -cRs --arg fields "$(echo $FIELDS)" '
        def hex: ltrimstr("0x") | ascii_downcase | explode
            | reduce .[] as $c (0; . * 16 + (if $c > 96 then $c - 87 else $c - 48 end));
        def number: if startswith("0x") then hex else tonumber end;
        def list: if . == "" then [] else split(";") end;
        def mac: ascii_downcase | gsub(":"; "") | "\(.[0:4])-\(.[4:8])-\(.[8:12])";
        def state($learning; $forwarding):
            if [$forwarding] | inside(["1", "True"]) then "forwarding"
            elif [$learning] | inside(["1", "True"]) then "learning" else "discarding" end;
        def role: {"0": "master", "1": "alternate", "2": "root", "3": "designated"}[.];
        ($fields | split(" ")) as $names
        | [split("\n")[] | select(. != "") | split("\t")
            | [$names, .] | transpose | map({key: .[0], value: .[1]}) | from_entries]
        | map(. as $f
            | ($f["stp.flags.port_role"] | list) as $roles
            | ($f["stp.flags.learning"] | list) as $learning
            | ($f["stp.flags.forwarding"] | list) as $forwarding
            | def at($name; $i): $f[$name] | list | .[$i];
            def id($kind): "\(($f["\($kind).prio"] | number) + ($f["\($kind).ext"] | number)).\($f["\($kind).hw"] | mac)";
            {key: "\(id("mstp.cist_bridge")) \($f["stp.port"] | number)", value: {
                region: {name: $f["mstp.config_name"], revision: ($f["mstp.config_revision_level"] | number),
                    formatSelector: ($f["mstp.config_format_selector"] | number),
                    digest: ($f["mstp.config_digest"] | gsub(":"; "") | ascii_upcase)},
                bridge: id("mstp.cist_bridge"), port: ($f["stp.port"] | number),
                root: id("stp.root"), externalCost: ($f["stp.root.cost"] | number), regionalRoot: id("stp.bridge"),
                internalCost: ($f["mstp.cist_internal_root_path_cost"] | number),
                hops: ($f["mstp.cist_remaining_hops"] | number),
                times: ["stp.msg_age", "stp.max_age", "stp.hello", "stp.forward" | $f[.] | tonumber],
                role: ($roles[0] | role), state: state($learning[0]; $forwarding[0]),
                instances: [$f["mstp.msti.msti_id"] | list | to_entries[] | .key as $i | {
                    id: (.value | number),
                    regionalRoot: "\((at("mstp.msti.priority"; $i) | number) * 4096 + (.value | number)).\(at("mstp.msti.root.hw"; $i) | mac)",
                    internalCost: (at("mstp.msti.root_cost"; $i) | number),
                    bridgePriority: (at("mstp.msti.bridge_priority"; $i) | number * 4096),
                    portPriority: (at("mstp.msti.port_priority"; $i) | number * 16),
                    hops: (at("mstp.msti.remaining_hops"; $i) | number),
                    role: ($roles[$i + 1] | role), state: state($learning[$i + 1]; $forwarding[$i + 1])}]}})
        | from_entries'
}

# What a switch would send from each port that sends regularly: a designated port of any instance. The
# root is in the region, so no message has an age.
shown() { # SWITCH
    net_mstp "$1" show --json | jq -c '
        def sent: if . == "backup" then "alternate" else . end;
        . as $d | [.ports[] | select(any(.instances[]; .role == "designated")) | . as $p | .instances[0] as $cist
            | {key: "\($d.instances[0].bridge) \($cist.priority * 256 + .unit)", value: {
                region: $d.region,
                bridge: $d.instances[0].bridge, port: ($cist.priority * 256 + .unit),
                root: $d.instances[0].root, externalCost: $d.instances[0].externalCost,
                regionalRoot: $d.instances[0].regionalRoot, internalCost: $d.instances[0].internalCost,
                hops: $d.instances[0].remainingHops,
                times: [0, $d.bridge.rootTimes.maxAge, .helloTime, $d.bridge.rootTimes.forwardDelay],
                role: ($cist.role | sent), state: $cist.state,
                instances: [$d.instances[1:][] | . as $i | ($p.instances[] | select(.id == $i.id)) as $here | {
                    id, regionalRoot, internalCost, bridgePriority: .priority, portPriority: $here.priority,
                    hops: .remainingHops, role: ($here.role | sent), state: $here.state}]}}] | from_entries'
}

# One line of JSON a port; "frame" or "daemon" for what differs.
frame_differences() {
    local switch
    {
        sent_last
        for switch in "${NET_SWITCHES[@]}"; do shown "$switch"; done
    } | jq -rs '.[0] as $sent | .[1:] | add | to_entries[] | .value as $daemon | ($sent[.key] // {}) as $frame
        | select($frame != $daemon) | .key, (($daemon | keys[]) as $k | select($frame[$k] != $daemon[$k])
            | "  \($k): frame \($frame[$k] | tojson)", "  \($k): daemon \($daemon[$k] | tojson)")'
}

# The frames follow the daemon within a hello time, so a difference may be about to end.
check_frames() { # SENTENCE
    local found end=$((SECONDS + 90))
    while found=$(frame_differences 2>&1); [ -n "$found" ] && [ $SECONDS -lt $end ]; do
        sleep 1
    done
    check "$1, what is sent is what the daemons show" $((${#found} > 0)) "$found"
}

count_frames() { # FILTER
    local link a b
    for link in "${NET_LINKS[@]}"; do
        read -r a b <<<"$link"
        read_frames "$(capture_file "$a" "$b")" -Y "$1" -T fields -e frame.number
    done | wc -l
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
    file=$(capture_file "$a" "$b")
    echo "$a-$b: $(read_frames "$file" -T fields -e stp.version -e stp.type | sort | uniq -c | xargs)"
    check "every frame between $a and $b is a BPDU" "$(read_frames "$file" -Y '!stp' | wc -l)" "$(read_frames "$file" -Y '!stp')"
    found=$(read_frames "$file" -Y '_ws.malformed || _ws.expert' -V)
    check "none of them is malformed or noted by the decoder" $((${#found} > 0)) "$found"
done

echo "$passed passed, $failed failed"
[ $failed = 0 ]
