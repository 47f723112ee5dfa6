// The root key and loop that the regions using a wave agree on. Instrument
// formats keep them per region, single-sample formats per wave; this pass
// carries an agreed value from the first kind to the second.
#include "fileio/region_consensus.h"

#include "model/collection.h"
#include "model/instrument.h"
#include "model/waveform.h"

namespace vaxel {

namespace {
constexpr int kRootVaries = -1;
constexpr int64_t kLoopVaries = -100;
constexpr uint32_t kWaveMainLoop = 0xFFFFFFFFu;

void ClearScratch(Waveform& wave) {
    wave.scratchRoot = 0;
    wave.scratchLoop = 0;
    wave.scratchSeen = false;
}
} // namespace

int RegionConsensus(Collection& collection, bool setRootKey, bool setLoop, bool applyToWave) {
    for (Waveform* wave : ItemsOf<Waveform>(collection)) ClearScratch(*wave);

    for (Region* region : ItemsOf<Region>(collection)) {
        Waveform* wave = region->waveform();
        if (!wave) continue;
        // A negative override (top bit set) means the wave's own root key.
        int root = region->rootOverride >= 0 ? region->rootOverride : wave->rootKey;
        // 0 is "no loop" and stays 0; all ones is the wave's main loop.
        int64_t loop =
            region->loopSection == kWaveMainLoop ? int64_t(wave->mainLoopId) : int64_t(region->loopSection);
        if (!wave->scratchSeen) {
            wave->scratchSeen = true;
            wave->scratchRoot = root;
            wave->scratchLoop = loop;
            continue;
        }
        if (wave->scratchRoot != root) wave->scratchRoot = kRootVaries;
        if (wave->scratchLoop != loop) wave->scratchLoop = kLoopVaries;
    }
    if (!applyToWave) return 0;

    int changed = 0;
    for (Waveform* wave : ItemsOf<Waveform>(collection)) {
        if (wave->scratchSeen) {
            bool touched = false;
            if (setRootKey && wave->scratchRoot != kRootVaries && wave->rootKey != wave->scratchRoot) {
                wave->rootKey = uint8_t(wave->scratchRoot);
                touched = true;
            }
            if (setLoop && wave->scratchLoop != kLoopVaries && wave->scratchLoop != wave->mainLoopId &&
                wave->findMarker(uint32_t(wave->scratchLoop))) {
                wave->mainLoopId = uint32_t(wave->scratchLoop);
                touched = true;
            }
            if (touched) ++changed;
        }
        ClearScratch(*wave);
    }
    return changed;
}

} // namespace vaxel
