// SoundFont bank writer: a Collection's Instruments (or one Instrument) as a
// version 2.1 bank of 16-bit samples. Each Instrument becomes one preset with
// a single zone naming one instrument of the same name; each Region one
// instrument zone, two for a stereo wave (its sides are a linked pair of
// mono samples, panned hard left and right). Generators are written only
// where they differ from the standard's defaults; the articulation goes
// through the inverse of the reader's conversion, as far as the reader
// takes it.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "fileio/chunk.h"
#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "fileio/names.h"
#include "fileio/sample_coding.h"
#include "fileio/wave_loader.h"
#include "formats/instruments/sf2.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/text.h"
#include "model/waveform.h"
#include "vaxel_version.h"

namespace vaxel {
namespace {

using Bytes = std::vector<uint8_t>;

void Put16(Bytes& o, uint32_t v) {
    o.push_back(uint8_t(v));
    o.push_back(uint8_t(v >> 8));
}
void Put32(Bytes& o, uint32_t v) {
    Put16(o, v & 0xFFFF);
    Put16(o, v >> 16);
}
// A name fitted to the 20-byte field; a side of a stereo pair keeps its
// channel letter at the end.
void PutName(Bytes& o, const char16_t* name, char16_t side = 0) {
    std::u16string text(name);
    if (side) text += std::u16string(u" ") + side;
    char field[20] = {};
    FitNameToField(field, 20, text.c_str(), -1, side != 0, kPadZeros, true);
    o.insert(o.end(), field, field + 20);
}
void PutTerminal(Bytes& o, const char* name) {
    char field[20] = {};
    std::memcpy(field, name, std::strlen(name));
    o.insert(o.end(), field, field + 20);
}
void Chunk(Bytes& o, const char* id, const Bytes& body) {
    o.insert(o.end(), id, id + 4);
    Put32(o, uint32_t(body.size()));
    o.insert(o.end(), body.begin(), body.end());
    if (body.size() & 1) o.push_back(0);
}
Bytes List(const char* type, const Bytes& body) {
    Bytes l(type, type + 4);
    l.insert(l.end(), body.begin(), body.end());
    return l;
}

int SecondsToTimeCents(float t) {
    return t <= 0.0f ? -12000 : std::clamp<int>(int(std::lround(1200 * std::log2(double(t)))), -11999, 32767);
}
int HzToCents(float f) {
    return f >= 20000.0f ? 13500
                         : std::clamp<int>(int(std::lround(std::log(f / 8.176) / 0.0005776227)), 1500, 13500);
}

// The standard's timecents per key from the model's multiplier per octave.
int KeyScaleToTimeCents(float multiplier) {
    if (!(multiplier > 0.0f) || multiplier == 1.0f) return 0;
    return std::clamp<int>(int(std::lround(std::log(double(multiplier)) / -0.0069314716)), -1200, 1200);
}
// An LFO rate in absolute cents (0 is 8.176 Hz, the standard's default).
int LfoHzToCents(float f) {
    if (!(f > 0.0f)) return -16000;
    return std::clamp<int>(int(std::lround(std::log(f / 8.176) / 0.0005776227)), -16000, 4500);
}

struct Sample {
    const Waveform* wave;
    int channel; // 0 mono or left, 1 right
};

// The generators of one instrument zone, by the reader's conversion turned
// around: values equal to the defaults are left out.
using Generators = std::vector<std::pair<uint16_t, int16_t>>;

// The standard's value of a generator a zone leaves out.
int16_t GeneratorDefault(uint16_t id) {
    switch (id) {
    case 8:
        return 13500;
    case 21:
    case 23:
    case 25:
    case 26:
    case 27:
    case 28:
    case 30:
    case 33:
    case 34:
    case 35:
    case 36:
    case 38:
        return -12000;
    case 46:
    case 47:
    case 58:
        return -1;
    case 56:
        return 100;
    default:
        return 0;
    }
}

void ZoneGenerators(const Region& region, const Waveform& wave, int pan, Generators& out, Bytes& imod) {
    const float* v = region.articulation.values;
    auto gen = [&](int g, int value) { out.emplace_back(uint16_t(g), int16_t(value)); };
    if (region.trigger.keyLow != 0 || region.trigger.keyHigh != 127)
        gen(43, region.trigger.keyLow | region.trigger.keyHigh << 8);
    if (region.trigger.velocityLow != 0 || region.trigger.velocityHigh != 127)
        gen(44, region.trigger.velocityLow | region.trigger.velocityHigh << 8);

    float tuning = v[kParamTuning];
    int coarse = int(std::trunc(tuning));
    int fine = int(std::lround((tuning - coarse) * 100));
    if (coarse) gen(51, coarse);
    if (fine) gen(52, fine);
    int attenuation = int(std::lround(v[kParamVolume] / -0.04f));
    if (attenuation) gen(48, std::clamp(attenuation, -1440, 1440));
    int panValue = pan ? pan : int(std::lround(v[kParamPan] / 0.002f));
    if (panValue) gen(17, std::clamp(panValue, -500, 500));
    int scale = int(std::lround(v[kParamKeyToPitch] * 100));
    if (scale != 100) gen(56, scale);

    // Volume envelope: the reader's delay, attack, hold, decay and release.
    const int env[5][2] = {{33, EnvRow(kEnvVolume, kEnvA1Time)},
                           {34, EnvRow(kEnvVolume, kEnvA2Time)},
                           {35, EnvRow(kEnvVolume, kEnvD1Time)},
                           {36, EnvRow(kEnvVolume, kEnvD2Time)},
                           {38, EnvRow(kEnvVolume, kEnvR1Rate)}};
    for (auto [g, row] : env) {
        int tc = SecondsToTimeCents(v[row]);
        if (tc != -12000) gen(g, tc);
    }
    int sustain = int(std::lround((1.0f - v[EnvRow(kEnvVolume, kEnvSustain)]) * 960));
    if (sustain > 0) gen(37, sustain);

    int keyToHold = KeyScaleToTimeCents(v[EnvRow(kEnvVolume, kEnvKeyToD1)]);
    int keyToDecay = KeyScaleToTimeCents(v[EnvRow(kEnvVolume, kEnvKeyToD2)]);
    if (keyToHold) gen(39, keyToHold);
    if (keyToDecay) gen(40, keyToDecay);

    // The modulation envelope: the reader gives the pitch and filter
    // envelopes the same stages, so the pitch one is taken back.
    const int modEnv[5][2] = {{25, EnvRow(kEnvPitch, kEnvA1Time)},
                              {26, EnvRow(kEnvPitch, kEnvA2Time)},
                              {27, EnvRow(kEnvPitch, kEnvD1Time)},
                              {28, EnvRow(kEnvPitch, kEnvD2Time)},
                              {30, EnvRow(kEnvPitch, kEnvR1Rate)}};
    for (auto [g, row] : modEnv) {
        int tc = SecondsToTimeCents(v[row]);
        if (tc != -12000) gen(g, tc);
    }
    int modSustain = int(std::lround((1.0f - v[EnvRow(kEnvPitch, kEnvSustain)]) * 1000));
    if (modSustain > 0) gen(29, std::min(modSustain, 1000));
    if (int k = KeyScaleToTimeCents(v[EnvRow(kEnvPitch, kEnvKeyToD1)])) gen(31, k);
    if (int k = KeyScaleToTimeCents(v[EnvRow(kEnvPitch, kEnvKeyToD2)])) gen(32, k);
    if (int c = int(std::lround(v[kParamPEnvToPitch] * 100))) gen(7, std::clamp(c, -12000, 12000));
    if (int c = int(std::lround(v[kParamFEnvToCutoff] * 100))) gen(11, std::clamp(c, -12000, 12000));

    // The vibrato LFO from the P-LFO, the modulation LFO from the V-LFO
    // (the reader gives the V-, F- and X-LFO its one rate and delay).
    if (int c = LfoHzToCents(v[LfoRow(kLfoPitch, kLfoFrequency)])) gen(24, c);
    if (int tc = SecondsToTimeCents(v[LfoRow(kLfoPitch, kLfoDelay)]); tc != -12000) gen(23, tc);
    if (int c = int(std::lround(v[4] * 100))) gen(6, std::clamp(c, -12000, 12000));
    if (int c = LfoHzToCents(v[LfoRow(kLfoVolume, kLfoFrequency)])) gen(22, c);
    if (int tc = SecondsToTimeCents(v[LfoRow(kLfoVolume, kLfoDelay)]); tc != -12000) gen(21, tc);
    if (int c = int(std::lround(v[8] * 100))) gen(5, std::clamp(c, -12000, 12000));
    if (int c = int(std::lround(v[19] * 10))) gen(13, std::clamp(c, -960, 960));
    if (int c = int(std::lround(v[31] * 100))) gen(10, std::clamp(c, -12000, 12000));

    // Effect sends in 0.1 % steps.
    if (int s = int(std::lround(v[kParamSendFirst] * 1000))) gen(16, std::clamp(s, 0, 1000));
    if (int s = int(std::lround(v[kParamSendFirst + 2] * 1000))) gen(15, std::clamp(s, 0, 1000));

    if (v[kParamFilterType] == 2.0f) {
        // The reader lifted the cutoff to the centre of the velocity range
        // and kept half the depth; undo both.
        float velocity = v[26];
        gen(8, HzToCents(float(v[kParamCutoff] / std::exp(velocity * 0.057762265))));
        if (v[kParamResonance] > 0) gen(9, int(std::lround(v[kParamResonance] * 10)));
        int amount = int(std::lround(velocity * -200));
        if (amount != -2400) {
            Put16(imod, 0x0502), Put16(imod, 8), Put16(imod, uint16_t(int16_t(amount))), Put16(imod, 0),
                Put16(imod, 0);
        }
    }
    if (region.trigger.exclusionGroup) gen(57, region.trigger.exclusionGroup);
    if (region.rootOverride >= 0) gen(58, region.rootOverride);
    if (getLoop(region, &wave).loopType != 0) gen(54, 1);
}

// The row's coding word: 16 or 24-bit, stereo kept as linked mono pairs.
constexpr uint32_t kSf2CodingMask = 0x500014;

} // namespace

int WriteSf2(CollectionItem& item, FileObject& file, const WriteOptions& options) {
    std::vector<Instrument*> instruments;
    if (item.type() == ItemType::Collection) {
        for (Instrument* i : ItemsOf<Instrument>(item.collection())) instruments.push_back(i);
    } else if (item.type() == ItemType::Instrument) {
        instruments.push_back(static_cast<Instrument*>(&item));
    } else {
        return SetLastError("The file format can not save this item"), 0;
    }
    if (!ensureSamples(&item)) return 0;

    // Samples in the order of first use; a stereo wave gives two.
    std::map<const Waveform*, uint32_t> firstSample;
    std::vector<Sample> samples;
    for (Instrument* inst : instruments)
        for (uint32_t l = 0; Layer* layer = inst->layerAt(l); ++l)
            for (uint32_t r = 0; Region* region = layer->regionAt(r); ++r) {
                const Waveform* w = region->waveform();
                if (!w || w->frames == 0 || firstSample.count(w)) continue;
                firstSample[w] = uint32_t(samples.size());
                samples.push_back({w, 0});
                if (w->channels == 2) samples.push_back({w, 1});
            }

    // 24-bit output when the coding choice allows it and some wave has the
    // resolution for it: the low bytes go to sm24, the upper words to smpl.
    const uint32_t mask = options.codingMask ? options.codingMask : kSf2CodingMask;
    bool wide = false;
    for (const Sample& s : samples)
        if (ChooseCoding(*s.wave, mask, nullptr) == kPcm24) wide = true;

    Bytes smpl, sm24, shdr;
    std::vector<float> side;
    std::vector<uint8_t> encoded;
    for (size_t s = 0; s < samples.size(); ++s) {
        const Waveform& w = *samples[s].wave;
        const SampleBlock* block = w.samples();
        if (!block) return SetLastError("Out of memory"), 0;
        if (uint64_t(smpl.size() / 2) + w.frames + 46 > 0xFFFFFFFFull)
            return SetLastError("The samples exceed the 4G sample words a SoundFont bank can address"), 0;
        uint32_t start = uint32_t(smpl.size() / 2);
        // One channel as a mono run, written with the coding's rule.
        side.resize(w.frames);
        const int channel = std::min<int>(samples[s].channel, block->channels - 1);
        for (uint32_t f = 0; f < w.frames; ++f) side[f] = block->data[size_t(f) * block->channels + channel];
        if (wide) {
            encoded.resize(size_t(w.frames) * 3);
            EncodeFromFloat(side.data(), w.frames, kPcm24, 0, encoded.data());
            for (uint32_t f = 0; f < w.frames; ++f) {
                sm24.push_back(encoded[f * 3]);
                smpl.push_back(encoded[f * 3 + 1]);
                smpl.push_back(encoded[f * 3 + 2]);
            }
            sm24.resize(sm24.size() + 46, 0);
        } else {
            encoded.resize(size_t(w.frames) * 2);
            EncodeFromFloat(side.data(), w.frames, kPcm16, 0, encoded.data());
            smpl.insert(smpl.end(), encoded.begin(), encoded.end());
        }
        smpl.resize(smpl.size() + 92, 0); // 46 zero samples behind each
        uint32_t loopStart = start, loopEnd = start;
        if (const LoopRecord* loop = w.mainLoop()) {
            loopStart = start + std::min(loop->start, w.frames);
            loopEnd = start + std::min(loop->end, w.frames);
        }
        PutName(shdr, w.name(), w.channels == 2 ? (samples[s].channel ? u'R' : u'L') : 0);
        Put32(shdr, start), Put32(shdr, start + w.frames), Put32(shdr, loopStart), Put32(shdr, loopEnd);
        Put32(shdr, w.sampleRate);
        shdr.push_back(w.rootKey);
        shdr.push_back(uint8_t(w.fineTune));
        uint16_t link = 0, type = 1;
        if (w.channels == 2) {
            link = uint16_t(samples[s].channel ? s - 1 : s + 1);
            type = samples[s].channel ? 2 : 4;
        }
        Put16(shdr, link), Put16(shdr, type);
    }
    PutTerminal(shdr, "EOS");
    shdr.resize(shdr.size() + 26, 0);

    Bytes phdr, pbag, pmod, pgen, inst, ibag, imod, igen;
    uint32_t instrumentCount = 0;
    std::map<Bytes, uint32_t> written; // an instrument's zones -> its index
    for (Instrument* source : instruments) {
        Instrument& in = *source;
        PutName(phdr, in.name());
        uint32_t bank = in.majorBank() | in.minorBank() << 7;
        if (in.isDrumKit() && bank == 0) bank = 128;
        Put16(phdr, in.program()), Put16(phdr, bank), Put16(phdr, uint32_t(pbag.size() / 4));
        Put32(phdr, 0), Put32(phdr, 0), Put32(phdr, 0);

        // One bank instrument per Layer, each named by a zone of the
        // preset; the second and later ones carry a two-digit number.
        for (uint32_t l = 0; Layer* layer = in.layerAt(l); ++l) {
            // The zones' generators; those that every zone has with the
            // same value go once into a global zone in front, which keeps
            // large banks under the format's record limit.
            std::vector<Generators> zones;
            std::vector<Bytes> zoneMods;
            for (uint32_t r = 0; Region* region = layer->regionAt(r); ++r) {
                const Waveform* w = region->waveform();
                if (!w || !firstSample.count(w)) continue;
                for (int side = 0; side < w->channels && side < 2; ++side) {
                    zones.emplace_back();
                    zoneMods.emplace_back();
                    ZoneGenerators(*region, *w, w->channels == 2 ? (side ? 500 : -500) : 0, zones.back(),
                                   zoneMods.back());
                    zones.back().emplace_back(uint16_t(53), int16_t(firstSample[w] + side));
                }
            }
            // A global zone in front takes, for each generator, the value
            // most zones share, where that saves records: zones with the
            // value leave it out, zones without the generator then spell
            // out its default. This keeps large banks under the record limit.
            Generators common;
            if (zones.size() > 1) {
                std::map<uint16_t, std::map<int16_t, uint32_t>> counts;
                for (const Generators& z : zones)
                    for (const auto& g : z)
                        if (g.first != 43 && g.first != 44 && g.first != 53) ++counts[g.first][g.second];
                for (const auto& [id, values] : counts) {
                    uint32_t present = 0;
                    for (const auto& v : values) present += v.second;
                    const uint32_t absent = uint32_t(zones.size()) - present;
                    auto best =
                        std::max_element(values.begin(), values.end(),
                                         [](const auto& x, const auto& y) { return x.second < y.second; });
                    if (best->second > absent + 1) common.emplace_back(id, best->first);
                }
                for (Generators& z : zones) {
                    Generators kept;
                    for (const auto& g : z)
                        if (std::find(common.begin(), common.end(), g) == common.end()) kept.push_back(g);
                    // Defaults go in front of the closing sample generator.
                    auto sampleAt = kept.end() - 1;
                    Generators defaults;
                    for (const auto& c : common) {
                        bool has = std::any_of(z.begin(), z.end(),
                                               [&](const auto& g) { return g.first == c.first; });
                        if (!has) defaults.emplace_back(c.first, GeneratorDefault(c.first));
                    }
                    kept.insert(sampleAt, defaults.begin(), defaults.end());
                    z = std::move(kept);
                }
            }
            auto putZone = [&](const Generators& gens, const Bytes& mods) {
                Put16(ibag, uint32_t(igen.size() / 4)), Put16(ibag, uint32_t(imod.size() / 10));
                for (const auto& g : gens) Put16(igen, g.first), Put16(igen, uint16_t(g.second));
                imod.insert(imod.end(), mods.begin(), mods.end());
            };
            // A Layer whose zones came out the same as an earlier one's (a
            // bank's presets often share instruments) names that instrument.
            Bytes key;
            for (const auto& g : common) Put16(key, g.first), Put16(key, uint16_t(g.second));
            Put16(key, 0xFFFF);
            for (size_t z = 0; z < zones.size(); ++z) {
                for (const auto& g : zones[z]) Put16(key, g.first), Put16(key, uint16_t(g.second));
                Put16(key, 0xFFFF);
                key.insert(key.end(), zoneMods[z].begin(), zoneMods[z].end());
                Put16(key, 0xFFFF);
            }
            Put16(pbag, uint32_t(pgen.size() / 4)), Put16(pbag, uint32_t(pmod.size() / 10));
            auto known = written.find(key);
            if (known != written.end()) {
                Put16(pgen, 41), Put16(pgen, known->second);
                continue;
            }
            written.emplace(std::move(key), instrumentCount);
            Put16(pgen, 41), Put16(pgen, instrumentCount++);
            std::u16string name = in.name();
            if (l > 0) {
                char number[8];
                std::snprintf(number, sizeof number, " %02u", unsigned(l + 1) % 100);
                for (const char* c = number; *c; ++c) name += char16_t(*c);
            }
            PutName(inst, name.c_str());
            Put16(inst, uint32_t(ibag.size() / 4));
            if (!common.empty()) putZone(common, Bytes{});
            for (size_t z = 0; z < zones.size(); ++z) putZone(zones[z], zoneMods[z]);
        }
        if (igen.size() / 4 >= 65536 || imod.size() / 10 >= 65536 || ibag.size() / 4 >= 65536 ||
            pgen.size() / 4 >= 65536 || pmod.size() / 10 >= 65536 || pbag.size() / 4 >= 65536)
            return SetLastError("Save failed - Too much data!\n\nThe SF2 file format is by its construction "
                                "limited to storing a maximum of 65536 parameter values...nRemove some "
                                "instruments then try saving again!"),
                   0;
    }
    PutTerminal(phdr, "EOP");
    Put16(phdr, 0), Put16(phdr, 0), Put16(phdr, uint32_t(pbag.size() / 4));
    Put32(phdr, 0), Put32(phdr, 0), Put32(phdr, 0);
    Put16(pbag, uint32_t(pgen.size() / 4)), Put16(pbag, uint32_t(pmod.size() / 10));
    pmod.resize(pmod.size() + 10, 0);
    Put32(pgen, 0);
    PutTerminal(inst, "EOI");
    Put16(inst, uint32_t(ibag.size() / 4));
    Put16(ibag, uint32_t(igen.size() / 4)), Put16(ibag, uint32_t(imod.size() / 10));
    imod.resize(imod.size() + 10, 0);
    Put32(igen, 0);

    Bytes info, ifil, sdta, pdta;
    Put16(ifil, 2), Put16(ifil, wide ? 4 : 1);
    Chunk(info, "ifil", ifil);
    Chunk(info, "isng", Bytes{'E', 'M', 'U', '8', '0', '0', '0', 0});
    // The Collection's info fields; INAM (the bank's name) is held to the
    // 256 bytes the format allows, and ISFT stamps this program last.
    MemChunkWriter fields(false, true);
    AddInfoChunks(fields, item.collection(), false);
    if (!fields.ok()) return SetLastError("Out of memory"), 0;
    const Bytes& f = fields.bytes();
    for (size_t at = 0; at + 8 <= f.size();) {
        char id[5] = {char(f[at]), char(f[at + 1]), char(f[at + 2]), char(f[at + 3]), 0};
        uint32_t n = uint32_t(f[at + 4] | f[at + 5] << 8 | f[at + 6] << 16 | uint32_t(f[at + 7]) << 24);
        size_t end = std::min(f.size(), at + 8 + n);
        Bytes text(f.begin() + long(at + 8), f.begin() + long(end));
        if (!std::strcmp(id, "INAM") && text.size() > 256) {
            text.resize(255);
            text.push_back(0);
        }
        if (std::strcmp(id, "ISFT") != 0) Chunk(info, id, text);
        at = end + (n & 1);
    }
    const char stamp[] = VAXEL_PROGRAM_STAMP;
    Chunk(info, "ISFT", Bytes(stamp, stamp + sizeof stamp));
    Chunk(sdta, "smpl", smpl);
    if (wide) Chunk(sdta, "sm24", sm24);
    Chunk(pdta, "phdr", phdr), Chunk(pdta, "pbag", pbag), Chunk(pdta, "pmod", pmod);
    Chunk(pdta, "pgen", pgen), Chunk(pdta, "inst", inst), Chunk(pdta, "ibag", ibag);
    Chunk(pdta, "imod", imod), Chunk(pdta, "igen", igen), Chunk(pdta, "shdr", shdr);
    Bytes body{'s', 'f', 'b', 'k'};
    Chunk(body, "LIST", List("INFO", info));
    Chunk(body, "LIST", List("sdta", sdta));
    Chunk(body, "LIST", List("pdta", pdta));
    Bytes out;
    Chunk(out, "RIFF", body);
    if (!file.Write(out.data(), out.size())) return SetLastError("Writing to file failed"), 0;
    return 1;
}

} // namespace vaxel
