// The shared wave operations against sox and ffmpeg. Inputs are 32-bit
// float WAVs that sox makes; our side reads them through the WAV reader, the
// oracle's side runs the same file through sox to raw floats. sox works on
// 32-bit integers inside, so "the same result" means within a couple of
// float steps at full scale (3e-7), not bit for bit.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <sstream>

#include "fileio/open_save.h"
#include "fileio/wave_loader.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/waveform.h"
#include "support/test_support.h"
#include "tools/wave_ops.h"

namespace vaxel {
namespace {

constexpr float kSoxTolerance = 3e-7f;
// Where no arithmetic happens, only sox's float -> int32 -> float trip
// differs: below 2^-8 a float holds finer steps than 2^-31.
constexpr float kSoxExact = 1e-9f;

class WaveOpsTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        InstallFormats();
        InstallWaveLoader();
    }
    void SetUp() override {
        test::RequireTool("sox");
        cwd_ = std::filesystem::current_path();
    }
    // Opening a file makes its folder the current one; the folder goes away
    // with the test.
    void TearDown() override { std::filesystem::current_path(cwd_); }

    // Makes dir/name with sox: `sox -n <format> name <synth...>`.
    std::filesystem::path Make(const std::string& name, const std::string& args) {
        const auto path = dir_ / name;
        const std::string cmd = "sox -D -n -e floating-point -b 32 " + args.substr(0, args.find('|')) + " " +
                                test::Quote(path.string()) + " " + args.substr(args.find('|') + 1);
        EXPECT_EQ(test::Run(cmd + " 2>&1"), 0) << cmd;
        return path;
    }

    // Loads a file into a fresh collection and returns its wave with samples.
    Waveform* Load(const std::filesystem::path& path) {
        collections_.push_back(std::make_unique<Collection>());
        Collection& c = *collections_.back();
        EXPECT_EQ(openFile(c, path, false), 1) << LastErrorUtf8();
        Waveform* w = static_cast<Waveform*>(c.first(ItemType::Waveform));
        EXPECT_NE(w, nullptr);
        if (w) {
            EXPECT_NE(w->lockSamples(), nullptr) << LastErrorUtf8();
        }
        return w;
    }

    // What sox makes of the file with the effects, as raw floats.
    std::vector<float> Sox(const std::string& inputs, const std::string& effects) {
        const auto out = dir_ / "oracle.f32";
        const std::string cmd =
            "sox -D " + inputs + " -t f32 " + test::Quote(out.string()) + " " + effects + " 2>&1";
        std::string log;
        EXPECT_EQ(test::Run(cmd, &log), 0) << cmd << "\n" << log;
        const std::vector<uint8_t> bytes = test::ReadFile(out);
        std::vector<float> samples(bytes.size() / 4);
        std::memcpy(samples.data(), bytes.data(), samples.size() * 4);
        return samples;
    }

    static std::vector<float> Samples(const Waveform& w) {
        const SampleBlock* b = w.samples();
        return b ? std::vector<float>(b->data, b->data + b->sampleCount()) : std::vector<float>();
    }

    static void ExpectSame(const std::vector<float>& ours, const std::vector<float>& theirs, float tolerance,
                           const char* what) {
        ASSERT_EQ(ours.size(), theirs.size()) << what;
        size_t worst = 0;
        float worstDiff = 0.0f;
        for (size_t i = 0; i < ours.size(); ++i)
            if (std::fabs(ours[i] - theirs[i]) > worstDiff) {
                worstDiff = std::fabs(ours[i] - theirs[i]);
                worst = i;
            }
        EXPECT_LE(worstDiff, tolerance)
            << what << ": sample " << worst << " is " << ours[worst] << ", sox has " << theirs[worst];
    }

    std::string Q(const std::filesystem::path& p) { return test::Quote(p.string()); }

    std::filesystem::path cwd_;
    test::TempDir dir_;
    std::vector<std::unique_ptr<Collection>> collections_;
};

