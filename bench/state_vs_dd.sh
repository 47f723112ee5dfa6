#!/usr/bin/env bash
# Undo states of a collection holding 1 GB of samples beside a plain
# sequential write and read of the same number of bytes with dd, in the same
# folder and the same run. Both write into the page cache (neither syncs) and
# read a file that is cached, so the figures compare the work of each side,
# not the disk.
#
#   bench/state_vs_dd.sh [build-dir]
set -euo pipefail
build=${1:-build}
bench="$build/bench/vaxel_bench"
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
export VAXEL_BENCH_STATE_DIR="$dir"

echo "== vaxel: pushWholeState and loadState, 64 stereo waves, 1 GB of float samples"
/usr/bin/time -f "peak RSS %M KB" "$bench" --benchmark_filter=BM_WholeState --benchmark_counters_tabular=true 2>&1 |
  grep -E "BM_|push_s|peak RSS" || true

mb=$(( 1024 + 1 ))
echo "== dd: the same size written and read, 1 MiB blocks"
for i in 1 2 3; do
  start=$(date +%s.%N)
  dd if=/dev/zero of="$dir/plain" bs=1M count=$mb status=none
  mid=$(date +%s.%N)
  dd if="$dir/plain" of=/dev/null bs=1M status=none
  end=$(date +%s.%N)
  echo "write $(echo "$mid - $start" | bc) s, read $(echo "$end - $mid" | bc) s"
  rm -f "$dir/plain"
done
