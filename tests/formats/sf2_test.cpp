// SoundFont reading: the bank Debian ships (TimGM6mb) read as gigtools'
// sf2dump describes it (every sample's frames, rate, loop, pitch and
// correction; every preset zone's key and velocity ranges) and decoded to
// the very samples sf2extract writes; small hand-made banks for the
// articulation units and for damaged input.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sndfile.h>
#include <sstream>
#include <sys/mman.h>
#include <tuple>
#include <unistd.h>

#include <gtest/gtest.h>

#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "formats/install.h"
#include "formats/instruments/sf2.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/waveform.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

namespace fs = std::filesystem;

struct Loaded {
    std::unique_ptr<Collection> collection;
    int result = 0;
    std::string error;
};

Loaded LoadPath(const fs::path& path, ReadRoutine reader = &ReadSf2) {
    InstallFormats();
    Loaded l;
    l.collection = std::make_unique<Collection>();
    FileObject file;
    if (!file.Open(path, FileObject::kRead)) {
        l.error = "cannot open " + path.string();
        return l;
    }
    ClearLastError();
    l.result = reader(*l.collection, file, 0);
    l.error = LastErrorUtf8();
    return l;
}

std::vector<Waveform*> Waves(const Collection& c) {
    std::vector<Waveform*> out;
    for (auto* i = c.first(ItemType::Waveform); i; i = c.next(i, ItemType::Waveform))
        out.push_back(static_cast<Waveform*>(i));
    return out;
}
std::vector<Instrument*> Instruments(const Collection& c) {
    std::vector<Instrument*> out;
    for (auto* i = c.first(ItemType::Instrument); i; i = c.next(i, ItemType::Instrument))
        out.push_back(static_cast<Instrument*>(i));
    return out;
}
std::vector<Region*> Regions(const Instrument& inst) {
    std::vector<Region*> out;
    for (uint32_t l = 0; Layer* layer = inst.layerAt(l); ++l)
        for (uint32_t r = 0; Region* region = layer->regionAt(r); ++r) out.push_back(region);
    return out;
}

std::string Utf8(const char16_t* s) {
    std::string out;
    for (; *s; ++s) out += char(*s);
    return out;
}

// ---------------------------------------------------------------- sf2dump

struct DumpSample {
    std::string name;
    int rate = 0, pitch = 0, correction = 0;
    int64_t start = 0, end = 0, loopStart = 0, loopEnd = 0;
};
struct DumpZone {
    std::string target; // sample or instrument name
    int keyLow = 0, keyHigh = 127, velLow = 0, velHigh = 127;
};
struct DumpInstrument {
    std::string name;
    std::vector<DumpZone> zones;
    int program = 0, bank = 0;
};
struct Dump {
    std::vector<DumpSample> samples;
    std::vector<DumpInstrument> instruments, presets;
};

void ParseRange(const std::string& text, const char* key, int& low, int& high) {
    size_t at = text.find(key);
    if (at == std::string::npos) return;
    at += std::strlen(key);
    if (text.compare(at, 4, "None") == 0) return;
    std::sscanf(text.c_str() + at, "%d-%d", &low, &high);
}

Dump RunSf2Dump(const fs::path& bank) {
    test::RequireTool("sf2dump");
    std::string out;
    EXPECT_EQ(test::Run("sf2dump " + test::Quote(bank.string()), &out), 0);
    Dump d;
    std::istringstream in(out);
    std::string line;
    enum { kNone, kSamples, kInstruments, kPresets } part = kNone;
    while (std::getline(in, line)) {
        if (line.rfind("Samples (", 0) == 0)
            part = kSamples;
        else if (line.rfind("Instruments (", 0) == 0)
            part = kInstruments;
        else if (line.rfind("Presets (", 0) == 0)
            part = kPresets;
        if (line.size() < 2 || line[0] != '\t') continue;
        std::string body = line.substr(1);
        bool top = body[0] != '\t' && body[0] != ' ';
        if (part == kSamples) {
            if (top) {
                DumpSample s;
                size_t open = body.rfind(" (Depth");
                s.name = body.substr(0, open);
                std::sscanf(body.c_str() + open,
                            " (Depth: %*d, SampleRate: %d, Pitch: %d, Pitch Correction: %d", &s.rate,
                            &s.pitch, &s.correction);
                d.samples.push_back(s);
            } else if (body.find("Start:") != std::string::npos && !d.samples.empty()) {
                DumpSample& s = d.samples.back();
                long long a, b, c, e;
                if (std::sscanf(body.c_str(), " Start: %lld, End: %lld, Start Loop: %lld, End Loop: %lld", &a,
                                &b, &c, &e) == 4)
                    s.start = a, s.end = b, s.loopStart = c, s.loopEnd = e;
            }
        } else if (part == kInstruments || part == kPresets) {
            auto& list = part == kInstruments ? d.instruments : d.presets;
            if (top) {
                DumpInstrument inst;
                size_t open = body.rfind(" (");
                inst.name = body.substr(0, open);
                if (part == kPresets)
                    std::sscanf(body.c_str() + open, " (Preset: %d, Bank: %d", &inst.program, &inst.bank);
                list.push_back(inst);
            } else if (!list.empty()) {
                std::string t = body.substr(body.find_first_not_of("\t "));
                if (t.rfind("Region ", 0) == 0)
                    list.back().zones.push_back({});
                else if (list.back().zones.empty())
                    continue;
                else if (t.rfind("Key range=", 0) == 0) {
                    DumpZone& z = list.back().zones.back();
                    ParseRange(t, "Key range=", z.keyLow, z.keyHigh);
                    ParseRange(t, "Velocity range=", z.velLow, z.velHigh);
                } else if (t.rfind("Sample: ", 0) == 0) {
                    list.back().zones.back().target = t.substr(8, t.find(", Fine Tune") - 8);
                } else if (t.rfind("Instrument: ", 0) == 0) {
                    list.back().zones.back().target = t.substr(12);
                }
            }
        }
    }
    return d;
}

