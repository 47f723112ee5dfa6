// Makes the example files that ./run.sh shows the program on. Every byte is
// written by this program, so the examples carry no one else's material.
//
//   make_examples <folder>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "fileio/format_table.h"
#include "fileio/open_save.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/property.h"
#include "model/waveform.h"

namespace {

using Bytes = std::vector<uint8_t>;

void PutLE(Bytes& b, uint32_t v, int n) {
    for (int i = 0; i < n; ++i) b.push_back(uint8_t(v >> (8 * i)));
}
void PutBE(Bytes& b, uint32_t v, int n) {
    for (int i = n - 1; i >= 0; --i) b.push_back(uint8_t(v >> (8 * i)));
}
void PutText(Bytes& b, const char* s) {
    while (*s) b.push_back(uint8_t(*s++));
}

// One second of a decaying 440 Hz tone at 22,050 Hz, 16-bit.
std::vector<int16_t> Tone() {
    const int rate = 22050;
    std::vector<int16_t> s(rate);
    for (int i = 0; i < rate; ++i) {
        double t = double(i) / rate;
        s[size_t(i)] = int16_t(20000.0 * std::exp(-3.0 * t) * std::sin(2.0 * M_PI * 440.0 * t));
    }
    return s;
}

Bytes Wave() {
    auto tone = Tone();
    Bytes b;
    PutText(b, "RIFF");
    PutLE(b, uint32_t(36 + tone.size() * 2), 4);
    PutText(b, "WAVEfmt ");
    PutLE(b, 16, 4);
    PutLE(b, 1, 2);         // PCM
    PutLE(b, 1, 2);         // mono
    PutLE(b, 22050, 4);     // rate
    PutLE(b, 22050 * 2, 4); // bytes a second
    PutLE(b, 2, 2);         // block align
    PutLE(b, 16, 2);        // bits
    PutText(b, "data");
    PutLE(b, uint32_t(tone.size() * 2), 4);
    for (int16_t s : tone) PutLE(b, uint16_t(s), 2);
    return b;
}

// AIFF keeps its sample rate as an 80-bit IEEE extended number.
void PutExtended(Bytes& b, double value) {
    int exponent = 0;
    double mantissa = std::frexp(value, &exponent); // value = mantissa * 2^exponent, 0.5 <= m < 1
    uint64_t bits = uint64_t(std::ldexp(mantissa, 64));
    PutBE(b, uint32_t(16382 + exponent), 2);
    PutBE(b, uint32_t(bits >> 32), 4);
    PutBE(b, uint32_t(bits), 4);
}

Bytes Aiff() {
    auto tone = Tone();
    Bytes body;
    PutText(body, "AIFF");
    PutText(body, "COMM");
    PutBE(body, 18, 4);
    PutBE(body, 1, 2);
    PutBE(body, uint32_t(tone.size()), 4);
    PutBE(body, 16, 2);
    PutExtended(body, 22050.0);
    PutText(body, "SSND");
    PutBE(body, uint32_t(8 + tone.size() * 2), 4);
    PutBE(body, 0, 4);
    PutBE(body, 0, 4);
    for (int16_t s : tone) PutBE(body, uint16_t(s), 2);
    Bytes b;
    PutText(b, "FORM");
    PutBE(b, uint32_t(body.size()), 4);
    b.insert(b.end(), body.begin(), body.end());
    return b;
}

// A one-track Standard MIDI file: a C major arpeggio.
Bytes Midi() {
    Bytes track;
    const uint8_t notes[] = {60, 64, 67, 72};
    for (uint8_t n : notes) {
        track.insert(track.end(), {0x00, 0x90, n, 0x64});
        track.insert(track.end(), {0x60, 0x80, n, 0x40});
    }
    track.insert(track.end(), {0x00, 0xFF, 0x2F, 0x00});
    Bytes b;
    PutText(b, "MThd");
    PutBE(b, 6, 4);
    PutBE(b, 0, 2);
    PutBE(b, 1, 2);
    PutBE(b, 96, 2);
    PutText(b, "MTrk");
    PutBE(b, uint32_t(track.size()), 4);
    b.insert(b.end(), track.begin(), track.end());
    return b;
}

std::string Sfz() {
    return "// A two-zone instrument over the example wave\n"
           "<group> loop_mode=no_loop\n"
           "<region> sample=tone.wav lokey=0 hikey=63 pitch_keycenter=69\n"
           "<region> sample=tone.wav lokey=64 hikey=127 pitch_keycenter=69 volume=-3\n";
}

bool Save(const std::filesystem::path& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return bool(out);
}

} // namespace

