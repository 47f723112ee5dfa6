#!/usr/bin/env bash
# vaxel process against sox on the same job, whole process each (open, run
# the tool, save): "Maximize amplitude" beside `sox gain -n`, and "Adjust
# volume/gain" at -6 dB beside `sox vol -6dB`, on a 16-bit stereo file of
# ten minutes made by sox. Prints hyperfine's table and the ratios.
#
#   bench/process_vs_sox.sh [build-dir]
set -euo pipefail
build=${1:-build}
vaxel="$build/src/vaxel"
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

in="$dir/in.wav"
sox -n -r 44100 -c 2 -b 16 "$in" synth 600 sine 440 sine 660 gain -8

hyperfine --warmup 1 --runs 5 --export-json "$dir/t.json" \
  -n "vaxel maximize" "$vaxel process $in -o $dir/v1.wav --tool 'Maximize amplitude' 2>/dev/null" \
  -n "sox gain -n" "sox $in $dir/s1.wav gain -n" \
  -n "vaxel gain -6" "$vaxel process $in -o $dir/v2.wav --tool 'Adjust volume/gain' --set gain=-6 2>/dev/null" \
  -n "sox vol -6dB" "sox $in $dir/s2.wav vol -6dB"

/usr/bin/python3 - "$dir/t.json" <<'PY'
import json, sys
r = {x["command"]: x["mean"] for x in json.load(open(sys.argv[1]))["results"]}
print("maximize: vaxel/sox = %.2f" % (r["vaxel maximize"] / r["sox gain -n"]))
print("gain -6:  vaxel/sox = %.2f" % (r["vaxel gain -6"] / r["sox vol -6dB"]))
PY