// ---------------------------------------------------------------- the bank

// The real banks: TimGM6mb as Debian installs it, and the small bank from
// HammerSound in tests/data. Each is read and dumped once.
fs::path BankPath(const std::string& which) {
    return which == "TimGM6mb" ? fs::path("/usr/share/sounds/sf2/TimGM6mb.sf2")
                               : test::DataDir() / "instruments/sf2/VintageDreamsWaves-v2.sf2";
}

class RealBank : public ::testing::TestWithParam<std::string> {
  protected:
    void SetUp() override {
        static std::map<std::string, std::pair<Loaded, Dump>> cache;
        auto it = cache.find(GetParam());
        if (it == cache.end())
            it = cache
                     .emplace(GetParam(), std::make_pair(LoadPath(BankPath(GetParam())),
                                                         RunSf2Dump(BankPath(GetParam()))))
                     .first;
        loaded_ = &it->second.first;
        dump_ = &it->second.second;
    }
    Loaded* loaded_ = nullptr;
    Dump* dump_ = nullptr;
};

TEST_P(RealBank, EverySampleAsSf2DumpHasIt) {
    ASSERT_EQ(loaded_->result, 1) << loaded_->error;
    std::vector<Waveform*> waves = Waves(*loaded_->collection);
    ASSERT_GT(dump_->samples.size(), 10u);
    ASSERT_EQ(waves.size(), dump_->samples.size());
    int looped = 0;
    for (size_t i = 0; i < waves.size(); ++i) {
        const DumpSample& s = dump_->samples[i];
        const Waveform& w = *waves[i];
        SCOPED_TRACE(s.name);
        EXPECT_EQ(Utf8(w.name()), s.name);
        EXPECT_EQ(int64_t(w.frames), s.end - s.start);
        EXPECT_EQ(int(w.sampleRate), s.rate);
        EXPECT_EQ(int(w.rootKey), s.pitch);
        EXPECT_EQ(int(w.fineTune), int(int8_t(uint8_t(s.correction))));
        const LoopRecord* loop = w.mainLoop();
        if (s.loopEnd > s.loopStart && s.loopStart >= s.start && s.loopEnd <= s.end) {
            ASSERT_TRUE(loop);
            EXPECT_EQ(int64_t(loop->start), s.loopStart - s.start);
            EXPECT_EQ(int64_t(loop->end), s.loopEnd - s.start);
            EXPECT_EQ(loop->loopType, 1);
            ++looped;
        }
    }
    EXPECT_GT(looped, int(waves.size()) / 2);
}

// Decodes a wave straight from the bank file.
std::vector<float> Decode(Waveform& w, const fs::path& bank) {
    FileObject file;
    EXPECT_TRUE(file.Open(bank, FileObject::kRead));
    EXPECT_TRUE(file.Seek(w.sourceOffset));
    EXPECT_TRUE(w.decodeRoutine && w.decodeRoutine(w, file, false)) << LastErrorUtf8();
    const SampleBlock* b = w.samples();
    if (!b) return {};
    return std::vector<float>(b->data, b->data + b->sampleCount());
}

TEST_P(RealBank, SamplesDecodeAsSf2ExtractWritesThem) {
    ASSERT_EQ(loaded_->result, 1) << loaded_->error;
    test::RequireTool("sf2extract");
    test::TempDir dir;
    std::vector<Waveform*> waves = Waves(*loaded_->collection);
    for (size_t index : {size_t(1), size_t(11), waves.size() / 2, waves.size() - 1}) {
        Waveform& w = *waves[index];
        SCOPED_TRACE(Utf8(w.name()));
        // sf2extract counts samples from 1.
        ASSERT_EQ(test::Run("sf2extract " + test::Quote(BankPath(GetParam()).string()) + " " +
                            test::Quote(dir.path().string()) + " " + std::to_string(index + 1)),
                  0);
        fs::path wav = dir / (std::to_string(index + 1) + "_" + Utf8(w.name()) + ".wav");
        SF_INFO info{};
        SNDFILE* f = sf_open(wav.c_str(), SFM_READ, &info);
        ASSERT_TRUE(f) << wav;
        std::vector<short> ref(size_t(info.frames));
        ref.resize(size_t(sf_readf_short(f, ref.data(), info.frames)));
        sf_close(f);
        std::vector<float> ours = Decode(w, BankPath(GetParam()));
        ASSERT_EQ(ours.size(), ref.size());
        size_t differ = 0;
        for (size_t i = 0; i < ref.size(); ++i) differ += ours[i] * 32768.0f != float(ref[i]);
        EXPECT_EQ(differ, 0u);
    }
}

