#!/usr/bin/env bash
# Sets up everything, builds, and runs the command-line program. With no
# arguments it shows what it finds in the bundled example files; any
# arguments go to `vaxel` as they are (try ./run.sh --help).
set -euo pipefail
cd "$(dirname "$0")"

scripts/install-deps.sh >&2
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVAXEL_TESTS=OFF -DVAXEL_BENCH=OFF >/dev/null
ninja -C build vaxel make_examples >/dev/null

if [ $# -gt 0 ]; then
  exec build/src/vaxel "$@"
fi

examples=build/examples/files
build/examples/make_examples "$examples"
vaxel=build/src/vaxel

echo "== vaxel detect: the format of each example file" >&2
"$vaxel" detect "$examples"/*
echo >&2
echo "== vaxel info: a wave with loops, a played section, markers and info texts" >&2
"$vaxel" info "$examples/pad-with-loops.wav"
echo >&2
echo "== vaxel convert: the same wave as 24-bit PCM, loops and markers kept" >&2
"$vaxel" convert "$examples/pad-with-loops.wav" "$examples/pad-with-loops-24bit.wav" --coding "PCM 24-bit"
"$vaxel" info "$examples/pad-with-loops-24bit.wav"
