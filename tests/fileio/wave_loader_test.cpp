// The wave loader: the deferred read from a real file, pseudo-sources and
// failures, ensureSamples over every kind of item, and the background loader
// when stopped, paused, outrun and when its collection goes away.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

#include "fileio/file_object.h"
#include "fileio/wave_loader.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/text.h"
#include "model/waveform.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

// Signed 16-bit little-endian samples from where the file stands.
int DecodePcm16(Waveform& wave, FileObject& file, bool) {
    std::vector<uint8_t> raw(size_t(wave.frames) * wave.channels * 2);
    if (!file.Read(raw.data(), raw.size())) {
        SetLastError("Test data cut short");
        return 0;
    }
    float* out = wave.allocateSamples();
    if (!out) return 0;
    for (size_t i = 0; i < raw.size() / 2; ++i)
        out[i] = float(int16_t(raw[2 * i] | (raw[2 * i + 1] << 8))) / 32768.0f;
    return 1;
}

// A pseudo-source: every sample is the wave's first reader word. Counts its
// reads per wave (second reader word) and in all, and notes the floating
// point mode of the thread it runs on.
std::atomic<int> gReads{0};
std::atomic<unsigned> gCsrSeen{0};
std::thread::id gTestThread;
std::mutex gBigMutex;
std::set<uint32_t> gBigAsked;

int DecodePseudo(Waveform& wave, FileObject& file, bool) {
    if (file.IsOpen()) {
        SetLastError("A pseudo-source was opened");
        return 0;
    }
    if (wave.frames > 100000) {
        // Too big to allocate in a test: note the request and fail.
        std::lock_guard lock(gBigMutex);
        gBigAsked.insert(wave.frames);
        SetLastError("Too big for the test");
        return 0;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
#if defined(__SSE__)
    if (std::this_thread::get_id() != gTestThread) gCsrSeen = _mm_getcsr() & 0x8040;
#endif
    float* out = wave.allocateSamples();
    if (!out) return 0;
    std::fill(out, out + wave.samples()->sampleCount(), float(wave.readerWords[0]));
    ++wave.readerWords[1];
    ++gReads;
    return 1;
}

int DecodeFail(Waveform&, FileObject&, bool) {
    SetLastError("Broken test data");
    return 0;
}

template <class Condition> bool WaitFor(Condition done) {
    for (int i = 0; i < 20000; ++i) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

class WaveLoaderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InstallWaveLoader();
        gReads = 0;
        gTestThread = std::this_thread::get_id();
    }
    void TearDown() override {
        BackgroundLoader::Stop();
        SetStatusLine(nullptr);
    }

    static Waveform* Pseudo(Collection& c, uint32_t frames, uint32_t value) {
        auto* w = new Waveform(c, kNewSerial, u"p");
        w->frames = frames;
        w->readerWords[0] = value;
        w->decodeRoutine = DecodePseudo;
        w->setText(kInfoSourceFile, u"<test source>");
        return w;
    }

    static size_t Present(const Collection& c) {
        size_t n = 0;
        for (Waveform* w : ItemsOf<Waveform>(c)) n += w->hasSamples();
        return n;
    }
};

TEST_F(WaveLoaderTest, DeferredReadFromARealFile) {
    test::RequireTool("sox");
    test::TempDir dir;
    const auto raw = dir / "tone.raw";
    ASSERT_EQ(test::Run("sox -n -r 8000 -c 2 -b 16 -e signed-integer -L " + test::Quote(raw.string()) +
                        " synth 0.05 sine 440 sine 660 vol 0.8"),
              0);
    std::vector<uint8_t> pcm = test::ReadFile(raw);
    ASSERT_EQ(pcm.size(), 400u * 2 * 2);
    // Put the samples behind a head of 37 bytes, as a container would.
    std::vector<uint8_t> file(37 + pcm.size(), 0xEE);
    std::memcpy(file.data() + 37, pcm.data(), pcm.size());
    const auto path = dir / "tone.bin";
    test::WriteFile(path, file);

    Collection c;
    c.setText(kInfoSourceFile, Utf8ToWide(path.string()));
    auto* w = new Waveform(c, kNewSerial, u"Tone");
    w->channels = 2;
    w->frames = 400;
    w->sourceOffset = 37;
    w->decodeRoutine = DecodePcm16;
    c.update(-1, true); // the wave takes the collection's path

    test::RecordingStatusLine status;
    SetStatusLine(&status);
    ASSERT_TRUE(readSamples(*w, false));
    ASSERT_TRUE(w->hasSamples());
    for (size_t i = 0; i < 800; ++i)
        ASSERT_EQ(w->samples()->data[i], float(int16_t(pcm[2 * i] | (pcm[2 * i + 1] << 8))) / 32768.0f) << i;
    ASSERT_EQ(status.entries.size(), 2u);
    EXPECT_EQ(status.entries[0].text, u"Reading: Tone");
    EXPECT_EQ(status.entries[1].mode, kStatusClearProgress);

    // Released, the wave reads again through lockSamples, silently.
    w->releaseSamples();
    status.entries.clear();
    ASSERT_NE(w->lockSamples(), nullptr);
    EXPECT_TRUE(status.entries.empty());
    EXPECT_NE(w->decodeRoutine, nullptr);
    ASSERT_NE(w->lockSamplesForWrite(), nullptr);
    EXPECT_EQ(w->decodeRoutine, nullptr); // cut from its source
}

