// The wave tools as the runner runs them: counts and result texts, options
// and their quirks, sections, failures, and the statistics against sox
// stats and ffmpeg astats.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <regex>

#include "fileio/open_save.h"
#include "fileio/wave_loader.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/text.h"
#include "model/waveform.h"
#include "support/test_support.h"
#include "tools/tool_runner.h"
#include "tools/tool_table.h"
#include "tools/wave_ops.h"
#include "tools/wave_tools.h"

namespace vaxel {
namespace {

class WaveToolsTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        InstallFormats();
        InstallWaveLoader();
        InstallTools();
    }
    void SetUp() override {
        ForgetRememberedValues();
        errors_.clear();
        wholeStates_ = 0;
        Tools().showError = [this](std::u16string_view text) { errors_.push_back(WideToUtf8(text)); };
        Tools().saveCollectionState = [this](Collection&, std::u16string_view) {
            ++wholeStates_;
            return true;
        };
        cwd_ = std::filesystem::current_path();
    }
    void TearDown() override {
        Tools().showError = nullptr;
        Tools().saveCollectionState = nullptr;
        std::filesystem::current_path(cwd_);
    }

    Waveform& Wave(std::vector<float> samples, uint8_t channels, const char16_t* name = u"w",
                   uint32_t rate = 44100) {
        auto* w = new Waveform(c_, kNewSerial, name);
        w->channels = channels;
        w->sampleRate = rate;
        w->frames = uint32_t(samples.size() / channels);
        if (w->frames) std::copy(samples.begin(), samples.end(), w->allocateSamples());
        return *w;
    }

    // Runs a tool over the items with options given as key=value texts, as
    // the command line gives them; returns the result text.
    std::string Run(const char16_t* tool, std::vector<CollectionItem*> items,
                    std::vector<std::pair<const char*, std::string>> options = {},
                    ToolSectionRange section = {}) {
        const ToolEntry* entry = FindTool(items.empty() || items[0]->type() == ItemType::Waveform
                                              ? ToolKind::Wave
                                              : KindForItemType(int(items[0]->type())),
                                          tool);
        EXPECT_TRUE(entry && entry->tool) << WideToUtf8(tool);
        if (!entry || !entry->tool) return "";
        ToolValues values = ToolValues::Defaults(*entry->tool);
        for (auto& [key, text] : options)
            EXPECT_TRUE(SetOptionFromText(values, key, text)) << LastErrorUtf8();
        std::vector<ItemId> ids;
        for (CollectionItem* item : items) ids.push_back(item->id);
        std::u16string result;
        count_ = runTool(c_, tool, &values, ids, section, &result);
        return count_ < 0 ? "failed: " + LastErrorUtf8() : WideToUtf8(result);
    }

    static std::vector<float> Data(const Waveform& w) {
        const SampleBlock* b = w.samples();
        return b ? std::vector<float>(b->data, b->data + b->sampleCount()) : std::vector<float>();
    }

    Collection c_;
    int count_ = 0;
    int wholeStates_ = 0;
    std::vector<std::string> errors_;
    std::filesystem::path cwd_;
};

std::vector<float> Sine(double hz, double amplitude, double seconds, uint32_t rate = 44100) {
    std::vector<float> out(size_t(seconds * rate));
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = float(amplitude * std::sin(2 * M_PI * hz * double(i) / rate));
    return out;
}