TEST_F(WaveOpsTest, LevelOperationsMatchSox) {
    // Two unequal channels below full scale with a little offset.
    const auto in = Make("tone.wav", "-r 44100 -c 2|synth 0.3 sine 440 sine 1234 vol 0.45 dcshift 0.05");

    Waveform* w = Load(in);
    ASSERT_EQ(MaximizeWave(*w, 1), kOpChanged);
    ExpectSame(Samples(*w), Sox(Q(in), "gain -n"), kSoxTolerance, "Maximize mode 1 / gain -n");
    EXPECT_EQ(w->decodeRoutine, nullptr) << "a changed wave is no longer its file";

    w = Load(in);
    ASSERT_EQ(ApplyGain(*w, nullptr, -7.5), kOpChanged);
    ExpectSame(Samples(*w), Sox(Q(in), "vol -7.5dB"), kSoxTolerance, "ApplyGain / vol");

    // +12 dB clips: both clamp to full scale (sox's integers stop one step
    // short of it).
    w = Load(in);
    ASSERT_EQ(ApplyGain(*w, nullptr, 12.0), kOpChanged);
    ExpectSame(Samples(*w), Sox(Q(in), "vol 12dB"), kSoxTolerance, "ApplyGain clipping / vol");

    w = Load(in);
    double sum = 0.0;
    for (float x : Samples(*w)) sum += x;
    const double mean = sum / double(Samples(*w).size());
    ASSERT_EQ(RemoveDcOffset(*w), kOpChanged);
    std::ostringstream shift;
    shift.precision(12);
    shift << "dcshift " << -mean;
    ExpectSame(Samples(*w), Sox(Q(in), shift.str()), kSoxTolerance, "RemoveDcOffset / dcshift");
    double after = 0.0;
    for (float x : Samples(*w)) after += x;
    EXPECT_NEAR(after / double(Samples(*w).size()), 0.0, 1e-7);
}

TEST_F(WaveOpsTest, FrameOrderAndChannelsMatchSox) {
    const auto in = Make("st.wav", "-r 22050 -c 2|synth 0.2 sine 300 square 77 vol 0.6");
    Waveform* w = Load(in);
    ASSERT_EQ(ReverseRange(*w, nullptr), kOpChanged);
    ExpectSame(Samples(*w), Sox(Q(in), "reverse"), kSoxExact, "reverse");

    w = Load(in);
    ASSERT_EQ(SwapChannels(*w), kOpChanged);
    ExpectSame(Samples(*w), Sox(Q(in), "swap"), kSoxExact, "swap");

    w = Load(in);
    ASSERT_EQ(InvertRange(*w, nullptr), kOpChanged);
    ExpectSame(Samples(*w), Sox(Q(in), "vol -1"), kSoxTolerance, "invert / vol -1");

    struct MonoCase {
        int mode;
        const char* remix;
    } monoCases[] = {{0, "remix 1v0.5,2v0.5"}, {1, "remix 1"}, {2, "remix 2"}};
    for (const MonoCase& m : monoCases) {
        w = Load(in);
        ASSERT_EQ(ToMono(*w, m.mode), kOpChanged);
        EXPECT_EQ(w->channels, 1);
        ExpectSame(Samples(*w), Sox(Q(in), m.remix), kSoxTolerance, m.remix);
    }

    const auto mono = Make("mono.wav", "-r 22050 -c 1|synth 0.1 sine 500 vol 0.7");
    struct StereoCase {
        int mode;
        const char* remix;
    } stereoCases[] = {{0, "remix 1 1"}, {1, "remix 1 0"}, {2, "remix 0 1"}};
    for (const StereoCase& s : stereoCases) {
        w = Load(mono);
        ASSERT_EQ(ToStereo(*w, s.mode, nullptr, false), kOpChanged);
        EXPECT_EQ(w->channels, 2);
        ExpectSame(Samples(*w), Sox(Q(mono), s.remix), kSoxExact, s.remix);
    }
}

