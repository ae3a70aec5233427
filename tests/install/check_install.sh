#!/usr/bin/env bash
# Installs the built library into a scratch prefix and builds a consumer
# against it twice: through find_package and through pkg-config.
set -euo pipefail
build=$1; src=$2
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$src/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib:$work/prefix/lib64:${LD_LIBRARY_PATH:-}" "$work/consumer/consumer"
pc=$(ls "$work"/prefix/lib*/pkgconfig/orvsoap.pc)
PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --exists orvsoap
c++ -std=c++17 "$src/consumer/main.cpp" -o "$work/pc-consumer" \
    $(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags --libs orvsoap) -lssl -lcrypto
LD_LIBRARY_PATH="$work/prefix/lib:$work/prefix/lib64:${LD_LIBRARY_PATH:-}" "$work/pc-consumer"
echo "install check passed"