TEST_F(WaveToolsTest, CountsOnlyWavesThatChanged) {
    Waveform& silent = Wave(std::vector<float>(100, 0.0f), 1, u"silent");
    Waveform& full = Wave({0.2f, -1.0f}, 1, u"full");
    Waveform& quiet = Wave({0.25f, -0.125f}, 1, u"quiet");
    EXPECT_EQ(Run(u"Maximize amplitude", {&silent, &full, &quiet}),
              "Processed 1 item using Maximize amplitude");
    EXPECT_EQ(Data(quiet), (std::vector<float>{1.0f, -0.5f}));

    Waveform& centred = Wave({0.5f, -0.5f}, 1);
    EXPECT_EQ(Run(u"Remove DC offset", {&centred}), "No items were modified by Remove DC offset");
    Waveform& offset = Wave({0.5f, 0.0f}, 1);
    EXPECT_EQ(Run(u"Remove DC offset", {&offset, &centred}), "Processed 1 item using Remove DC offset");
    EXPECT_EQ(Data(offset), (std::vector<float>{0.25f, -0.25f}));

    // The channel tools skip what is already in the wanted layout, and any
    // item that is not a wave. (A selection with no wave of the other
    // layout doesn't get the tool at all.)
    Waveform& mono = Wave({0.1f}, 1);
    Waveform& stereo = Wave({0.1f, 0.2f}, 2);
    auto* region = new Region(c_, kNewSerial);
    EXPECT_EQ(Run(u"Convert from stereo to mono", {&mono, region, &stereo}, {{"algorithm", "1"}}),
              "No items were modified by Convert from stereo to mono");
    EXPECT_EQ(Run(u"Convert from mono to stereo", {&stereo}).substr(0, 6), "failed");
    EXPECT_EQ(Run(u"Swap left and right channels", {&stereo, &mono, region}),
              "Processed 1 item using Swap left and right channels");
    EXPECT_EQ(Data(stereo), (std::vector<float>{0.2f, 0.1f}));
}

TEST_F(WaveToolsTest, AdjustVolumeOnSectionsAndMetaData) {
    Waveform& w = Wave({0.1f, 0.1f, 0.1f, 0.1f}, 1);
    EXPECT_EQ(Run(u"Adjust volume/gain", {&w}, {{"gain", "6"}}, {true, 1, 3}),
              "Processed 1 item using Adjust volume/gain");
    const std::vector<float> d = Data(w);
    EXPECT_FLOAT_EQ(d[0], 0.1f);
    EXPECT_NEAR(d[1], 0.1995262f, 1e-6) << "exp(6 x 0.115129255), not the 2.0 shortcut";
    EXPECT_FLOAT_EQ(d[3], 0.1f);
    // A section wholly behind the wave's end changes nothing.
    EXPECT_EQ(Run(u"Adjust volume/gain", {&w}, {{"gain", "6"}}, {true, 50, 60}),
              "No items were modified by Adjust volume/gain");
    // The meta data box adds to the volume parameter and leaves the samples,
    // but not while a section is active.
    EXPECT_EQ(Run(u"Adjust volume/gain", {&w}, {{"gain", "-3.5"}, {"meta-only", "on"}}),
              "Processed 1 item using Adjust volume/gain");
    EXPECT_FLOAT_EQ(w.gain, -3.5f);
    EXPECT_EQ(Data(w)[0], 0.1f);
    Run(u"Adjust volume/gain", {&w}, {{"gain", "-2"}, {"meta-only", "on"}});
    EXPECT_FLOAT_EQ(w.gain, -5.5f);
    Run(u"Adjust volume/gain", {&w}, {{"gain", "6"}, {"meta-only", "on"}}, {true, 0, 1});
    EXPECT_FLOAT_EQ(w.gain, -5.5f);
    EXPECT_GT(Data(w)[0], 0.19f);
    EXPECT_EQ(Run(u"Adjust volume/gain", {&w}, {{"gain", "0"}}),
              "No items were modified by Adjust volume/gain");
}

