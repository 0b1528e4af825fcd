#!/bin/sh
# Compiles wire_order.cpp for this machine and for a big-endian one (s390x, run under qemu-user) and
# runs both. Needs g++, g++-s390x-linux-gnu and qemu-user.
set -eu

root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 130' INT TERM

# $1 compiler, $2 word that the program must report, then the command that runs it
check() {
    compiler=$1
    order=$2
    shift 2
    "$compiler" -std=c++20 -O1 -Wall -Wextra -Wconversion -Werror -fno-exceptions -fno-rtti -static \
        -I "$root/include" -o "$work/$order" "$root/tests/system/wire_order.cpp"
    "$@" "$work/$order" | tee "$work/output"
    # The status of a pipe is that of its last command; the text tells how the program ended, and
    # that it ran in the byte order it was meant for.
    grep -qx "$order-endian: passed" "$work/output"
}

case "$(printf '\001\000' | od -An -d | tr -d ' ')" in
1) native=little ;;
*) native=big ;;
esac

check "${CXX:-g++}" "$native" env
check "${CXX_BIG:-s390x-linux-gnu-g++}" big "${QEMU_BIG:-qemu-s390x}"
