// The collection-wide wave passes: stereo split into panned twin layers and
// joined back, duplicates and unused waves, their undo steps, and the On Load
// options as opening and merging files run them (inputs made by sox and by a
// small SoundFont written here with Python).
#include <gtest/gtest.h>

#include <cstring>

#include "fileio/open_save.h"
#include "fileio/undo_store.h"
#include "fileio/wave_loader.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/param_table.h"
#include "model/settings.h"
#include "model/text.h"
#include "model/waveform.h"
#include "support/test_support.h"
#include "tools/tool_table.h"
#include "tools/wave_passes.h"

namespace vaxel {
namespace {

class WavePassesTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        InstallFormats();
        InstallWaveLoader();
        InstallTools();
    }
    void SetUp() override { saved_ = GlobalSettings().load; }
    void TearDown() override { GlobalSettings().load = saved_; }

    Waveform& Wave(const char16_t* name, uint8_t channels, std::vector<float> samples) {
        auto* w = new Waveform(c_, kNewSerial, name);
        w->channels = channels;
        w->sampleRate = 44100;
        w->frames = uint32_t(samples.size() / channels);
        std::copy(samples.begin(), samples.end(), w->allocateSamples());
        return *w;
    }
    // A ramp of n frames on each channel, each channel its own slope.
    static std::vector<float> Ramp(uint32_t n, int channels, float step = 0.001f) {
        std::vector<float> s;
        for (uint32_t i = 0; i < n; ++i)
            for (int ch = 0; ch < channels; ++ch)
                s.push_back(float(i) * step * float(ch + 1) - 0.3f * float(ch));
        return s;
    }
    Instrument& NewInstrument(const char16_t* name = u"Inst") {
        return *new Instrument(c_, kNewSerial, name);
    }
    Region& AddRegion(Instrument& inst, Waveform& w, int keyLow, int keyHigh, int layerTag = -1) {
        Region* r = addRegion(inst, w.id, uint16_t(keyLow | keyHigh << 8), 0xFFFF, -1, layerTag);
        EXPECT_TRUE(r);
        return *r;
    }
    std::vector<Waveform*> Waves() {
        std::vector<Waveform*> out;
        for (Waveform* w : ItemsOf<Waveform>(c_)) out.push_back(w);
        return out;
    }
    static std::vector<Region*> RegionsOf(Instrument& inst) {
        std::vector<Region*> out;
        for (uint32_t l = 0; Layer* layer = inst.layerAt(l); ++l)
            for (uint32_t r = 0; Region* region = layer->regionAt(r); ++r) out.push_back(region);
        return out;
    }
    static std::vector<float> Samples(Waveform& w) {
        const float* p = w.lockSamples();
        return p ? std::vector<float>(p, p + size_t(w.frames) * w.channels) : std::vector<float>{};
    }
    static std::vector<float> Channel(const std::vector<float>& interleaved, int channels, int ch) {
        std::vector<float> out;
        for (size_t i = size_t(ch); i < interleaved.size(); i += size_t(channels))
            out.push_back(interleaved[i]);
        return out;
    }

    Collection c_;
    LoadSettings saved_;
};

// ---------------------------------------------------------------- split/merge

