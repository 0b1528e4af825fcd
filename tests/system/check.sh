# Counts what holds and what does not, one line each. Sourced by the tests that are scripts.

passed=0 failed=0

check_passed() { # SENTENCE
    passed=$((passed + 1))
    echo "ok: $1${check_clock:+ ($("$check_clock"))}"
}

check_failed() { # SENTENCE
    failed=$((failed + 1))
    printf 'FAILED: %s\n' "$1"
}

check() { # SENTENCE STATUS [DETAIL]
    if [ "$2" = 0 ]; then
        check_passed "$1"
    else
        check_failed "$1"
        [ -z "${3:-}" ] || sed 's/^/    /' <<<"$3" | head -60
    fi
}

check_equal() { # SENTENCE EXPECTED ACTUAL
    if [ "$2" = "$3" ]; then
        check_passed "$1"
    else
        check_failed "$1"
        printf '  expected:\n%s\n  actual:\n%s\n' "$2" "$3"
    fi
}

# The last line of a test, and its verdict.
check_verdict() {
    echo "$passed passed, $failed failed"
    [ "$failed" = 0 ]
}