TEST_F(WaveToolsTest, NormalizeSetsVolumeOrAudio) {
    // 1 kHz at 0.5 measures -12.24 dB without the curve (see the loudness
    // tests); the default target of 89 adds 6.
    Waveform& a = Wave(Sine(1000, 0.5, 1.0), 1, u"a");
    a.gain = 3.0f;
    EXPECT_EQ(Run(u"Normalize volume", {&a}, {{"equal-loudness", "off"}}),
              "Processed 1 item using Normalize volume");
    EXPECT_NEAR(a.gain, 6.0 - 12.24, 1e-4) << "the parameter is replaced, not added to";
    EXPECT_EQ(Data(a)[11], Sine(1000, 0.5, 1.0)[11]);

    // Modifying audio: the gain goes into the samples and the parameter to 0.
    Waveform& b = Wave(Sine(1000, 0.5, 1.0), 1, u"b");
    b.gain = 3.0f;
    Run(u"Normalize volume", {&b}, {{"mode", "1"}, {"equal-loudness", "off"}, {"peak", "83"}});
    EXPECT_EQ(b.gain, 0.0f);
    double peak = 0;
    for (float x : Data(b)) peak = std::max(peak, double(std::fabs(x)));
    EXPECT_NEAR(20 * std::log10(peak / 0.5), -12.24, 0.01);

    // A negative target is taken as 0.
    Waveform& n = Wave(Sine(1000, 0.5, 1.0), 1, u"n");
    Run(u"Normalize volume", {&n}, {{"equal-loudness", "off"}, {"peak", "-20"}});
    EXPECT_NEAR(n.gain, -83.0 - 12.24, 1e-3);

    // As one recording, both get the same gain, that of the loud one.
    Waveform& loud = Wave(Sine(1000, 0.5, 1.0), 1, u"loud");
    Waveform& soft = Wave(Sine(1000, 0.05, 1.0), 1, u"soft");
    Run(u"Normalize volume", {&loud, &soft}, {{"equal-loudness", "off"}, {"single-recording", "on"}});
    EXPECT_NEAR(loud.gain, 6.0 - 12.24, 1e-4);
    EXPECT_EQ(loud.gain, soft.gain);

    // A wave shorter than half a window measures 0: the target alone
    // decides.
    Waveform& tiny = Wave(std::vector<float>(100, 0.3f), 1, u"tiny");
    Run(u"Normalize volume", {&tiny});
    EXPECT_FLOAT_EQ(tiny.gain, 6.0f);
}

TEST_F(WaveToolsTest, NormalizeChannelsApart) {
    // Left at 0.5, right at 0.05: each channel is levelled on its own, the
    // wave stays one stereo wave with its name, and no helper wave remains.
    std::vector<float> st;
    const std::vector<float> s = Sine(1000, 0.5, 1.0);
    for (float x : s) {
        st.push_back(x);
        st.push_back(x * 0.1f);
    }
    Waveform& w = Wave(st, 2, u"Pad");
    const size_t before = c_.count(ItemType::Waveform);
    EXPECT_EQ(Run(u"Normalize volume", {&w},
                  {{"mode", "1"}, {"separate-channels", "on"}, {"equal-loudness", "off"}, {"peak", "83"}}),
              "Processed 1 item using Normalize volume");
    EXPECT_EQ(c_.count(ItemType::Waveform), before);
    EXPECT_EQ(w.channels, 2);
    EXPECT_EQ(std::u16string(w.name()), u"Pad");
    double left = 0, right = 0;
    const std::vector<float> d = Data(w);
    for (size_t i = 0; i < d.size(); i += 2) {
        left = std::max(left, double(std::fabs(d[i])));
        right = std::max(right, double(std::fabs(d[i + 1])));
    }
    EXPECT_NEAR(left, right, left * 0.01);
}

