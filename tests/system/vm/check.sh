# What the tests in the virtual machine have in common. Sourced by them.

[ -n "${MSTP_VM:-}" ] || { echo "to be run in the virtual machine" >&2; exit 2; }
. "$(dirname "${BASH_SOURCE[0]}")/../check.sh"
vm_uptime() { cut -d' ' -f1 /proc/uptime; }
check_clock=vm_uptime

# capture: every BPDU on every wire from now on, into /out. At a wire's second end, for it is cut at its
# first: a capture ends with its interface.
capturing=()
capture() {
    local link a b name names=() try
    for link in "${BR_LINKS[@]}"; do
        read -r a b <<<"$link"
        names+=("$BR_SW$b-$a")
    done
    for a in "${BR_NUMBERS[@]}"; do names+=("$BR_HOST$a"); done
    for name in "${names[@]}"; do
        dumpcap -q -i "$name" -f 'ether dst 01:80:c2:00:00:00' -w "/out/$name.pcapng" 2>"/out/$name.log" &
        capturing+=($!)
        disown
        for try in $(seq 300); do
            [ -s "/out/$name.pcapng" ] && continue 2
            sleep 0.1
        done
        cat "/out/$name.log"
        return 1
    done
}

# stop_capture: what the daemons show now goes beside the captures, which end a hello time later.
stop_capture() {
    local number
    for number in "${!BR_DAEMON[@]}"; do
        br_mstp "$number" show --json >"/out/$BR_SW$number.json"
    done
    sleep 4
    kill -INT "${capturing[@]}"
    while kill -0 "${capturing[@]}" 2>/dev/null; do sleep 0.1; done
}

# The verdict: also that no daemon crashed, and what they said if something failed.
finish() {
    local crashes number
    crashes=$(grep -lE 'Sanitizer|runtime error|SIG' "$BR_RUN"/*/log 2>/dev/null)
    check "no daemon crashed" $((${#crashes} > 0)) "$crashes"
    [ $failed = 0 ] || for number in "${BR_NUMBERS[@]}"; do
        sed "s/^/log of sw$number: /" "$BR_RUN/sw$number/log" 2>/dev/null | tail -20
    done
    check_verdict
    exit
}
