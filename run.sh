#!/usr/bin/env bash
# run.sh demo | test -- set up a fresh Debian 12 machine (as root) with what the
# build needs, build incrementally, then run the demo or every test.
set -euo pipefail
cd "$(dirname "$0")"

PACKAGES=(cmake make g++ pkg-config python3 libssl-dev openssl libgtest-dev libxml2-utils ca-certificates tinyproxy)

install_missing() {
    local missing=()
    for p in "${PACKAGES[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
    done
    if [ ${#missing[@]} -gt 0 ]; then
        echo "run.sh: installing ${missing[*]}"
        if [ "$(id -u)" -ne 0 ]; then
            echo "run.sh: these packages are missing and installing them needs root: ${missing[*]}" >&2
            exit 1
        fi
        export DEBIAN_FRONTEND=noninteractive
        apt-get update -qq
        apt-get install -y -qq --no-install-recommends "${missing[@]}"
    fi
}

# Debian's python3, not a user's shim: the generator and the provider need only the standard library.
py=/usr/bin/python3
[ -x "$py" ] || py=$(command -v python3 || echo python3)

build() {
    cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVSOAP_MEMDEBUG=ON \
          -DPython3_EXECUTABLE="$py" >/dev/null
    cmake --build build -j"$(nproc)"
}

case "${1:-}" in
    demo)
        install_missing
        build
        # The reference provider on a free loopback port for the demo's calls.
        log=$(mktemp)
        "$py" provider/orv_provider.py --port 0 >"$log" 2>&1 &
        provider=$!
        trap 'kill $provider 2>/dev/null; wait $provider 2>/dev/null; rm -f "$log"' EXIT
        for _ in $(seq 100); do
            grep -q 'listening on' "$log" && break
            sleep 0.1
        done
        port=$(sed -n 's/.*listening on 127\.0\.0\.1:\([0-9]*\).*/\1/p' "$log")
        if [ -z "$port" ]; then
            echo "run.sh: the reference provider did not start:" >&2
            cat "$log" >&2
            exit 1
        fi
        ./build/examples/demo "http://127.0.0.1:$port"
        ;;
    test)
        install_missing
        build
        ctest --test-dir build --output-on-failure -j"$(nproc)"
        ;;
    *)
        echo "usage: ./run.sh demo | test" >&2
        exit 2
        ;;
esac