TEST_F(WavePassesTest, SplitKeepsEverySampleAndPansTwinLayers) {
    Waveform& pad = Wave(u"Pad", 2, Ramp(500, 2));
    Waveform& bell = Wave(u"Bell", 1, Ramp(300, 1));
    const std::vector<float> stereo = Samples(pad);
    Instrument& inst = NewInstrument();
    Region& low = AddRegion(inst, pad, 30, 59);
    Region& high = AddRegion(inst, bell, 60, 90);
    ASSERT_EQ(low.layer(), high.layer());
    low.loopSection = 0;

    ASSERT_EQ(SplitStereoWaves(c_), 1);
    const std::vector<Waveform*> waves = Waves();
    ASSERT_EQ(waves.size(), 3u);
    Waveform* right = waves[2];
    EXPECT_EQ(std::u16string(pad.name()), u"Pad -L");
    EXPECT_EQ(std::u16string(right->name()), u"Pad -R");
    ASSERT_EQ(pad.channels, 1);
    ASSERT_EQ(right->channels, 1);
    EXPECT_EQ(Samples(pad), Channel(stereo, 2, 0));
    EXPECT_EQ(Samples(*right), Channel(stereo, 2, 1));

    // The stereo region stays in its layer panned left; its twin, alone in a
    // new layer right behind, plays the right half panned right.
    ASSERT_TRUE(inst.layerAt(1));
    EXPECT_FALSE(inst.layerAt(2));
    const std::vector<Region*> regions = RegionsOf(inst);
    ASSERT_EQ(regions.size(), 3u);
    EXPECT_EQ(regions[0], &low);
    EXPECT_EQ(regions[1], &high);
    Region& twin = *regions[2];
    EXPECT_EQ(twin.layer(), inst.layerAt(1));
    EXPECT_EQ(twin.waveform(), right);
    EXPECT_EQ(low.waveform(), &pad);
    EXPECT_EQ(twin.trigger.keyLow, 30);
    EXPECT_EQ(twin.trigger.keyHigh, 59);
    EXPECT_EQ(twin.loopSection, 0u);
    EXPECT_FLOAT_EQ(low.getValue(kParamPan), -1.0f);
    EXPECT_FLOAT_EQ(twin.getValue(kParamPan), 1.0f);
    EXPECT_FALSE(high.isSet(kParamPan));
    EXPECT_NE(low.phaseGroup, 0);
    EXPECT_EQ(low.phaseGroup, twin.phaseGroup);
    EXPECT_EQ(low.phaseMaster, 1);
    EXPECT_EQ(twin.phaseMaster, 0);

    // Nothing stereo is left to split.
    EXPECT_EQ(SplitStereoWaves(c_), 0);
}

TEST_F(WavePassesTest, MergeUndoesASplitExactly) {
    Waveform& pad = Wave(u"Pad", 2, Ramp(400, 2));
    Wave(u"Bell", 1, Ramp(300, 1));
    pad.addLoop(LoopInfo{1, 0, 100, 300, 0}, u"Sustain", true, false);
    const ItemId padId = pad.id;
    const std::vector<float> before = Samples(pad);
    Instrument& inst = NewInstrument();
    Region& a = AddRegion(inst, pad, 0, 59);
    Region& b = AddRegion(inst, pad, 60, 127);
    b.setValue(kParamPan, 0.25f);

    ASSERT_EQ(SplitStereoWaves(c_), 1);
    ASSERT_EQ(RegionsOf(inst).size(), 4u);
    ASSERT_EQ(MergeDualMonoWaves(c_), 1);

    const std::vector<Waveform*> waves = Waves();
    ASSERT_EQ(waves.size(), 2u);
    EXPECT_EQ(waves[0]->id, padId);
    EXPECT_EQ(std::u16string(pad.name()), u"Pad");
    EXPECT_EQ(pad.channels, 2);
    EXPECT_EQ(Samples(pad), before);
    ASSERT_TRUE(pad.mainLoop());
    EXPECT_EQ(pad.mainLoop()->start, 100u);

    EXPECT_FALSE(inst.layerAt(1));
    const std::vector<Region*> regions = RegionsOf(inst);
    ASSERT_EQ(regions.size(), 2u);
    EXPECT_EQ(regions[0], &a);
    EXPECT_EQ(regions[1], &b);
    for (Region* r : regions) {
        EXPECT_EQ(r->waveform(), &pad);
        EXPECT_EQ(r->phaseGroup, 0);
        EXPECT_EQ(r->phaseMaster, 0);
    }
    EXPECT_FALSE(a.isSet(kParamPan));
    // The split pans hard left and right whatever the pan was; the merge
    // takes the mean of the two, which is the layer's own.
    EXPECT_FALSE(b.isSet(kParamPan));
}