TEST_F(WaveOpsTest, MixMatchesSoxMix) {
    // Different lengths: the shorter one gives zeros at the end.
    const auto a = Make("a.wav", "-r 16000 -c 1|synth 0.25 sine 220 vol 0.5");
    const auto b = Make("b.wav", "-r 16000 -c 1|synth 0.4 sawtooth 330 vol 0.5");
    Waveform* wa = Load(a);
    Waveform* wb = Load(b);
    Waveform& target = *wa;
    ASSERT_EQ(MixWaves(target, wa, wb, 0.7, 0.4, 0.0), kOpChanged);
    EXPECT_EQ(target.frames, wb->frames);
    ExpectSame(Samples(target), Sox("-m -v 0.7 " + Q(a) + " -v 0.4 " + Q(b), ""), kSoxTolerance,
               "mix / sox -m");

    // c goes on being added behind the shorter source's end, and the sum
    // clamps to full scale.
    wa = Load(a);
    wb = Load(b);
    ASSERT_EQ(MixWaves(*wa, wa, wb, 1.0, 1.0, 0.75), kOpChanged);
    const std::vector<float> mixed = Samples(*wa);
    const std::vector<float> bs = Samples(*wb);
    for (size_t i = 4000; i < mixed.size(); i += 97) EXPECT_FLOAT_EQ(mixed[i], std::min(1.0f, bs[i] + 0.75f));

    // A stereo source makes the result stereo; the mono one feeds both sides.
    const auto st = Make("st.wav", "-r 16000 -c 2|synth 0.1 sine 100 sine 200 vol 0.3");
    Waveform* ws = Load(st);
    wa = Load(a);
    ASSERT_EQ(MixWaves(*ws, ws, wa, 1.0, 1.0, 0.0), kOpChanged);
    EXPECT_EQ(ws->channels, 2);
    EXPECT_EQ(MixWaves(*ws, ws, nullptr, 1, 1, 0), kOpFailed);
    EXPECT_EQ(LastErrorUtf8(), "A null wave was supplied");
}

// The one-pole sections are the same design as sox's single-pole filters
// (e = exp(-2 pi fc/fs)); sox runs them in integers with its own rounding, so
// agreement is to a few integer steps, not exact.
TEST_F(WaveOpsTest, OnePoleFiltersMatchSoxSinglePole) {
    const auto in = Make("noise.wav", "-r 44100 -c 2|synth 0.3 whitenoise vol 0.4");
    for (const auto& [type, effect] :
         {std::pair{kFilterLowPass6, "lowpass -1 2000"}, std::pair{kFilterHighPass6, "highpass -1 2000"}}) {
        Waveform* w = Load(in);
        float* data = w->lockSamplesForWrite();
        FilterRange(data, w->frames, w->channels, type, 2000.0 / 44100.0);
        ExpectSame(Samples(*w), Sox(Q(in), effect), 2e-6f, effect);
    }
}

