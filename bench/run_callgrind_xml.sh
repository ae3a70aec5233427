#!/bin/sh
# run_callgrind_xml.sh -- instructions per byte of reading and writing the ~1 MB problem report
# (and of libxml2 and pugixml on the same bytes), from one callgrind run of bench/xml_driver, with
# the top functions of each of our phases; then the heap and memory-mapping calls per message.
# Not a timing benchmark (see xml_bench).
#
#   bench/run_callgrind_xml.sh [build-dir] [top-n]     (defaults: build-bench, 10)
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build-bench}
TOP=${2:-10}
DRIVER=$BUILD/bench/xml_driver
if [ ! -x "$DRIVER" ]; then
    echo "no $DRIVER: build it with -DORVSOAP_BENCH=ON (bench/run.sh does)" >&2
    exit 1
fi
command -v valgrind >/dev/null || { echo "valgrind is not installed" >&2; exit 1; }

OUT=$(mktemp -d /tmp/orvsoap-callgrind.XXXXXX)
valgrind --tool=callgrind --dump-instr=no --callgrind-out-file="$OUT/cg.out" "$DRIVER" >"$OUT/driver.txt" 2>"$OUT/valgrind.txt" || {
    cat "$OUT/valgrind.txt" >&2
    exit 1
}
BYTES=$(awk '$1 == "bytes" { print $2 }' "$OUT/driver.txt")

echo "document: $BYTES bytes (profiles in $OUT)"
echo "instructions per phase (Ir), one message on a warm context:"
for f in "$OUT"/cg.out.*; do
    phase=$(sed -n 's/^desc: Trigger: Client Request: //p' "$f")
    ir=$(sed -n 's/^summary: \([0-9]*\).*/\1/p; s/^totals: \([0-9]*\).*/\1/p' "$f" | head -n 1)
    [ -n "$phase" ] || continue
    printf '  %-14s %12s Ir  %7.1f Ir/byte\n' "$phase" "$ir" "$(echo "$ir $BYTES" | awk '{ print $1 / $2 }')"
    cp "$f" "$OUT/$phase.cg"
done
awk '
    /^  orvsoap_read/  { r = $2 } /^  orvsoap_end/ { e = $2 } /^  orvsoap_write/ { w = $2 }
    /^  libxml2_read/  { lr = $2 } /^  libxml2_write/ { lw = $2 }
    END {
        if (r && lr) printf "  read + end of message vs libxml2 read: %.2fx fewer instructions\n", lr / (r + e)
        if (w && lw) printf "  write vs libxml2 xmlTextWriter:       %.2fx fewer instructions\n", lw / w
    }' <<EOF
$(for f in "$OUT"/*.cg; do
    printf '  %s %s\n' "$(basename "$f" .cg)" "$(sed -n 's/^summary: \([0-9]*\).*/\1/p; s/^totals: \([0-9]*\).*/\1/p' "$f" | head -n 1)"
done)
EOF

for phase in orvsoap_read orvsoap_end orvsoap_write; do
    [ -f "$OUT/$phase.cg" ] || continue
    echo
    echo "top $TOP functions of $phase (self Ir):"
    callgrind_annotate --inclusive=no --threshold=100 "$OUT/$phase.cg" 2>/dev/null |
        awk -v n="$TOP" '/^-+$/ { sep++; next } sep >= 3 && NF && !/^ *Ir/ && !/\(100\.0%\)/ && shown < n { print "  " $0; shown++ }' | cut -c1-200
done

echo
echo "heap calls per message (warm context):"
sed -n 's/^allocs /  /p' "$OUT/driver.txt"

if command -v strace >/dev/null; then
    echo
    echo "memory-mapping system calls of our read+write, over 1 and over 21 messages:"
    for n in 1 21; do
        strace -f -c -e trace=brk,mmap,munmap,mremap -o "$OUT/strace.$n" "$DRIVER" "$n" orvsoap >/dev/null 2>&1 || true
        printf '  %2s messages: %s\n' "$n" "$(awk '$NF ~ /^(brk|mmap|munmap|mremap)$/ { printf "%s %s  ", $NF, $4 }' "$OUT/strace.$n")"
    done
fi
