// Building a large instrument: addRegion for 2k, 20k and 200k regions in one
// Instrument, then the post-load update over the result. Both must grow about
// linearly with the region count.
#include <benchmark/benchmark.h>

#include "model/collection.h"
#include "model/instrument.h"
#include "model/waveform.h"

namespace {

using namespace vaxel;

// Regions of one key by eight velocities, 2048 to a full Layer, the way a
// multi-sampled drum or piano bank lays them out; every fourth one a stereo
// partner of the one before, which goes to another Layer.
void Build(Collection& c, Instrument& inst, uint32_t wave, int count) {
    for (int i = 0; i < count; ++i) {
        const int cell = (i - i / 4) % 2048, key = cell % 128, band = cell / 128;
        const uint16_t keyWord = uint16_t(key | (key << 8));
        const uint16_t velocityWord = uint16_t(band * 8 | ((band * 8 + 7) << 8));
        addRegion(inst, wave, keyWord, velocityWord, -1);
    }
    (void)c;
}

void BM_AddRegion(benchmark::State& state) {
    const int count = int(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto* c = new Collection;
        auto* wave = new Waveform(*c, kNewSerial, u"w");
        wave->frames = 100;
        auto* inst = new Instrument(*c, kNewSerial, u"Big");
        state.ResumeTiming();
        Build(*c, *inst, SerialOf(wave->id), count);
        state.PauseTiming();
        delete c;
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_UpdateAfterLoad(benchmark::State& state) {
    const int count = int(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto* c = new Collection;
        auto* wave = new Waveform(*c, kNewSerial, u"w");
        wave->frames = 100;
        auto* inst = new Instrument(*c, kNewSerial, u"Big");
        Build(*c, *inst, SerialOf(wave->id), count);
        state.ResumeTiming();
        c->update(-1, true);
        state.PauseTiming();
        delete c;
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

// At least two seconds each, so that the 200k case is not one run on freshly
// mapped memory: a Region carries its 208-value block (about 1 KB), and the
// first touch of 200 MB costs more than the work being measured.
BENCHMARK(BM_AddRegion)->Arg(2000)->Arg(20000)->Arg(200000)->MinTime(2.0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UpdateAfterLoad)
    ->Arg(2000)
    ->Arg(20000)
    ->Arg(200000)
    ->MinTime(2.0)
    ->Unit(benchmark::kMillisecond);

} // namespace