TEST_F(WaveLoaderTest, FailuresLeaveTheWaveDescribed) {
    test::TempDir dir;
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 4;
    EXPECT_FALSE(readSamples(*w, true));
    EXPECT_EQ(LastErrorUtf8(), "No wave data import procedure");

    const auto path = dir / "later.bin";
    w->decodeRoutine = DecodePcm16;
    w->setText(kInfoSourceFile, Utf8ToWide(path.string()));
    EXPECT_FALSE(readSamples(*w, true));
    EXPECT_EQ(LastErrorUtf8(), "Could not open file");
    EXPECT_EQ(w->lockSamples(), nullptr);
    EXPECT_FALSE(w->hasSamples());
    // The file turns up: the next attempt succeeds.
    test::WriteFile(path, std::vector<uint8_t>{0, 0x40, 0, 0xC0, 0, 0, 0xFF, 0x7F});
    ASSERT_TRUE(readSamples(*w, true));
    EXPECT_EQ(w->samples()->data[0], 0.5f);
    EXPECT_EQ(w->samples()->data[1], -0.5f);

    // A routine's own message stands.
    auto* broken = new Waveform(c, kNewSerial, u"b");
    broken->frames = 1;
    broken->decodeRoutine = DecodeFail;
    broken->setText(kInfoSourceFile, u"<nowhere>");
    EXPECT_FALSE(readSamples(*broken, true));
    EXPECT_EQ(LastErrorUtf8(), "Broken test data");

    // A pseudo-source is never opened, even where a file of that name exists.
    const auto oldFolder = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    test::WriteFile(dir / "<test source>", std::string("x"));
    Waveform* p = Pseudo(c, 3, 7);
    const bool read = readSamples(*p, true);
    std::filesystem::current_path(oldFolder);
    ASSERT_TRUE(read) << LastErrorUtf8();
    EXPECT_EQ(p->samples()->data[2], 7.0f);
}

TEST_F(WaveLoaderTest, EnsureSamplesReadsEveryWaveBehindAnItem) {
    Collection c;
    Waveform* a = Pseudo(c, 10, 1);
    Waveform* b = Pseudo(c, 10, 2);
    Waveform* d = Pseudo(c, 10, 3);
    Waveform* loose = Pseudo(c, 10, 4);
    auto* inst = new Instrument(c, kNewSerial, u"i");
    auto* layer = new Layer(c, kNewSerial);
    inst->addChild(*layer);
    auto* r1 = new Region(c, kNewSerial, SerialOf(a->id));
    layer->addChild(*r1);
    auto* r2 = new Region(c, kNewSerial);
    layer->addChild(*r2);
    auto* model = new SynthesisModel(c, kNewSerial);
    r2->addChild(*model);
    model->ids.push_back(b->id);
    model->ids.push_back(d->id);
    model->ids.push_back(b->id); // twice, read once

    EXPECT_TRUE(ensureSamples(nullptr));
    ASSERT_TRUE(ensureSamples(inst));
    EXPECT_TRUE(a->hasSamples() && b->hasSamples() && d->hasSamples());
    EXPECT_FALSE(loose->hasSamples());
    EXPECT_EQ(b->readerWords[1], 1u);
    ASSERT_TRUE(ensureSamples(&c));
    EXPECT_TRUE(loose->hasSamples());
    EXPECT_EQ(gReads.load(), 4);

    // The first failure stops the loop and is the result.
    Collection e;
    auto* bad = new Waveform(e, kNewSerial, u"bad");
    bad->frames = 1;
    bad->decodeRoutine = DecodeFail;
    bad->setText(kInfoSourceFile, u"<x>");
    Waveform* after = Pseudo(e, 5, 9);
    EXPECT_FALSE(ensureSamples(&e));
    EXPECT_EQ(LastErrorUtf8(), "Broken test data");
    EXPECT_FALSE(after->hasSamples());
}

