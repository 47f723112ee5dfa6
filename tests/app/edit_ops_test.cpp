// The model side of the Edit commands: where new Layers and Regions go, and
// what a clone shares with its source and what it owns.
#include <gtest/gtest.h>

#include "app/edit_ops.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/song.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel::app {
namespace {

class EditOpsTest : public ::testing::Test {
  protected:
    void SetUp() override { GlobalSettings() = Settings{}; }

    Waveform* makeWave(const char16_t* name, uint32_t frames) {
        auto* wave = new Waveform(collection_, kNewSerial, name);
        wave->frames = frames;
        wave->channels = 1;
        wave->sampleRate = 44100;
        float* data = wave->allocateSamples();
        for (uint32_t i = 0; i < frames; ++i) data[i] = float(i) / float(frames);
        return wave;
    }

    Collection collection_;
};

TEST_F(EditOpsTest, LayersAndRegionsGoWhereTheSelectionPoints) {
    ClearLastError();
    EXPECT_EQ(AddLayer(collection_, nullptr), nullptr);
    EXPECT_FALSE(LastErrorUtf8().empty());
    EXPECT_EQ(AddRegion(collection_, nullptr), nullptr);

    auto* instrument = static_cast<Instrument*>(AddInstrument(collection_));
    ASSERT_NE(instrument, nullptr);
    EXPECT_EQ(collection_.count(ItemType::Instrument), 1u);

    // An instrument without layers gets one for the new region.
    Waveform* wave = makeWave(u"Sine", 100);
    auto* region = static_cast<Region*>(AddRegion(collection_, instrument, wave));
    ASSERT_NE(region, nullptr);
    ASSERT_EQ(instrument->ids.size(), 1u);
    Layer* first = instrument->layerAt(0);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(region->layer(), first);
    EXPECT_EQ(region->waveform(), wave);
    EXPECT_EQ(region->trigger.keyLow, 0);
    EXPECT_EQ(region->trigger.keyHigh, 127);

    // A region selected: the new layer goes to its instrument, a new
    // region to its layer, behind it.
    auto* second = static_cast<Layer*>(AddLayer(collection_, region));
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->instrument(), instrument);
    EXPECT_EQ(instrument->ids.size(), 2u);
    EXPECT_EQ(instrument->ids[1], second->id);
    auto* sibling = static_cast<Region*>(AddRegion(collection_, region));
    ASSERT_NE(sibling, nullptr);
    EXPECT_EQ(sibling->layer(), first);
    EXPECT_EQ(first->ids.size(), 2u);
    EXPECT_EQ(sibling->waveform(), nullptr);

    // An instrument with layers takes the region into its last one.
    auto* third = static_cast<Region*>(AddRegion(collection_, instrument));
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(third->layer(), second);

    // The post-command update with nothing to remove keeps them all, and
    // a full clean-up keeps what plays a wave.
    collection_.update(0, false);
    EXPECT_EQ(collection_.count(ItemType::Region), 3u);
    EXPECT_EQ(collection_.count(ItemType::Layer), 2u);
}

TEST_F(EditOpsTest, NewInstrumentsGetNamesOfTheirOwn) {
    CollectionItem* a = AddInstrument(collection_);
    CollectionItem* b = AddInstrument(collection_);
    CollectionItem* c = AddInstrument(collection_);
    ASSERT_TRUE(a && b && c);
    EXPECT_NE(std::u16string(a->name()), b->name());
    EXPECT_NE(std::u16string(b->name()), c->name());
    EXPECT_NE(std::u16string(a->name()), c->name());
}

