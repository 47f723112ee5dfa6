// Waveforms: marker cleaning and order, the loop and section rules with
// their names, the wave's properties, fixUp, the flat image and sharing.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <vector>

#include "model/collection.h"
#include "model/feature_mask.h"
#include "model/waveform.h"

namespace vaxel {
namespace {

class WaveformTest : public ::testing::Test {
  protected:
    void TearDown() override { SetFeatureMask(kAllFeatures); }

    static void DropFeature(int bit) { SetFeatureMask(CurrentFeatureMask() & ~(FeatureMask(1) << bit)); }

    static LoopRecord Record(uint8_t kind, uint32_t start, uint32_t end, uint8_t loopType = 1,
                             const char16_t* name = u"") {
        LoopRecord m;
        m.kind = kind;
        m.start = start;
        m.end = end;
        m.loopType = loopType;
        m.name = name;
        m.markerId = NextMarkerId();
        return m;
    }

    Collection c;
};

std::vector<std::u16string> Names(const Waveform& w) {
    std::vector<std::u16string> names;
    for (const LoopRecord& m : w.markers) names.push_back(m.name);
    return names;
}

TEST_F(WaveformTest, NewWaveDefaultsAndFixUp) {
    c.setText(kInfoSourceFile, u"/samples/bank.sf2");
    auto* w = new Waveform(c, kNewSerial, u"w");
    EXPECT_EQ(w->sampleRate, 22050u);
    EXPECT_EQ(w->rootKey, 60);
    EXPECT_EQ(w->preferredCoding, 21);

    w->sampleRate = 0;
    w->rootKey = 200;
    w->fineTune = -120;
    w->gain = 1.2351f;
    w->bitsPerSample = 24;
    w->fixUp();
    EXPECT_EQ(w->sampleRate, 44100u);
    EXPECT_EQ(w->rootKey, 127);
    EXPECT_EQ(w->fineTune, -100);
    EXPECT_FLOAT_EQ(w->gain, 1.24f);
    EXPECT_EQ(w->preferredCoding, 2); // 24 bits prefer PCM 24-bit
    EXPECT_EQ(std::u16string(w->sourceFile()), u"/samples/bank.sf2");

    // No bits known: they come from the preferred coding, else 16.
    auto* v = new Waveform(c, kNewSerial, u"v");
    v->preferredCoding = 5; // mu-law
    v->gain = -300;
    v->fixUp();
    EXPECT_EQ(v->bitsPerSample, 8);
    EXPECT_EQ(v->gain, -96.0f);
    auto* u = new Waveform(c, kNewSerial, u"u");
    u->fixUp();
    EXPECT_EQ(u->preferredCoding, 1);
    EXPECT_EQ(u->bitsPerSample, 16);
}

TEST_F(WaveformTest, FeatureMaskTakesCompressedCodingsAndLoopPitchAway) {
    DropFeature(kFeatureCompressedFormats);
    DropFeature(kFeatureLoopPitch);
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 1000;
    w->preferredCoding = 12;
    w->addLoop({1, 0, 10, 500, 1.5f}, u"L", true, false);
    w->fixUp();
    EXPECT_EQ(w->preferredCoding, 1);
    EXPECT_EQ(w->mainLoop()->pitch, 0);
}

TEST_F(WaveformTest, CleaningSwapsCutsDropsAndSorts) {
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 100;
    w->markers.push_back(Record(2, 80, 20));            // swapped to 20..80
    w->markers.push_back(Record(1, 50, 500));           // cut to 50..100
    w->markers.push_back(Record(2, 30, 30));            // forward loop of no length: gone
    w->markers.push_back(Record(2, 40, 40, 0, u"off")); // off loop of no length: stays
    w->markers.push_back(Record(0, 100, 0));            // position past the end: gone
    w->markers.push_back(Record(0, 50, 0, 0, u"pos"));  // position at 50 goes before the section at 50
    w->markers.push_back(Record(2, 20, 60));            // same start as the swapped loop, lower end
    w->markers.push_back(Record(1, 20, 60));            // same start and end: section before loop
    w->markers.back().startFraction = 0;
    w->cleanMarkers();

    ASSERT_EQ(w->markers.size(), 6u);
    EXPECT_EQ(w->markers[0].name, u"off"); // off loops lead, whatever their start
    EXPECT_EQ(w->markers[1].kind, 1);
    EXPECT_EQ(w->markers[1].end, 60u);
    EXPECT_EQ(w->markers[2].kind, 2);
    EXPECT_EQ(w->markers[2].end, 60u);
    EXPECT_EQ(w->markers[3].kind, 2);
    EXPECT_EQ(w->markers[3].start, 20u);
    EXPECT_EQ(w->markers[3].end, 80u);
    EXPECT_EQ(w->markers[4].name, u"pos");
    EXPECT_EQ(w->markers[5].start, 50u);
    EXPECT_EQ(w->markers[5].end, 100u);

    // Fractions order records at the same whole frame, and go with the mask bit.
    auto* f = new Waveform(c, kNewSerial, u"f");
    f->frames = 100;
    f->markers.push_back(Record(0, 10, 0));
    f->markers.back().startFraction = 50;
    f->markers.push_back(Record(0, 10, 0));
    f->cleanMarkers();
    EXPECT_EQ(f->markers[0].startFraction, 0);
    EXPECT_EQ(f->markers[1].startFraction, 50);
    DropFeature(kFeatureFractionalLoops);
    f->cleanMarkers();
    EXPECT_EQ(f->markers[1].startFraction, 0);
}

TEST_F(WaveformTest, AnAlternateLoopNeverTakesTheMainPlace) {
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 1000;
    uint32_t alt = w->addLoop({1, 0, 100.456f, 200, 0.5f}, nullptr, false, true);
    ASSERT_EQ(w->markers.size(), 2u);
    const LoopRecord* main = w->mainLoop();
    ASSERT_NE(main, nullptr);
    EXPECT_NE(main->markerId, alt);
    EXPECT_EQ(main->name, u"Main Loop");
    EXPECT_EQ(main->loopType, 0);
    EXPECT_EQ(main->end, 1000u);
    const LoopRecord* a = w->findMarker(alt);
    EXPECT_EQ(a->name, u"Alt Loop");
    EXPECT_EQ(a->start, 100u);
    EXPECT_EQ(a->startFraction, 46);
    EXPECT_EQ(a->pitch, 50);

    // The same loop again is found, not added.
    EXPECT_EQ(w->addLoop({1, 0, 100.456f, 200, 0.5f}, nullptr, false, true), alt);
    // makeMain overwrites the main loop in place.
    uint32_t mainId = main->markerId;
    EXPECT_EQ(w->addLoop({2, 3, 10, 20, 30}, nullptr, true, false), mainId);
    EXPECT_EQ(w->mainLoop()->loopType, 2);
    EXPECT_EQ(w->mainLoop()->loopCount, 3);
    EXPECT_EQ(w->mainLoop()->pitch, 1200); // clamped
    EXPECT_EQ(w->markers.size(), 2u);

    // An off loop that is checked for duplicates takes the main place itself.
    auto* v = new Waveform(c, kNewSerial, u"v");
    v->frames = 1000;
    uint32_t off = v->addLoop({0, 0, 5, 50, 0}, nullptr, false, true);
    EXPECT_EQ(v->markers.size(), 1u);
    EXPECT_EQ(v->mainLoopId, off);

    // A section over the same frames becomes the loop.
    auto* s = new Waveform(c, kNewSerial, u"s");
    s->frames = 1000;
    uint32_t section = s->addSection(100, 300, u"Sustain", true);
    EXPECT_EQ(s->addLoop({1, 0, 100.2f, 300.2f, 0}, nullptr, true, true), section);
    EXPECT_EQ(s->findMarker(section)->kind, 2);
    EXPECT_EQ(s->findMarker(section)->name, u"Sustain");
    EXPECT_EQ(s->mainLoopId, section);
}

TEST_F(WaveformTest, NameClashesCountUp) {
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 1000;
    w->addLoop({1, 0, 10, 20, 0}, u"Loop", true, false);
    w->addLoop({1, 0, 30, 40, 0}, u"Loop", false, false);
    EXPECT_EQ(Names(*w), (std::vector<std::u16string>{u"Loop 1", u"Loop 2"}));
    // "Loop 2" is taken already, so the next clash on "Loop" counts on.
    w->addSection(500, 600, u"Loop 2", true);
    EXPECT_EQ(Names(*w), (std::vector<std::u16string>{u"Loop 1", u"Loop 2 1", u"Loop 2 2"}));
    // With "Pad 2" taken, a second "Pad" makes "Pad 1" and "Pad 3".
    w->addMarker(700, u"Pad");
    w->addMarker(710, u"Pad 2");
    w->addSection(720, 0, u"Pad", false);
    EXPECT_EQ(w->markers[3].name, u"Pad 1");
    EXPECT_EQ(w->markers[5].name, u"Pad 3");
}

TEST_F(WaveformTest, SectionsPositionsAndLookups) {
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 1000;
    EXPECT_EQ(w->addSection(1000, 0, nullptr, false), 0u);    // past the end
    EXPECT_EQ(w->addSection(0, 0, nullptr, false), 0u);       // a start at 0 adds nothing
    uint32_t start = w->addSection(100, 998, nullptr, false); // end + 2 not below frames: a position
    EXPECT_EQ(w->findMarker(start)->kind, 0);
    EXPECT_EQ(w->findMarker(start)->name, u"Start");
    uint32_t play = w->addSection(100, 500, nullptr, false);
    EXPECT_EQ(w->findMarker(play)->kind, 1);
    EXPECT_EQ(w->findMarker(play)->name, u"Play");
    EXPECT_EQ(w->addSection(100, 500, u"Other", false), play);
    EXPECT_EQ(w->addSection(100, 0, nullptr, false), start);
    // Alt Start names an unnamed position marker at its frame.
    uint32_t unnamed = w->addMarker(300, nullptr);
    EXPECT_EQ(w->addAltStart(300), unnamed);
    EXPECT_EQ(w->findMarker(unnamed)->name, u"Alt Start");

    EXPECT_EQ(w->findMarkerAt(99, 0), nullptr);
    EXPECT_EQ(w->findMarkerAt(99, 1)->markerId, start);
    EXPECT_EQ(w->findMarkerAt(301, 0), w->findMarker(play)); // inside the section
    EXPECT_EQ(w->findMarkerByName(u"Play", 0), nullptr);
    EXPECT_EQ(w->findMarkerByName(u"Play", 3)->markerId, play);

    LoopInfo none = w->getLoop(kMainLoop);
    EXPECT_EQ(none.loopType, 0);
    EXPECT_EQ(none.start, 0.0f);
    EXPECT_EQ(none.end, 1000.0f);
    LoopInfo fromPosition = w->getLoop(start);
    EXPECT_EQ(fromPosition.loopType, 1);
    EXPECT_EQ(fromPosition.start, 100.0f);
    EXPECT_EQ(fromPosition.end, 1000.0f);
    uint32_t s, e;
    w->getSection(play, s, e);
    EXPECT_EQ(s, 100u);
    EXPECT_EQ(e, 500u);
    w->getSection(0, s, e);
    EXPECT_EQ(e, 1000u);

    EXPECT_TRUE(w->removeMarker(play));
    EXPECT_FALSE(w->removeMarker(play));
}

TEST_F(WaveformTest, ReleaseLoopNeedsAPlayingMainLoop) {
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 1000;
    w->addLoop({0, 0, 0, 1000, 0}, nullptr, true, false);
    uint32_t release = w->addLoop({1, 0, 800, 900, 0}, u"Release Loop", false, false);
    EXPECT_EQ(w->releaseLoop(), nullptr); // the main loop is off
    w->mainLoop()->loopType = 1;
    ASSERT_NE(w->releaseLoop(), nullptr);
    EXPECT_EQ(w->releaseLoop()->markerId, release);
    w->findMarker(release)->loopType = 0;
    w->findMarker(release)->loopCount = 1;
    EXPECT_EQ(w->releaseLoop(), nullptr);
}

TEST_F(WaveformTest, MarkerPropertiesSplitFractionsAndRound) {
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 1000;
    uint32_t id = w->addLoop({1, 0, 10, 20, 0}, nullptr, true, false);
    // Nothing selected: nothing set, nothing read, writes ignored.
    EXPECT_FALSE(w->isSet(225));
    w->setValue(225, 50);
    EXPECT_EQ(w->getValue(225), 0.0f);
    EXPECT_EQ(w->mainLoop()->start, 10u);

    w->selectedMarkerId = id;
    EXPECT_TRUE(w->isSet(225));
    EXPECT_FALSE(w->isSet(223));
    EXPECT_FALSE(w->isSet(229));
    w->setValue(225, 12.256f);
    EXPECT_EQ(w->mainLoop()->start, 12u);
    EXPECT_EQ(w->mainLoop()->startFraction, 26);
    EXPECT_NEAR(w->getValue(225), 12.26f, 1e-4);
    w->setValue(226, 99.999f); // rounds up into the next frame
    EXPECT_EQ(w->mainLoop()->end, 100u);
    EXPECT_EQ(w->mainLoop()->endFraction, 0);
    w->setValue(229, 0.125f);
    EXPECT_EQ(w->mainLoop()->pitch, 13);
    w->setValue(229, -0.125f);
    EXPECT_EQ(w->mainLoop()->pitch, -13);
    w->setValue(229, -40);
    EXPECT_EQ(w->mainLoop()->pitch, -1200);
    EXPECT_TRUE(w->isSet(229));
    w->setText(224, u"Sustain");
    EXPECT_EQ(w->mainLoop()->name, u"Sustain");
    EXPECT_EQ(std::u16string(w->text(224)), u"Sustain");

    EXPECT_EQ(w->describe(225).precision, kPrecisionHundredths);
    DropFeature(kFeatureFractionalLoops);
    EXPECT_EQ(w->describe(225).precision, kPrecisionInteger);
}

TEST_F(WaveformTest, WavePropertiesClampAndRound) {
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 10;
    ASSERT_NE(w->allocateSamples(), nullptr);
    w->setValue(238, 48000);
    EXPECT_EQ(w->sampleRate, 48000u);
    EXPECT_EQ(w->samples()->sampleRate, 48000.0f);
    w->setValue(239, 200);
    EXPECT_EQ(w->rootKey, 127);
    w->setValue(240, 12.5f);
    EXPECT_EQ(w->fineTune, 13);
    w->setValue(240, -12.5f);
    EXPECT_EQ(w->fineTune, -13);
    w->setValue(241, -200);
    EXPECT_EQ(w->gain, -96.0f);
    w->setValue(242, 4.9f);
    EXPECT_EQ(w->preferredCoding, 4);
    EXPECT_TRUE(w->isSet(242));
    w->resetValue(242);
    EXPECT_EQ(w->preferredCoding, 1);
    EXPECT_FALSE(w->isSet(242));
    EXPECT_FALSE(w->isSet(243));
    EXPECT_EQ(w->describe(230).number, kInfoName); // info fields go to the base
}

TEST_F(WaveformTest, FlatImageRoundTrip) {
    static auto decode = [](Waveform&, FileObject&, bool) { return 1; };
    constexpr uint16_t kTestRoutine = 9001;
    ASSERT_TRUE(RegisterDecodeRoutine(kTestRoutine, decode));

    auto* w = new Waveform(c, kNewSerial, u"Flat");
    w->frames = 3;
    w->channels = 2;
    w->sampleRate = 32000;
    w->bitsPerSample = 24;
    w->rootKey = 48;
    w->fineTune = -7;
    w->gain = -3.5f;
    w->preferredCoding = 2;
    w->sourceOffset = 0x123456789ull;
    w->decodeRoutine = decode;
    float* data = w->allocateSamples();
    for (int i = 0; i < 6; ++i) data[i] = 0.125f * float(i - 3);
    uint32_t loop = w->addLoop({3, 4, 1.25f, 2.5f, -0.5f}, u"Loop", true, false);
    w->findMarker(loop)->flags = kLoopHasRelease | kLoopHold;
    w->addMarker(1, u"Cue \u00e9");

    std::vector<uint8_t> image(w->flatSize() + 8, 0xCD);
    uint8_t* end = w->writeFlat(image.data());
    ASSERT_EQ(size_t(end - image.data()), w->flatSize());
    image.resize(w->flatSize());

    Collection d;
    auto* back = static_cast<Waveform*>(d.create(w->id));
    ASSERT_EQ(back->readFlat(image.data(), image.data() + image.size()), image.data() + image.size());
    auto fields = [](const Waveform& x) {
        return std::make_tuple(x.frames, x.channels, x.sampleRate, x.bitsPerSample, x.rootKey, x.fineTune,
                               x.gain, x.preferredCoding, x.sourceOffset, x.decodeRoutine, x.mainLoopId);
    };
    EXPECT_EQ(fields(*back), fields(*w));
    ASSERT_TRUE(back->hasSamples());
    EXPECT_EQ(std::memcmp(back->samples()->data, data, 6 * sizeof(float)), 0);
    auto markerFields = [](const LoopRecord& m) {
        return std::make_tuple(m.kind, m.start, m.startFraction, m.end, m.endFraction, m.name, m.loopType,
                               m.loopCount, m.pitch, m.markerId, m.flags);
    };
    ASSERT_EQ(back->markers.size(), 2u);
    for (size_t i = 0; i < 2; ++i)
        EXPECT_EQ(markerFields(back->markers[i]), markerFields(w->markers[i])) << i;

    // Every cut-short image is refused, never read past its end.
    for (size_t n = 0; n < image.size(); ++n) {
        std::vector<uint8_t> cut(image.begin(), image.begin() + ptrdiff_t(n));
        Collection e;
        auto* partial = static_cast<Waveform*>(e.create(w->id));
        EXPECT_EQ(partial->readFlat(cut.data(), cut.data() + cut.size()), nullptr) << n;
    }

    // Without samples and with a routine nobody registered: no floats, no routine.
    w->releaseSamples();
    w->decodeRoutine = [](Waveform&, FileObject&, bool) { return 0; };
    std::vector<uint8_t> bare(w->flatSize());
    w->writeFlat(bare.data());
    Collection f;
    auto* again = static_cast<Waveform*>(f.create(w->id));
    ASSERT_NE(again->readFlat(bare.data(), bare.data() + bare.size()), nullptr);
    EXPECT_FALSE(again->hasSamples());
    EXPECT_EQ(again->decodeRoutine, nullptr);
}

TEST_F(WaveformTest, SharingAndCloning) {
    auto* a = new Waveform(c, kNewSerial, u"a");
    a->frames = 4;
    a->channels = 2;
    a->sampleRate = 44100;
    a->bitsPerSample = 16;
    float* data = a->allocateSamples();
    for (int i = 0; i < 8; ++i) data[i] = float(i);
    a->addLoop({1, 0, 1, 3, 0}, u"Loop", true, false);
    a->addMarker(2, u"Hit");

    auto* b = new Waveform(c, kNewSerial, u"b");
    b->frames = 100;
    b->decodeRoutine = [](Waveform&, FileObject&, bool) { return 0; };
    uint32_t bLoop = b->addLoop({1, 0, 10, 90, 0}, u"Loop", true, false);
    b->addSection(5, 50, u"Hit", true); // same name, other kind: not merged
    b->shareSamples(*a);
    EXPECT_EQ(b->samples(), a->samples());
    EXPECT_EQ(a->samples()->refCount.load(), 2u);
    EXPECT_EQ(b->frames, 4u);
    EXPECT_EQ(b->channels, 2);
    EXPECT_EQ(b->bitsPerSample, 16);
    EXPECT_EQ(b->decodeRoutine, nullptr);
    EXPECT_EQ(b->findMarker(bLoop)->start, 1u);
    EXPECT_EQ(b->findMarker(bLoop)->end, 3u);
    EXPECT_EQ(b->markers.size(), 3u);

    Collection other;
    auto* copy = new Waveform(other, *a, true);
    EXPECT_EQ(std::u16string(copy->name()), u"a");
    ASSERT_TRUE(copy->hasSamples());
    EXPECT_NE(copy->samples(), a->samples());
    EXPECT_EQ(copy->samples()->data[7], 7.0f);
    EXPECT_EQ(copy->markers[0].markerId, a->markers[0].markerId);
    EXPECT_EQ(copy->mainLoopId, a->mainLoopId);
    auto* bare = new Waveform(other, *a, false, u"named");
    EXPECT_FALSE(bare->hasSamples());
    EXPECT_EQ(std::u16string(bare->name()), u"named");
}

TEST(WaveformImages, MimeTypesAndExtensions) {
    const uint8_t jpeg[8] = {0xFF, 0xD8, 0xFF, 0xE0, 0, 0x10, 'J', 'F'};
    const uint8_t png[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    const uint8_t gif[8] = {'G', 'I', 'F', '8', '9', 'a', 1, 0};
    EXPECT_STREQ(imageMimeType(jpeg, 8), "image/jpeg");
    EXPECT_STREQ(imageMimeType(png, 8), "image/png");
    EXPECT_STREQ(imageMimeType(gif, 8), "image/gif");
    EXPECT_EQ(imageMimeType(jpeg, 7), nullptr);
    EXPECT_EQ(imageMimeType(png + 1, 7), nullptr);
    EXPECT_TRUE(isImageFileName(u".JPEG"));
    EXPECT_TRUE(isImageFileName(u"gif"));
    EXPECT_FALSE(isImageFileName(u".bmp"));
    EXPECT_FALSE(isImageFileName(u""));
}

} // namespace
} // namespace vaxel