// The state-variable sections differ from sox's biquads, so they are checked
// by their response: a tone well inside the pass band keeps its level, one
// well in the stop band loses the slope's worth, and the slopes add up in
// the 24 dB types.
TEST(WaveFilterResponse, SlopesAndBands) {
    const double rate = 44100.0;
    auto gainAt = [&](int type, double tone, double cutoff) {
        std::vector<float> x(44100);
        for (size_t i = 0; i < x.size(); ++i)
            x[i] = float(0.5 * std::sin(2 * M_PI * tone * double(i) / rate));
        FilterRange(x.data(), uint32_t(x.size()), 1, type, cutoff / rate);
        double peak = 0.0;
        for (size_t i = x.size() / 2; i < x.size(); ++i) peak = std::max(peak, std::fabs(double(x[i])));
        return 20.0 * std::log10(peak / 0.5);
    };
    // Pass band.
    EXPECT_NEAR(gainAt(kFilterLowPass12, 100, 4000), 0.0, 0.3);
    EXPECT_NEAR(gainAt(kFilterHighPass12, 12000, 500), 0.0, 0.5);
    // An octave step deep in the stop band costs about the slope.
    const double lp12 = gainAt(kFilterLowPass12, 4000, 250) - gainAt(kFilterLowPass12, 2000, 250);
    EXPECT_NEAR(lp12, -12.0, 1.5);
    const double lp24 = gainAt(kFilterLowPass24, 4000, 250) - gainAt(kFilterLowPass24, 2000, 250);
    EXPECT_NEAR(lp24, -24.0, 2.5);
    const double lp18 = gainAt(kFilterLowPass18, 4000, 250) - gainAt(kFilterLowPass18, 2000, 250);
    EXPECT_NEAR(lp18, -18.0, 2.0);
    const double hp24 = gainAt(kFilterHighPass24, 125, 1000) - gainAt(kFilterHighPass24, 250, 1000);
    EXPECT_NEAR(hp24, -24.0, 2.5);
    // Band pass keeps its centre and drops both sides; the notch the other
    // way round.
    EXPECT_GT(gainAt(kFilterBandPass6, 1000, 1000), -4.0);
    EXPECT_LT(gainAt(kFilterBandPass12, 8000, 1000), -20.0);
    EXPECT_LT(gainAt(kFilterBandPass12, 125, 1000), -20.0);
    EXPECT_LT(gainAt(kFilterBandReject12, 1000, 1000), -30.0);
    EXPECT_NEAR(gainAt(kFilterBandReject6, 100, 4000), 0.0, 0.5);
    // Pass-thru and a bad type leave the samples alone.
    std::vector<float> x = {0.1f, -0.2f, 0.3f};
    FilterRange(x.data(), 3, 1, kFilterPassThru, 0.1);
    FilterRange(x.data(), 3, 1, 99, 0.1);
    EXPECT_EQ(x, (std::vector<float>{0.1f, -0.2f, 0.3f}));
}

// ----------------------------------------------------------- own model

Waveform& MakeWave(Collection& c, std::vector<float> samples, uint8_t channels, uint32_t rate = 44100) {
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->channels = channels;
    w->sampleRate = rate;
    w->frames = uint32_t(samples.size() / channels);
    float* d = w->allocateSamples();
    std::copy(samples.begin(), samples.end(), d);
    return *w;
}

std::vector<float> Data(const Waveform& w) {
    const SampleBlock* b = w.samples();
    return b ? std::vector<float>(b->data, b->data + b->sampleCount()) : std::vector<float>();
}

TEST(WaveOps, MaximizeModesAndTheirNoOps) {
    Collection c;
    // Mode 1 on silence, on a wave already at full scale, and on an empty
    // wave: nothing changes and nothing is reported as changed.
    Waveform& silent = MakeWave(c, std::vector<float>(64, 0.0f), 1);
    EXPECT_EQ(MaximizeWave(silent, 1), kOpUnchanged);
    Waveform& full = MakeWave(c, {0.5f, -1.0f, 0.25f}, 1);
    EXPECT_EQ(MaximizeWave(full, 1), kOpUnchanged);
    Waveform empty(c, kNewSerial, u"e");
    empty.frames = 0;
    EXPECT_EQ(MaximizeWave(empty, 1), kOpUnchanged);

    // The scan starts from min +1 and max -1, so a wave of 0.5 and 0.25 only
    // has min 0.25 and max 0.5: mode 0 maps those to the rails.
    Waveform& pos = MakeWave(c, {0.5f, 0.25f, 0.375f}, 1);
    EXPECT_EQ(MaximizeWave(pos, 0), kOpChanged);
    EXPECT_EQ(Data(pos), (std::vector<float>{1.0f, -1.0f, 0.0f}));
    // Mode 2 scales about the mean: mean 0.25, q 0.5.
    Waveform& m2 = MakeWave(c, {0.75f, 0.0f, 0.0f}, 1);
    EXPECT_EQ(MaximizeWave(m2, 2), kOpChanged);
    EXPECT_EQ(Data(m2), (std::vector<float>{1.0f, -0.5f, -0.5f}));
    // A constant wave has nothing to scale about in mode 2.
    Waveform& flat = MakeWave(c, {0.3f, 0.3f}, 1);
    EXPECT_EQ(MaximizeWave(flat, 2), kOpUnchanged);
    EXPECT_EQ(MaximizeWave(flat, 7), kOpFailed);
    EXPECT_EQ(LastErrorUtf8(), "Invalid algorithm");
}