TEST_F(WavePassesTest, MergeFindsPairsByRegionsAndByName) {
    // A panned pair with unmarked names, also played alone by another
    // instrument: a new stereo wave, the mono waves stay where still used.
    Waveform& wl = Wave(u"Strings A", 1, Ramp(256, 1, 0.002f));
    Waveform& wr = Wave(u"Strings B", 1, Ramp(256, 1, -0.001f));
    Instrument& ens = NewInstrument(u"Ensemble");
    Region& left = AddRegion(ens, wl, 40, 80);
    Region& right = AddRegion(ens, wr, 40, 80);
    left.setValue(kParamPan, -0.5f);
    right.setValue(kParamPan, 0.5f);
    right.phaseMaster = 1; // the phase master is the one kept
    Instrument& solo = NewInstrument(u"Solo");
    AddRegion(solo, wl, 0, 127);

    // Bare waves paired by their names; unequal lengths or mixed marks never pair.
    Wave(u"Kick_L", 1, Ramp(100, 1));
    Wave(u"kick_r", 1, Ramp(100, 1, 0.003f));
    Wave(u"Snare L", 1, Ramp(100, 1));
    Wave(u"Snare_R", 1, Ramp(100, 1));
    Wave(u"Hat (L)", 1, Ramp(100, 1));
    Wave(u"Hat (R)", 1, Ramp(99, 1));

    ASSERT_EQ(MergeDualMonoWaves(c_), 2);

    std::vector<std::u16string> names;
    for (Waveform* w : Waves())
        names.push_back(std::u16string(w->name()) + (w->channels == 2 ? u"=2" : u"=1"));
    EXPECT_EQ(names, (std::vector<std::u16string>{u"Strings A=1", u"Kick=2", u"Snare L=1", u"Snare_R=1",
                                                  u"Hat (L)=1", u"Hat (R)=1", u"Strings=2"}));

    const std::vector<Region*> regions = RegionsOf(ens);
    ASSERT_EQ(regions.size(), 1u);
    EXPECT_EQ(regions[0], &right);
    Waveform* stereo = right.waveform();
    ASSERT_TRUE(stereo);
    EXPECT_EQ(stereo->channels, 2);
    EXPECT_FALSE(right.isSet(kParamPan));
    const std::vector<float> s = Samples(*stereo);
    EXPECT_EQ(Channel(s, 2, 0), Samples(wl));
    EXPECT_FLOAT_EQ(s[2 * 10 + 1], 10 * -0.001f);
    EXPECT_EQ(RegionsOf(solo)[0]->waveform(), &wl);
}

// ---------------------------------------------------------------- duplicates

TEST_F(WavePassesTest, DuplicatesKeepTheFirstAndRepointRegions) {
    const std::vector<float> data = Ramp(200, 1);
    Waveform& first = Wave(u"Piano", 1, data);
    Waveform& copy = Wave(u"piano 1", 1, data);       // as a merge renames it
    Wave(u"Piano 2", 1, Ramp(200, 1, 0.002f));        // another sound
    Wave(u"Organ", 1, data);                          // another name
    Waveform& octave = Wave(u"Piano C4", 1, data);    // a note name keeps its octave...
    Waveform& octave2 = Wave(u"Piano C4 1", 1, data); // ...and its counter still goes
    Waveform& looped = Wave(u"Piano", 1, data);       // other main loop: not the same wave
    looped.addLoop(LoopInfo{1, 0, 10, 150, 0}, u"L", true, false);

    const uint32_t section = copy.addSection(20, 120, u"Attack", true);
    Instrument& inst = NewInstrument();
    Region& r1 = AddRegion(inst, copy, 0, 63);
    r1.playSection = section;
    Region& r2 = AddRegion(inst, octave2, 64, 127);

    ASSERT_EQ(RemoveDuplicateWaves(c_), 2);
    std::vector<std::u16string> names;
    for (Waveform* w : Waves()) names.push_back(w->name());
    EXPECT_EQ(names, (std::vector<std::u16string>{u"Piano", u"Piano 2", u"Organ", u"Piano C4", u"Piano"}));
    EXPECT_EQ(r1.waveform(), &first);
    EXPECT_EQ(r2.waveform(), &octave);
    // The section went along with the region.
    uint32_t start = 0, end = 0;
    first.getSection(r1.playSection, start, end);
    EXPECT_EQ(start, 20u);
    EXPECT_EQ(end, 120u);
    EXPECT_EQ(RemoveDuplicateWaves(c_), 0);
}

