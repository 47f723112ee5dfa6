// In-process cost of one detection pass over every row: a WAV head (a
// magic found early in the table), a MIDI head, and bytes that match nothing
// (every detector runs to its end).
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "fileio/format_table.h"
#include "formats/install.h"

namespace {

std::vector<uint8_t> Head(const char* magic, size_t size) {
    std::vector<uint8_t> b(size);
    std::mt19937 rng(3);
    for (auto& x : b) x = uint8_t(rng());
    std::memcpy(b.data(), magic, std::strlen(magic));
    return b;
}

void Run(benchmark::State& state, const char16_t* name, const std::vector<uint8_t>& bytes) {
    vaxel::InstallFormats();
    int confidence;
    for (auto _ : state) {
        int row = vaxel::detectFormatInBuffer(name, bytes.data(), bytes.size(), bytes.size(), &confidence);
        benchmark::DoNotOptimize(row);
    }
}

void BM_DetectWav(benchmark::State& s) {
    Run(s, u"a.wav", Head("RIFF\x24\x80\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x44\xac\0\0\x88\x58\1\0\2\0\x10\0", 32768));
}
void BM_DetectMidi(benchmark::State& s) { Run(s, u"b.mid", Head("MThd\0\0\0\6\0\1\0\2\0\x60", 4096)); }
void BM_DetectNoise(benchmark::State& s) { Run(s, u"c.bin", Head("", 32768)); }

BENCHMARK(BM_DetectWav);
BENCHMARK(BM_DetectMidi);
BENCHMARK(BM_DetectNoise);

} // namespace