TEST(WaveOps, GainRangesAndSharedBlocks) {
    Collection c;
    Waveform& w = MakeWave(c, {0.1f, 0.1f, 0.2f, 0.2f, 0.3f, 0.3f}, 2);
    EXPECT_EQ(ApplyGain(w, nullptr, 0.0), kOpUnchanged);
    FrameRange outside{10, 20};
    EXPECT_EQ(ApplyGain(w, &outside, 6.0), kOpUnchanged);
    // The range's end is cut to the wave; frame 0 stays.
    FrameRange tail{1, 99};
    EXPECT_EQ(ApplyGain(w, &tail, 20.0), kOpChanged);
    const std::vector<float> d = Data(w);
    EXPECT_FLOAT_EQ(d[0], 0.1f);
    EXPECT_FLOAT_EQ(d[2], 1.0f) << "0.2 x 10 clamps";
    EXPECT_FLOAT_EQ(d[5], 1.0f);
    // +12 dB through ApplyGain is the exponential (3.98), not the 5.0 of the
    // shortcut table.
    Waveform& small = MakeWave(c, {0.1f}, 1);
    ApplyGain(small, nullptr, 12.0);
    EXPECT_NEAR(Data(small)[0], 0.398107f, 1e-5);

    // A wave sharing its block with another is copied before it changes.
    Waveform& a = MakeWave(c, {0.5f, -0.5f}, 1);
    Waveform b(c, kNewSerial, u"b");
    b.shareSamples(a);
    ASSERT_EQ(a.samples(), b.samples());
    EXPECT_EQ(InvertRange(a, nullptr), kOpChanged);
    EXPECT_EQ(Data(a), (std::vector<float>{-0.5f, 0.5f}));
    EXPECT_EQ(Data(b), (std::vector<float>{0.5f, -0.5f}));
}

TEST(WaveOps, FadesFollowTheirCurves) {
    Collection c;
    // Four frames of 1.0: d = 1/5.
    for (int mode = 0; mode < 4; ++mode) {
        Waveform& w = MakeWave(c, std::vector<float>(8, 1.0f), 2);
        ASSERT_EQ(FadeRange(w, {0, 4}, mode), kOpChanged);
        const std::vector<float> d = Data(w);
        for (int i = 0; i < 4; ++i) {
            const int up = i + 1, down = 4 - i;
            const float expected = mode == 0   ? up * 0.2f
                                   : mode == 1 ? 1.0f - std::log10(1.0f + 9.0f * down * 0.2f)
                                   : mode == 2 ? down * 0.2f
                                               : 1.0f - std::log10(1.0f + 9.0f * up * 0.2f);
            EXPECT_NEAR(d[2 * i], expected, 1e-6) << "mode " << mode << " frame " << i;
            EXPECT_EQ(d[2 * i], d[2 * i + 1]) << "both channels get the same factor";
        }
    }
    Waveform& w = MakeWave(c, {1.0f}, 1);
    EXPECT_EQ(FadeRange(w, {3, 9}, 0), kOpUnchanged);
    EXPECT_EQ(FadeRange(w, {0, 1}, 4), kOpFailed);
}