TEST_P(RealBank, PresetZonesBecomeRegionsWithSf2DumpRanges) {
    ASSERT_EQ(loaded_->result, 1) << loaded_->error;
    std::map<std::string, const DumpInstrument*> byName;
    for (const DumpInstrument& i : dump_->instruments) byName.emplace(i.name, &i);
    std::vector<Instrument*> ours = Instruments(*loaded_->collection);
    ASSERT_EQ(ours.size(), dump_->presets.size());
    int drums = 0;
    size_t regions = 0;
    for (size_t p = 0; p < ours.size(); ++p) {
        const DumpInstrument& preset = dump_->presets[p];
        SCOPED_TRACE(preset.name);
        EXPECT_EQ(Utf8(ours[p]->name()), preset.name);
        EXPECT_EQ(int(ours[p]->program()), preset.program);
        EXPECT_EQ(ours[p]->isDrumKit(), preset.bank == 128);
        drums += preset.bank == 128;
        using Rect = std::tuple<std::string, int, int, int, int>;
        std::vector<Rect> expected, got;
        for (const DumpZone& pz : preset.zones) {
            auto inst = byName.find(pz.target);
            if (pz.target.empty() || inst == byName.end()) continue;
            for (const DumpZone& iz : inst->second->zones) {
                if (iz.target.empty()) continue;
                int kl = std::max(pz.keyLow, iz.keyLow), kh = std::min(pz.keyHigh, iz.keyHigh);
                int vl = std::max(pz.velLow, iz.velLow), vh = std::min(pz.velHigh, iz.velHigh);
                if (kl <= kh && vl <= vh) expected.emplace_back(iz.target, kl, kh, vl, vh);
            }
        }
        for (Region* r : Regions(*ours[p])) {
            Waveform* w = r->waveform();
            ASSERT_TRUE(w);
            got.emplace_back(Utf8(w->name()), r->trigger.keyLow, r->trigger.keyHigh, r->trigger.velocityLow,
                             r->trigger.velocityHigh);
        }
        regions += got.size();
        std::sort(expected.begin(), expected.end());
        std::sort(got.begin(), got.end());
        EXPECT_EQ(got, expected);
    }
    if (GetParam() == "TimGM6mb") {
        EXPECT_GT(drums, 0);
        EXPECT_GT(regions, 1000u);
    }
    EXPECT_GT(regions, 0u);
}

// Writes a small song with mido: eight programs and a drum part.
constexpr const char* kSongScript = R"(
import mido, sys
mid = mido.MidiFile(ticks_per_beat=480)
t = mido.MidiTrack()
mid.tracks.append(t)
programs = [0, 24, 40, 56, 73, 33, 48, 80]
for ch, p in enumerate(programs):
    t.append(mido.Message('program_change', channel=ch, program=p, time=0))
notes = []
for ch, p in enumerate(programs):
    for k, n in enumerate([48, 60, 64, 67, 72]):
        notes.append((ch * 960 + k * 120, 1, ch, n + ch % 3, 70 + k * 10))
        notes.append((ch * 960 + k * 120 + 600, 0, ch, n + ch % 3, 0))
for k in range(16):
    notes.append((k * 240, 1, 9, [36, 38, 42, 46][k % 4], 100))
    notes.append((k * 240 + 100, 0, 9, [36, 38, 42, 46][k % 4], 0))
last = 0
for tm, on, ch, n, v in sorted(notes):
    t.append(mido.Message('note_on' if on else 'note_off', channel=ch, note=n, velocity=v, time=tm - last))
    last = tm
mid.save(sys.argv[1])
)";