TEST_F(WaveLoaderTest, StoppedLoaderLeavesTheRestForEnsureSamples) {
    Collection c;
    for (uint32_t i = 0; i < 300; ++i) Pseudo(c, 64, i);
    BackgroundLoader::QueueCollection(c);
    EXPECT_TRUE(BackgroundLoader::IsRunning());
    ASSERT_TRUE(WaitFor([] { return gReads.load() >= 10; }));
    BackgroundLoader::Stop();
    EXPECT_FALSE(BackgroundLoader::IsRunning());
    const size_t present = Present(c);
    EXPECT_LT(present, 300u);
    EXPECT_EQ(present + BackgroundLoader::QueuedCount(), 300u);
    // Read in the collection's order: the present waves come first.
    size_t index = 0;
    for (Waveform* w : ItemsOf<Waveform>(c)) EXPECT_EQ(w->hasSamples(), index++ < present);

    ASSERT_TRUE(ensureSamples(&c));
    EXPECT_EQ(Present(c), 300u);
    for (Waveform* w : ItemsOf<Waveform>(c)) {
        EXPECT_EQ(w->readerWords[1], 1u);
        EXPECT_EQ(w->samples()->data[63], float(w->readerWords[0]));
    }
#if defined(__SSE__)
    EXPECT_EQ(gCsrSeen.load(), 0x8040u); // the loader reads with denormals flushed to zero
#endif
}

TEST_F(WaveLoaderTest, EnsureSamplesOvertakesTheLoaderWhichThenGoesOn) {
    Collection c;
    std::vector<Waveform*> waves;
    for (uint32_t i = 0; i < 200; ++i) waves.push_back(Pseudo(c, 32, i));
    BackgroundLoader::QueueCollection(c);
    ASSERT_TRUE(WaitFor([] { return gReads.load() >= 5; }));
    // The last waves are at the front of the queue; read them out of turn.
    ASSERT_TRUE(ensureSamples(waves.back()));
    ASSERT_NE(waves[198]->lockSamples(), nullptr);
    EXPECT_TRUE(waves.back()->hasSamples());
    ASSERT_TRUE(WaitFor([] { return !BackgroundLoader::IsRunning(); }));
    EXPECT_EQ(BackgroundLoader::QueuedCount(), 0u);
    EXPECT_EQ(Present(c), 200u);
    EXPECT_EQ(gReads.load(), 200); // no wave was read twice
}

TEST_F(WaveLoaderTest, HugeWavesAreLeftForWhenTheyAreNeeded) {
    {
        std::lock_guard lock(gBigMutex);
        gBigAsked.clear();
    }
    Collection c;
    Pseudo(c, 25000000, 0);
    Waveform* huge = Pseudo(c, 30000000, 0);
    BackgroundLoader::QueueCollection(c);
    ASSERT_TRUE(WaitFor([] { return !BackgroundLoader::IsRunning(); }));
    {
        std::lock_guard lock(gBigMutex);
        EXPECT_EQ(gBigAsked, (std::set<uint32_t>{25000000}));
    }
    // On demand it is read (here the routine refuses it).
    EXPECT_EQ(huge->lockSamples(), nullptr);
    std::lock_guard lock(gBigMutex);
    EXPECT_EQ(gBigAsked.count(30000000), 1u);
}

TEST_F(WaveLoaderTest, WavesAndCollectionsMayGoWhileTheLoaderRuns) {
    auto a = std::make_unique<Collection>();
    auto b = std::make_unique<Collection>();
    std::vector<Waveform*> inA;
    for (uint32_t i = 0; i < 300; ++i) inA.push_back(Pseudo(*a, 64, i));
    for (uint32_t i = 0; i < 20; ++i) Pseudo(*b, 64, i);
    BackgroundLoader::QueueCollection(*b);
    BackgroundLoader::QueueCollection(*a); // a's waves come first
    ASSERT_TRUE(WaitFor([] { return gReads.load() >= 3; }));
    // Single waves go, wherever they stand in the queue or whether they are
    // being read right now.
    for (size_t i = 0; i < 300; i += 7) delete inA[i];
    EXPECT_LE(BackgroundLoader::QueuedCount(), 320u - 43u);
    a.reset();
    // b's waves are still read.
    ASSERT_TRUE(WaitFor([] { return !BackgroundLoader::IsRunning(); }));
    EXPECT_EQ(Present(*b), 20u);
    EXPECT_EQ(BackgroundLoader::QueuedCount(), 0u);

    // Cleared while running: the queue forgets the collection.
    for (uint32_t i = 0; i < 200; ++i) Pseudo(*b, 64, i);
    BackgroundLoader::QueueCollection(*b);
    b->clear();
    EXPECT_EQ(BackgroundLoader::QueuedCount(), 0u);
    ASSERT_TRUE(WaitFor([] { return !BackgroundLoader::IsRunning(); }));
}

} // namespace
} // namespace vaxel