TEST(WaveOps, SmoothingRowsReadWhatTheyShould) {
    Collection c;
    const std::vector<float> x = {0.0f, 0.8f, 0.0f, 0.4f, 0.0f};
    Waveform& tri = MakeWave(c, x, 1);
    SmoothRange(tri, {0, 5}, 0);
    // From the unsmoothed data: y1 = 0.4, y2 = (0.8 + 0.4)/4 = 0.3, y3 = 0.2.
    EXPECT_EQ(Data(tri), (std::vector<float>{0.0f, 0.4f, 0.3f, 0.2f, 0.0f}));
    Waveform& towers = MakeWave(c, x, 1);
    SmoothRange(towers, {0, 5}, 1);
    EXPECT_EQ(Data(towers), (std::vector<float>{0.0f, 0.0f, 0.6f, 0.0f, 0.0f}));
    // Row 2 at the wave's end reads the zero frame behind the block.
    Waveform& right = MakeWave(c, {0.2f, 0.4f, 0.8f}, 1);
    SmoothRange(right, {1, 3}, 2);
    EXPECT_EQ(Data(right), (std::vector<float>{0.2f, 0.6f, 0.4f}));
    // Row 3 runs backward over already smoothed data... and at the head
    // reads the zero frame ahead of the block.
    Waveform& left = MakeWave(c, {0.8f, 0.4f, 0.2f}, 1);
    SmoothRange(left, {0, 3}, 3);
    EXPECT_EQ(Data(left), (std::vector<float>{0.4f, 0.6f, 0.3f}));
    // The pad frames stay zero for the interpolators.
    EXPECT_EQ(right.samples()->data[3], 0.0f);
    EXPECT_EQ(left.samples()->data[-1], 0.0f);
}

TEST(WaveOps, ChannelConversionsKeepNamesAndMarkers) {
    Collection c;
    Waveform& w = MakeWave(c, {0.1f, 0.2f, 0.3f, 0.4f}, 2);
    w.setName(u"Strings -S");
    w.addMarker(1, u"m");
    Waveform* right = nullptr;
    ASSERT_EQ(ToMono(w, 3, &right), kOpChanged);
    ASSERT_NE(right, nullptr);
    EXPECT_EQ(std::u16string(w.name()), u"Strings -L");
    EXPECT_EQ(std::u16string(right->name()), u"Strings -R");
    EXPECT_EQ(Data(w), (std::vector<float>{0.1f, 0.3f}));
    EXPECT_EQ(Data(*right), (std::vector<float>{0.2f, 0.4f}));
    EXPECT_EQ(w.markers.size(), 1u);

    // Joining them again: the longer length wins, the name loses "-L", the
    // root key is the mean.
    w.rootKey = 60;
    right->rootKey = 63;
    right->bitsPerSample = 24;
    ASSERT_EQ(ToStereo(w, 3, right, true), kOpChanged);
    EXPECT_EQ(std::u16string(w.name()), u"Strings");
    EXPECT_EQ(Data(w), (std::vector<float>{0.1f, 0.2f, 0.3f, 0.4f}));
    EXPECT_EQ(w.rootKey, 61);
    EXPECT_EQ(w.bitsPerSample, 24);

    // Mode 4 converts only identical channels.
    Waveform& differ = MakeWave(c, {0.1f, 0.2f}, 2);
    EXPECT_EQ(ToMono(differ, 4), kOpUnchanged);
    EXPECT_EQ(differ.channels, 2);
    Waveform& same = MakeWave(c, {0.1f, 0.1f}, 2);
    EXPECT_EQ(ToMono(same, 4), kOpChanged);
    EXPECT_EQ(same.channels, 1);
    EXPECT_EQ(ToMono(same, 0), kOpUnchanged) << "a mono wave is left alone";

    Waveform& mono = MakeWave(c, {0.5f}, 1);
    EXPECT_EQ(ToStereo(mono, 3, nullptr, false), kOpFailed);
    EXPECT_EQ(LastErrorUtf8(), "No 2nd waveform specified");
    EXPECT_EQ(ToStereo(mono, 4, &differ, false), kOpFailed);
    EXPECT_EQ(LastErrorUtf8(), "2nd waveform is not mono");
    EXPECT_EQ(ToStereo(mono, 9, nullptr, false), kOpFailed);
    EXPECT_EQ(LastErrorUtf8(), "Invalid algorithm");
    // A wave paired with itself.
    ASSERT_EQ(ToStereo(mono, 4, &mono, false), kOpChanged);
    EXPECT_EQ(Data(mono), (std::vector<float>{0.5f, 0.5f}));
}