TEST_F(WaveToolsTest, FindVolumeMeasures) {
    Waveform& w = Wave({0.5f, -0.25f, 0.1f}, 1, u"snare");
    EXPECT_EQ(Run(u"Find volume", {&w}), "Processed 1 item using Find volume");
    EXPECT_EQ(std::u16string(w.name()), u"snare -6.0 dB");

    // RMS of the entire waveform counts `frames` floats from the head: on
    // stereo, the first half of the block.
    Waveform& st = Wave({0.5f, 0.5f, 0.0f, 0.0f}, 2, u"st");
    Run(u"Find volume", {&st}, {{"measure", "2"}, {"append-name", "off"}, {"subtract", "on"}});
    EXPECT_FLOAT_EQ(st.gain, 6.0f) << "rms of 0.5, 0.5 is 0.5: -6 dB, subtracted";

    // RMS around the peak: a peak within the first quarter second gives -96.
    std::vector<float> early(44100, 0.01f);
    early[100] = 0.9f;
    Waveform& e = Wave(early, 1, u"early");
    Run(u"Find volume", {&e}, {{"measure", "3"}});
    EXPECT_EQ(std::u16string(e.name()), u"early -96.0 dB");
    // Later on, it is the root of the mean of squares of 2h floats counted
    // from the head of the block, not from the peak.
    std::vector<float> late(44100 * 2, 0.5f);
    late[30000] = 0.9f;
    Waveform& l = Wave(late, 1, u"late");
    Run(u"Find volume", {&l}, {{"measure", "3"}, {"append-name", "off"}, {"subtract", "on"}});
    EXPECT_FLOAT_EQ(l.gain, 6.0f);

    // ReplayGain is a gain to apply: a loud wave gives a negative number, and
    // the normalize box applies minus that, so the loud wave gets louder
    // still (hence the box's warning).
    Waveform& loud = Wave(Sine(1000, 0.9, 1.0), 1, u"loud");
    Run(u"Find volume", {&loud}, {{"measure", "1"}, {"append-name", "off"}, {"normalize", "on"}});
    double peak = 0;
    for (float x : Data(loud)) peak = std::max(peak, double(std::fabs(x)));
    EXPECT_EQ(peak, 1.0);
}

TEST_F(WaveToolsTest, FadeSmoothFilterMixThroughTheTable) {
    // Fade and smooth need a section; runTool gives them the whole wave when
    // none is given.
    Waveform& f = Wave(std::vector<float>(4, 1.0f), 1);
    EXPECT_EQ(Run(u"Fade in/out selection", {&f}, {{"fade-curve", "Linear"}}),
              "Processed 1 item using Fade in/out selection");
    EXPECT_EQ(Data(f), (std::vector<float>{0.2f, 0.4f, 0.6f, 0.8f}));
    Waveform& g = Wave(std::vector<float>(4, 1.0f), 1);
    Run(u"Fade in/out selection", {&g}, {{"fade-direction", "1"}, {"fade-curve", "0"}}, {true, 2, 4});
    EXPECT_EQ(Data(g), (std::vector<float>{1.0f, 1.0f, 2.0f / 3.0f, 1.0f / 3.0f}));

    Waveform& sm = Wave({0.0f, 0.8f, 0.0f}, 1);
    EXPECT_EQ(Run(u"Smooth within the selection", {&sm}),
              "Processed 1 item using Smooth within the selection");
    EXPECT_FLOAT_EQ(Data(sm)[1], 0.4f);

    // Filter: pass-thru changes nothing, more than two channels are skipped.
    Waveform& n = Wave(Sine(10000, 0.5, 0.1), 1);
    EXPECT_EQ(Run(u"Filter waveform", {&n}, {{"filter-type", "Pass-thru"}}),
              "No items were modified by Filter waveform");
    Waveform& three = Wave(std::vector<float>(30, 0.5f), 3);
    EXPECT_EQ(Run(u"Filter waveform", {&n, &three}, {{"cutoff", "1000"}}),
              "Processed 1 item using Filter waveform");
    double peak = 0;
    const std::vector<float> d = Data(n);
    for (size_t i = d.size() / 2; i < d.size(); ++i) peak = std::max(peak, double(std::fabs(d[i])));
    EXPECT_LT(peak, 0.5 * 0.02) << "10 kHz through a 12 dB/oct low pass at 1 kHz";

    // Mix: the selected wave is w1 and the target; w2 by name.
    Waveform& target = Wave({0.5f, 0.5f}, 1, u"target");
    Wave({0.25f, 0.25f, 0.25f}, 1, u"other");
    EXPECT_EQ(Run(u"Mix out = a * wave1 + b * wave2 + c", {&target},
                  {{"a", "0,5"}, {"b", "2"}, {"c", "-0.25"}, {"w2", "other"}}),
              "Processed 1 item using Mix out = a * wave1 + b * wave2 + c");
    EXPECT_EQ(Data(target), (std::vector<float>{0.5f, 0.5f, 0.25f}));
    EXPECT_EQ(Run(u"Mix out = a * wave1 + b * wave2 + c", {&target}, {{"w2", "nowhere"}}),
              "No items were modified by Mix out = a * wave1 + b * wave2 + c");
    EXPECT_EQ(errors_, std::vector<std::string>{"A null wave was supplied"});
}

