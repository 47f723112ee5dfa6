// Unit conversions shared by the format readers and writers.
#include "fileio/units.h"

#include <cmath>
#include <cstdint>

namespace vaxel {

double DbToGain(double db) {
    if (db <= -96.0) return 0.0;
    // The usual points are exact, so that a level read and written again
    // keeps its round value. +12 dB is 5, not 4: files in the field store it
    // so.
    if (db == 0.0) return 1.0;
    if (db == 6.0) return 2.0;
    if (db == 12.0) return 5.0;
    if (db == -6.0) return 0.5;
    if (db == -12.0) return 0.25;
    double gain = std::exp(db * 0.115129255); // ln(10) / 20
    if (gain >= 1.0) gain = std::round(gain * 1000.0) / 1000.0;
    return gain;
}

double GainToDb(double gain) {
    if (gain <= 1.5848933e-5) return -96.0; // 10^(-96/20)
    if (gain == 1.0) return 0.0;
    if (gain == 2.0) return 6.0;
    if (gain == 4.0) return 12.0;
    if (gain == 0.5) return -6.0;
    if (gain == 0.25) return -12.0;
    // Hundredths of a dB (868.5889 = 2000 / ln(10)), rounded away from zero
    // with an offset of 0.499.
    double hundredths = std::log(gain) * 868.5889;
    hundredths = hundredths >= 0.0 ? std::floor(hundredths + 0.499) : std::ceil(hundredths - 0.499);
    return hundredths * 0.01;
}

void NormalizePitch(int& key, int& cents) {
    // Whole steps of 100 until the cents lie within +-50, counted rather than
    // looped so that a wild value read from a file costs nothing.
    int64_t steps = 0;
    if (cents > 100)
        steps = (int64_t(cents) - 51) / 100 + 1;
    else if (cents < -100)
        steps = -((-int64_t(cents) - 51) / 100 + 1);
    cents = int(cents - steps * 100);
    int64_t k = key + steps;
    key = int(k < 0 ? 0 : k > 127 ? 127 : k);
}

namespace {

template <class Char> int ParseNote(const Char* text, size_t length, int octaveOffset) {
    static const int kPitch[7] = {9, 11, 0, 2, 4, 5, 7}; // A B C D E F G
    size_t i = 0;
    if (length == 0) return -1;
    int pitch;
    Char letter = text[i++];
    if (letter >= 'a' && letter <= 'z') letter = Char(letter - 32);
    if (letter >= 'A' && letter <= 'G')
        pitch = kPitch[letter - 'A'];
    else if (letter == 'H')
        pitch = 11;
    else
        return -1;
    if (i < length && text[i] == '#') {
        ++pitch;
        ++i;
    } else if (i < length && text[i] == 'b') {
        --pitch;
        ++i;
    }
    bool negative = false;
    if (i < length && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
    int number = 0, digits = 0;
    while (i < length && text[i] >= '0' && text[i] <= '9' && digits < 2) {
        number = number * 10 + int(text[i++] - '0');
        ++digits;
    }
    if (digits == 0 || i != length) return -1;
    if (negative) number = -number;
    // 64 bits: any octaveOffset a caller passes stays in range.
    int64_t octave;
    if (octaveOffset == kOctaveAsWritten)
        octave = number < 0 ? number + 1 : number;
    else
        octave = int64_t(number) - octaveOffset + 5;
    int64_t key = pitch + octave * 12;
    return key < 0 || key > 127 ? -1 : int(key);
}

} // namespace

int ParseNoteName(std::u16string_view text, int octaveOffset) {
    return ParseNote(text.data(), text.size(), octaveOffset);
}

int ParseNoteName(std::string_view text, int octaveOffset) {
    return ParseNote(text.data(), text.size(), octaveOffset);
}

} // namespace vaxel
