#!/usr/bin/env bash
# Loudness and filters over a ten-minute 16-bit stereo wave made by sox, as
# whole processes, beside the peers on the same file:
#
#   - "Find volume" with the ReplayGain measure (LoudnessOfWave: the
#     equal-loudness filter and the level histogram) beside ffmpeg's
#     `replaygain` and `ebur128` filters (both only measure: -f null);
#   - "Filter waveform" low-pass 6 and 12 dB/oct at 8 kHz beside
#     `sox lowpass -1 8000` and `sox lowpass 8000`.
#
# vaxel process also writes its result file (the measuring tool changes the
# wave's name only); sox writes its output too, ffmpeg writes nothing.
#
#   bench/loudness_vs_ffmpeg.sh [build-dir]
set -euo pipefail
build=${1:-build}
vaxel="$(cd "$build" && pwd)/src/vaxel"
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

in="$dir/in.wav"
sox -n -r 44100 -c 2 -b 16 "$in" synth 600 pinknoise synth 600 sine mix 440 gain -12

hyperfine --warmup 1 --runs 5 -N --export-json "$dir/t.json" \
  -n "vaxel Find volume (ReplayGain)" "$vaxel process $in -o $dir/v0.wav --tool 'Find volume' --set measure=1" \
  -n "ffmpeg replaygain" "ffmpeg -nostats -hide_banner -loglevel error -i $in -af replaygain -f null -" \
  -n "ffmpeg ebur128" "ffmpeg -nostats -hide_banner -loglevel error -i $in -af ebur128 -f null -" \
  -n "vaxel Low-Pass 6" "$vaxel process $in -o $dir/v1.wav --tool 'Filter waveform' --set filter-type=1" \
  -n "sox lowpass -1" "sox $in $dir/s1.wav lowpass -1 8000" \
  -n "vaxel Low-Pass 12" "$vaxel process $in -o $dir/v2.wav --tool 'Filter waveform' --set filter-type=2" \
  -n "sox lowpass" "sox $in $dir/s2.wav lowpass 8000" 2>/dev/null | grep -E "^Benchmark|Time \(mean" || true

/usr/bin/python3 - "$dir/t.json" <<'PY'
import json, sys
r = {x["command"]: x for x in json.load(open(sys.argv[1]))["results"]}
def line(name):
    x = r[name]
    print("%-32s %7.3f s +- %.3f  (user %.3f s, sys %.3f s)" % (name, x["mean"], x["stddev"], x["user"], x["system"]))
for n in r: line(n)
m = lambda n: r[n]["mean"]
print("loudness: vaxel/replaygain = %.2f, vaxel/ebur128 = %.2f" % (
    m("vaxel Find volume (ReplayGain)") / m("ffmpeg replaygain"), m("vaxel Find volume (ReplayGain)") / m("ffmpeg ebur128")))
print("low-pass 6:  vaxel/sox = %.2f" % (m("vaxel Low-Pass 6") / m("sox lowpass -1")))
print("low-pass 12: vaxel/sox = %.2f" % (m("vaxel Low-Pass 12") / m("sox lowpass")))
PY
