#!/usr/bin/env bash
# Reading and writing a large Standard MIDI file, as whole processes, beside
# midicsv (C) on the same file: `vaxel convert big.mid out.mid` reads the
# song (every track scanned for its events, names and texts) and writes it
# again; `midicsv` reads the same file and writes it as CSV text, and
# `csvmidi` turns that text back into an SMF. The file is 10 MB with 64
# tracks of notes, controllers, pitch bends and running status, made by the
# script below. hyperfine times each command; the ratio is printed at the end.
#
#   bench/smf_vs_midicsv.sh [build-dir]
set -euo pipefail
build=${1:-build}
vaxel="$(cd "$build" && pwd)/src/vaxel"
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

/usr/bin/python3 - "$dir/big.mid" <<'PY'
import random, struct, sys

random.seed(7)
TRACKS, TARGET = 64, 10 * 1000 * 1000


def varlen(n):
    out = [n & 0x7F]
    n >>= 7
    while n:
        out.append(0x80 | (n & 0x7F))
        n >>= 7
    return bytes(reversed(out))


per_track = (TARGET - 14) // TRACKS - 8
chunks = []
for t in range(TRACKS):
    ch = t % 16
    body = bytearray()
    body += b"\x00\xff\x03" + varlen(len(b"Track %d" % t)) + b"Track %d" % t
    if t == 0:
        body += b"\x00\xff\x51\x03\x07\xa1\x20"
    body += bytes([0, 0xC0 | ch, t % 128])
    status = 0
    while len(body) < per_track - 16:
        kind = random.random()
        delta = varlen(random.choice((0, 0, 12, 24, 48, 96, 500)))
        if kind < 0.8:  # notes, with running status between them
            note, vel = random.randrange(24, 100), random.randrange(1, 128)
            s = 0x90 | ch
            body += delta + (bytes([s]) if status != s else b"") + bytes([note, vel])
            body += b"\x18" + bytes([note, 0])
            status = s
        elif kind < 0.9:
            s = 0xB0 | ch
            body += delta + bytes([s, random.randrange(128), random.randrange(128)])
            status = s
        elif kind < 0.98:
            s = 0xE0 | ch
            body += delta + bytes([s, random.randrange(128), random.randrange(128)])
            status = s
        else:
            text = b"marker %d" % len(body)
            body += delta + b"\xff\x06" + varlen(len(text)) + text
    body += b"\x00\xff\x2f\x00"
    chunks.append(b"MTrk" + struct.pack(">I", len(body)) + bytes(body))
with open(sys.argv[1], "wb") as f:
    f.write(b"MThd" + struct.pack(">IHHH", 6, 1, TRACKS, 480))
    for c in chunks:
        f.write(c)
PY

ls -l "$dir/big.mid" | awk '{printf "input: %.1f MB\n", $5 / 1e6}'
cd "$dir"
midicsv big.mid out.csv
hyperfine --warmup 2 --runs 10 --export-json times.json \
  -n "vaxel convert (SMF -> SMF)" "$vaxel convert big.mid out.mid" \
  -n "midicsv (SMF -> CSV)" "midicsv big.mid out.csv" \
  -n "csvmidi (CSV -> SMF)" "csvmidi out.csv back.mid"
cmp big.mid out.mid && echo "vaxel's output equals the input byte for byte"
cmp big.mid back.mid && echo "csvmidi's output equals the input byte for byte" || true
/usr/bin/python3 - <<'PY'
import json
r = {x["command"]: x["mean"] for x in json.load(open("times.json"))["results"]}
v = r["vaxel convert (SMF -> SMF)"]
m = r["midicsv (SMF -> CSV)"]
c = r["csvmidi (CSV -> SMF)"]
print("vaxel %.1f ms, midicsv %.1f ms, csvmidi %.1f ms" % (v * 1e3, m * 1e3, c * 1e3))
print("vaxel / midicsv = %.2f, vaxel / (midicsv + csvmidi) = %.2f" % (v / m, v / (m + c)))
PY