// Every operation over small waves of every shape, with ranges inside,
// across and outside them: the frame count stays, the pad frames the
// interpolators rely on stay zero, and the clamping operations stay within
// full scale.
TEST(WaveOps, AnyShapeAnyRangeStaysInBounds) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> level(-1.0f, 1.0f);
    Collection c;
    for (int round = 0; round < 300; ++round) {
        const uint8_t channels = uint8_t(1 + rng() % 3);
        const uint32_t frames = rng() % 12;
        std::vector<float> x(size_t(frames) * channels);
        for (float& v : x) v = level(rng);
        Waveform& w = MakeWave(c, x, channels);
        const FrameRange range{uint32_t(rng() % 16), uint32_t(rng() % 16)};
        const int op = round % 9;
        switch (op) {
        case 0:
            ApplyGain(w, &range, 9.0);
            break;
        case 1:
            MaximizeWave(w, int(rng() % 3));
            break;
        case 2:
            FadeRange(w, range, int(rng() % 4));
            break;
        case 3:
            SmoothRange(w, range, int(rng() % 4));
            break;
        case 4:
            ReverseRange(w, &range);
            break;
        case 5:
            InvertRange(w, &range);
            break;
        case 6:
            RemoveDcOffset(w);
            break;
        case 7:
            MixWaves(w, &w, &w, 0.9, 0.8, 0.1);
            break;
        default:
            if (w.samples()) FilterRange(w.samples()->data, frames, channels, int(rng() % 13), 0.3);
            break;
        }
        const SampleBlock* b = w.samples();
        if (!b) continue;
        if (op != 7) {
            EXPECT_EQ(b->frames, frames);
        }
        for (int k = 0; k < b->channels; ++k) EXPECT_EQ(b->data[-1 - k], 0.0f) << "op " << op;
        for (size_t k = 0; k < size_t(b->channels) * 3; ++k)
            EXPECT_EQ(b->data[b->sampleCount() + k], 0.0f) << "op " << op;
        if (op != 1 && op != 8) {
            for (size_t k = 0; k < b->sampleCount(); ++k)
                EXPECT_LE(std::fabs(b->data[k]), 1.0f) << "op " << op;
        }
    }
}

// --------------------------------------------------------------- loudness