// Read -> write -> read: the second load has the first's samples, ranges,
// roots, loops and articulation, and sf2dump takes what we wrote.
TEST_P(RealBank, WrittenBankReadsBackAsTheFirst) {
    ASSERT_EQ(loaded_->result, 1) << loaded_->error;
    test::TempDir dir;
    fs::path out = dir / "out.sf2";
    {
        FileObject file;
        ASSERT_TRUE(file.Open(out, FileObject::kCreate));
        // The writer ensures samples through the deferred read, which
        // finds them through each wave's source file (the load flow's
        // update sets it; a bare read leaves it to us).
        Loaded fresh = LoadPath(BankPath(GetParam()));
        for (Waveform* w : Waves(*fresh.collection))
            w->setText(kInfoSourceFile, BankPath(GetParam()).u16string());
        ClearLastError();
        ASSERT_EQ(WriteSf2(*fresh.collection, file, WriteOptions{}), 1) << LastErrorUtf8();
    }
    Loaded back = LoadPath(out);
    ASSERT_EQ(back.result, 1) << back.error;
    std::vector<Waveform*> a = Waves(*loaded_->collection), b = Waves(*back.collection);
    std::vector<Instrument*> ia = Instruments(*loaded_->collection), ib = Instruments(*back.collection);
    ASSERT_EQ(ia.size(), ib.size());
    std::map<std::string, Waveform*> byName;
    for (Waveform* w : b) byName[Utf8(w->name())] = w;
    for (size_t i = 0; i < ia.size(); ++i) {
        SCOPED_TRACE(Utf8(ia[i]->name()));
        EXPECT_EQ(Utf8(ia[i]->name()), Utf8(ib[i]->name()));
        EXPECT_EQ(ia[i]->location, ib[i]->location);
        std::vector<Region*> ra = Regions(*ia[i]), rb = Regions(*ib[i]);
        ASSERT_EQ(ra.size(), rb.size());
        for (size_t r = 0; r < ra.size(); ++r) {
            const Region &x = *ra[r], &y = *rb[r];
            EXPECT_EQ(Utf8(x.waveform()->name()), Utf8(y.waveform()->name()));
            EXPECT_TRUE(x.trigger.keyLow == y.trigger.keyLow && x.trigger.keyHigh == y.trigger.keyHigh &&
                        x.trigger.velocityLow == y.trigger.velocityLow &&
                        x.trigger.velocityHigh == y.trigger.velocityHigh);
            EXPECT_EQ(x.rootOverride, y.rootOverride);
            EXPECT_EQ(getLoop(x).loopType, getLoop(y).loopType);
            for (int id : {int(kParamVolume), int(kParamPan), int(kParamTuning), int(kParamFilterType),
                           EnvRow(kEnvVolume, kEnvA2Time), EnvRow(kEnvVolume, kEnvD2Time),
                           EnvRow(kEnvVolume, kEnvSustain), EnvRow(kEnvVolume, kEnvR1Rate)})
                EXPECT_NEAR(x.articulation.values[id], y.articulation.values[id],
                            0.002f * std::fabs(x.articulation.values[id]) + 0.011f)
                    << Utf8(ParamRow(id).label);
        }
    }
    for (size_t i = 0; i < a.size(); i += 37) {
        auto it = byName.find(Utf8(a[i]->name()));
        ASSERT_NE(it, byName.end()) << Utf8(a[i]->name());
        Waveform &x = *a[i], &y = *it->second;
        EXPECT_EQ(x.frames, y.frames);
        EXPECT_EQ(x.sampleRate, y.sampleRate);
        EXPECT_EQ(x.rootKey, y.rootKey);
        EXPECT_EQ(x.fineTune, y.fineTune);
        EXPECT_EQ(bool(x.mainLoop()), bool(y.mainLoop()));
        if (x.mainLoop() && y.mainLoop()) {
            EXPECT_EQ(x.mainLoop()->start, y.mainLoop()->start);
        }
        EXPECT_EQ(Decode(x, BankPath(GetParam())), Decode(y, out));
    }
    test::RequireTool("sf2dump");
    EXPECT_EQ(test::Run("sf2dump " + test::Quote(out.string()) + " > /dev/null"), 0);

    // FluidSynth plays a song made by mido (eight programs across the GM
    // families and a drum part) from both banks: the renders must agree.
    // The writer inverts every generator the reader takes, so for this
    // bank the two renders come out identical; the stated tolerance is a
    // difference 60 dB below the signal.
    test::RequireTool("fluidsynth");
    fs::path song = dir / "song.mid";
    ASSERT_EQ(test::Run("/usr/bin/python3 -c " + test::Quote(kSongScript) + " " + test::Quote(song.string())),
              0);
    auto render = [&](const fs::path& bank, const char* name) {
        fs::path wav = dir / name;
        EXPECT_EQ(test::Run("fluidsynth -q -n -i -R 0 -C 0 -r 44100 -F " + test::Quote(wav.string()) + " " +
                            test::Quote(bank.string()) + " " + test::Quote(song.string()) +
                            " > /dev/null 2>&1"),
                  0);
        std::ifstream in(wav, std::ios::binary);
        std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::vector<int16_t> pcm((bytes.size() > 44 ? bytes.size() - 44 : 0) / 2);
        if (!pcm.empty()) std::memcpy(pcm.data(), bytes.data() + 44, pcm.size() * 2);
        return pcm;
    };
    std::vector<int16_t> a0 = render(BankPath(GetParam()), "original.wav"), b0 = render(out, "rewritten.wav");
    ASSERT_GT(a0.size(), 44100u * 2);
    ASSERT_EQ(a0.size(), b0.size());
    double signal = 0, error = 0;
    for (size_t i = 0; i < a0.size(); ++i) {
        signal += double(a0[i]) * a0[i];
        error += (double(a0[i]) - b0[i]) * (double(a0[i]) - b0[i]);
    }
    ASSERT_GT(signal, 0);
    EXPECT_LT(error, signal * 1e-6) << "difference at " << 10 * std::log10(error / signal) << " dB";
}