TEST_F(WaveToolsTest, SplitToMonoTakesWholeCollectionState) {
    Waveform& w = Wave({0.1f, -0.1f, 0.2f, -0.2f}, 2, u"Choir -S");
    EXPECT_EQ(Run(u"Convert from stereo to mono", {&w}, {{"algorithm", "Split into two mono waveforms"}}),
              "Processed 1 item using Convert from stereo to mono");
    EXPECT_EQ(wholeStates_, 1);
    ASSERT_EQ(c_.count(ItemType::Waveform), 2u);
    EXPECT_EQ(std::u16string(w.name()), u"Choir -L");

    // Phase inversion: opposite channels are not averaged to silence.
    Waveform& inv = Wave({0.5f, -0.5f, 0.25f, -0.25f}, 2);
    Run(u"Convert from stereo to mono", {&inv}, {{"fix-phase", "on"}});
    EXPECT_EQ(Data(inv), (std::vector<float>{0.5f, 0.25f}));
    Waveform& plain = Wave({0.5f, -0.5f}, 2);
    Run(u"Convert from stereo to mono", {&plain});
    EXPECT_EQ(Data(plain), (std::vector<float>{0.0f}));

    // Mono to stereo with a second wave by name, and the fallback to
    // duplication when the collection holds only one wave.
    Waveform& left = Wave({0.1f, 0.2f}, 1, u"Harp-L");
    Wave({0.3f}, 1, u"Harp-R");
    Run(u"Convert from mono to stereo", {&left}, {{"algorithm", "1"}, {"second", "Harp-R"}});
    EXPECT_EQ(Data(left), (std::vector<float>{0.1f, 0.3f, 0.2f, 0.0f}));
    EXPECT_EQ(std::u16string(left.name()), u"Harp");
    Collection lone;
    auto* only = new Waveform(lone, kNewSerial, u"only");
    only->frames = 1;
    only->allocateSamples()[0] = 0.7f;
    ToolValues v = ToolValues::Defaults(*FindTool(ToolKind::Wave, u"Convert from mono to stereo")->tool);
    v.setNumber("algorithm", 2);
    EXPECT_EQ(runTool(lone, u"Convert from mono to stereo", &v, {only->id}), 1);
    EXPECT_EQ(Data(*only), (std::vector<float>{0.7f, 0.7f}));
}

