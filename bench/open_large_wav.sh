#!/usr/bin/env bash
# Opening a WAV must cost the same whatever the size of its data: the reader
# records where the samples are and reads none of them. This makes sparse
# WAV files of 1 MiB, 256 MiB and 2 GiB (they take no disk space) and times
# `vaxel info` on each, with its peak memory, beside libsndfile's
# `sndfile-info` on the same files.
#
#   bench/open_large_wav.sh [build-dir]
set -euo pipefail
build=${1:-build}
vaxel="$build/src/vaxel"
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

make_wav() { # path data-bytes
  /usr/bin/python3 - "$1" "$2" <<'PY'
import struct, sys
path, data = sys.argv[1], int(sys.argv[2])
with open(path, "wb") as f:
    f.write(b"RIFF" + struct.pack("<I", min(36 + data, 0xFFFFFFFF)) + b"WAVE")
    f.write(b"fmt " + struct.pack("<IHHIIHH", 16, 1, 2, 48000, 48000 * 4, 4, 16))
    f.write(b"data" + struct.pack("<I", data))
    f.truncate(44 + data)
PY
}

printf "%-10s %12s %12s %14s %14s\n" size "vaxel s" "vaxel KB" "sndfile-info s" "sndfile KB"
for size in 1048576 268435456 2147483648; do
  f="$dir/big-$size.wav"
  make_wav "$f" "$size"
  v=$( { /usr/bin/time -f "%e %M" "$vaxel" info "$f" >/dev/null; } 2>&1 | tail -1)
  s=$( { /usr/bin/time -f "%e %M" sndfile-info "$f" >/dev/null; } 2>&1 | tail -1)
  printf "%-10s %12s %12s %14s %14s\n" "$((size / 1048576))M" ${v% *} ${v#* } ${s% *} ${s#* }
  rm -f "$f"
done
