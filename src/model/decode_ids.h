#pragma once
// The stable numbers of the decode routines (see RegisterDecodeRoutine). A
// number, once given out, never changes meaning: flat images and state files
// hold these numbers. Append new routines at the end.
#include <cstdint>

namespace vaxel::decode_id {

constexpr uint16_t kNone = 0;
constexpr uint16_t kGeneric = 1; // plain PCM, float, G.711, delta (fileio)
constexpr uint16_t kWav = 2;     // RIFF WAVE codecs and wide containers
constexpr uint16_t kWave64 = 3;  // Wave-64 containers the generic decoder can't take
constexpr uint16_t kSf2Sm24 = 4; // SoundFont 24-bit samples: smpl words plus sm24 bytes

} // namespace vaxel::decode_id