INSTANTIATE_TEST_SUITE_P(Sf2, RealBank, ::testing::Values("TimGM6mb"));

TEST(Sf2Rom, RomSamplesAreSkippedAndTheRestOfTheBankReads) {
    Loaded l = LoadPath(BankPath("VintageDreams"));
    ASSERT_EQ(l.result, 1) << l.error;
    std::vector<Waveform*> waves = Waves(*l.collection);
    ASSERT_EQ(waves.size(), 123u); // 124 records, the ROM "SineWave" left out
    EXPECT_EQ(Utf8(waves[0]->name()), "FM4-0440");
    EXPECT_EQ(waves[0]->frames, 108u);
    std::vector<Instrument*> list = Instruments(*l.collection);
    EXPECT_EQ(list.size(), 136u);
    for (Instrument* inst : list)
        for (Region* r : Regions(*inst)) EXPECT_TRUE(r->waveform()) << Utf8(inst->name());
}

// ---------------------------------------------------------------- small banks

void Put16(std::vector<uint8_t>& o, uint32_t v) {
    o.push_back(uint8_t(v));
    o.push_back(uint8_t(v >> 8));
}
void Put32(std::vector<uint8_t>& o, uint32_t v) {
    Put16(o, v & 0xFFFF);
    Put16(o, v >> 16);
}
void PutName(std::vector<uint8_t>& o, const char* name) {
    char field[20] = {};
    std::strncpy(field, name, 19);
    o.insert(o.end(), field, field + 20);
}
void Chunk(std::vector<uint8_t>& o, const char* id, const std::vector<uint8_t>& body) {
    o.insert(o.end(), id, id + 4);
    Put32(o, uint32_t(body.size()));
    o.insert(o.end(), body.begin(), body.end());
    if (body.size() & 1) o.push_back(0);
}
std::vector<uint8_t> List(const char* type, const std::vector<uint8_t>& body) {
    std::vector<uint8_t> l(type, type + 4);
    l.insert(l.end(), body.begin(), body.end());
    return l;
}

// A bank of one 100-frame ramp sample and one preset on one instrument
// zone; the caller adds generators to either zone and may damage parts.
struct Bank {
    uint16_t major = 2;
    uint16_t bank = 0, program = 5;
    std::vector<std::pair<uint16_t, uint16_t>> presetGens, instGens;
    uint32_t sampleStart = 0, sampleEnd = 100, loopStart = 10, loopEnd = 90;
    uint16_t instIndex = 0, bagIndex = 0;
    bool withSm24 = false, withPdta = true;
    const char* form = "sfbk";

    std::vector<uint8_t> bytes() const {
        std::vector<uint8_t> info, ifil, sdta, smpl, sm24, pdta;
        Put16(ifil, major);
        Put16(ifil, 1);
        Chunk(info, "ifil", ifil);
        Chunk(info, "INAM", {'T', 'e', 's', 't', 0, 0});
        for (int i = 0; i < 146; ++i) Put16(smpl, uint16_t(int16_t(i < 100 ? (i - 50) * 600 : 0)));
        for (int i = 0; i < 146; ++i) sm24.push_back(uint8_t(i * 7));
        Chunk(sdta, "smpl", smpl);
        if (withSm24) Chunk(sdta, "sm24", sm24);

        std::vector<uint8_t> phdr, pbag, pmod, pgen, inst, ibag, imod, igen, shdr;
        PutName(phdr, "Preset");
        Put16(phdr, program), Put16(phdr, bank), Put16(phdr, bagIndex), Put32(phdr, 0), Put32(phdr, 0),
            Put32(phdr, 0);
        PutName(phdr, "EOP");
        Put16(phdr, 0), Put16(phdr, 0), Put16(phdr, 1), Put32(phdr, 0), Put32(phdr, 0), Put32(phdr, 0);
        Put16(pbag, 0), Put16(pbag, 0);
        Put16(pbag, uint16_t(presetGens.size() + 1)), Put16(pbag, 0);
        for (auto [g, v] : presetGens) Put16(pgen, g), Put16(pgen, v);
        Put16(pgen, 41), Put16(pgen, instIndex);
        Put32(pgen, 0);
        for (int i = 0; i < 10; ++i) pmod.push_back(0);
        PutName(inst, "Inst");
        Put16(inst, 0);
        PutName(inst, "EOI");
        Put16(inst, 1);
        Put16(ibag, 0), Put16(ibag, 0);
        Put16(ibag, uint16_t(instGens.size() + 1)), Put16(ibag, 0);
        for (auto [g, v] : instGens) Put16(igen, g), Put16(igen, v);
        Put16(igen, 53), Put16(igen, 0);
        Put32(igen, 0);
        for (int i = 0; i < 10; ++i) imod.push_back(0);
        PutName(shdr, "Ramp");
        Put32(shdr, sampleStart), Put32(shdr, sampleEnd), Put32(shdr, loopStart), Put32(shdr, loopEnd);
        Put32(shdr, 32000);
        shdr.push_back(60), shdr.push_back(uint8_t(-7));
        Put16(shdr, 0), Put16(shdr, 1);
        PutName(shdr, "EOS");
        shdr.resize(shdr.size() + 26, 0);
        Chunk(pdta, "phdr", phdr), Chunk(pdta, "pbag", pbag), Chunk(pdta, "pmod", pmod);
        Chunk(pdta, "pgen", pgen), Chunk(pdta, "inst", inst), Chunk(pdta, "ibag", ibag);
        Chunk(pdta, "imod", imod), Chunk(pdta, "igen", igen), Chunk(pdta, "shdr", shdr);

        std::vector<uint8_t> body(form, form + 4);
        Chunk(body, "LIST", List("INFO", info));
        Chunk(body, "LIST", List("sdta", sdta));
        if (withPdta) Chunk(body, "LIST", List("pdta", pdta));
        std::vector<uint8_t> out;
        Chunk(out, "RIFF", body);
        return out;
    }
};

