# What both demos show of their networks, sourced by bash. The demo says how its own is read:
#   view_switches         the names of all switches
#   view_alive SWITCH     whether its daemon runs
#   view_ports SWITCH     the names of its ports
#   view_roles SWITCH     "PORT INSTANCE ROLE STATE" a line
#   view_client SWITCH    replaces the shell by the client for that switch, with further arguments
#   VIEW_INSTANCES        the instances that run

bold="" plain="" red="" green="" dim=""
if [ -t 1 ]; then
    bold=$'\e[1m' plain=$'\e[0m' red=$'\e[31m' green=$'\e[32m' dim=$'\e[2m'
fi
say() { printf '\n%s%s%s\n' "$bold" "$*" "$plain"; }

# wait_alive SECONDS TEXT: waits, and shows that it does; where it cannot be overwritten, once.
waiting=""
wait_alive() {
    local left
    for ((left = $1; left > 0; left--)); do
        [ -t 1 ] && printf '\r%s%s %2d s%s ' "$dim" "$2" "$left" "$plain"
        sleep 1
    done
    if [ -t 1 ]; then
        printf '\r\e[K'
    elif [ "$waiting" != "$2" ]; then
        waiting=$2
        echo "$2"
    fi
}

declare -A before=() now=()
read_all() {
    local switch port instance role state
    before=()
    for key in "${!now[@]}"; do before[$key]=${now[$key]}; done
    now=()
    for switch in $(view_switches); do
        view_alive "$switch" || continue
        while read -r port instance role state; do
            now["$switch $port $instance"]="$role $state"
        done < <(view_roles "$switch")
    done
}

# rule_row LEFT BETWEEN RIGHT: a line between rows, with these at its crossings.
rule_row() {
    local instance
    printf '  %s─────%s──────────' "$1" "$2"
    for instance in $VIEW_INSTANCES; do printf '%s───────────────────────' "$2"; done
    printf '%s\n' "$3"
}

# One row a port, one column an instance; what changed since the last table has a star.
draw() {
    local switch port instance key cell colour mark
    rule_row ┌ ┬ ┐
    printf '  │ %-3s │ %-8s │' "" port
    for instance in $VIEW_INSTANCES; do
        [ "$instance" = 0 ] && cell=CIST || cell="instance $instance"
        printf ' %-21s │' "$cell"
    done
    printf '\n'
    for switch in $(view_switches); do
        rule_row ├ ┼ ┤
        for port in $(view_ports "$switch"); do
            printf '  │ %-3s │ %-8s │' "$switch" "$port"
            for instance in $VIEW_INSTANCES; do
                key="$switch $port $instance"
                cell=${now[$key]:-daemon dead}
                case $cell in
                *forwarding) colour=$green ;;
                *) colour=$red ;;
                esac
                mark=" "
                [ ${#before[@]} -gt 0 ] && [ "${before[$key]:-}" != "${now[$key]:-}" ] && mark="*"
                printf ' %s%-21s%s%s│' "$colour" "$cell" "$plain" "$mark"
            done
            printf '\n'
        done
    done
    rule_row └ ┴ ┘
}

# Followers write every change of role or state with its time, into VIEW_RUN/SWITCH.watch.
watchers=()
follow() {
    local switch
    for switch in $(view_switches); do
        view_alive "$switch" || continue
        (view_client "$switch" watch --epoch --interval 2 --for 120) >"$VIEW_RUN/$switch.watch" 2>/dev/null &
        watchers+=($!)
    done
    sleep 0.3
}
unfollow() {
    [ ${#watchers[@]} = 0 ] || kill "${watchers[@]}" 2>/dev/null
    wait "${watchers[@]}" 2>/dev/null
    watchers=()
}

# measure_since START: ends the followers; MILLISECONDS become those from START (seconds since the
# epoch) until the last change that they saw.
MILLISECONDS=0
measure_since() {
    local switch last=$1
    unfollow
    for switch in $(view_switches); do
        [ -e "$VIEW_RUN/$switch.watch" ] || continue
        last=$(awk -v last="$last" '$3 == "instance" && $1 > last { last = $1 } END { printf "%.3f", last }' \
            "$VIEW_RUN/$switch.watch")
        rm -f "$VIEW_RUN/$switch.watch"
    done
    MILLISECONDS=$(awk -v start="$1" -v last="$last" 'BEGIN { printf "%d", (last - start) * 1000 }')
}
