#!/usr/bin/env bash
# Takes a picture of Vaxel Studio: runs it under a virtual X display on a few
# bundled files and saves the window as a PNG.
#   scripts/screenshot.sh [OUT.png] [FILE...]
# The first file opens and the others merge, as on the command line. Default:
# docs/screenshot.png of a small freeware SoundFont bank from the test data
# (its instruments fill the tree), the example song and a looped wave.
set -euo pipefail
cd "$(dirname "$0")/.."

out=${1:-docs/screenshot.png}
build=${VAXEL_BUILD_DIR:-build}
scripts/install-deps.sh >&2
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVAXEL_TESTS=OFF -DVAXEL_BENCH=OFF >/dev/null
ninja -C "$build" vaxel-studio make_examples >/dev/null
"$build"/examples/make_examples "$build"/examples/files >/dev/null
files=("${@:2}")
if [ ${#files[@]} -eq 0 ]; then
  ex=$build/examples/files
  files=(tests/data/instruments/sf2/VintageDreamsWaves-v2.sf2 "$ex/arpeggio.mid" "$ex/pad-with-loops.wav")
fi
mapfile -t files < <(realpath "${files[@]}")
mkdir -p "$(dirname "$out")"

# A settings folder of its own, so the picture shows the first-run layout
# and the user's recent files stay out of it.
config=$(mktemp -d)
trap 'rm -rf "$config"' EXIT
export XDG_CONFIG_HOME=$config XDG_DATA_HOME=$config

# xvfb-run finds a free display; the program gets 3 s to open the file and
# paint, then the root window (the program fills it) is saved.
xvfb-run -a -s "-screen 0 900x600x24" bash -c '
  out=$1 program=$2
  shift 2
  "$program" -NOMSG "$@" &
  pid=$!
  sleep 3
  import -window root "$out"
  kill "$pid"
  wait "$pid" 2>/dev/null || true
' _ "$out" "$build/src/app/vaxel-studio" "${files[@]}"
echo "$out"
