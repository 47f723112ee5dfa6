#!/usr/bin/env bash
# Sets up everything, builds, and runs the command-line program. With no
# arguments it opens the bundled example files in Vaxel Studio when a display
# is there, and otherwise shows what it finds in them; any
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

# With a display, the desktop program opens the examples: the song first,
# the waves merged into it.
if [ -n "${DISPLAY:-}" ] && ninja -C build vaxel-studio >/dev/null 2>&1 && [ -x build/src/app/vaxel-studio ]; then
  exec build/src/app/vaxel-studio "$PWD/$examples/arpeggio.mid" "$PWD/$examples/pad-with-loops.wav" "$PWD/$examples/tone.wav"
fi
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
