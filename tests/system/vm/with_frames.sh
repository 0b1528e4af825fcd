#!/bin/bash
# A test in the virtual machine, and then every BPDU that it captured before an independent decoder:
# nothing malformed, and what each port sent last is what its daemon showed at the end.
#   tests/system/vm/with_frames.sh SECONDS TEST.SH BUILD-FOLDER
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../frames.sh"
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

"$here/run.sh" -t "$1" -o "$out" "$2" "$3" || exit
for file in "$out"/*.pcapng; do
    check_decoded "$(basename "$file" .pcapng)" "$file"
done
found=$(frame_differences "$out"/*.pcapng -- "$out"/*.json 2>&1)
check "what is sent is what the daemons show" $((${#found} > 0)) "$found"
check_verdict
