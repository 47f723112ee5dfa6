#!/usr/bin/env bash
# Installs, with apt-get, whatever the build and the tests need and this
# machine lacks. Safe to run again: it installs only what is missing.
set -euo pipefail

packages=(
  # build
  cmake ninja-build g++ clang libclang-rt-14-dev ccache pkg-config
  # libraries
  zlib1g-dev libgtest-dev libgmock-dev libbenchmark-dev
  # the peer of the decoding benchmark and the loop oracle of the tests
  libsndfile1-dev
  # outside tools the tests use as oracles, and the benchmark's peer
  sox libsox-fmt-all ffmpeg python3 python3-mido python3-numpy python3-soundfile sndfile-programs zip unzip file hyperfine gigtools
  # MIDI oracles: midicsv (also the SMF benchmark's peer), and two players that
  # must render the songs we write
  midicsv fluidsynth timidity timgm6mb-soundfont fluid-soundfont-gm
  # the desktop program (Qt 6 Widgets) and its screenshot under a virtual display
  qt6-base-dev libgl-dev xvfb xauth x11-apps imagemagick
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo_cmd=""
  if [ "$(id -u)" -ne 0 ]; then sudo_cmd="sudo"; fi
  export DEBIAN_FRONTEND=noninteractive
  $sudo_cmd apt-get update -qq
  $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
