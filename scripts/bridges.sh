# Four kernel bridges in this network namespace, for the demo and for the system tests: a ring with one
# chord, a daemon and a host to each. The kernel leaves spanning tree to user space in its first
# namespace only, so the bridges share that; hosts may have namespaces of their own. Sourced by bash;
# nothing here exits.
#
#   h1 - sw1 ------- sw2 - h2
#         | \         |
#         |   \       |          sw1-sw3 is the chord
#         |     \     |
#   h4 - sw4 ------- sw3 - h3
#
# Port sw1-2 is the port of sw1 that leads to sw2; sw1-h leads to host h1. MST instance 1 (VLANs 10-19)
# has its root at sw1, instance 2 (VLANs 20-29) at sw3, all other VLANs at sw2. A kernel without VLAN
# filtering has one tree only, with its root at sw1.

# Another network of the same shape goes by other names: set BR_SW and BR_HOST for the calls.

BR_SW=sw
BR_HOST=h
BR_NUMBERS=(1 2 3 4)
BR_LINKS=("1 2" "2 3" "3 4" "4 1" "1 3")
BR_VLANS=1-5,10-19,20-29
BR_RUN= BR_STP_BEFORE= BR_FILTERING=
declare -A BR_DAEMON=()

# br_init BUILD-FOLDER: where the programs are; makes the run folder.
br_init() {
    BR_BUILD=$1
    BR_RUN=$(mktemp -d /tmp/mstp-bridges-XXXXXX)
    export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=0}
    if ip link add mstp-try type bridge vlan_filtering 1 2>/dev/null; then
        BR_FILTERING=1
        ip link del mstp-try
    fi
}

# br_stp_script PROGRAM: makes PROGRAM the one that the kernel asks who runs spanning tree.
br_stp_script() {
    if [ -e /sbin/bridge-stp ] || [ -L /sbin/bridge-stp ]; then
        [ -n "$BR_STP_BEFORE" ] || cp -a /sbin/bridge-stp "$BR_RUN/bridge-stp.before" || return 1
    fi
    BR_STP_BEFORE=1
    rm -f /sbin/bridge-stp
    install -m 755 "$1" /sbin/bridge-stp
}

br_neighbours() {
    local link a b
    for link in "${BR_LINKS[@]}"; do
        read -r a b <<<"$link"
        [ "$a" = "$1" ] && echo "$b"
        [ "$b" = "$1" ] && echo "$a"
    done | sort
}

# br_ports NUMBER: the names of a bridge's ports.
br_ports() { br_neighbours "$1" | sed "s/^/$BR_SW$1-/"; echo "$BR_SW$1-h"; }

# br_host_ports NUMBER: those ports of a bridge that lead to hosts, as far as they are there yet.
br_host_ports() {
    ip -o link show master "$BR_SW$1" 2>/dev/null | sed -n "s/^[0-9]*: \($BR_SW$1-[hv][0-9]*\)[@:].*/\1/p"
}

