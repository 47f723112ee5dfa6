#!/usr/bin/env bash
# Sets up everything, builds, and runs every test: first an optimised build
# with warnings as errors, then the same tests under AddressSanitizer and
# UndefinedBehaviorSanitizer, then each fuzz target over its seed corpus.
set -euo pipefail
cd "$(dirname "$0")"
jobs=$(nproc)

scripts/install-deps.sh

echo "== Optimised build and tests"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVAXEL_WERROR=ON
ninja -C build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs"

echo "== Sanitizer build (clang, ASan + UBSan) with the fuzz targets"
CC=clang CXX=clang++ cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVAXEL_SANITIZE=ON -DVAXEL_FUZZ=ON -DVAXEL_BENCH=OFF -DVAXEL_WERROR=ON
ninja -C build-asan -j "$jobs"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir build-asan --output-on-failure -j "$jobs"

echo "== Fuzz targets over their seed corpora"
fuzz_seconds=${VAXEL_FUZZ_SECONDS:-20}
for target in build-asan/fuzz/fuzz_*; do
  [ -x "$target" ] || continue
  name=$(basename "$target"); name=${name#fuzz_}
  seeds=fuzz/corpus/$name
  scratch=$(mktemp -d)
  # New inputs go to the scratch folder; the seeds are only read.
  "$target" -max_total_time="$fuzz_seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=0 \
    "$scratch" "$seeds" 2>"$scratch.log" || { tail -50 "$scratch.log"; echo "fuzz target $name failed"; exit 1; }
  echo "fuzz_$name: ran ${fuzz_seconds}s over $(ls "$seeds" | wc -l) seeds, $(ls "$scratch" | wc -l) new inputs, no failure"
  rm -rf "$scratch" "$scratch.log"
done

echo "== All tests passed"
