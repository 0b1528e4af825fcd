# Four switches on one machine, for the demo and for the system tests: a network namespace, a daemon
# and a run folder each, joined in a ring with one chord. Sourced by bash; nothing here exits.
#
#        s1 ------- s2
#        | \        |
#        |   \      |          s1-s3 is the chord
#        |     \    |
#        s4 ------- s3
#
# MST instance 1 (VLANs 10-19) has its root at s1, instance 2 (VLANs 20-29) at s3.

NET_SWITCHES=(s1 s2 s3 s4)
NET_LINKS=("s1 s2" "s2 s3" "s3 s4" "s4 s1" "s1 s3")
NET_INSTANCES=(0 1 2)
NET_RUN= NET_TAG=mstp-$$
declare -A NET_DAEMON=()

# net_init BUILD-FOLDER: where the programs are; makes the run folders.
net_init() {
    NET_BUILD=$1
    NET_RUN=$(mktemp -d /tmp/mstp-net-XXXXXX)
    export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=0}
}

net_ns() { echo "$NET_TAG-$1"; }

# net_in SWITCH COMMAND...: runs a command inside a switch.
net_in() {
    local switch=$1
    shift
    ip netns exec "$(net_ns "$switch")" "$@"
}

# net_mstp SWITCH ARGUMENTS...: the client, on one switch's daemon.
net_mstp() {
    local switch=$1
    shift
    net_in "$switch" "$NET_BUILD/tools/mstp/mstp" --run-dir "$NET_RUN/$switch" "$@"
}

# Namespaces, and a wire for each link. Interfaces are named after where they lead.
net_wire() {
    local switch link a b
    for switch in "${NET_SWITCHES[@]}"; do
        ip netns add "$(net_ns "$switch")" || return 1
        mkdir -p "$NET_RUN/$switch"
    done
    for link in "${NET_LINKS[@]}"; do
        read -r a b <<<"$link"
        ip link add "to-$b" netns "$(net_ns "$a")" address "02:00:00:00:0${a#s}:0${b#s}" \
            type veth peer name "to-$a" netns "$(net_ns "$b")" \
            address "02:00:00:00:0${b#s}:0${a#s}" || return 1
        ip -n "$(net_ns "$a")" link set "to-$b" up || return 1
        ip -n "$(net_ns "$b")" link set "to-$a" up || return 1
    done
}

# net_start SWITCH: starts its daemon and waits until it answers.
net_start() {
    local switch=$1 try
    MSTP_RUN_DIR=$NET_RUN/$switch ip netns exec "$(net_ns "$switch")" \
        "$NET_BUILD/mstp-daemon" "$switch" 0 0 0 1 8 16 \
        >"$NET_RUN/$switch/log" 2>&1 &
    NET_DAEMON[$switch]=$!
    disown
    for try in $(seq 100); do
        net_mstp "$switch" show bridge >/dev/null 2>&1 && return 0
        sleep 0.05
    done
    echo "the daemon of $switch does not answer; its log:" >&2
    cat "$NET_RUN/$switch/log" >&2
    return 1
}

net_neighbours() {
    local switch=$1 link a b
    for link in "${NET_LINKS[@]}"; do
        read -r a b <<<"$link"
        [ "$a" = "$switch" ] && echo "$b"
        [ "$b" = "$switch" ] && echo "$a"
    done | sort
}

# net_configure SWITCH: the CIST and the region first, whose reset starts the bridge; then the
# instances; the revision's reset makes their VLANs count; then the ports.
net_configure() {
    local switch=$1 peer
    net_mstp "$switch" instance add 0 &&
        net_mstp "$switch" set region name demo || return 1
    net_settle_reset
    net_mstp "$switch" instance add 1 && net_mstp "$switch" instance add 2 &&
        net_mstp "$switch" set instance 1 vlans +10-19 &&
        net_mstp "$switch" set instance 2 vlans +20-29 || return 1
    case $switch in
    s1) net_mstp s1 set instance 0 priority 4096 && net_mstp s1 set instance 1 priority 4096 ;;
    s3) net_mstp s3 set instance 2 priority 4096 ;;
    esac
    net_mstp "$switch" set region revision 1 || return 1
    net_settle_reset
    for peer in $(net_neighbours "$switch"); do
        net_mstp "$switch" port add "to-$peer" || return 1
    done
}

# A reset is work posted to the daemon's loop, one tick ahead.
net_settle_reset() { sleep 0.1; }

net_kill() {
    kill -9 "${NET_DAEMON[$1]}" 2>/dev/null
    unset "NET_DAEMON[$1]"
}

# Removes everything, whatever state it is in.
net_down() {
    local switch
    for switch in "${!NET_DAEMON[@]}"; do
        kill -9 "${NET_DAEMON[$switch]}" 2>/dev/null
    done
    for switch in "${NET_SWITCHES[@]}"; do
        ip netns pids "$(net_ns "$switch")" 2>/dev/null | xargs -r kill -9 2>/dev/null
        ip netns del "$(net_ns "$switch")" 2>/dev/null
    done
    [ -z "$NET_RUN" ] || rm -rf "$NET_RUN"
    return 0
}

# "PORT INSTANCE ROLE STATE" a line, of one switch.
net_roles() {
    net_mstp "$1" show ports | awk 'NR > 2 { if (!NF) exit; print $1, $2, $3, $4 }'
}