# br_vlans PORT [add|del]: the VLANs of the network on a port.
br_vlans() {
    local range
    [ -n "$BR_FILTERING" ] || return 0
    for range in ${BR_VLANS//,/ }; do
        bridge vlan "${2:-add}" dev "$1" vid "$range" || return 1
    done
}

# br_join NUMBER PORT: makes an interface a port of the bridge, in all VLANs.
br_join() { ip link set "$2" master "$BR_SW$1" && br_vlans "$2" && ip link set "$2" up; }

# br_access NUMBER NAME VLAN: a port of the bridge for a host that knows of no VLANs, which is in this
# one alone. The host's end is HOST-NAME.
br_access() {
    local port=$BR_SW$1-$2
    ip link add "$BR_HOST$1-$2" type veth peer name "$port" && ip link set "$port" master "$BR_SW$1" || return 1
    if [ -n "$BR_FILTERING" ]; then
        bridge vlan del dev "$port" vid 1
        bridge vlan add dev "$port" vid "$3" pvid untagged || return 1
    fi
    ip link set "$port" up
}

# br_names: every interface that br_wire makes.
br_names() {
    local number link a b
    for number in "${BR_NUMBERS[@]}"; do echo "$BR_SW$number $BR_SW$number-h $BR_HOST$number"; done
    for link in "${BR_LINKS[@]}"; do
        read -r a b <<<"$link"
        echo "$BR_SW$a-$b $BR_SW$b-$a"
    done
}

# The bridges and the wires between them. Nothing is up but the hosts' ends: without spanning tree the
# ring would be a loop.
br_wire() {
    local number link a b
    for number in "${BR_NUMBERS[@]}"; do
        ip link add "$BR_SW$number" address "02:00:00:00:00:0$number" type bridge \
            ${BR_FILTERING:+vlan_filtering 1} || return 1
        mkdir -p "$BR_RUN/$BR_SW$number"
    done
    for link in "${BR_LINKS[@]}"; do
        read -r a b <<<"$link"
        ip link add "$BR_SW$a-$b" type veth peer name "$BR_SW$b-$a" || return 1
    done
    for number in "${BR_NUMBERS[@]}"; do
        ip link add "$BR_HOST$number" type veth peer name "$BR_SW$number-h" || return 1
    done
}

# br_plug: ports into their bridges, everything up. The daemons run already, or the kernel's own STP.
br_plug() {
    local number port
    for number in "${BR_NUMBERS[@]}"; do
        ip link set "$BR_SW$number" up || return 1
        for port in $(br_ports "$number"); do
            br_join "$number" "$port" || return 1
        done
        ip link set "$BR_HOST$number" up || return 1
    done
}

# br_mstp NUMBER ARGUMENTS...: the client, on one bridge's daemon.
br_mstp() {
    local number=$1
    shift
    "$BR_BUILD/tools/mstp/mstp" --run-dir "$BR_RUN/$BR_SW$number" "$@"
}

# br_start NUMBER: starts a bridge's daemon.
br_start() {
    local number=$1 try
    MSTP_RUN_DIR=$BR_RUN/$BR_SW$number "$BR_BUILD/mstp-daemon" "$BR_SW$number" 0 0 0 1 8 16 \
        >>"$BR_RUN/$BR_SW$number/log" 2>&1 &
    BR_DAEMON[$number]=$!
    disown
    for try in $(seq 200); do
        br_mstp "$number" show bridge >/dev/null 2>&1 && return 0
        kill -0 "${BR_DAEMON[$number]}" 2>/dev/null || break
        sleep 0.05
    done
    echo "the daemon of $BR_SW$number does not answer; its log:" >&2
    cat "$BR_RUN/$BR_SW$number/log" >&2
    return 1
}

# br_configure NUMBER: what an operator's /etc/mstp/BRIDGE.conf would hold.
br_configure() {
    local number=$1 port conf=$BR_RUN/$BR_SW$1/conf
    {
        echo "instance add 0"
        echo "set region name demo"
        if [ -n "$BR_FILTERING" ]; then
            echo "instance add 1"
            echo "instance add 2"
            echo "set instance 1 vlans 10-19"
            echo "set instance 2 vlans 20-29"
        fi
        case $number${BR_FILTERING:+ with VLANs} in
        1 | "2 with VLANs") echo "set instance 0 priority 4096" ;;
        "1 with VLANs") echo "set instance 1 priority 4096" ;;
        "3 with VLANs") echo "set instance 2 priority 4096" ;;
        esac
        echo "set region revision 1"
        for port in $(br_host_ports "$number"); do
            echo "port add $port"
            echo "set port $port edge on"
        done
    } >"$conf"
    br_mstp "$number" -f "$conf"
}

