// Instruments, Layers and Regions: building with addRegion, inheritance
// between the levels, the level passes, the update steps and flat images.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <vector>

#include "model/collection.h"
#include "model/instrument.h"
#include "model/settings.h"
#include "model/waveform.h"

namespace vaxel {
namespace {

uint16_t Word(int low, int high) {
    return uint16_t(low | (high << 8));
}

// A wave that update() keeps: Regions without one are removed as empty.
uint32_t Wave(Collection& c) {
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 100;
    return SerialOf(w->id);
}

// Restores the feature mask and the load settings a test changes.
struct Fixture : ::testing::Test {
    void SetUp() override { saved_ = GlobalSettings().load; }
    void TearDown() override {
        GlobalSettings().load = saved_;
        SetFeatureMask(kAllFeatures);
    }
    LoadSettings saved_;
    Collection c;
};

using InstrumentTest = Fixture;

TEST_F(InstrumentTest, RegionRangeWordsMarkWhatTheyGive) {
    Region a(c, kNewSerial, kNoWaveSerial, 0x3C30, 0xFFFF);
    EXPECT_EQ(a.trigger.keyLow, 48);
    EXPECT_EQ(a.trigger.keyHigh, 60);
    EXPECT_TRUE(a.isSet(209) && a.isSet(210));
    EXPECT_FALSE(a.isSet(211) || a.isSet(212));
    Region b(c, kNewSerial, kNoWaveSerial, 0x7F00, 0x7F00);
    EXPECT_EQ(b.trigger.keyHigh, 127);
    EXPECT_TRUE(b.isSet(209) && b.isSet(212));
    Region d(c, kNewSerial, kNoWaveSerial, 0xFF00, 0x00FF, 64);
    EXPECT_EQ(d.trigger.setMask, 0u);
    EXPECT_EQ(d.rootOverride, 64);
    EXPECT_TRUE(d.ids.empty());
    Region e(c, kNewSerial, 5);
    ASSERT_EQ(e.ids.size(), 1u);
    EXPECT_EQ(e.ids[0], MakeId(ItemType::Waveform, 5));
}

TEST_F(InstrumentTest, AddRegionPlacesRectanglesInLayers) {
    auto* inst = new Instrument(c, kNewSerial, u"Piano");
    addRegion(*inst, kNoWaveSerial, Word(0, 59), 0xFFFF, -1);
    addRegion(*inst, kNoWaveSerial, Word(60, 127), 0xFFFF, -1);
    EXPECT_EQ(inst->ids.size(), 1u);
    // Overlapping the first: a second Layer; its stereo partner a third.
    Region* r = addRegion(*inst, kNoWaveSerial, Word(50, 70), Word(0, 63), -1);
    EXPECT_EQ(inst->ids.size(), 2u);
    EXPECT_EQ(r->layer(), inst->layerAt(1));
    addRegion(*inst, kNoWaveSerial, Word(50, 70), Word(0, 63), -1);
    EXPECT_EQ(inst->ids.size(), 3u);
    // Fits beside the second Layer's region (velocities 64 and up).
    r = addRegion(*inst, kNoWaveSerial, Word(50, 70), Word(64, 127), -1);
    EXPECT_EQ(r->layer(), inst->layerAt(1));
    // Ends count: a key shared at the edge is an overlap.
    r = addRegion(*inst, kNoWaveSerial, Word(70, 80), Word(64, 64), -1);
    EXPECT_EQ(r->layer(), inst->layerAt(2));
    // A tag keeps its own Layers.
    r = addRegion(*inst, kNoWaveSerial, Word(0, 10), Word(0, 10), -1, 7);
    EXPECT_EQ(inst->ids.size(), 4u);
    EXPECT_EQ(r->layer()->tag(), 7);
    EXPECT_EQ(addRegion(*inst, kNoWaveSerial, Word(11, 20), 0xFFFF, -1, 7)->layer(), r->layer());

    // Deleting a Region frees its cells for the next one.
    Layer* first = inst->layerAt(0);
    delete first->regionAt(0);
    EXPECT_EQ(addRegion(*inst, kNoWaveSerial, Word(10, 20), 0xFFFF, -1)->layer(), first);
    // A range edited through the property interface is seen too.
    Region* moved = first->regionAt(0);
    moved->setValue(209, 100);
    moved->setValue(210, 127);
    moved = first->regionAt(1);
    moved->setValue(209, 0);
    moved->setValue(210, 5);
    EXPECT_EQ(addRegion(*inst, kNoWaveSerial, Word(30, 40), 0xFFFF, -1)->layer(), first);
}

TEST_F(InstrumentTest, AddRegionStaysLinearOnLargeInstruments) {
    // 10,000 and 100,000 regions in 1x8 cells, the better of two runs each.
    // Ten times the regions may cost up to sixty times the time (the larger
    // run touches ten times the memory, about 1 KB a region, and shares the
    // machine); a search over every region of every layer would cost some
    // thousand times.
    auto timeFor = [this](int count) {
        double best = 1e9;
        for (int run = 0; run < 2; ++run) {
            auto* inst = new Instrument(c, kNewSerial, u"Big");
            const auto start = std::chrono::steady_clock::now();
            for (int i = 0; i < count; ++i) {
                const int cell = i % 2048, key = cell % 128, band = cell / 128;
                addRegion(*inst, kNoWaveSerial, Word(key, key), Word(band * 8, band * 8 + 7), -1);
            }
            best = std::min(best,
                            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
            EXPECT_EQ(inst->ids.size(), uint32_t((count + 2047) / 2048));
            delete inst;
        }
        return best;
    };
    const double small = timeFor(10000), large = timeFor(100000);
    RecordProperty("ratio", std::to_string(large / small));
    EXPECT_LT(large, 60 * small + 0.5) << small << " s for 10k, " << large << " s for 100k";
}

TEST_F(InstrumentTest, WritesAtAHigherLevelReachWhatDidNotSetItsOwn) {
    auto* inst = new Instrument(c, kNewSerial, u"Pad");
    Region* a = addRegion(*inst, kNoWaveSerial, Word(0, 59), 0xFFFF, -1);
    Region* b = addRegion(*inst, kNoWaveSerial, Word(60, 127), 0xFFFF, -1);
    Layer* layer = a->layer();
    b->setValue(kParamCutoff, 500);
    inst->setValue(kParamCutoff, 2000);
    EXPECT_TRUE(inst->isSet(kParamCutoff));
    EXPECT_FALSE(layer->isSet(kParamCutoff));
    EXPECT_FLOAT_EQ(layer->getValue(kParamCutoff), 2000);
    EXPECT_FLOAT_EQ(a->getValue(kParamCutoff), 2000);
    EXPECT_FLOAT_EQ(b->getValue(kParamCutoff), 500); // keeps its own
    EXPECT_TRUE(b->isSet(kParamCutoff));

    // A Layer that set its own value shields its Regions from the Instrument.
    layer->setValue(kParamPan, -0.5f);
    inst->setValue(kParamPan, 0.75f);
    EXPECT_FLOAT_EQ(a->getValue(kParamPan), -0.5f);
    // clearValue at the Instrument drops its mark and writes down the same way.
    inst->clearValue(kParamCutoff, 8000);
    EXPECT_FALSE(inst->isSet(kParamCutoff));
    EXPECT_FLOAT_EQ(a->getValue(kParamCutoff), 8000);
    EXPECT_FLOAT_EQ(b->getValue(kParamCutoff), 500);
    // Reset at a Region takes the Layer's value.
    b->resetValue(kParamCutoff);
    EXPECT_FALSE(b->isSet(kParamCutoff));
    EXPECT_FLOAT_EQ(b->getValue(kParamCutoff), 8000);

    // Trigger values go down from the Layer the same way.
    layer->setValue(208, 2);
    EXPECT_FLOAT_EQ(a->getValue(208), 2);
    EXPECT_FALSE(a->isSet(208));

    // Layer::inherit copies what the Instrument set and the Layer did not.
    inst->setValue(kParamVolume, -3);
    Layer* other = new Layer(c, kNewSerial);
    inst->addChild(*other);
    other->inherit(0, kParamCount - 1);
    EXPECT_TRUE(other->isSet(kParamVolume));
    EXPECT_FLOAT_EQ(other->getValue(kParamVolume), -3);
    EXPECT_FALSE(other->isSet(kParamCutoff));
}

TEST_F(InstrumentTest, MoveUpIfEqual) {
    auto* inst = new Instrument(c, kNewSerial, u"Strings");
    Region* a = addRegion(*inst, kNoWaveSerial, Word(0, 59), 0xFFFF, -1);
    Region* b = addRegion(*inst, kNoWaveSerial, Word(60, 127), 0xFFFF, -1);
    Layer* layer = a->layer();
    // Nothing set below: left alone.
    EXPECT_EQ(moveUpIfEqual(*layer, false, 0, kParamCount, false), 1);
    EXPECT_FALSE(layer->articulation.anySet());

    a->setValue(kParamCutoff, 1000);
    b->setValue(kParamCutoff, 1000);
    a->setValue(kParamTuning, 0.1f);
    b->setValue(kParamTuning, -0.1f);
    // All or nothing: the tuning differs, so nothing moves...
    EXPECT_EQ(moveUpIfEqual(*layer, false, 0, kParamCount, false), 0);
    EXPECT_TRUE(a->isSet(kParamCutoff));
    EXPECT_FALSE(layer->isSet(kParamCutoff));
    // ...unless volume and tuning are kept at the Regions.
    EXPECT_EQ(moveUpIfEqual(*layer, false, 0, kParamCount, true), 1);
    EXPECT_TRUE(layer->isSet(kParamCutoff));
    EXPECT_FLOAT_EQ(layer->getValue(kParamCutoff), 1000);
    EXPECT_FALSE(a->isSet(kParamCutoff));
    EXPECT_FLOAT_EQ(a->getValue(kParamCutoff), 1000);
    EXPECT_TRUE(a->isSet(kParamTuning));
    EXPECT_FLOAT_EQ(b->getValue(kParamTuning), -0.1f);

    // Per parameter: the equal ones move, the others stay.
    a->setValue(kParamPan, 0.5f);
    b->setValue(kParamPan, 0.5f);
    EXPECT_EQ(moveUpIfEqual(*layer, true, 0, kParamCount, false), 1);
    EXPECT_FLOAT_EQ(layer->getValue(kParamPan), 0.5f);
    EXPECT_FALSE(b->isSet(kParamPan));
    EXPECT_TRUE(b->isSet(kParamTuning));
    EXPECT_FALSE(layer->isSet(kParamTuning));

    // The same pass from Layers to the Instrument.
    Region* c2 = addRegion(*inst, kNoWaveSerial, Word(0, 127), 0xFFFF, -1);
    ASSERT_NE(c2->layer(), layer);
    c2->layer()->setValue(kParamPan, 0.5f);
    c2->layer()->setValue(kParamCutoff, 1000);
    EXPECT_EQ(moveUpIfEqual(*inst, true, 0, kParamCount, false), 1);
    EXPECT_TRUE(inst->isSet(kParamPan));
    EXPECT_FALSE(layer->isSet(kParamPan));
    EXPECT_FLOAT_EQ(c2->getValue(kParamPan), 0.5f);

    // Triggers: a delay all Regions share goes to the Layer.
    a->setValue(220, 0.25f);
    b->setValue(220, 0.25f);
    a->setValue(208, 1);
    EXPECT_EQ(moveTriggersUp(*layer, false), 0);
    EXPECT_EQ(moveTriggersUp(*layer, true), 1);
    EXPECT_TRUE(layer->isSet(220));
    EXPECT_FLOAT_EQ(layer->getValue(220), 0.25f);
    EXPECT_FALSE(a->isSet(220));
    EXPECT_TRUE(a->isSet(208));
}

TEST_F(InstrumentTest, CanMergeLayers) {
    auto* inst = new Instrument(c, kNewSerial, u"Drums");
    Layer* a = addRegion(*inst, kNoWaveSerial, Word(36, 36), 0xFFFF, -1)->layer();
    Layer* b = addRegion(*inst, kNoWaveSerial, Word(36, 40), 0xFFFF, -1)->layer();
    ASSERT_NE(a, b);
    auto* empty = new Layer(c, kNewSerial);
    inst->addChild(*empty);
    EXPECT_FALSE(canMergeLayers(*a, a, false));
    EXPECT_FALSE(canMergeLayers(*a, nullptr, false));
    EXPECT_TRUE(canMergeLayers(*a, empty, true));
    EXPECT_FALSE(canMergeLayers(*a, b, false)); // key 36 in both
    b->regionAt(0)->setValue(209, 37);
    EXPECT_TRUE(canMergeLayers(*a, b, true));
    b->setValue(208, 3);
    EXPECT_FALSE(canMergeLayers(*a, b, true));
    EXPECT_TRUE(canMergeLayers(*a, b, false));
}

TEST_F(InstrumentTest, UpdateMergesLayersAndKeepsEffectiveValues) {
    GlobalSettings().load.bAutoCompactLayers = true;
    const uint32_t wave = Wave(c);
    auto* inst = new Instrument(c, kNewSerial, u"Bass");
    Region* low = addRegion(*inst, wave, Word(0, 59), 0xFFFF, -1, 1);
    Region* high = addRegion(*inst, wave, Word(60, 127), 0xFFFF, -1, 2);
    ASSERT_NE(low->layer(), high->layer());
    high->layer()->setValue(kParamVolume, -12);
    low->layer()->setValue(kParamCutoff, 3000);
    c.update(-1, true);
    ASSERT_EQ(inst->ids.size(), 1u);
    Layer* layer = inst->layerAt(0);
    ASSERT_EQ(layer->ids.size(), 2u);
    EXPECT_FLOAT_EQ(high->getValue(kParamVolume), -12);
    EXPECT_FLOAT_EQ(high->getValue(kParamCutoff), 8000);
    EXPECT_FLOAT_EQ(low->getValue(kParamCutoff), 3000);
    EXPECT_FLOAT_EQ(low->getValue(kParamVolume), 0);
    EXPECT_EQ(high->layer(), layer);
}

TEST_F(InstrumentTest, UpdateNormalisesLevelsByTheFeatureMask) {
    GlobalSettings().load.bAutoCompactLayers = false;
    const uint32_t wave = Wave(c);
    auto* inst = new Instrument(c, kNewSerial, u"Keys");
    Region* a = addRegion(*inst, wave, Word(0, 59), 0xFFFF, -1);
    Region* b = addRegion(*inst, wave, Word(60, 127), 0xFFFF, -1);
    // A value equal to the level above is not held.
    a->setValue(kParamCutoff, 8000);
    inst->setValue(kParamPan, 0);
    a->setValue(kParamTuning, 0.25f);
    a->setValue(kParamResonance, 6);
    b->setValue(kParamResonance, 3);
    b->setValue(kParamPan, 0.5f);
    c.update(-1, true);
    EXPECT_FALSE(a->isSet(kParamCutoff));
    EXPECT_FALSE(inst->isSet(kParamPan));
    EXPECT_TRUE(a->isSet(kParamResonance));

    // No Region level: the Regions fold into the Layer; tuning stays.
    SetFeatureMask(0);
    c.update(0, false);
    EXPECT_FALSE(a->isSet(kParamResonance));
    EXPECT_FALSE(b->isSet(kParamPan));
    EXPECT_TRUE(a->isSet(kParamTuning));
    EXPECT_FLOAT_EQ(a->getValue(kParamTuning), 0.25f);
    EXPECT_FLOAT_EQ(a->getValue(kParamResonance), b->getValue(kParamResonance));
    EXPECT_FALSE(a->layer()->articulation.anySet());
    EXPECT_FALSE(inst->articulation.anySet());
}

TEST_F(InstrumentTest, NoInstrumentLevelMovesItsValuesToTheLayers) {
    const uint32_t wave = Wave(c);
    auto* inst = new Instrument(c, kNewSerial, u"Choir");
    Region* a = addRegion(*inst, wave, 0xFFFF, 0xFFFF, -1);
    inst->setValue(kParamVolume, -6);
    a->layer()->setValue(kParamPan, 0.5f);
    SetFeatureMask(kAllFeatures & ~(FeatureMask(1) << kFeatureInstrumentLevel));
    c.update(0, false);
    EXPECT_FALSE(inst->articulation.anySet());
    EXPECT_FLOAT_EQ(inst->getValue(kParamVolume), 0);
    EXPECT_TRUE(a->layer()->isSet(kParamVolume));
    EXPECT_FLOAT_EQ(a->getValue(kParamVolume), -6);
    // And without a Layer level they go on down to the Regions.
    SetFeatureMask(kAllFeatures & ~(FeatureMask(1) << kFeatureInstrumentLevel) &
                   ~(FeatureMask(1) << kFeatureLayerLevel));
    c.update(0, false);
    EXPECT_FALSE(a->layer()->articulation.anySet());
    EXPECT_TRUE(a->isSet(kParamVolume));
    EXPECT_TRUE(a->isSet(kParamPan));
    EXPECT_FLOAT_EQ(a->getValue(kParamPan), 0.5f);
}

TEST_F(InstrumentTest, ChannelEffectsAndLocationAsProperties) {
    Instrument inst(c, kNewSerial, u"Fx");
    EXPECT_EQ(inst.channelEffects[0].type, 2); // Reverb
    EXPECT_FLOAT_EQ(inst.getValue(254), 0.5f);
    EXPECT_EQ(inst.getValue(261), 1); // slot 2: Chorus
    EXPECT_FLOAT_EQ(inst.getValue(263), 0.008f);
    EXPECT_FLOAT_EQ(inst.getValue(264), 5);
    EXPECT_EQ(std::u16string(inst.describe(256).label), u"Gate attack rt");
    inst.setValue(269, 7); // slot 3 becomes a Phaser with its defaults
    EXPECT_EQ(std::u16string(inst.describe(270).label), u"Shape");
    EXPECT_FLOAT_EQ(inst.getValue(273), 0.0005f);
    inst.setValue(271, 50); // phaser rate, clamped
    EXPECT_FLOAT_EQ(inst.getValue(271), 12);
    EXPECT_EQ(inst.describe(276).number, 0xFFFF); // the phaser has no second toggle

    inst.setValue(252, 5.4f);
    inst.setValue(250, 200);
    inst.setValue(249, 1);
    EXPECT_EQ(inst.program(), 5u);
    EXPECT_EQ(inst.majorBank(), 127u);
    EXPECT_TRUE(inst.isDrumKit());
    EXPECT_EQ(inst.location, 5u | (127u << 14) | 0x200000u);
}

TEST_F(InstrumentTest, RegionLoopsAndSections) {
    auto* wave = new Waveform(c, kNewSerial, u"w");
    wave->frames = 1000;
    Region r(c, kNewSerial, SerialOf(wave->id));
    LoopInfo loop;
    loop.loopType = 1;
    loop.start = 100;
    loop.end = 900;
    setRegionLoop(r, loop);
    ASSERT_NE(r.loopSection, 0u);
    EXPECT_FLOAT_EQ(getLoop(r).start, 100);
    EXPECT_EQ(getLoop(r).loopType, 1);
    loop.loopType = 0;
    setRegionLoop(r, loop);
    EXPECT_EQ(r.loopSection, 0u);
    EXPECT_EQ(getLoop(r).loopType, 0);

    setRegionSection(r, 10, 500);
    EXPECT_NE(r.playSection, 0u);
    EXPECT_FLOAT_EQ(getSection(r).start, 10);
    EXPECT_FLOAT_EQ(getSection(r).end, 500);
    setRegionSection(r, 0, 1000);
    EXPECT_EQ(r.playSection, 0u);

    Region none(c, kNewSerial);
    EXPECT_EQ(getLoop(none).loopType, 0);
    EXPECT_FLOAT_EQ(getLoop(none).end, 4294967296.0f);
}

template <class T> std::vector<uint8_t> Flatten(const T& item) {
    std::vector<uint8_t> b(item.flatSize());
    EXPECT_EQ(size_t(item.writeFlat(b.data()) - b.data()), b.size());
    return b;
}

TEST_F(InstrumentTest, FlatImagesRoundTripAndRefuseShortOnes) {
    auto* inst = new Instrument(c, kNewSerial, u"Organ");
    inst->setLocation(17, 3, 4, true);
    inst->setValue(kParamCutoff, 1234.5f);
    inst->setValue(261, 2); // slot 2 becomes a Reverb
    Region* r = addRegion(*inst, 9, Word(20, 30), Word(1, 100), 62);
    r->setName(u"Low");
    r->setValue(EnvRow(kEnvX, kEnvA1Level), -0.5f);
    r->setValue(222, 1);
    r->phaseGroup = 3;
    r->loopSection = 0;
    r->playSection = 77;
    Layer* layer = r->layer();
    layer->setValue(216, 12);
    auto* model = new SynthesisModel(c, kNewSerial);
    model->data = {1, 2, 3, 4, 5};
    model->kind = 1;

    Collection d;
    auto check = [&](const CollectionItem& item, auto compare) {
        std::vector<uint8_t> image = Flatten(item);
        auto* back = d.create(item.id);
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(back->readFlat(image.data(), image.data() + image.size()), image.data() + image.size());
        EXPECT_EQ(Flatten(*back), image);
        compare(back);
        for (size_t cut : {size_t(0), image.size() / 2, image.size() - 1}) {
            auto* shortOne = d.create(item.id);
            EXPECT_EQ(shortOne->readFlat(image.data(), image.data() + cut), nullptr) << cut;
        }
    };
    check(*inst, [&](CollectionItem* back) {
        auto* i = static_cast<Instrument*>(back);
        EXPECT_EQ(i->location, inst->location);
        EXPECT_FLOAT_EQ(i->getValue(kParamCutoff), 1234.5f);
        EXPECT_TRUE(i->isSet(kParamCutoff));
        EXPECT_EQ(i->channelEffects[1].type, 2);
    });
    check(*layer, [&](CollectionItem* back) {
        auto* l = static_cast<Layer*>(back);
        EXPECT_EQ(l->trigger.velocityFadeIn, 12);
        EXPECT_TRUE(l->isSet(216));
    });
    check(*r, [&](CollectionItem* back) {
        auto* g = static_cast<Region*>(back);
        EXPECT_EQ(std::u16string(g->name()), u"Low");
        EXPECT_EQ(g->trigger.keyLow, 20);
        EXPECT_EQ(g->trigger.velocityHigh, 100);
        EXPECT_EQ(g->rootOverride, 62);
        EXPECT_EQ(g->phaseGroup, 3);
        EXPECT_EQ(g->loopSection, 0u);
        EXPECT_EQ(g->playSection, 77u);
        EXPECT_FLOAT_EQ(g->getValue(EnvRow(kEnvX, kEnvA1Level)), -0.5f);
        EXPECT_EQ(g->trigger.setMask, r->trigger.setMask);
    });
    check(*model, [&](CollectionItem* back) {
        auto* m = static_cast<SynthesisModel*>(back);
        EXPECT_EQ(m->kind, 1u);
        EXPECT_EQ(m->data, model->data);
    });
}

} // namespace
} // namespace vaxel

namespace vaxel {
namespace {

TEST_F(InstrumentTest, AlternatesInLaterLayersGoFromAPrivateClone) {
    auto* inst = new Instrument(c, kNewSerial, u"Snare");
    Region* a = addRegion(*inst, kNoWaveSerial, Word(38, 38), 0xFFFF, -1);
    Region* b = addRegion(*inst, kNoWaveSerial, Word(38, 38), 0xFFFF, -1);
    Region* other = addRegion(*inst, kNoWaveSerial, Word(38, 40), 0xFFFF, -1);
    ASSERT_EQ(inst->ids.size(), 3u);
    std::vector<Instrument*> list{inst};
    EXPECT_TRUE(PrepareAlternates(list).empty()); // no alternates yet
    a->setValue(208, 4);
    b->setValue(208, 4);
    other->setValue(208, 5); // another trigger word stays
    std::vector<Instrument*> clones = PrepareAlternates(list);
    ASSERT_EQ(clones.size(), 1u);
    EXPECT_NE(list[0], inst);
    EXPECT_EQ(list[0], clones[0]);
    ASSERT_EQ(list[0]->ids.size(), 2u); // the emptied second Layer went with its Region
    EXPECT_EQ(list[0]->layerAt(1)->regionAt(0)->trigger.triggerType, 5);
    EXPECT_EQ(inst->ids.size(), 3u); // the original is untouched
    for (Instrument* clone : clones) delete clone;
}

} // namespace
} // namespace vaxel