TEST_F(WavePassesTest, UnusedWavesGoUsedOnesStay) {
    Waveform& played = Wave(u"Played", 1, Ramp(10, 1));
    Waveform& synth = Wave(u"Synth source", 1, Ramp(10, 1));
    Wave(u"Spare", 1, Ramp(10, 1));
    Wave(u"Spare stereo", 2, Ramp(10, 2));
    AddRegion(NewInstrument(), played, 0, 127);
    auto* model = new SynthesisModel(c_, kNewSerial);
    model->ids.push_back(synth.id);

    ASSERT_EQ(RemoveUnusedWaves(c_), 2);
    std::vector<std::u16string> names;
    for (Waveform* w : Waves()) names.push_back(w->name());
    EXPECT_EQ(names, (std::vector<std::u16string>{u"Played", u"Synth source"}));
}

TEST_F(WavePassesTest, CommandsTakeOneUndoStepOrNone) {
    test::TempDir dir;
    SetStateFolder(dir.path());
    UndoStore store(c_);
    UndoStore::Install(&store);

    Waveform& used = Wave(u"Used", 1, Ramp(50, 1));
    Wave(u"Spare", 1, Ramp(50, 1, 0.002f));
    AddRegion(NewInstrument(), used, 0, 127);

    EXPECT_EQ(dualMonoToStereo(c_), 0);
    EXPECT_EQ(deleteDuplicateWaveforms(c_), 0);
    EXPECT_EQ(store.stepCount(), 0u);

    EXPECT_EQ(deleteUnusedWaveforms(c_), 1);
    ASSERT_EQ(store.stepCount(), 1u);
    EXPECT_EQ(store.undoText(), u"Undo: Delete unused waveforms");
    ASSERT_TRUE(store.undo());
    ASSERT_EQ(Waves().size(), 2u);
    EXPECT_EQ(Samples(*Waves()[1]), Ramp(50, 1, 0.002f));

    Wave(u"Wide", 2, Ramp(50, 2));
    EXPECT_EQ(stereoToDualMono(c_), 1);
    EXPECT_EQ(store.undoText(), u"Undo: Interleaved stereo -> Dual mono");
    ASSERT_TRUE(store.undo());
    ASSERT_EQ(Waves().size(), 3u);
    EXPECT_EQ(Waves()[2]->channels, 2);

    UndoStore::Install(nullptr);
    SetStateFolder({});
}

// ---------------------------------------------------------------- On Load

TEST_F(WavePassesTest, OpeningAStereoWaveSplitsItWhenAsked) {
    test::RequireTool("sox");
    test::TempDir dir;
    const std::string in = (dir / "duo.wav").string();
    const std::string left = (dir / "left.f32").string();
    const std::string right = (dir / "right.f32").string();
    ASSERT_EQ(test::Run("sox -n -r 22050 -c 2 -b 16 " + in + " synth 0.1 sine 300 sine 700 gain -3"), 0);
    ASSERT_EQ(test::Run("sox " + in + " -t raw -e floating-point -b 32 " + left + " remix 1"), 0);
    ASSERT_EQ(test::Run("sox " + in + " -t raw -e floating-point -b 32 " + right + " remix 2"), 0);

    GlobalSettings().load.bAutoSplitStereo = true;
    test::RecordingStatusLine status;
    StatusLine* old = SetStatusLine(&status);
    Collection c;
    const int opened = openFile(c, in, true);
    SetStatusLine(old);
    ASSERT_EQ(opened, 1) << WideToUtf8(LastError());

    bool said = false;
    for (auto& e : status.entries) said |= e.text == u"Splitting stereo waveforms";
    EXPECT_TRUE(said);
    std::vector<Waveform*> waves;
    for (Waveform* w : ItemsOf<Waveform>(c)) waves.push_back(w);
    ASSERT_EQ(waves.size(), 2u);
    EXPECT_EQ(std::u16string(waves[0]->name()), u"duo -L");
    EXPECT_EQ(std::u16string(waves[1]->name()), u"duo -R");
    for (int side = 0; side < 2; ++side) {
        const std::vector<uint8_t> bytes = test::ReadFile(side ? right : left);
        std::vector<float> expected(bytes.size() / 4);
        std::memcpy(expected.data(), bytes.data(), expected.size() * 4);
        ASSERT_EQ(waves[side]->channels, 1);
        EXPECT_EQ(Samples(*waves[side]), expected) << side;
    }

    // Without the option the file stays one stereo wave.
    GlobalSettings().load.bAutoSplitStereo = false;
    Collection plain;
    ASSERT_EQ(openFile(plain, in, true), 1);
    ASSERT_EQ(plain.count(ItemType::Waveform), 1u);
    EXPECT_EQ(static_cast<Waveform*>(plain.first(ItemType::Waveform))->channels, 2);
}

