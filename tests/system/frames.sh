# What an independent decoder reads in captures, beside what daemons show. Sourced by bash.

. "$(dirname "${BASH_SOURCE[0]}")/check.sh"

read_frames() { tshark -n -r "$@" 2>/dev/null; } # FILE ARGUMENTS...

# These, between tabs, a line for each MST or configuration BPDU, in the order of sending in each file.
FIELDS="stp.version stp.flags.port_role stp.flags.learning stp.flags.forwarding
    stp.root.prio stp.root.ext stp.root.hw stp.root.cost stp.bridge.prio stp.bridge.ext stp.bridge.hw stp.port
    stp.msg_age stp.max_age stp.hello stp.forward
    mstp.config_format_selector mstp.config_name mstp.config_revision_level mstp.config_digest
    mstp.cist_internal_root_path_cost mstp.cist_bridge.prio mstp.cist_bridge.ext mstp.cist_bridge.hw
    mstp.cist_remaining_hops mstp.msti.msti_id mstp.msti.priority mstp.msti.root.hw mstp.msti.root_cost
    mstp.msti.bridge_priority mstp.msti.port_priority mstp.msti.remaining_hops"
frame_fields() { # FILE...
    local file
    for file in "$@"; do
        read_frames "$file" -Y "stp.version == 3 || (stp.version == 0 && stp.type == 0)" \
            -T fields -E aggregator=';' $(printf ' -e %s' $FIELDS)
    done
}

# The last such BPDU of each port, by "BRIDGE PORT", in the daemons' words. Numbers are written
# in several ways ("0x8001", "True"); the words of the daemon are reached from each.
sent_last() { # FILE...
    frame_fields "$@" | jq -cRs --arg fields "$(echo $FIELDS)" '
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
            # Daemons do not show the age of what they know; it has none while the root is in the region.
            def age($age): if ($f["stp.root.cost"] | number) == 0 then {age: $age} else {} end;
            def spanning_tree: {
                port: ($f["stp.port"] | number), root: id("stp.root"), externalCost: ($f["stp.root.cost"] | number),
                times: ["stp.max_age", "stp.hello", "stp.forward" | $f[.] | tonumber]} + age($f["stp.msg_age"] | tonumber);
            if ($f["stp.version"] | number) == 0 then
                {key: "\(id("stp.bridge")) \($f["stp.port"] | number)", value: (spanning_tree + {bridge: id("stp.bridge")})}
            else {key: "\(id("mstp.cist_bridge")) \($f["stp.port"] | number)", value: (spanning_tree + {
                region: {name: $f["mstp.config_name"], revision: ($f["mstp.config_revision_level"] | number),
                    formatSelector: ($f["mstp.config_format_selector"] | number),
                    digest: ($f["mstp.config_digest"] | gsub(":"; "") | ascii_upcase)},
                bridge: id("mstp.cist_bridge"), regionalRoot: id("stp.bridge"),
                internalCost: ($f["mstp.cist_internal_root_path_cost"] | number),
                hops: ($f["mstp.cist_remaining_hops"] | number),
                role: ($roles[0] | role), state: state($learning[0]; $forwarding[0]),
                instances: [$f["mstp.msti.msti_id"] | list | to_entries[] | .key as $i | {
                    id: (.value | number),
                    regionalRoot: "\((at("mstp.msti.priority"; $i) | number) * 4096 + (.value | number)).\(at("mstp.msti.root.hw"; $i) | mac)",
                    internalCost: (at("mstp.msti.root_cost"; $i) | number),
                    bridgePriority: (at("mstp.msti.bridge_priority"; $i) | number * 4096),
                    portPriority: (at("mstp.msti.port_priority"; $i) | number * 16),
                    hops: (at("mstp.msti.remaining_hops"; $i) | number),
                    role: ($roles[$i + 1] | role), state: state($learning[$i + 1]; $forwarding[$i + 1])}]})} end)
        | from_entries'
}

# What a switch would send from each port that sends regularly: a designated port of any instance. Reads what `mstp show --json` wrote.
shown() {
    jq -c '
        def sent: if . == "backup" then "alternate" else . end;
        . as $d | [.ports[] | select(any(.instances[]; .role == "designated")) | . as $p | .instances[0] as $cist
            | {key: "\($d.instances[0].bridge) \($cist.priority * 256 + .unit)", value: {
                region: $d.region,
                bridge: $d.instances[0].bridge, port: ($cist.priority * 256 + .unit),
                root: $d.instances[0].root, externalCost: $d.instances[0].externalCost,
                regionalRoot: $d.instances[0].regionalRoot, internalCost: $d.instances[0].internalCost,
                hops: $d.instances[0].remainingHops,
                age: 0, times: [$d.bridge.rootTimes.maxAge, .helloTime, $d.bridge.rootTimes.forwardDelay],
                role: ($cist.role | sent), state: $cist.state,
                instances: [$d.instances[1:][] | . as $i | ($p.instances[] | select(.id == $i.id)) as $here | {
                    id, regionalRoot, internalCost, bridgePriority: .priority, portPriority: $here.priority,
                    hops: .remainingHops, role: ($here.role | sent), state: $here.state}]}}] | from_entries'
}

# frame_differences CAPTURE... -- FILE...: captures, and what `mstp show --json` wrote of each switch.
# One line a port; "frame" or "daemon" for what differs. A port that sends configuration BPDUs says less.
frame_differences() {
    local captures=() file
    while [ "$1" != -- ]; do
        captures+=("$1")
        shift
    done
    shift
    {
        sent_last "${captures[@]}"
        for file in "$@"; do shown <"$file"; done
    } | jq -rs '.[0] as $sent | .[1:] | add | to_entries[] | .value as $daemon | ($sent[.key] // {}) as $frame
        | (if $frame == {} then $daemon else $frame end | keys) as $told
        | select(any($told[]; $frame[.] != $daemon[.])) | .key, ($told[] as $k | select($frame[$k] != $daemon[$k])
            | "  \($k): frame \($frame[$k] | tojson)", "  \($k): daemon \($daemon[$k] | tojson)")'
}

# check_decoded NAME FILE: all frames of a capture are BPDUs, and none is malformed or noted by the decoder.
check_decoded() {
    local found
    echo "$1: $(read_frames "$2" -T fields -e stp.version -e stp.type | sort | uniq -c | xargs)"
    check "there are frames on $1" $(($(read_frames "$2" | wc -l) == 0))
    found=$(read_frames "$2" -Y '!stp')
    check "every frame on $1 is a BPDU" $((${#found} > 0)) "$found"
    found=$(read_frames "$2" -Y '_ws.malformed || _ws.expert' -V)
    check "none of them is malformed or noted by the decoder" $((${#found} > 0)) "$found"
}
