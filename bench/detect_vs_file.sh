#!/usr/bin/env bash
# Times `vaxel detect` against `file --brief` (libmagic) over the same folder
# of files, as whole processes, in the same run. Prints both figures and
# their ratio.
#   bench/detect_vs_file.sh [build folder] [corpus folder]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
corpus=${2:-build/bench-corpus}
vaxel="$build/src/vaxel"
[ -x "$vaxel" ] || { echo "build $vaxel first" >&2; exit 1; }
if [ ! -d "$corpus" ] || [ "$(ls "$corpus" | wc -l)" -lt 1000 ]; then
  rm -rf "$corpus"
  bench/make_corpus.sh "$corpus" >&2
fi
count=$(ls "$corpus" | wc -l)
json=$(mktemp)
hyperfine --warmup 2 --runs 10 --shell=bash --export-json "$json" \
  -n vaxel "$vaxel detect $corpus/* > /dev/null 2>&1 || true" \
  -n libmagic "file --brief $corpus/* > /dev/null" >&2
/usr/bin/python3 - "$json" "$count" <<'PY'
import json, sys
r = {x["command"]: x for x in json.load(open(sys.argv[1]))["results"]}
files = int(sys.argv[2])
v, m = r["vaxel"]["mean"], r["libmagic"]["mean"]
print(f"files: {files}")
print(f"vaxel detect:  {v*1000:8.1f} ms  ({v/files*1e6:6.1f} us a file)")
print(f"file --brief:  {m*1000:8.1f} ms  ({m/files*1e6:6.1f} us a file)")
print(f"ratio (libmagic / vaxel): {m/v:.2f}x")
PY
rm -f "$json"
