// Undo states of a large collection: pushWholeState writes every item,
// samples included, to a state file, and loadState reads it back over the
// collection. bench/state_vs_dd.sh runs this beside dd writing and reading
// the same number of bytes. Counters: seconds of each, the state's size and
// the process's peak resident memory (the collection itself included).
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/resource.h>

#include "fileio/undo_store.h"
#include "model/collection.h"
#include "model/waveform.h"

namespace {

using namespace vaxel;
namespace fs = std::filesystem;

double Seconds(std::chrono::steady_clock::time_point from) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - from).count();
}

// Megabytes of float samples in 64 stereo waves of noise.
void Fill(Collection& c, size_t megabytes) {
    const uint32_t frames = uint32_t(megabytes * 1024 * 1024 / 64 / (2 * sizeof(float)));
    uint32_t seed = 1;
    for (int i = 0; i < 64; ++i) {
        auto* wave = new Waveform(c, kNewSerial, ("noise " + std::to_string(i)).c_str());
        wave->frames = frames;
        wave->channels = 2;
        wave->sampleRate = 44100;
        float* data = wave->allocateSamples();
        for (size_t n = 0; n < size_t(frames) * 2; ++n) {
            seed = seed * 1664525u + 1013904223u;
            data[n] = float(int32_t(seed) >> 8) * (1.0f / 8388608.0f);
        }
    }
}

void BM_WholeState(benchmark::State& state) {
    const char* folder = std::getenv("VAXEL_BENCH_STATE_DIR");
    const fs::path dir = folder && *folder ? fs::path(folder) : fs::temp_directory_path() / "vaxel-bench-state";
    SetStateFolder(dir);
    Collection c;
    Fill(c, size_t(state.range(0)));
    UndoStore store(c);
    double save = 0, load = 0;
    uintmax_t bytes = 0;
    for (auto _ : state) {
        auto t0 = std::chrono::steady_clock::now();
        if (!store.pushWholeState(u"bench")) state.SkipWithError("pushWholeState failed");
        save = Seconds(t0);
        std::error_code ec;
        bytes = fs::file_size(StatePath(u"Undo state 1"), ec);
        t0 = std::chrono::steady_clock::now();
        if (!loadState(c, u"Undo state 1")) state.SkipWithError("loadState failed");
        load = Seconds(t0);
        store.clear();
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["push_s"] = save;
    state.counters["load_s"] = load;
    state.counters["state_MB"] = double(bytes) / (1024.0 * 1024.0);
    state.counters["peak_RSS_MB"] = double(usage.ru_maxrss) / 1024.0;
}
// One iteration: a gigabyte takes seconds, and the state files would fill
// the disk over many.
BENCHMARK(BM_WholeState)->Arg(1024)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