// A SoundFont of one instrument whose two zones play a linked pair of samples
// panned hard left and right, written by Python from the published layout.
void WriteLinkedPairBank(const std::filesystem::path& path, uint32_t frames) {
    const std::string script = R"PY(
import struct, sys
path, n = sys.argv[1], int(sys.argv[2])
def ck(i, b): return i + struct.pack('<I', len(b)) + b + (b'\0' if len(b) % 2 else b'')
def lst(t, b): return ck(b'LIST', t + b)
left = [((i * 37) % 2000 - 1000) * 16 for i in range(n)]
right = [((i * 53) % 1500 - 750) * 20 for i in range(n)]
smpl = struct.pack('<%dh' % n, *left) + b'\0' * 92 + struct.pack('<%dh' % n, *right) + b'\0' * 92
info = ck(b'ifil', struct.pack('<HH', 2, 1)) + ck(b'isng', b'EMU8000\0') + ck(b'INAM', b'Pair\0\0')
def name(s): return s.encode().ljust(20, b'\0')
phdr = name('Duo') + struct.pack('<HHHIII', 0, 0, 0, 0, 0, 0) + name('EOP') + struct.pack('<HHHIII', 0, 0, 1, 0, 0, 0)
pbag = struct.pack('<HHHH', 0, 0, 1, 0)
pmod = b'\0' * 10
pgen = struct.pack('<HH', 41, 0) + struct.pack('<HH', 0, 0)
inst = name('Duo') + struct.pack('<H', 0) + name('EOI') + struct.pack('<H', 2)
ibag = struct.pack('<HHHHHH', 0, 0, 2, 0, 4, 0)
imod = b'\0' * 10
igen = struct.pack('<HhHH', 17, -500, 53, 0) + struct.pack('<HhHH', 17, 500, 53, 1) + struct.pack('<HH', 0, 0)
def shdr(nm, start, link, kind):
    return name(nm) + struct.pack('<IIIIIbbHH', start, start + n, start + 8, start + n - 8, 32000, 60, 0, link, kind)
shdrs = shdr('Duo(L)', 0, 1, 4) + shdr('Duo(R)', n + 46, 0, 2) + name('EOS') + b'\0' * 26
pdta = b''.join(ck(i, b) for i, b in [(b'phdr', phdr), (b'pbag', pbag), (b'pmod', pmod), (b'pgen', pgen),
    (b'inst', inst), (b'ibag', ibag), (b'imod', imod), (b'igen', igen), (b'shdr', shdrs)])
body = b'sfbk' + lst(b'INFO', info) + lst(b'sdta', ck(b'smpl', smpl)) + lst(b'pdta', pdta)
open(path, 'wb').write(ck(b'RIFF', body))
)PY";
    const std::filesystem::path py = path.parent_path() / "make_bank.py";
    test::WriteFile(py, script);
    ASSERT_EQ(test::Run("/usr/bin/python3 " + test::Quote(py.string()) + " " + test::Quote(path.string()) +
                        " " + std::to_string(frames)),
              0);
}

