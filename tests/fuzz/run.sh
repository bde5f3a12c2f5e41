#!/usr/bin/env bash
# Builds the stream-loader fuzz target with clang in its own build directory
# and runs it for 60 seconds from the committed seed corpus. Exits non-zero
# when the fuzzer reports a crash, a leak or a sanitizer error.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${ZEV_FUZZ_BUILD_DIR:-$root/build-fuzz}
seconds=${ZEV_FUZZ_SECONDS:-60}

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DZEV_FUZZ=ON -DZEV_TESTS=ON -DZEV_TOOLS=OFF -DZEV_SANITIZE=OFF >/dev/null
cmake --build "$build" -j2 --target zev_fuzz_load_stream

# New inputs go to a scratch directory; the committed corpus stays as it is.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
ASAN_OPTIONS=detect_leaks=1 "$build/tests/fuzz/zev_fuzz_load_stream" \
  -max_total_time="$seconds" -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$build/" \
  "$work" "$here/corpus"
