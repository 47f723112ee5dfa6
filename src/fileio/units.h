#pragma once
// Unit conversions that the format readers and writers share: decibels and
// linear gain, pitch normalization, and note names such as "C#3".
#include <string_view>

namespace vaxel {

// Linear gain of a level in dB. 0 at or below -96 dB; the exact values 1, 2,
// 5, 0.5 and 0.25 at 0, +6, +12, -6 and -12 dB; else e^(dB * 0.115129255),
// rounded to three decimals when at least 1.
double DbToGain(double db);
// Level in dB of a linear gain, in hundredths of a dB. -96 at or below
// 1.5848933e-5; the exact values 0, 6, 12, -6 and -12 at 1, 2, 4, 0.5, 0.25.
double GainToDb(double gain);

// Moves whole semitones from cents into key: cents above 100 (below -100)
// are brought to within +-50 in steps of 100. The key is then clamped to
// 0..127; the cents are left as they are.
void NormalizePitch(int& key, int& cents);

// The key number of a note name, or -1. The text is a letter C D E F G A B H
// (either case; H is the German B), an optional '#' (+1) or 'b' (-1), an
// optional '-' or '+' and one or two digits, and nothing else: a name
// without an octave number is no key and fails. The key is
// pitch + 12 * (octave - octaveOffset + 5), so octaveOffset is the octave
// number of key 60 (4 when middle C is "C4"). With octaveOffset 255 the
// octave number is taken as it stands (C0 is key 0) except that a negative
// octave counts one higher (C-1 is also key 0). Keys below 0 or above 127
// fail.
constexpr int kOctaveAsWritten = 255;
int ParseNoteName(std::u16string_view text, int octaveOffset);
int ParseNoteName(std::string_view text, int octaveOffset);

} // namespace vaxel
