#!/usr/bin/env bash
# Makes a folder of a few thousand real files for the detection benchmark:
# audio written by sox and ffmpeg in many formats and shapes, MIDI files
# written by python3-mido, and files that Debian's packages ship.
#   bench/make_corpus.sh <folder>
set -euo pipefail
out=${1:?usage: make_corpus.sh <folder>}
mkdir -p "$out"
n=0

# sox: every container it writes, with varied rates, depths and channels.
for fmt in wav aiff aifc au voc flac ogg 8svx avr sf w64 sph maud; do
  for rate in 8000 11025 22050 44100 48000; do
    for bits in 8 16 24; do
      for ch in 1 2; do
        for len in 0.02 0.2; do
          f="$out/sox_${n}.$fmt"
          if sox -V0 -n -r "$rate" -b "$bits" -c "$ch" "$f" synth "$len" sine 440 2>/dev/null; then
            n=$((n + 1))
          else
            rm -f "$f"
          fi
        done
      done
    done
  done
done

# ffmpeg: compressed formats.
for entry in "mp3:-c:a libmp3lame" "mp2:-c:a mp2" "m4a:-c:a aac" "opus:-c:a libopus" "mka:-c:a pcm_s16le" \
            "wv:-c:a wavpack" "caf:-c:a pcm_s16le" "ac3:-c:a ac3" "wma:-c:a wmav2" "aac:-c:a aac"; do
  ext=${entry%%:*}; args=${entry#*:}
  for rate in 22050 44100 48000; do
    for i in 0 1 2 3 4 5 6 7 8 9; do
      f="$out/ff_${n}.$ext"
      # shellcheck disable=SC2086
      if ffmpeg -v quiet -f lavfi -i "sine=frequency=$((220 + i * 55)):duration=0.3:sample_rate=$rate" $args -y "$f"; then
        n=$((n + 1))
      fi
    done
  done
done

# python3-mido: MIDI files of the three formats.
/usr/bin/python3 - "$out" <<'PY'
import random, sys, mido
out = sys.argv[1]
random.seed(7)
for i in range(200):
    mid = mido.MidiFile(type=i % 3 if i % 3 != 2 else 1, ticks_per_beat=random.choice([96, 192, 480]))
    for t in range(1 if mid.type == 0 else random.randint(1, 4)):
        track = mido.MidiTrack()
        for _ in range(random.randint(1, 40)):
            note = random.randint(30, 90)
            track.append(mido.Message('note_on', note=note, velocity=100, time=random.randint(0, 100)))
            track.append(mido.Message('note_off', note=note, velocity=0, time=random.randint(1, 100)))
        mid.tracks.append(track)
    mid.save(f"{out}/mido_{i}.mid")
PY
n=$((n + 200))

# Files that Debian ships: whatever lies under /usr/share, skipping tiny ones.
want=1200
find /usr/share -type f -size +1k 2>/dev/null | sort | head -n 20000 | awk 'NR % 13 == 0' | head -n "$want" |
  while read -r f; do
    base=$(basename "$f")
    cp "$f" "$out/deb_${RANDOM}${RANDOM}_$base" 2>/dev/null || true
  done

echo "$(ls "$out" | wc -l) files in $out"