std::vector<float> Sine(double hz, double amplitude, double seconds, uint32_t rate, int channels = 1) {
    std::vector<float> out;
    const size_t frames = size_t(seconds * rate);
    for (size_t i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            out.push_back(float(amplitude * std::sin(2 * M_PI * hz * double(i) / rate)));
    return out;
}

TEST(Loudness, SteadyToneLandsInItsBin) {
    Collection c;
    // 1 kHz at 0.5: every 50 ms window has a mean square of 0.125, bin
    // trunc(903.09) = 903. All full windows share that bin and hold more
    // than the 5% the walk looks for, so the walk steps back one bin: 902.
    Waveform& w = MakeWave(c, Sine(1000, 0.5, 2.0, 44100), 1);
    EXPECT_NEAR(LoudnessOfWave(w, false), 9.02 - 21.26, 1e-4);
    // The equal-loudness curve sits near -10 dB at 1 kHz, which its offset
    // makes up for. Its taps are spaced rate/126 apart, so at 100 Hz the
    // response leans toward the -50 dB of 0 Hz: the same tone asks for much
    // more gain (13 dB with these taps, not the curve's 5).
    const float weighted1k = LoudnessOfWave(w, true);
    EXPECT_NEAR(weighted1k, 9.02 - 21.26, 1.0);
    Waveform& low = MakeWave(c, Sine(100, 0.5, 2.0, 44100), 1);
    EXPECT_NEAR(LoudnessOfWave(low, true) - weighted1k, 13.0, 1.0);
    EXPECT_NEAR(LoudnessOfWave(low, false), 9.02 - 21.26, 0.05) << "without the curve only the level counts";
    // Stereo counts both channels into one mean.
    Waveform& st = MakeWave(c, Sine(1000, 0.5, 2.0, 44100, 2), 2);
    EXPECT_NEAR(LoudnessOfWave(st, false), 9.02 - 21.26, 1e-4);
}

TEST(Loudness, QuietPartsAndShortWaves) {
    Collection c;
    // Loud bursts in 10% of the time rule the 5% level; the silence between
    // does not pull it down.
    std::vector<float> bursts = Sine(1000, 0.5, 4.0, 44100);
    for (size_t i = 0; i < bursts.size(); ++i)
        if ((i / 4410) % 10 != 0) bursts[i] = 0.0f;
    Waveform& b = MakeWave(c, bursts, 1);
    EXPECT_NEAR(LoudnessOfWave(b, false), 9.03 - 21.26, 0.05);
    // Fewer frames than half a window: no window at all, gain 0.
    Waveform& tiny = MakeWave(c, Sine(1000, 0.5, 0.01, 44100), 1);
    EXPECT_EQ(LoudnessOfWave(tiny, true), 0.0f);
    Waveform one(c, kNewSerial, u"1");
    one.frames = 1;
    EXPECT_EQ(LoudnessOfWave(one, false), 0.0f);
    // Silence fills the last bin.
    Waveform& silent = MakeWave(c, std::vector<float>(44100, 0.0f), 1);
    EXPECT_NEAR(LoudnessOfWave(silent, false), 119.98 - 21.26, 1e-3);

    // A list is one recording: two waves at 0.5 and 0.05 give the loud
    // one's level, not the mean.
    Waveform& loud = MakeWave(c, Sine(1000, 0.5, 1.0, 44100), 1);
    Waveform& quiet = MakeWave(c, Sine(1000, 0.05, 1.0, 44100), 1);
    const float together = LoudnessOfList({&loud, &quiet, &c}, false);
    EXPECT_NEAR(together, 9.02 - 21.26, 1e-4);
}

// The analyser's tap loop runs four positions and four taps at a time; a
// plain dot product per position, written here the obvious way, must land
// every window in the same bin. 22050 Hz gives an odd window (1103) so the
// loop's tails are used.
TEST(Loudness, WindowsMatchAPlainDotProduct) {
    const uint32_t rate = 22050;
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> u(-0.7f, 0.7f);
    std::vector<float> x(size_t(rate) * 2 * 2);
    for (float& v : x) v = u(rng);
    LoudnessAnalyzer a;
    ASSERT_TRUE(a.prepare(2, rate, true));
    a.feed(x.data(), uint32_t(x.size() / 2));
    a.finish();

    float taps[LoudnessAnalyzer::kTaps];
    LoudnessAnalyzer::BuildEqualLoudnessFir(rate, taps);
    const int wl = 1103;
    const size_t frames = x.size() / 2;
    std::vector<uint32_t> expected(LoudnessAnalyzer::kBins, 0);
    auto at = [&](ptrdiff_t frame, int c) {
        return frame < 0 || size_t(frame) >= frames ? 0.0f : x[2 * frame + c];
    };
    // Windows start at frame 0 and are processed once 64 frames behind
    // them are in; a tail of more than half a window is padded with zeros.
    for (size_t start = 0; start < frames; start += wl) {
        const size_t have = std::min(frames - start, size_t(wl) + 64);
        if (have < size_t(wl) + 64 && have <= size_t(wl) / 2) break;
        const bool last = have < size_t(wl) + 64;
        double sum = 0.0;
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < wl; ++i) {
                float v = 0.0f;
                for (int k = 0; k < 128; ++k) {
                    const ptrdiff_t f = ptrdiff_t(start) + i + k - 64;
                    v += taps[k] * (last && size_t(f) >= start + have ? 0.0f : at(f, c));
                }
                sum += double(v) * double(v);
            }
        const double mean = std::max(sum / (2.0 * wl), 1e-37);
        ++expected[size_t(std::clamp(int(std::trunc(-1000.0 * std::log10(mean))), 0, 11999))];
        if (last) break;
    }
    EXPECT_EQ(a.histogram(), expected);
}

} // namespace
} // namespace vaxel