TEST_F(EditOpsTest, ACloneOfALayerSitsBehindItsSourceWithRegionsOfItsOwn) {
    auto* instrument = static_cast<Instrument*>(AddInstrument(collection_));
    Waveform* wave = makeWave(u"Sine", 100);
    auto* layerA = static_cast<Layer*>(AddLayer(collection_, instrument));
    auto* layerB = static_cast<Layer*>(AddLayer(collection_, instrument));
    auto* r1 = static_cast<Region*>(AddRegion(collection_, layerA, wave));
    auto* r2 = static_cast<Region*>(AddRegion(collection_, layerA, wave));
    ASSERT_TRUE(layerB && r1 && r2);
    r1->trigger.keyHigh = 59;
    r2->trigger.keyLow = 60;
    layerA->setName(u"Soft");

    auto* clone = static_cast<Layer*>(CloneItem(collection_, layerA));
    ASSERT_NE(clone, nullptr);
    ASSERT_EQ(instrument->ids.size(), 3u);
    EXPECT_EQ(instrument->ids[0], layerA->id);
    EXPECT_EQ(instrument->ids[1], clone->id);
    EXPECT_EQ(instrument->ids[2], layerB->id);
    EXPECT_EQ(clone->instrument(), instrument);
    EXPECT_EQ(std::u16string(clone->name()), u"Soft");
    ASSERT_EQ(clone->ids.size(), 2u);
    Region* c1 = clone->regionAt(0);
    Region* c2 = clone->regionAt(1);
    ASSERT_TRUE(c1 && c2);
    EXPECT_NE(c1->id, r1->id);
    EXPECT_EQ(c1->layer(), clone);
    EXPECT_EQ(c1->trigger.keyHigh, 59);
    EXPECT_EQ(c2->trigger.keyLow, 60);
    EXPECT_EQ(c1->waveform(), wave); // the wave is shared, not copied
    EXPECT_EQ(collection_.count(ItemType::Waveform), 1u);

    // The source can go; the clone stands on its own.
    delete layerA;
    EXPECT_EQ(clone->ids.size(), 2u);
    EXPECT_EQ(collection_.count(ItemType::Region), 2u);

    // A region's clone goes right behind it in its layer.
    auto* regionClone = CloneItem(collection_, c1);
    ASSERT_NE(regionClone, nullptr);
    ASSERT_EQ(clone->ids.size(), 3u);
    EXPECT_EQ(clone->ids[1], regionClone->id);
}

TEST_F(EditOpsTest, ClonesOfTopLevelItemsCopyTheirContents) {
    Waveform* wave = makeWave(u"Sine", 64);
    auto* waveClone = static_cast<Waveform*>(CloneItem(collection_, wave));
    ASSERT_NE(waveClone, nullptr);
    EXPECT_NE(std::u16string(waveClone->name()), u"Sine"); // unique names are on by default
    ASSERT_NE(waveClone->lockSamples(), nullptr);
    EXPECT_EQ(waveClone->frames, 64u);
    EXPECT_FLOAT_EQ(waveClone->lockSamples()[32], 0.5f);
    waveClone->lockSamplesForWrite()[32] = -1.0f;
    EXPECT_FLOAT_EQ(wave->lockSamples()[32], 0.5f);

    auto* song = new Song(collection_, kNewSerial, u"Tune");
    const uint8_t events[] = {0x00, 0x90, 60, 100, 0x60, 0x80, 60, 0, 0x00, 0xFF, 0x2F, 0x00};
    for (int i = 0; i < 2; ++i) {
        auto* track = new Track(collection_, kNewSerial);
        ASSERT_TRUE(track->setEvents(events, sizeof events));
        ASSERT_TRUE(song->addChild(*track));
    }
    auto* songClone = static_cast<Song*>(CloneItem(collection_, song));
    ASSERT_NE(songClone, nullptr);
    EXPECT_EQ(songClone->ids.size(), 2u);
    EXPECT_EQ(songClone->eventCount(), song->eventCount());
    EXPECT_EQ(collection_.count(ItemType::Track), 4u);
    delete song;
    EXPECT_EQ(collection_.count(ItemType::Track), 2u);
    EXPECT_EQ(songClone->track(0)->parent(), songClone);

    ClearLastError();
    EXPECT_EQ(CloneItem(collection_, &collection_), nullptr);
    EXPECT_EQ(CloneItem(collection_, nullptr), nullptr);
    EXPECT_FALSE(LastErrorUtf8().empty());
}

} // namespace
} // namespace vaxel::app