# br_edge NUMBER PORT: no bridge is behind the port, so it need not wait to forward. The port may only
# be on its way to the daemon.
br_edge() {
    local try
    for try in $(seq 50); do
        br_mstp "$1" set port "$2" edge on 2>/dev/null && return 0
        sleep 0.1
    done
    br_mstp "$1" set port "$2" edge on
}

# "PORT INSTANCE ROLE STATE" a line, of one bridge.
br_roles() {
    br_mstp "$1" show ports | awk 'NF == 0 { exit } NR > 2 { print $1, $2, $3, $4 }'
}

br_kill() {
    kill -9 "${BR_DAEMON[$1]}" 2>/dev/null
    unset "BR_DAEMON[$1]"
}

# br_unwire: removes one network's bridges and wires, whatever state they are in.
br_unwire() {
    local number link a b
    for link in "${BR_LINKS[@]}"; do
        read -r a b <<<"$link"
        ip link del "$BR_SW$a-$b" 2>/dev/null
    done
    for number in "${BR_NUMBERS[@]}"; do
        ip -o link show master "$BR_SW$number" 2>/dev/null |
            sed -n 's/^[0-9]*: \([^@:]*\).*/\1/p' | while read -r port; do ip link del "$port"; done
        ip link del "$BR_SW$number-h" 2>/dev/null
        ip link del "$BR_SW$number" 2>/dev/null
    done
    return 0
}

# br_down: removes everything.
br_down() {
    local number
    for number in "${!BR_DAEMON[@]}"; do
        kill -9 "${BR_DAEMON[$number]}" 2>/dev/null
    done
    br_unwire
    if [ -n "$BR_STP_BEFORE" ]; then
        rm -f /sbin/bridge-stp
        if [ -e "$BR_RUN/bridge-stp.before" ] || [ -L "$BR_RUN/bridge-stp.before" ]; then
            cp -a "$BR_RUN/bridge-stp.before" /sbin/bridge-stp
        fi
    fi
    ip link del mstp-try 2>/dev/null
    [ -z "$BR_RUN" ] || rm -rf "$BR_RUN"
    return 0
}

# Names of the interfaces whose links are up, as JSON.
br_live() { ip -j link show | jq -c '[.[] | select(.operstate == "UP") | .ifname]'; }

# "PORT VLAN STATE" a line: what the kernel does on a bridge's live ports, in every VLAN of each.
br_kernel_states() {
    local number=$1
    bridge -j -d vlan show | jq -r --arg switch "$BR_SW$number-" --argjson live "$(br_live)" '
        .[] | select((.ifname | startswith($switch)) and (.ifname | IN($live[]))) | .ifname as $port | .vlans[]
            | .state as $state | range(.vlan; (.vlanEnd // .vlan) + 1) | "\($port) \(.) \($state)"' | LC_ALL=C sort
}

# The same as the daemon has it, for the VLANs that the kernel has on each port.
br_daemon_states() {
    local number=$1
    { br_mstp "$number" show --json; bridge -j vlan show; } | jq -rs --arg switch "$BR_SW$number-" --argjson live "$(br_live)" '
        def vlans: if . == "none" then empty else split(",")[] | split("-") | map(tonumber) | range(.[0]; .[-1] + 1) end;
        .[0] as $daemon
        | ($daemon.instances | map(.id as $id | .vlans | vlans | {key: tostring, value: $id}) | from_entries) as $map
        | .[1][] | select((.ifname | startswith($switch)) and (.ifname | IN($live[]))) | .ifname as $port
        | ($daemon.ports[] | select(.name == $port)
            | .instances | map({key: "\(.id)", value: .state}) | from_entries) as $states
        | .vlans[] | range(.vlan; (.vlanEnd // .vlan) + 1) as $vlan
        | $states["\($map["\($vlan)"])"] as $state
        | "\($port) \($vlan) \(if $state == "discarding" then "blocking" else $state end)"' | LC_ALL=C sort
}