// A stereo pad with a sustain loop, a release loop, a played section and two
// cue markers, written through the program's own model and WAV writer: the
// example that `vaxel info` shows first.
bool LoopedWave(const std::filesystem::path& path) {
    using namespace vaxel;
    Collection collection;
    auto* wave = new Waveform(collection, kNewSerial, u"Warm pad C3");
    wave->sampleRate = 44100;
    wave->channels = 2;
    wave->frames = 2 * 44100;
    wave->bitsPerSample = 16;
    wave->rootKey = 48;
    wave->fineTune = -7;
    float* data = wave->allocateSamples();
    if (!data) return false;
    const double f = 130.8128; // C3
    for (uint32_t i = 0; i < wave->frames; ++i) {
        const double t = double(i) / wave->sampleRate;
        const double attack = t < 0.05 ? t / 0.05 : 1.0;
        const double v = 0.4 * attack * (std::sin(2 * M_PI * f * t) + 0.3 * std::sin(2 * M_PI * 2.003 * f * t));
        data[2 * i] = float(v);
        data[2 * i + 1] = float(0.9 * v);
    }
    // Whole cycles of the fundamental, so the loops play without a click.
    const uint32_t cycle = uint32_t(std::lround(44100 / f * 20)); // 20 cycles
    LoopInfo sustain{1, 0, 22050.0f, float(22050 + cycle), 0.0f};
    wave->addLoop(sustain, nullptr, true, false);
    LoopInfo release{1, 0, float(22050 + cycle), float(22050 + 2 * cycle), 0.0f};
    wave->addLoop(release, u"Release Loop", false, false);
    if (LoopRecord* main = wave->mainLoop()) main->flags |= kLoopHasRelease;
    wave->addSection(0, wave->frames - 1000, u"Play", true);
    wave->addMarker(2205, u"Attack done");
    wave->addMarker(66150, u"Fade point");
    wave->setText(kInfoArtist, u"Vaxel Studio examples");
    wave->setText(kInfoComments, u"A two-oscillator pad made by make_examples");
    wave->setText(kInfoCopyright, u"Public domain");
    collection.update(-1, false);

    const int row = findWriteRowByExtension(u"wav", 1);
    WriteOptions options;
    options.codingMask = row >= 0 ? formatRow(row)->codingMask : 0;
    if (row < 0 || !saveFile(wave, path, row, options, false)) {
        std::fprintf(stderr, "make_examples: %s: %s\n", path.c_str(), LastErrorUtf8().c_str());
        return false;
    }
    return true;
}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_examples <folder>\n");
        return 2;
    }
    std::filesystem::path dir = argv[1];
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    vaxel::InstallFormats();
    std::string sfz = Sfz();
    bool ok = LoopedWave(dir / "pad-with-loops.wav") && Save(dir / "tone.wav", Wave()) && Save(dir / "tone.aif", Aiff()) && Save(dir / "arpeggio.mid", Midi()) &&
              Save(dir / "tone.sfz", Bytes(sfz.begin(), sfz.end()));
    if (!ok) {
        std::fprintf(stderr, "make_examples: could not write into %s\n", dir.c_str());
        return 1;
    }
    return 0;
}
