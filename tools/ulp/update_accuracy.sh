#!/usr/bin/env bash
# Rebuilds the ulp tool and rewrites docs/accuracy.md from a full run.
#   tools/ulp/update_accuracy.sh [build-dir] [extra zev_ulp options, e.g. --points 1000000]
# The table is rewritten even when a function is over its bound (the run's
# exit status is passed on), so that the failure is visible in the table.
set -uo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
build="${1:-$root/build-ulp}"
shift || true
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZEV_TOOLS=ON >/dev/null || exit 2
cmake --build "$build" -j2 --target zev_ulp || exit 2
"$build/tools/ulp/zev_ulp" --full --markdown "$root/docs/accuracy.md" "$@"
status=$?
echo "docs/accuracy.md rewritten (zev_ulp exit status $status)"
exit $status
