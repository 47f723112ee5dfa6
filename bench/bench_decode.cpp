// Decoding PCM sample data to float: the generic decoder against
// libsndfile's sf_readf_float over the same WAV file, for 16 and 24-bit
// stereo (about 50 MB each, made by libsndfile at the start and removed at
// exit). Both sides get a fresh output buffer each round, as a load does, and
// both read from the page cache after the first round. Throughput counts the
// bytes of sample data.
//
// Fresh memory costs a page fault per 4 KiB at its first touch, and on some
// machines that costs more than the decoding itself, for both sides alike.
// So that the rounds measure the decoding, big allocations are kept in the
// heap (mallopt) and the output of one round lands in the memory of the last.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <malloc.h>
#include <memory>
#include <random>
#include <sndfile.h>
#include <string>
#include <vector>

#include "fileio/file_object.h"
#include "fileio/sample_coding.h"
#include "model/collection.h"
#include "model/waveform.h"

namespace {

namespace fs = std::filesystem;

constexpr int kChannels = 2;
constexpr size_t kDataBytes = 50u << 20;

struct BenchFile {
    fs::path path;
    uint32_t frames = 0;
    uint64_t dataOffset = 0;
    uint64_t dataBytes = 0;
};

std::vector<fs::path> gMade;

void RemoveFiles() {
    std::error_code ec;
    for (const fs::path& p : gMade) fs::remove(p, ec);
}

// The offset of the 'data' chunk's contents: a walk over the RIFF chunks.
uint64_t FindData(const fs::path& path, uint64_t& size) {
    vaxel::FileObject f;
    if (!f.Open(path, vaxel::FileObject::kRead)) return 0;
    uint64_t at = 12;
    uint8_t head[8];
    while (f.ReadAt(at, head, 8) == 8) {
        const uint64_t length =
            uint64_t(head[4]) | uint64_t(head[5]) << 8 | uint64_t(head[6]) << 16 | uint64_t(head[7]) << 24;
        if (std::memcmp(head, "data", 4) == 0) {
            size = length;
            return at + 8;
        }
        at += 8 + length + (length & 1);
    }
    return 0;
}

// A noisy sine in 16 or 24-bit stereo WAV, written by libsndfile.
const BenchFile& File(int bits) {
    static BenchFile files[2];
    BenchFile& file = files[bits == 16 ? 0 : 1];
    if (!file.path.empty()) return file;
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    file.path = fs::temp_directory_path() /
                ("vaxel-bench-decode-" + std::to_string(bits) + "-" + std::to_string(::getpid()) + ".wav");
    if (gMade.empty()) std::atexit(RemoveFiles);
    gMade.push_back(file.path);
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = kChannels;
    info.format = SF_FORMAT_WAV | (bits == 16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24);
    SNDFILE* out = sf_open(file.path.c_str(), SFM_WRITE, &info);
    if (!out) {
        std::fprintf(stderr, "bench_decode: cannot write %s: %s\n", file.path.c_str(), sf_strerror(nullptr));
        std::abort();
    }
    const size_t frames = kDataBytes / size_t(kChannels * bits / 8);
    std::vector<float> block(65536 * kChannels);
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> noise(-0.1f, 0.1f);
    for (size_t done = 0; done < frames;) {
        const size_t n = std::min<size_t>(65536, frames - done);
        for (size_t i = 0; i < n * kChannels; ++i)
            block[i] = 0.8f * float(std::sin(double(done * kChannels + i) * 0.001)) + noise(rng);
        sf_writef_float(out, block.data(), sf_count_t(n));
        done += n;
    }
    sf_close(out);
    file.frames = uint32_t(frames);
    file.dataOffset = FindData(file.path, file.dataBytes);
    if (!file.dataOffset || file.dataBytes != frames * kChannels * size_t(bits / 8)) {
        std::fprintf(stderr, "bench_decode: no sample data found in %s\n", file.path.c_str());
        std::abort();
    }
    return file;
}

void GenericDecode(benchmark::State& state, int bits) {
    const BenchFile& file = File(bits);
    vaxel::Collection collection;
    auto* wave = new vaxel::Waveform(collection, vaxel::kNewSerial, u"bench");
    wave->channels = kChannels;
    wave->frames = file.frames;
    wave->sampleRate = 44100;
    vaxel::SetPcmBits(*wave, bits, 0);
    vaxel::FileObject f;
    if (!f.Open(file.path, vaxel::FileObject::kRead)) state.SkipWithError("cannot open the file");
    for (auto _ : state) {
        wave->releaseSamples();
        f.Seek(file.dataOffset);
        if (!vaxel::GenericDecode(*wave, f, false)) state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(wave->samples()->data);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(file.dataBytes));
}

void Libsndfile(benchmark::State& state, int bits) {
    const BenchFile& file = File(bits);
    for (auto _ : state) {
        SF_INFO info{};
        SNDFILE* in = sf_open(file.path.c_str(), SFM_READ, &info);
        if (!in) {
            state.SkipWithError("sf_open failed");
            break;
        }
        std::unique_ptr<float[]> out(new float[size_t(info.frames) * size_t(info.channels)]);
        if (sf_readf_float(in, out.get(), info.frames) != info.frames) state.SkipWithError("short read");
        benchmark::DoNotOptimize(out.get());
        sf_close(in);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(file.dataBytes));
}

void BM_Decode16_Generic(benchmark::State& s) {
    GenericDecode(s, 16);
}
void BM_Decode16_Libsndfile(benchmark::State& s) {
    Libsndfile(s, 16);
}
void BM_Decode24_Generic(benchmark::State& s) {
    GenericDecode(s, 24);
}
void BM_Decode24_Libsndfile(benchmark::State& s) {
    Libsndfile(s, 24);
}

BENCHMARK(BM_Decode16_Generic)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode16_Libsndfile)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode24_Generic)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode24_Libsndfile)->Unit(benchmark::kMillisecond);

} // namespace
