#!/usr/bin/env bash
# run.sh -- sets up what the benchmarks need (Debian packages, installed only when missing),
# configures a Release build with the benchmarks in build-bench, builds it and runs every
# benchmark: each bench/*_bench executable, then the instruction counts of bench/run_callgrind_xml.sh.
# Not the test suite (../run.sh test).
#
#   bench/run.sh [--no-callgrind]
set -euo pipefail
cd "$(dirname "$0")/.."

PACKAGES=(cmake make g++ pkg-config python3 libssl-dev openssl libbenchmark-dev libxml2-dev libpugixml-dev
          valgrind strace)

install_missing() {
    local missing=()
    for p in "${PACKAGES[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
    done
    if [ ${#missing[@]} -gt 0 ]; then
        echo "bench/run.sh: installing ${missing[*]}"
        if [ "$(id -u)" -ne 0 ]; then
            echo "bench/run.sh: these packages are missing and installing them needs root: ${missing[*]}" >&2
            exit 1
        fi
        export DEBIAN_FRONTEND=noninteractive
        apt-get update -qq
        apt-get install -y -qq --no-install-recommends "${missing[@]}"
    fi
}

install_missing
# Debian's python3, not a user's shim: the generator needs only the standard library.
py=/usr/bin/python3
[ -x "$py" ] || py=$(command -v python3)
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DORVSOAP_BENCH=ON -DORVSOAP_TESTS=OFF \
      -DORVSOAP_MEMDEBUG=OFF -DORVSOAP_SANITIZE=OFF -DPython3_EXECUTABLE="$py" >/dev/null
# two jobs: the machine is shared
cmake --build build-bench -j2

for b in build-bench/bench/*_bench; do
    [ -x "$b" ] || continue
    echo "=== $(basename "$b")"
    "$b"
    echo
done
if [ "${1:-}" != "--no-callgrind" ]; then
    echo "=== run_callgrind_xml.sh"
    bench/run_callgrind_xml.sh build-bench
fi