TEST_F(WaveToolsTest, LoopAndMarkerTools) {
    Waveform& w = Wave(std::vector<float>(1000, 0.1f), 1);
    EXPECT_EQ(Run(u"Enable/disable loops", {&w}), "Processed 1 item using Enable/disable loops");
    ASSERT_NE(w.mainLoop(), nullptr);
    EXPECT_EQ(w.mainLoop()->end, 1000u);
    EXPECT_EQ(Run(u"Enable/disable loops", {&w}), "No items were modified by Enable/disable loops");
    EXPECT_EQ(Run(u"Enable/disable loops", {&w}, {{"change", "2"}}),
              "Processed 1 item using Enable/disable loops");
    EXPECT_EQ(Run(u"Enable/disable loops", {&w}, {{"change", "0"}}),
              "Processed 1 item using Enable/disable loops");
    EXPECT_EQ(w.mainLoop()->loopType, 0);

    LoopInfo loop;
    loop.loopType = 1;
    loop.start = 10;
    loop.end = 500;
    w.addLoop(loop, u"Sustain", true, false);
    EXPECT_EQ(Run(u"Convert loop markers to sections", {&w}),
              "Processed 1 item using Convert loop markers to sections");
    EXPECT_EQ(w.mainLoopId, 0u);
    for (const LoopRecord& m : w.markers) EXPECT_NE(m.kind, kMarkerLoop);

    // A plain marker becomes a loop ending at a later marker of the second
    // name, which goes away; the loop becomes the main loop.
    Waveform& m = Wave(std::vector<float>(1000, 0.1f), 1);
    m.addMarker(100, u"start");
    m.addMarker(50, u"end");
    m.addMarker(700, u"end");
    EXPECT_EQ(Run(u"Convert section markers to loops", {&m}, {{"marker", "start"}, {"end-marker", "end"}}),
              "Processed 1 item using Convert section markers to loops");
    ASSERT_NE(m.mainLoop(), nullptr);
    EXPECT_EQ(m.mainLoop()->start, 100u);
    EXPECT_EQ(m.mainLoop()->end, 700u);
    EXPECT_EQ(m.mainLoop()->loopType, 1);
    EXPECT_EQ(m.markers.size(), 2u);
    EXPECT_EQ(Run(u"Convert section markers to loops", {&m}, {{"marker", "missing"}}),
              "No items were modified by Convert section markers to loops");
}

TEST_F(WaveToolsTest, RootKeysFromNames) {
    GlobalSettings().app.bMidIsNamedC3 = false;
    EXPECT_EQ(ParseRootKeyFromName(u"Piano C#3"), 49);
    EXPECT_EQ(ParseRootKeyFromName(u"Piano_c4_soft"), 60);
    EXPECT_EQ(ParseRootKeyFromName(u"Bass C-1"), 0);
    // Scanning from the end meets the 'b' of a flat first, and "b3" is a B.
    EXPECT_EQ(ParseRootKeyFromName(u"Horn Eb3"), 59);
    EXPECT_EQ(ParseRootKeyFromName(u"Harp G9"), 127);
    EXPECT_EQ(ParseRootKeyFromName(u"Kick_60"), 60);
    EXPECT_EQ(ParseRootKeyFromName(u"Strings100"), -1)
        << "three digits need a blank or underscore before them";
    EXPECT_EQ(ParseRootKeyFromName(u"Strings 100"), 100);
    EXPECT_EQ(ParseRootKeyFromName(u"Take1234"), -1) << "runs of four digits are not keys";
    EXPECT_EQ(ParseRootKeyFromName(u"x7"), -1);
    EXPECT_EQ(ParseRootKeyFromName(u"7"), 7);
    EXPECT_EQ(ParseRootKeyFromName(u"Loop 200"), -1);
    EXPECT_EQ(ParseRootKeyFromName(u""), -1);
    GlobalSettings().app.bMidIsNamedC3 = true;
    EXPECT_EQ(ParseRootKeyFromName(u"Piano C3"), 60);
    EXPECT_EQ(std::u16string(KeyNameForWave(61)), u"C#3");
    GlobalSettings().app.bMidIsNamedC3 = false;
    EXPECT_EQ(std::u16string(KeyNameForWave(0)), u"C-1");

    Waveform& a = Wave({0.0f}, 1, u"Flute A4");
    Waveform& b = Wave({0.0f}, 1, u"Noise");
    EXPECT_EQ(Run(u"Parse root key from waveform name", {&a, &b}),
              "Processed 1 item using Parse root key from waveform name");
    EXPECT_EQ(a.rootKey, 69);

    EXPECT_EQ(Run(u"Set waveform names from root keys", {&a}),
              "Processed 1 item using Set waveform names from root keys");
    EXPECT_EQ(std::u16string(a.name()), u"A4 Flute A4");
    Run(u"Set waveform names from root keys", {&b}, {{"pattern", "2"}});
    EXPECT_EQ(std::u16string(b.name()), u"foo - C4 - bar");

    b.setText(kInfoSourceFile, u"/samples/Cello/Cello_C2.wav");
    EXPECT_EQ(Run(u"Set waveform names from file names", {&b}),
              "Processed 1 item using Set waveform names from file names");
    EXPECT_EQ(std::u16string(b.name()), u"Cello_C2");
}