TEST_F(WavePassesTest, OpeningALinkedSoundFontPairMergesIt) {
    test::TempDir dir;
    const std::filesystem::path bank = dir / "duo.sf2";
    constexpr uint32_t n = 600;
    WriteLinkedPairBank(bank, n);

    GlobalSettings().load.bAutoMergeStereo = false;
    Collection apart;
    ASSERT_EQ(openFile(apart, bank, true), 1) << WideToUtf8(LastError());
    EXPECT_EQ(apart.count(ItemType::Waveform), 2u);
    EXPECT_EQ(apart.count(ItemType::Region), 2u);

    GlobalSettings().load.bAutoMergeStereo = true;
    test::RecordingStatusLine status;
    StatusLine* old = SetStatusLine(&status);
    Collection c;
    const int opened = openFile(c, bank, true);
    SetStatusLine(old);
    ASSERT_EQ(opened, 1) << WideToUtf8(LastError());
    bool said = false;
    for (auto& e : status.entries) said |= e.text == u"Merging dual mono waveforms";
    EXPECT_TRUE(said);

    ASSERT_EQ(c.count(ItemType::Waveform), 1u);
    auto* wave = static_cast<Waveform*>(c.first(ItemType::Waveform));
    EXPECT_EQ(std::u16string(wave->name()), u"Duo");
    ASSERT_EQ(wave->channels, 2);
    const std::vector<float> s = Samples(*wave);
    ASSERT_EQ(s.size(), size_t(2 * n));
    for (uint32_t i = 0; i < n; i += 7) {
        EXPECT_FLOAT_EQ(s[2 * i], float((int(i * 37 % 2000) - 1000) * 16) / 32768.0f) << i;
        EXPECT_FLOAT_EQ(s[2 * i + 1], float((int(i * 53 % 1500) - 750) * 20) / 32768.0f) << i;
    }
    ASSERT_EQ(c.count(ItemType::Region), 1u);
    auto* region = static_cast<Region*>(c.first(ItemType::Region));
    EXPECT_EQ(region->waveform(), wave);
    EXPECT_NEAR(region->getValue(kParamPan), 0.0f, 1e-6f);

    // The command line shows the one stereo wave.
    std::string out;
    ASSERT_EQ(test::Run(test::Quote(test::CliPath().string()) + " info " + test::Quote(bank.string()), &out),
              0);
    EXPECT_NE(out.find("Duo"), std::string::npos) << out;
    EXPECT_EQ(out.find("Duo(R)"), std::string::npos) << out;

    // A SoundFont holds no interleaved stereo: saving splits the wave again,
    // into two mono samples on hard-panned zones, which open as one wave.
    const std::filesystem::path copy = dir / "copy.sf2";
    ASSERT_EQ(test::Run(test::Quote(test::CliPath().string()) + " convert " + test::Quote(bank.string()) +
                            " " + test::Quote(copy.string()),
                        &out, true),
              0)
        << out;
    GlobalSettings().load.bAutoMergeStereo = false;
    Collection saved;
    ASSERT_EQ(openFile(saved, copy, true), 1) << WideToUtf8(LastError());
    ASSERT_EQ(saved.count(ItemType::Waveform), 2u);
    std::vector<float> pans;
    for (Region* r : ItemsOf<Region>(saved)) pans.push_back(r->getValue(kParamPan));
    EXPECT_EQ(pans, (std::vector<float>{-1.0f, 1.0f}));
    GlobalSettings().load.bAutoMergeStereo = true;
    Collection again;
    ASSERT_EQ(openFile(again, copy, true), 1) << WideToUtf8(LastError());
    ASSERT_EQ(again.count(ItemType::Waveform), 1u);
    auto* joined = static_cast<Waveform*>(again.first(ItemType::Waveform));
    EXPECT_EQ(std::u16string(joined->name()), u"Duo");
    EXPECT_EQ(Samples(*joined), s);
}

TEST_F(WavePassesTest, MergingABankTwiceKeepsOneCopyOfEachWave) {
    const std::filesystem::path bank = test::DataDir() / "instruments/sf2/VintageDreamsWaves-v2.sf2";
    Collection once;
    ASSERT_EQ(openFile(once, bank, true), 1) << WideToUtf8(LastError());
    const uint32_t waves = once.count(ItemType::Waveform);
    ASSERT_GT(waves, 10u);

    GlobalSettings().load.bAutoRemoveDupWaves = true;
    Collection c;
    ASSERT_EQ(mergeFile(c, bank), 1);
    ASSERT_EQ(mergeFile(c, bank), 1);
    EXPECT_EQ(c.count(ItemType::Waveform), waves);
    EXPECT_EQ(c.count(ItemType::Instrument), 2 * once.count(ItemType::Instrument));
    for (Region* r : ItemsOf<Region>(c)) EXPECT_TRUE(r->waveform()) << WideToUtf8(r->name());

    GlobalSettings().load.bAutoRemoveDupWaves = false;
    Collection both;
    ASSERT_EQ(mergeFile(both, bank), 1);
    ASSERT_EQ(mergeFile(both, bank), 1);
    EXPECT_EQ(both.count(ItemType::Waveform), 2 * waves);
}

} // namespace
} // namespace vaxel