Loaded LoadBytes(const std::vector<uint8_t>& bytes, ReadRoutine reader = &ReadSf2) {
    InstallFormats();
    int fd = memfd_create("sf2-test", 0);
    EXPECT_EQ(::write(fd, bytes.data(), bytes.size()), ssize_t(bytes.size()));
    Loaded l;
    l.collection = std::make_unique<Collection>();
    FileObject file(fd);
    ClearLastError();
    l.result = reader(*l.collection, file, 0);
    l.error = LastErrorUtf8();
    if (l.result) {
        for (Waveform* w : Waves(*l.collection)) {
            if (file.Seek(w->sourceOffset)) w->decodeRoutine(*w, file, false);
        }
    }
    return l;
}

Region* OnlyRegion(const Loaded& l) {
    std::vector<Instrument*> list = Instruments(*l.collection);
    if (list.size() != 1) return nullptr;
    std::vector<Region*> regions = Regions(*list[0]);
    return regions.size() == 1 ? regions[0] : nullptr;
}

TEST(Sf2Small, ArticulationInTheModelsUnits) {
    Bank b;
    b.bank = 128;
    b.presetGens = {{48, 100}};                    // preset adds 100 to the attenuation
    b.instGens = {{48, 150},                       // 250 in all: -10 dB at 0.04 dB a unit
                  {34, uint16_t(int16_t(-32768))}, // attack of -32768 timecents: 0 s
                  {36, 1200},                      // decay 2 s
                  {8, 13500},                      // cutoff wide open, no resonance: off
                  {17, uint16_t(int16_t(-250))},   // pan half left
                  {52, 30},
                  {51, 2}, // 2.3 semitones
                  {43, 40 | 70 << 8},
                  {44, 10 | 100 << 8},
                  {58, 72},
                  {54, 1}};
    Loaded l = LoadBytes(b.bytes());
    ASSERT_EQ(l.result, 1) << l.error;
    Instrument* inst = Instruments(*l.collection)[0];
    EXPECT_TRUE(inst->isDrumKit());
    EXPECT_EQ(inst->program(), 5u);
    EXPECT_EQ(inst->majorBank() + 128 * inst->minorBank(), 128u);
    Region* r = OnlyRegion(l);
    ASSERT_TRUE(r);
    const float* v = r->articulation.values;
    EXPECT_FLOAT_EQ(v[kParamVolume], -10.0f);
    EXPECT_FLOAT_EQ(v[EnvRow(kEnvVolume, kEnvA2Time)], 0.0f);
    EXPECT_NEAR(v[EnvRow(kEnvVolume, kEnvD2Time)], 2.0f, 0.001f);
    EXPECT_FALSE(r->articulation.isSet(kParamCutoff));
    EXPECT_FLOAT_EQ(v[kParamFilterType], ParamDefaults()[kParamFilterType]);
    EXPECT_FLOAT_EQ(v[kParamPan], -0.5f);
    EXPECT_NEAR(v[kParamTuning], 2.3f, 1e-5f);
    EXPECT_FLOAT_EQ(v[kParamBendToPitch], 2.0f);
    EXPECT_FLOAT_EQ(v[kParamVelocityResponse], 1.0f);
    EXPECT_EQ(r->trigger.keyLow, 40);
    EXPECT_EQ(r->trigger.keyHigh, 70);
    EXPECT_EQ(r->trigger.velocityLow, 10);
    EXPECT_EQ(r->trigger.velocityHigh, 100);
    EXPECT_EQ(r->rootOverride, 72);
    Waveform* w = r->waveform();
    ASSERT_TRUE(w);
    EXPECT_EQ(w->fineTune, -7);
    EXPECT_EQ(w->sampleRate, 32000u);
    LoopInfo loop = getLoop(*r);
    EXPECT_EQ(loop.loopType, 1);
    EXPECT_FLOAT_EQ(loop.start, 10.0f);
    EXPECT_FLOAT_EQ(loop.end, 90.0f);
}

