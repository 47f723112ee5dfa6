// Wave tools over a 60 s stereo 44.1 kHz wave, beside sox doing the same
// job on the same file in the same run.
//
// WaveTools/* time the operation on samples in memory (the wave is restored
// from a copy outside the timed part). Process/* time whole programs on one
// float WAV: `vaxel process` (read, tool, write) against the sox command
// that does the nearest job:
//   Maximize amplitude        sox gain -n          (same algorithm)
//   Normalize volume          sox gain -n          (sox has no loudness
//                                                   normalizing; peak
//                                                   normalizing is its
//                                                   nearest two-pass job)
//   Filter LP 6 dB/oct 2 kHz  sox lowpass -1 2000  (same one-pole design)
//   Filter LP 12 dB/oct 2 kHz sox lowpass 2000     (two-pole: biquad vs our
//                                                   oversampled SVF)
// Compare the Process rows pairwise: the ratio is vaxel time / sox time.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "model/collection.h"
#include "model/waveform.h"
#include "tools/wave_ops.h"

namespace {

using namespace vaxel;

constexpr uint32_t kRate = 44100;
constexpr uint32_t kFrames = kRate * 60;

// A minute of two detuned tones with some noise, below full scale.
const std::vector<float>& Source() {
    static const std::vector<float> samples = [] {
        std::vector<float> s(size_t(kFrames) * 2);
        std::mt19937 rng(7);
        std::uniform_real_distribution<float> noise(-0.05f, 0.05f);
        for (uint32_t i = 0; i < kFrames; ++i) {
            const double t = double(i) / kRate;
            s[2 * i] = float(0.4 * std::sin(2 * M_PI * 220 * t)) + noise(rng);
            s[2 * i + 1] = float(0.3 * std::sin(2 * M_PI * 331 * t)) + noise(rng);
        }
        return s;
    }();
    return samples;
}

struct Fixture {
    Collection collection;
    Waveform* wave;
    Fixture() {
        wave = new Waveform(collection, kNewSerial, u"bench");
        wave->channels = 2;
        wave->sampleRate = kRate;
        wave->frames = kFrames;
        wave->allocateSamples();
    }
    void restore() { std::copy(Source().begin(), Source().end(), wave->samples()->data); }
};

template <typename Op> void RunOp(benchmark::State& state, Op op) {
    Fixture f;
    for (auto _ : state) {
        state.PauseTiming();
        f.restore();
        state.ResumeTiming();
        op(*f.wave);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kFrames);
}

void WaveTools_Maximize(benchmark::State& state) {
    RunOp(state, [](Waveform& w) { MaximizeWave(w, 1); });
}
void WaveTools_Normalize(benchmark::State& state) {
    // Normalize volume with the curve, audio modified: measure, then gain.
    RunOp(state, [](Waveform& w) { ApplyGain(w, nullptr, 6.0 + LoudnessOfWave(w, true)); });
}
void WaveTools_LowPass6(benchmark::State& state) {
    RunOp(state,
          [](Waveform& w) { FilterRange(w.samples()->data, kFrames, 2, kFilterLowPass6, 2000.0 / kRate); });
}
void WaveTools_LowPass12(benchmark::State& state) {
    RunOp(state,
          [](Waveform& w) { FilterRange(w.samples()->data, kFrames, 2, kFilterLowPass12, 2000.0 / kRate); });
}
BENCHMARK(WaveTools_Maximize)->Unit(benchmark::kMillisecond);
BENCHMARK(WaveTools_Normalize)->Unit(benchmark::kMillisecond);
BENCHMARK(WaveTools_LowPass6)->Unit(benchmark::kMillisecond);
BENCHMARK(WaveTools_LowPass12)->Unit(benchmark::kMillisecond);

// ------------------------------------------------ whole programs

std::filesystem::path VaxelProgram() {
    // The benchmark lives in <build>/bench, the program in <build>/src.
    char self[4096];
    const ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return "vaxel";
    self[n] = 0;
    return std::filesystem::path(self).parent_path().parent_path() / "src" / "vaxel";
}

struct Files {
    std::filesystem::path dir, in, out;
    bool ok = false;
    Files() {
        dir = std::filesystem::temp_directory_path() / ("vaxel-bench-wave-" + std::to_string(::getpid()));
        std::filesystem::create_directories(dir);
        in = dir / "in.wav";
        out = dir / "out.wav";
        // The same two tones as Source() (without its noise), made by sox.
        const std::string cmd = "sox -D -n -e floating-point -b 32 -r 44100 -c 2 '" + in.string() +
                                "' synth 60 sine 220 sine 331 vol 0.4 >/dev/null 2>&1";
        ok = std::system(cmd.c_str()) == 0;
    }
    ~Files() {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
};

Files& TheFiles() {
    static Files files;
    return files;
}

void RunProcess(benchmark::State& state, const std::string& command) {
    Files& f = TheFiles();
    if (!f.ok) {
        state.SkipWithError("sox could not make the input file");
        return;
    }
    for (auto _ : state) {
        if (std::system(("(" + command + ") >/dev/null 2>&1").c_str()) != 0) {
            state.SkipWithError(("failed: " + command).c_str());
            return;
        }
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kFrames);
}

std::string Vaxel(const std::string& tool, const std::string& options = "") {
    Files& f = TheFiles();
    return "'" + VaxelProgram().string() + "' process '" + f.in.string() + "' -o '" + f.out.string() +
           "' --tool '" + tool + "'" + options;
}

std::string Sox(const std::string& effect) {
    Files& f = TheFiles();
    return "sox -D '" + f.in.string() + "' '" + f.out.string() + "' " + effect;
}

void Process_Maximize_vaxel(benchmark::State& s) {
    RunProcess(s, Vaxel("Maximize amplitude"));
}
void Process_Maximize_sox(benchmark::State& s) {
    RunProcess(s, Sox("gain -n"));
}
// vaxel's save syncs its file to disk before it renames it over the
// target; this row is sox with the same sync, for a like-for-like reading.
void Process_Maximize_sox_fsync(benchmark::State& s) {
    RunProcess(s, Sox("gain -n") + " && sync '" + TheFiles().out.string() + "'");
}
void Process_Normalize_vaxel(benchmark::State& s) {
    RunProcess(s, Vaxel("Normalize volume", " --set mode=1"));
}
void Process_Normalize_sox(benchmark::State& s) {
    RunProcess(s, Sox("gain -n"));
}
void Process_LowPass6_vaxel(benchmark::State& s) {
    RunProcess(s, Vaxel("Filter waveform", " --set filter-type=1 --set cutoff=2000"));
}
void Process_LowPass6_sox(benchmark::State& s) {
    RunProcess(s, Sox("lowpass -1 2000"));
}
void Process_LowPass12_vaxel(benchmark::State& s) {
    RunProcess(s, Vaxel("Filter waveform", " --set filter-type=2 --set cutoff=2000"));
}
void Process_LowPass12_sox(benchmark::State& s) {
    RunProcess(s, Sox("lowpass 2000"));
}
BENCHMARK(Process_Maximize_vaxel)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Process_Maximize_sox)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Process_Maximize_sox_fsync)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Process_Normalize_vaxel)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Process_Normalize_sox)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Process_LowPass6_vaxel)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Process_LowPass6_sox)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Process_LowPass12_vaxel)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Process_LowPass12_sox)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
