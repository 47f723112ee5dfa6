// A wave takes the root key and loop that all regions using it agree on.
#include <gtest/gtest.h>

#include "fileio/region_consensus.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/waveform.h"

namespace vaxel {
namespace {

class RegionConsensusTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetItemCountersForTesting();
        instrument = new Instrument(collection, kNewSerial, u"Piano");
        layer = new Layer(collection, kNewSerial);
        instrument->addChild(*layer);
    }

    // A wave with root key 60 and two loops, 11 (the main loop) and 12.
    Waveform* AddWave() {
        auto* wave = new Waveform(collection, kNewSerial, u"wave");
        for (uint32_t id : {11u, 12u}) {
            LoopRecord loop;
            loop.kind = 2;
            loop.markerId = id;
            loop.loopType = 1;
            wave->markers.push_back(loop);
        }
        wave->mainLoopId = 11;
        return wave;
    }

    Region* AddRegion(Waveform* wave, int8_t root, uint32_t loop) {
        auto* region = new Region(collection, kNewSerial, wave ? SerialOf(wave->id) : kNoWaveSerial);
        region->rootOverride = root;
        region->loopSection = loop;
        layer->addChild(*region);
        return region;
    }

    Collection collection;
    Instrument* instrument = nullptr;
    Layer* layer = nullptr;
};

constexpr uint32_t kMainLoop = 0xFFFFFFFFu;

TEST_F(RegionConsensusTest, AgreeingRegionsSetTheWavesRootAndMainLoop) {
    Waveform* wave = AddWave();
    AddRegion(wave, 48, 12);
    AddRegion(wave, 48, 12);
    AddRegion(nullptr, 30, 0); // a region without a wave takes no part
    EXPECT_EQ(RegionConsensus(collection, true, true, true), 1);
    EXPECT_EQ(wave->rootKey, 48);
    EXPECT_EQ(wave->mainLoopId, 12u);
    EXPECT_FALSE(wave->scratchSeen);
    EXPECT_EQ(wave->scratchRoot, 0);
    EXPECT_EQ(wave->scratchLoop, 0);
}

TEST_F(RegionConsensusTest, DisagreeingValuesLeaveTheWaveEachOnItsOwn) {
    Waveform* roots = AddWave();
    AddRegion(roots, 48, 12);
    AddRegion(roots, 50, 12);
    Waveform* loops = AddWave();
    AddRegion(loops, 40, 12);
    AddRegion(loops, 40, 0);
    EXPECT_EQ(RegionConsensus(collection, true, true, true), 2);
    EXPECT_EQ(roots->rootKey, 60);
    EXPECT_EQ(roots->mainLoopId, 12u);
    EXPECT_EQ(loops->rootKey, 40);
    EXPECT_EQ(loops->mainLoopId, 11u);
}

TEST_F(RegionConsensusTest, NoOverrideMeansTheWavesOwnValue) {
    Waveform* wave = AddWave();
    // -1 and any other value with the top bit set stand for the wave's root
    // (60); all ones for its main loop (11). So all three agree.
    AddRegion(wave, -1, kMainLoop);
    AddRegion(wave, int8_t(-128), 11);
    AddRegion(wave, 60, kMainLoop);
    EXPECT_EQ(RegionConsensus(collection, true, true, true), 0);
    EXPECT_EQ(wave->rootKey, 60);
    EXPECT_EQ(wave->mainLoopId, 11u);

    // One region that plays another root makes the root vary.
    AddRegion(wave, 61, kMainLoop);
    EXPECT_EQ(RegionConsensus(collection, true, true, false), 0);
    EXPECT_TRUE(wave->scratchSeen);
    EXPECT_EQ(wave->scratchRoot, -1);
    EXPECT_EQ(wave->scratchLoop, 11);
}

TEST_F(RegionConsensusTest, AMissingLoopAndTheFlagsLeaveTheWave) {
    Waveform* wave = AddWave();
    AddRegion(wave, 72, 99); // no marker 99 in the wave
    AddRegion(wave, 72, 99);
    Waveform* unused = AddWave();
    unused->rootKey = 10;

    EXPECT_EQ(RegionConsensus(collection, false, true, true), 0);
    EXPECT_EQ(wave->rootKey, 60);
    EXPECT_EQ(wave->mainLoopId, 11u);

    EXPECT_EQ(RegionConsensus(collection, true, false, false), 0);
    EXPECT_EQ(wave->rootKey, 60);
    EXPECT_TRUE(wave->scratchSeen);
    EXPECT_EQ(wave->scratchRoot, 72);
    EXPECT_EQ(wave->scratchLoop, 99);
    EXPECT_FALSE(unused->scratchSeen);

    EXPECT_EQ(RegionConsensus(collection, true, false, true), 1);
    EXPECT_EQ(wave->rootKey, 72);
    EXPECT_EQ(wave->mainLoopId, 11u);
    EXPECT_EQ(unused->rootKey, 10);
}

} // namespace
} // namespace vaxel
