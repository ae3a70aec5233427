#!/bin/sh
# run_callgrind.sh -- instructions per proxy call: bench/call_driver submits the ~10 KB problem
# report through ProblemReportSoapBindingProxy over an in-memory transport under callgrind, and
# the counters of the measured calls are divided by their number; then the top functions.
# Not a timing benchmark (see call_bench).
#
#   bench/run_callgrind.sh [build-dir] [calls] [top-n]     (defaults: build-bench, 200, 12)
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build-bench}
CALLS=${2:-200}
TOP=${3:-12}
DRIVER=$BUILD/bench/call_driver
if [ ! -x "$DRIVER" ]; then
    echo "no $DRIVER: build it with -DORVSOAP_BENCH=ON (bench/run.sh does)" >&2
    exit 1
fi
command -v valgrind >/dev/null || { echo "valgrind is not installed" >&2; exit 1; }

OUT=$(mktemp -d /tmp/orvsoap-callgrind-call.XXXXXX)
valgrind --tool=callgrind --dump-instr=no --callgrind-out-file="$OUT/cg.out" "$DRIVER" "$CALLS" \
    >"$OUT/driver.txt" 2>"$OUT/valgrind.txt" || {
    cat "$OUT/valgrind.txt" "$OUT/driver.txt" >&2
    exit 1
}
PROFILE=
for f in "$OUT"/cg.out.*; do
    grep -q '^desc: Trigger: Client Request: calls' "$f" && PROFILE=$f
done
[ -n "$PROFILE" ] || { echo "no 'calls' dump in $OUT" >&2; exit 1; }
IR=$(sed -n 's/^summary: \([0-9]*\).*/\1/p; s/^totals: \([0-9]*\).*/\1/p' "$PROFILE" | head -n 1)
REQ=$(awk '$1 == "request_bytes" { print $2 }' "$OUT/driver.txt")
ANS=$(awk '$1 == "answer_bytes" { print $2 }' "$OUT/driver.txt")
echo "submit of a $REQ-byte request, $ANS-byte answer, $CALLS calls (profile in $PROFILE):"
echo "$IR $CALLS $REQ $ANS" | awk '{ printf "  %.0f instructions per call, %.1f per byte sent and received\n", $1 / $2, $1 / $2 / ($3 + $4) }'
echo
echo "top $TOP functions (self Ir over all calls):"
callgrind_annotate --inclusive=no --threshold=100 "$PROFILE" 2>/dev/null |
    awk -v n="$TOP" '/^-+$/ { sep++; next } sep >= 3 && NF && !/^ *Ir/ && !/\(100\.0%\)/ && shown < n { print "  " $0; shown++ }' |
    cut -c1-160