TEST(Sf2Small, FilterAndLoopModes) {
    Bank b;
    b.instGens = {{8, 6900}, {9, 60}}; // 8.176 * e^(6900 * 0.000577...) = 440 Hz, 6 dB
    Loaded l = LoadBytes(b.bytes());
    ASSERT_EQ(l.result, 1) << l.error;
    Region* r = OnlyRegion(l);
    ASSERT_TRUE(r);
    EXPECT_FLOAT_EQ(r->articulation.values[kParamFilterType], 2.0f);
    EXPECT_FLOAT_EQ(r->articulation.values[kParamResonance], 6.0f);
    // The default velocity-to-cutoff modulator raises the cutoff to the
    // middle of the velocity range and keeps half its depth.
    EXPECT_FLOAT_EQ(r->articulation.values[26], 12.0f);
    EXPECT_NEAR(r->articulation.values[kParamCutoff], 440.0f * std::exp(12.0f * 0.057762265f), 2.0f);
    // Sample mode 0: the region plays without the wave's loop.
    EXPECT_EQ(getLoop(*r).loopType, 0);
}

TEST(Sf2Small, TwentyFourBitSamplesJoinSmplAndSm24) {
    Bank b;
    b.withSm24 = true;
    Loaded l = LoadBytes(b.bytes());
    ASSERT_EQ(l.result, 1) << l.error;
    Waveform* w = Waves(*l.collection)[0];
    ASSERT_TRUE(w->samples());
    for (int i : {0, 1, 49, 50, 99}) {
        int32_t expected = int32_t(int16_t((i - 50) * 600)) * 256 + uint8_t(i * 7);
        EXPECT_EQ(w->samples()->data[i], float(expected) / 8388608.0f) << i;
    }
}

TEST(Sf2Small, DamagedBanksFailWithTheirMessageOrAreRepaired) {
    {
        Bank b;
        b.form = "sfbx";
        EXPECT_EQ(LoadBytes(b.bytes()).error, "Not a SoundFont2 file");
    }
    {
        Bank b;
        b.major = 1;
        EXPECT_EQ(LoadBytes(b.bytes()).error, "Not a Sound Font v2.x file");
        Loaded v1 = LoadBytes(b.bytes(), &ReadSbk);
        EXPECT_EQ(v1.result, 1) << v1.error;
        EXPECT_EQ(LoadBytes(Bank().bytes(), &ReadSbk).error, "Not a SoundFont v1.x file");
    }
    {
        Bank b;
        b.withPdta = false;
        EXPECT_EQ(LoadBytes(b.bytes()).error, "Not a Sound Font v2.x file");
    }
    {
        // Cut in the middle of the hydra: the arrays that remain are too
        // short for their terminals.
        std::vector<uint8_t> bytes = Bank().bytes();
        bytes.resize(bytes.size() - 150);
        Loaded l = LoadBytes(bytes);
        EXPECT_EQ(l.result, 0);
        EXPECT_EQ(l.error, "Not a Sound Font v2.x file");
    }
    {
        // A sample past the end of smpl is cut at it; its loop, now
        // outside, is dropped.
        Bank b;
        b.sampleStart = 100, b.sampleEnd = 1000, b.loopStart = 150, b.loopEnd = 900;
        Loaded l = LoadBytes(b.bytes());
        ASSERT_EQ(l.result, 1) << l.error;
        Waveform* w = Waves(*l.collection)[0];
        EXPECT_EQ(w->frames, 46u);
        EXPECT_FALSE(w->mainLoop());
    }
    {
        // A sample starting past smpl and an instrument index past the
        // array: no wave, the preset clipped to the last instrument.
        Bank b;
        b.sampleStart = 5000, b.sampleEnd = 6000, b.instIndex = 9, b.bagIndex = 40;
        Loaded l = LoadBytes(b.bytes());
        ASSERT_EQ(l.result, 1) << l.error;
        EXPECT_TRUE(Waves(*l.collection).empty());
        ASSERT_EQ(Instruments(*l.collection).size(), 1u);
        EXPECT_TRUE(Regions(*Instruments(*l.collection)[0]).empty());
    }
    {
        // Every truncation of a bank reads or fails cleanly.
        std::vector<uint8_t> bytes = Bank().bytes();
        for (size_t n = 0; n < bytes.size(); n += 7) {
            std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + ptrdiff_t(n));
            if (cut.empty()) continue;
            Loaded l = LoadBytes(cut);
            if (!l.result) {
                EXPECT_FALSE(l.error.empty()) << n;
            }
        }
    }
}

TEST(Sf2Write, OnlyACollectionOrAnInstrumentIsSaved) {
    Loaded l = LoadBytes(Bank().bytes());
    ASSERT_EQ(l.result, 1) << l.error;
    test::TempDir dir;
    FileObject file;
    ASSERT_TRUE(file.Open(dir / "wave.sf2", FileObject::kCreate));
    ClearLastError();
    EXPECT_EQ(WriteSf2(*Waves(*l.collection)[0], file, WriteOptions{}), 0);
    EXPECT_EQ(LastErrorUtf8(), "The file format can not save this item");
}