TEST_F(WaveToolsTest, SearchAndReplaceInEveryTable) {
    Waveform& w = Wave({0.0f}, 1, u"aaaa");
    w.setText(kInfoComments, u"old take");
    w.addMarker(0, u"old marker");
    EXPECT_EQ(Run(u"Search and replace text", {&w}, {{"search", "aa"}, {"replace", "a"}}),
              "Processed 1 item using Search and replace text");
    EXPECT_EQ(std::u16string(w.name()), u"aa") << "no rescan of what was inserted";
    EXPECT_EQ(std::u16string(w.text(kInfoComments)), u"old take") << "meta data is off by default";
    Run(u"Search and replace text", {&w},
        {{"search", "old"}, {"replace", "new"}, {"wave-text", "on"}, {"marker-names", "on"}});
    EXPECT_EQ(std::u16string(w.text(kInfoComments)), u"new take");
    EXPECT_EQ(w.markers[0].name, u"new marker");
    Run(u"Search and replace text", {&w}, {{"search", "aa"}});
    EXPECT_EQ(std::u16string(w.name()), u"unnamed");

    EXPECT_EQ(Run(u"Search and replace text", {&w}), "No items were modified by Search and replace text");
    EXPECT_EQ(errors_, std::vector<std::string>{"You haven't supplied any search string."});

    // The same page from the instrument table, over a whole collection.
    auto* inst = new Instrument(c_, kNewSerial, u"Grand Piano");
    Wave({0.0f}, 1, u"Grand C4");
    EXPECT_EQ(Run(u"Search and replace text", {&c_}, {{"search", "Grand"}, {"replace", "Upright"}}),
              "Processed 2 items using Search and replace text");
    EXPECT_EQ(std::u16string(inst->name()), u"Upright Piano");
}

TEST_F(WaveToolsTest, BadInputsNeverCrash) {
    // Empty, one-frame and silent waves through every tool that touches
    // samples, with and without a section outside the wave.
    const char16_t* tools[] = {u"Adjust volume/gain",
                               u"Normalize volume",
                               u"Find volume",
                               u"Maximize amplitude",
                               u"Remove DC offset",
                               u"Fade in/out selection",
                               u"Filter waveform",
                               u"Smooth within the selection",
                               u"Invert sign throughout selection",
                               u"Reverse audio within selection",
                               u"Convert from stereo to mono",
                               u"Swap left and right channels",
                               u"Statistics for the waveform"};
    for (const char16_t* tool : tools) {
        auto* empty = new Waveform(c_, kNewSerial, u"empty");
        empty->frames = 0;
        empty->channels = 2;
        Waveform& one = Wave({0.3f, -0.3f}, 2, u"one");
        Waveform& silent = Wave(std::vector<float>(400, 0.0f), 2, u"silent");
        const bool sectioned = FindTool(ToolKind::Wave, tool)->flags & kSectionCapable;
        const std::string r = Run(tool, {empty, &one, &silent});
        EXPECT_EQ(r.find("failed"), std::string::npos) << WideToUtf8(tool) << ": " << r;
        if (sectioned) {
            const std::string s = Run(tool, {empty, &one, &silent}, {}, {true, 5000, 6000});
            EXPECT_EQ(s, "No items were modified by " + WideToUtf8(tool));
        }
    }
    Waveform& w = Wave({0.1f, 0.2f}, 1);
    EXPECT_EQ(Run(u"Invert sign throughout selection", {&w}, {}, {true, 4, 2}),
              "failed: Select a valid section range!");
    // Mix over a wave without samples says so and changes nothing.
    auto* empty = new Waveform(c_, kNewSerial, u"nothing");
    empty->frames = 0;
    EXPECT_EQ(Run(u"Mix out = a * wave1 + b * wave2 + c", {empty}),
              "No items were modified by Mix out = a * wave1 + b * wave2 + c");
    EXPECT_EQ(errors_.back(), "The waves to mix hold no samples");
}

