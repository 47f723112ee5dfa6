#!/usr/bin/env bash
# Opening a large SoundFont bank as whole processes, beside the peers on the
# same file (fluid-soundfont-gm's FluidR3_GM.sf2, 148 MB, 1,418 samples):
#
#   1. samples deferred: `vaxel info BANK` (every preset, layer, region and
#      wave listed) beside gigtools' `sf2dump BANK`;
#   2. every sample read: `vaxel info --decode BANK` (all samples decoded
#      to float and their peaks shown) beside FluidSynth loading the bank
#      (`fluidsynth -i -n -q` with a `quit` command; it reads all samples
#      at load time by default).
#
# hyperfine times each pair; /usr/bin/time gives the peak memory.
#
#   bench/sf2_vs_peers.sh [build-dir] [bank]
set -euo pipefail
build=${1:-build}
bank=${2:-/usr/share/sounds/sf2/FluidR3_GM.sf2}
vaxel="$(cd "$build" && pwd)/src/vaxel"
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
echo quit > "$dir/quit.txt"
fluid="fluidsynth -i -n -q -a file -o audio.file.name=/dev/null -f $dir/quit.txt $bank"

hyperfine --warmup 1 --runs 10 -N \
  --command-name "vaxel info" "$vaxel info $bank" \
  --command-name "sf2dump" "sf2dump $bank" \
  --export-json "$dir/deferred.json" 2>/dev/null | grep -E "^Benchmark|Time|±|faster" || true
hyperfine --warmup 1 --runs 10 -N \
  --command-name "vaxel info --decode" "$vaxel info --decode $bank" \
  --command-name "fluidsynth load" "$fluid" \
  --export-json "$dir/decoded.json" 2>/dev/null | grep -E "^Benchmark|Time|±|faster" || true

for cmd in "$vaxel info $bank" "sf2dump $bank" "$vaxel info --decode $bank" "$fluid"; do
  /usr/bin/time -f "%M KB peak  ${cmd%% *} ${cmd#* }" $cmd > /dev/null 2> "$dir/time.txt" || true
  tail -1 "$dir/time.txt" | sed "s|$dir|.|; s|$bank|BANK|; s|$vaxel|vaxel|"
done