// sf2dump refuses VintageDreams (its first sample is a ROM sample whose
// offsets lie outside the file), so the oracle runs on TimGM6mb; the ROM
// case has a test of its own.
// Writes a loaded collection to a temporary bank and reads it back.
Loaded WriteAndReload(Collection& c, test::TempDir& dir, const char* name = "out.sf2") {
    fs::path out = dir / name;
    {
        FileObject file;
        EXPECT_TRUE(file.Open(out, FileObject::kCreate));
        ClearLastError();
        EXPECT_EQ(WriteSf2(c, file, WriteOptions{}), 1) << LastErrorUtf8();
    }
    Loaded back = LoadPath(out);
    for (Waveform* w : Waves(*back.collection)) {
        FileObject file;
        if (file.Open(out, FileObject::kRead) && file.Seek(w->sourceOffset))
            w->decodeRoutine(*w, file, false);
    }
    return back;
}

TEST(Sf2Write, TwentyFourBitSamplesKeepTheirLowBytes) {
    Bank b;
    b.withSm24 = true;
    Loaded l = LoadBytes(b.bytes());
    ASSERT_EQ(l.result, 1) << l.error;
    test::TempDir dir;
    Loaded back = WriteAndReload(*l.collection, dir);
    ASSERT_EQ(back.result, 1) << back.error;
    Waveform &a = *Waves(*l.collection)[0], &w = *Waves(*back.collection)[0];
    ASSERT_TRUE(w.samples());
    ASSERT_EQ(a.frames, w.frames);
    for (uint32_t i = 0; i < a.frames; ++i) ASSERT_EQ(a.samples()->data[i], w.samples()->data[i]) << i;
    // The same bank without sm24 stays a plain 16-bit bank.
    Bank plain;
    Loaded p = LoadBytes(plain.bytes());
    Loaded pb = WriteAndReload(*p.collection, dir, "plain.sf2");
    ASSERT_EQ(pb.result, 1) << pb.error;
    EXPECT_EQ(Waves(*pb.collection)[0]->samples()->data[10], Waves(*p.collection)[0]->samples()->data[10]);
    test::RequireTool("sf2dump");
    EXPECT_EQ(test::Run("sf2dump " + test::Quote((dir / "out.sf2").string()) + " > /dev/null"), 0);
}

// Every Layer of an Instrument becomes a bank instrument of its own, the
// second one named with a two-digit number; reading it back gives one
// Instrument with both Layers' regions.
TEST(Sf2Write, LayersBecomeNumberedInstrumentsOfOnePreset) {
    Bank b;
    Loaded l = LoadBytes(b.bytes());
    ASSERT_EQ(l.result, 1) << l.error;
    Instrument& inst = *Instruments(*l.collection)[0];
    Waveform& wave = *Waves(*l.collection)[0];
    // The same rectangle again cannot share the first Layer.
    ASSERT_TRUE(addRegion(inst, wave.id, 0 | 127 << 8, 0 | 127 << 8, -1));
    uint32_t layers = 0;
    while (inst.layerAt(layers)) ++layers;
    ASSERT_EQ(layers, 2u);
    test::TempDir dir;
    Loaded back = WriteAndReload(*l.collection, dir);
    ASSERT_EQ(back.result, 1) << back.error;
    ASSERT_EQ(Instruments(*back.collection).size(), 1u);
    EXPECT_EQ(Regions(*Instruments(*back.collection)[0]).size(), Regions(inst).size());
    Dump dump = RunSf2Dump(dir / "out.sf2");
    ASSERT_EQ(dump.instruments.size(), 2u);
    EXPECT_EQ(dump.instruments[0].name, Utf8(inst.name()));
    EXPECT_EQ(dump.instruments[1].name, Utf8(inst.name()) + " 02");
}

TEST(Sf2Write, TheRecordLimitStopsTheSaveWithItsMessage) {
    Bank b;
    Loaded l = LoadBytes(b.bytes());
    ASSERT_EQ(l.result, 1) << l.error;
    Instrument& inst = *Instruments(*l.collection)[0];
    Waveform& wave = *Waves(*l.collection)[0];
    // Key range, velocity range and sample: three generators a zone, and
    // the two full Layers differ by their root key, so neither the global
    // zone nor a shared instrument saves them: 98,304 records.
    for (int i = 0; i < 32768; ++i) {
        uint16_t key = uint16_t(i % 128), vel = uint16_t((i / 128) % 128);
        ASSERT_TRUE(
            addRegion(inst, wave.id, uint16_t(key | key << 8), uint16_t(vel | vel << 8), 60 + i / 16384));
    }
    test::TempDir dir;
    FileObject file;
    ASSERT_TRUE(file.Open(dir / "big.sf2", FileObject::kCreate));
    ClearLastError();
    EXPECT_EQ(WriteSf2(*l.collection, file, WriteOptions{}), 0);
    EXPECT_EQ(LastErrorUtf8(), "Save failed - Too much data!\n\nThe SF2 file format is by its construction "
                               "limited to storing a maximum of 65536 parameter values...nRemove some "
                               "instruments then try saving again!");
}

} // namespace
} // namespace vaxel