// -------------------------------------------------- statistics vs oracles

double Field(const std::string& text, const std::string& label) {
    const std::regex re(label + R"(\s*:?\s*(-?[0-9.]+(e-?[0-9]+)?))");
    std::smatch m;
    if (!std::regex_search(text, m, re)) {
        ADD_FAILURE() << "no '" << label << "' in:\n" << text;
        return NAN;
    }
    return std::stod(m[1]);
}

TEST_F(WaveToolsTest, StatisticsAgreeWithSoxStatsAndFfmpegAstats) {
    test::RequireTool("sox");
    test::RequireTool("ffmpeg");
    test::TempDir dir;
    const auto in = dir / "tone.wav";
    ASSERT_EQ(test::Run("sox -D -n -e floating-point -b 32 -r 44100 -c 1 " + test::Quote(in.string()) +
                        " synth 0.5 sine 437 vol 0.3 dcshift 0.01 2>&1"),
              0);
    ASSERT_EQ(openFile(c_, in, false), 1) << LastErrorUtf8();
    auto* w = static_cast<Waveform*>(c_.first(ItemType::Waveform));
    ASSERT_NE(w->lockSamples(), nullptr);
    const WaveStatistics st = ComputeWaveStatistics({w});

    std::string sox;
    ASSERT_EQ(test::Run("sox " + test::Quote(in.string()) + " -n stats", &sox, true), 0);
    // sox prints levels with 6 decimals and dB with 2.
    EXPECT_NEAR(st.mean, Field(sox, "DC offset"), 2e-6);
    EXPECT_NEAR(st.minimum, Field(sox, "Min level"), 2e-6);
    EXPECT_NEAR(st.maximum, Field(sox, "Max level"), 2e-6);
    EXPECT_NEAR(LinearToDb(float(st.peak)), Field(sox, "Pk lev dB"), 0.011);
    EXPECT_NEAR(LinearToDb(float(st.rms)), Field(sox, "RMS lev dB"), 0.011);

    std::string ff;
    ASSERT_EQ(
        test::Run("ffmpeg -hide_banner -nostats -i " + test::Quote(in.string()) + " -af astats -f null -",
                  &ff, true),
        0);
    // astats compares neighbours only; ours also compares the first sample
    // with 0, which on this tone (0.01 at the start) is no larger. Its
    // count of crossings is the same sign-change count.
    EXPECT_NEAR(st.maxDelta, Field(ff, "Max difference"), 2e-6);
    EXPECT_NEAR(double(st.zeroCrossings), Field(ff, "Zero crossings"), 1.0);
    EXPECT_NEAR(st.rms, std::pow(10.0, Field(ff, "RMS level dB") / 20.0), st.rms * 1e-3);

    const std::vector<StatisticsRow> rows = StatisticsRows(st);
    ASSERT_EQ(rows.size(), 7u);
    EXPECT_EQ(rows[0].value, "22050 / 0.50 s");
    EXPECT_EQ(rows[1].value.substr(0, 5), "0.310") << rows[1].value;
    // Where no page shows them, a run puts the rows on the status line and
    // changes nothing.
    test::RecordingStatusLine status;
    StatusLine* old = SetStatusLine(&status);
    EXPECT_EQ(Run(u"Statistics for the waveform", {w}),
              "No items were modified by Statistics for the waveform");
    SetStatusLine(old);
    bool seen = false;
    for (const auto& e : status.entries)
        seen = seen || WideToUtf8(e.text) == "Zero crossings: " + std::to_string(st.zeroCrossings);
    EXPECT_TRUE(seen);
    // Silence shows "-" as its level.
    Waveform& silent = Wave(std::vector<float>(10, 0.0f), 1);
    EXPECT_EQ(StatisticsRows(ComputeWaveStatistics({&silent}))[1].value, "-");
}

} // namespace
} // namespace vaxel
