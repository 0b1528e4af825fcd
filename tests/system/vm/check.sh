# Counts what holds and what does not, one line each. Sourced by the tests in the virtual machine.

[ -n "${MSTP_VM:-}" ] || { echo "to be run in the virtual machine" >&2; exit 2; }
passed=0 failed=0

check() { # SENTENCE STATUS [DETAIL]
    if [ "$2" = 0 ]; then
        passed=$((passed + 1))
        echo "ok: $1 ($(cut -d' ' -f1 /proc/uptime))"
    else
        failed=$((failed + 1))
        printf 'FAILED: %s\n' "$1"
        [ -z "${3:-}" ] || sed 's/^/    /' <<<"$3" | head -40
    fi
}

# The verdict: also that no daemon crashed, and what they said if something failed.
finish() {
    local crashes number
    crashes=$(grep -lE 'Sanitizer|runtime error|SIG' "$BR_RUN"/*/log 2>/dev/null)
    check "no daemon crashed" $((${#crashes} > 0)) "$crashes"
    [ $failed = 0 ] || for number in "${BR_NUMBERS[@]}"; do
        sed "s/^/log of sw$number: /" "$BR_RUN/sw$number/log" 2>/dev/null | tail -20
    done
    echo "$passed passed, $failed failed"
    exit $((failed > 0))
}
