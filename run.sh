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

build() {
    # Debian's python3, not a user's shim: the generator needs only the standard library.
    local py=/usr/bin/python3
    [ -x "$py" ] || py=$(command -v python3)
    cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVSOAP_MEMDEBUG=ON \
          -DPython3_EXECUTABLE="$py" >/dev/null
    cmake --build build -j"$(nproc)"
}

case "${1:-}" in
    demo)
        install_missing
        build
        ./build/examples/demo
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
