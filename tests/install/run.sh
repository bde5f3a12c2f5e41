#!/usr/bin/env bash
# usage: run.sh BUILD_DIR CONSUMER_SOURCE_DIR C_COMPILER
set -euo pipefail
build=$1 src=$2 cc=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$src" -B "$work/cm" -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_C_COMPILER="$cc" >/dev/null
cmake --build "$work/cm" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib" "$work/cm/consumer"
libdir=$(ls -d "$work"/prefix/lib*/pkgconfig | head -n1)
PKG_CONFIG_PATH="$libdir" "$cc" -std=c99 -Wall -Werror "$src/consumer.c" -o "$work/pc" \
  $(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs zev)
LD_LIBRARY_PATH="$(dirname "$libdir")" "$work/pc" >/dev/null
echo "installed tree: find_package and pkg-config consumers ran"
