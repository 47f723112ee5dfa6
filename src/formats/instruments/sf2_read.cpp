// SoundFont bank reader. The bank is one RIFF sfbk form of three lists:
//   LIST INFO: ifil (major, minor u16), ISFT and the other texts;
//   LIST sdta: smpl (16-bit words), optional sm24 (one low byte a sample);
//   LIST pdta: phdr (38 bytes), pbag (4), pmod (10), pgen (4), inst (22),
//              ibag (4), imod (10), igen (4), shdr (46), each ending in a
//              terminal record.
// The hydra is small, so each pdta array is read whole into memory; the
// samples stay in the file and are decoded at first use.
//
// Damaged banks: every index is checked against its array. What can be
// repaired is, so that a bank plays as far as it is sound: bag and
// generator ranges are clipped to their arrays (a range that runs backwards
// is empty), a preset's instrument index clips to the last instrument, a
// sample running past smpl is cut at its end, a loop outside its sample is
// dropped. What can't be (a missing pdta array, a wrong form or version)
// fails with the bank's message.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "fileio/chunk.h"
#include "fileio/file_object.h"
#include "fileio/region_consensus.h"
#include "fileio/sample_coding.h"
#include "formats/instruments/sf2.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/waveform.h"

namespace vaxel {
namespace {

uint16_t Le16(const uint8_t* p) {
    return uint16_t(p[0] | p[1] << 8);
}
uint32_t Le32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// Generator numbers of the standard that the reader acts on.
enum Gen : int {
    kStartOffset = 0,
    kEndOffset = 1,
    kStartLoopOffset = 2,
    kEndLoopOffset = 3,
    kStartCoarse = 4,
    kModLfoToPitch = 5,
    kVibLfoToPitch = 6,
    kModEnvToPitch = 7,
    kCutoff = 8,
    kResonance = 9,
    kModLfoToFilter = 10,
    kModEnvToFilter = 11,
    kEndCoarse = 12,
    kModLfoToVolume = 13,
    kChorusSend = 15,
    kReverbSend = 16,
    kPan = 17,
    kModLfoDelay = 21,
    kModLfoFreq = 22,
    kVibLfoDelay = 23,
    kVibLfoFreq = 24,
    kModEnvDelay = 25, // 25..30 delay, attack, hold, decay, sustain, release
    kModEnvKeyToHold = 31,
    kModEnvKeyToDecay = 32,
    kVolEnvDelay = 33, // 33..38 as above
    kVolEnvKeyToHold = 39,
    kVolEnvKeyToDecay = 40,
    kInstrument = 41,
    kKeyRange = 43,
    kVelRange = 44,
    kStartLoopCoarse = 45,
    kKeyNum = 46,
    kVelocity = 47,
    kAttenuation = 48,
    kEndLoopCoarse = 50,
    kCoarseTune = 51,
    kFineTune = 52,
    kSampleId = 53,
    kSampleModes = 54,
    kScaleTuning = 56,
    kExclusiveClass = 57,
    kRootKey = 58,
    kGenCount = 60,
};

constexpr int kModSlots = 80;

struct Zone {
    int16_t gen[kGenCount];
    int16_t mod[kModSlots];
};

// The destination and source of each recognised modulator slot; the source
// is compared without its curve-type bits (10..15).
struct ModSlot {
    uint16_t dest;
    uint16_t source;
};
// clang-format off
constexpr ModSlot kModTable[] = {
    {33, 2},   {34, 2},   {35, 2},   {36, 2},   {38, 2},     // 0..4
    {33, 3},   {34, 3},   {38, 3},                           // 5..7
    {33, 0x202},                                             // 8
    {34, 514}, {35, 514}, {36, 514}, {38, 514},              // 9..12
    {33, 515}, {34, 515}, {38, 515},                         // 13..15
    {33, 201}, {34, 201}, {35, 201},                         // 16..18
    {38, 200}, {38, 197},                                    // 19, 20
    {25, 2},   {26, 2},   {27, 2},   {28, 2},   {30, 2},     // 21..25
    {25, 3},   {26, 3},   {30, 3},                           // 26..28
    {25, 514}, {26, 514}, {27, 514}, {28, 514}, {30, 514},   // 29..33
    {25, 515}, {26, 515}, {30, 515},                         // 34..36
    {25, 201}, {26, 201}, {27, 201}, {30, 200},              // 37..40
    {48, 258},                                               // 41
    {48, 3},   {48, 515},                                    // 42, 43
    {48, 129}, {48, 13},                                     // 44, 45
    {13, 129}, {13, 13},  {13, 514},                         // 46..48
    {52, 526},                                               // 49
    {5, 129},  {5, 514},  {5, 13},                           // 50..52
    {6, 129},  {6, 514},  {6, 13},                           // 53..55
    {7, 2},    {7, 514},                                     // 56, 57
    // Our own choice for the slots the bank format leaves open: the filter,
    // pan and sends.
    {8, 258},                                                // 58 velocity to cutoff
    {8, 129},  {8, 13},   {8, 3},    {8, 2},                 // 59..62
    {10, 129}, {10, 13},  {10, 514},                         // 63..65
    {11, 2},   {11, 514},                                    // 66, 67
    {9, 2},    {9, 129},  {9, 13},   {9, 202},               // 68..71
    {8, 202},                                                // 72 CC74 to cutoff
    {17, 3},   {17, 138},                                    // 73 key, 74 CC10 to pan
    {16, 219}, {15, 221},                                    // 75 CC91, 76 CC93
    {0, 196},  {4, 196},                                     // 77, 78
};
// clang-format on
static_assert(sizeof kModTable / sizeof kModTable[0] == 79, "79 modulator slots");

// The standard's defaults on the instrument side.
void InstrumentDefaults(Zone& z) {
    std::fill(std::begin(z.gen), std::end(z.gen), int16_t(0));
    std::fill(std::begin(z.mod), std::end(z.mod), int16_t(0));
    z.gen[kCutoff] = 13500;
    for (int g : {21, 23, 25, 26, 27, 28, 30, 33, 34, 35, 36, 38}) z.gen[g] = -12000;
    z.gen[kKeyRange] = int16_t(0x7F00);
    z.gen[kVelRange] = int16_t(0x7F00);
    z.gen[kRootKey] = -1;
    z.gen[kKeyNum] = -1;
    z.gen[kVelocity] = -1;
    z.gen[kScaleTuning] = 100;
    for (int g : {14, 18, 19, 20, 42, 49, 55, 59}) z.gen[g] = -1;
    z.mod[41] = 960;   // velocity to attenuation
    z.mod[58] = -2400; // velocity to filter cutoff
    // The standard's mod wheel to vibrato depth of 50 cents. The pitch
    // wheel's range of 2 semitones is the model's base (see below), so its
    // slot starts at 0.
    z.mod[50] = 50;
    z.mod[53] = 50;
}

void PresetDefaults(Zone& z) {
    std::fill(std::begin(z.gen), std::end(z.gen), int16_t(0));
    std::fill(std::begin(z.mod), std::end(z.mod), int16_t(0));
    z.gen[kKeyRange] = int16_t(0x7F00);
    z.gen[kVelRange] = int16_t(0x7F00);
}

// Generators that only an instrument zone may carry (the standard ignores
// them at preset level).
bool InstrumentOnly(int g) {
    switch (g) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 4:
    case 12:
    case 45:
    case 46:
    case 47:
    case 50:
    case 54:
    case 57:
    case 58:
        return true;
    default:
        return false;
    }
}

// One record array of pdta.
struct Array {
    std::vector<uint8_t> bytes;
    size_t recordSize = 1;
    size_t count() const { return bytes.size() / recordSize; }
    const uint8_t* at(size_t i) const { return bytes.data() + i * recordSize; }
};

struct Bank {
    uint16_t major = 0;
    uint64_t smplOffset = 0, smplLength = 0;
    uint64_t sm24Offset = 0, sm24Length = 0;
    bool haveSmpl = false, haveSm24 = false, havePdta = false;
    Array phdr{{}, 38}, pbag{{}, 4}, pmod{{}, 10}, pgen{{}, 4};
    Array inst{{}, 22}, ibag{{}, 4}, imod{{}, 10}, igen{{}, 4}, shdr{{}, 46};
    std::vector<uint8_t> info;
};

constexpr uint32_t kMaxPdtaChunk = 64u << 20; // far above any real hydra

bool ReadBytes(FileObject& file, uint64_t at, uint64_t length, std::vector<uint8_t>& out) {
    if (length > kMaxPdtaChunk) return false;
    out.resize(size_t(length));
    return length == 0 || file.ReadAt(at, out.data(), size_t(length)) == length;
}

bool IdIs(const uint8_t* p, const char* id) {
    return std::memcmp(p, id, 4) == 0;
}
bool IdIsNoCase(const uint8_t* p, const char* id) {
    for (int i = 0; i < 4; ++i)
        if (std::tolower(p[i]) != std::tolower(uint8_t(id[i]))) return false;
    return true;
}

// Walks the sub-chunks of one list body [at, end).
bool WalkList(FileObject& file, uint64_t at, uint64_t end, const uint8_t* listType, Bank& bank) {
    uint8_t head[8];
    while (at + 8 <= end) {
        if (file.ReadAt(at, head, 8) != 8) break;
        uint64_t length = Le32(head + 4);
        uint64_t body = at + 8;
        // A chunk running past its list is cut at the list's end.
        uint64_t avail = std::min(length, end - body);
        if (IdIs(listType, "INFO")) {
            if (IdIs(head, "ifil") && avail >= 4) {
                uint8_t v[4];
                if (file.ReadAt(body, v, 4) == 4) bank.major = Le16(v);
            }
        } else if (IdIs(listType, "sdta")) {
            if (IdIsNoCase(head, "smpl")) {
                bank.smplOffset = body, bank.smplLength = avail, bank.haveSmpl = true;
            } else if (IdIs(head, "sm24")) {
                bank.sm24Offset = body, bank.sm24Length = avail, bank.haveSm24 = true;
            }
        } else if (IdIs(listType, "pdta")) {
            bank.havePdta = true;
            Array* a = nullptr;
            if (IdIs(head, "phdr"))
                a = &bank.phdr;
            else if (IdIs(head, "pbag"))
                a = &bank.pbag;
            else if (IdIs(head, "pmod"))
                a = &bank.pmod;
            else if (IdIs(head, "pgen"))
                a = &bank.pgen;
            else if (IdIs(head, "inst"))
                a = &bank.inst;
            else if (IdIs(head, "ibag"))
                a = &bank.ibag;
            else if (IdIs(head, "imod"))
                a = &bank.imod;
            else if (IdIs(head, "igen"))
                a = &bank.igen;
            else if (IdIs(head, "shdr"))
                a = &bank.shdr;
            if (a && !ReadBytes(file, body, avail - avail % a->recordSize, a->bytes)) {
                SetLastError("Reading from file failed");
                return false;
            }
        }
        at = body + length + (length & 1);
    }
    return true;
}

bool WalkBank(FileObject& file, Bank& bank, const char* versionMessage, bool (*versionOk)(uint16_t)) {
    uint8_t head[12];
    if (file.ReadAt(0, head, 12) != 12 || !IdIs(head, "RIFF") || !IdIs(head + 8, "sfbk"))
        return SetLastError("Not a SoundFont2 file"), false;
    uint64_t end = std::min<uint64_t>(8 + uint64_t(Le32(head + 4)), file.Size());
    uint64_t at = 12;
    uint8_t chunk[12];
    while (at + 12 <= end) {
        if (file.ReadAt(at, chunk, 12) != 12) break;
        uint64_t length = Le32(chunk + 4);
        uint64_t bodyEnd = std::min(at + 8 + length, end);
        if (IdIs(chunk, "LIST")) {
            if (IdIs(chunk + 8, "INFO") && bodyEnd > at + 12 && bodyEnd - at - 12 <= kMaxPdtaChunk)
                ReadBytes(file, at + 12, bodyEnd - at - 12, bank.info);
            if (!WalkList(file, at + 12, bodyEnd, chunk + 8, bank)) return false;
        }
        at += 8 + length + (length & 1);
    }
    // The hydra needs its preset, instrument and sample headers, each with
    // its terminal record, and the bags behind them.
    if (!versionOk(bank.major) || !bank.havePdta || bank.phdr.count() < 1 || bank.inst.count() < 1 ||
        bank.shdr.count() < 1 || bank.pbag.count() < 1 || bank.ibag.count() < 1)
        return SetLastError(versionMessage), false;
    return true;
}

// ---------------------------------------------------------------- zones

// Applies the generator records [from, to) and modulator records
// [modFrom, modTo) of one bag to z.
void ApplyGenerators(const Array& gens, size_t from, size_t to, bool preset, Zone& z) {
    to = std::min(to, gens.count());
    for (size_t i = from; i < to; ++i) {
        const uint8_t* r = gens.at(i);
        int g = Le16(r);
        if (g >= kGenCount || (preset && InstrumentOnly(g))) continue;
        z.gen[g] = int16_t(Le16(r + 2));
    }
}

void ApplyModulators(const Array& mods, size_t from, size_t to, Zone& z) {
    to = std::min(to, mods.count());
    for (size_t i = from; i < to; ++i) {
        const uint8_t* r = mods.at(i);
        uint16_t source = Le16(r) & 0x3FF;
        uint16_t dest = Le16(r + 2);
        int16_t amount = int16_t(Le16(r + 4));
        uint16_t second = Le16(r + 6);
        if (second != 0) continue; // two-source modulators have no place here
        int slot = -1;
        bool negate = false;
        for (int pass = 0; pass < 2 && slot < 0; ++pass) {
            uint16_t s = pass == 0 ? source : uint16_t(source & ~0x100u);
            if (pass == 1 && !(source & 0x100)) break;
            for (int k = 0; k < int(std::size(kModTable)); ++k) {
                if (kModTable[k].dest == dest && kModTable[k].source == s) {
                    slot = k;
                    negate = pass == 1;
                    break;
                }
            }
        }
        if (slot < 0) continue;
        z.mod[slot] = negate ? int16_t(-std::max<int>(amount, -32767)) : amount;
    }
}

// The bag range of a header: its index to the next header's, both clipped to
// the bag array less its terminal bag.
void BagRange(const Array& headers, size_t i, size_t indexAt, const Array& bags, size_t& from, size_t& to) {
    size_t last = bags.count() ? bags.count() - 1 : 0;
    from = std::min<size_t>(Le16(headers.at(i) + indexAt), last);
    to = i + 1 < headers.count() ? std::min<size_t>(Le16(headers.at(i + 1) + indexAt), last) : from;
    if (to < from) to = from;
}

// The generator and modulator ranges of bag b.
void ZoneRanges(const Array& bags, size_t b, size_t& g0, size_t& g1, size_t& m0, size_t& m1) {
    g0 = Le16(bags.at(b));
    m0 = Le16(bags.at(b) + 2);
    g1 = b + 1 < bags.count() ? Le16(bags.at(b + 1)) : g0;
    m1 = b + 1 < bags.count() ? Le16(bags.at(b + 1) + 2) : m0;
    if (g1 < g0) g1 = g0;
    if (m1 < m0) m1 = m0;
}

// Does the bag set generator g?
bool BagHas(const Array& gens, size_t g0, size_t g1, int g, int* value = nullptr) {
    g1 = std::min(g1, gens.count());
    for (size_t i = g0; i < g1; ++i) {
        if (Le16(gens.at(i)) == g) {
            if (value) *value = Le16(gens.at(i) + 2);
            return true;
        }
    }
    return false;
}

// ---------------------------------------------------------------- units

float TimeCentsToSeconds(int tc) {
    if (tc < -11999) return 0.0f;
    double t = std::exp(tc * 0.0005776227);
    if (t > 24)
        t = std::round(t * 10) / 10;
    else if (t > 2)
        t = std::round(t * 100) / 100;
    return float(t);
}

float CentsToHz(int cents) {
    if (cents >= 13500) return 20000.0f;
    double f = 8.176 * std::exp(cents * 0.0005776227);
    if (f >= 1000)
        f = std::round(f / 10) * 10;
    else if (f > 100)
        f = std::round(f);
    else
        f = std::round(f * 100) / 100;
    return float(f);
}

// A multiplier per octave from timecents per key.
float KeyScale(int v) {
    return float(std::exp(v * -0.0069314716));
}

// Sets one envelope of the model from the standard's six stages starting at
// generator first (delay, attack, hold, decay, sustain, release), with key
// scaling of hold and decay. The delay becomes the first attack stage at
// level 0, the attack the second, the hold the first decay at full level.
void SetEnvelope(ParameterBlock& block, int env, const int* g, float sustain, int keyToHold, int keyToDecay) {
    setParam(block, EnvRow(env, kEnvInitialLevel), 0.0f);
    setParam(block, EnvRow(env, kEnvA1Time), TimeCentsToSeconds(g[0]));
    setParam(block, EnvRow(env, kEnvA1Level), 0.0f);
    setParam(block, EnvRow(env, kEnvA2Time), TimeCentsToSeconds(g[1]));
    setParam(block, EnvRow(env, kEnvA2Level), 1.0f);
    setParam(block, EnvRow(env, kEnvD1Time), TimeCentsToSeconds(g[2]));
    setParam(block, EnvRow(env, kEnvD1Level), 1.0f);
    setParam(block, EnvRow(env, kEnvD2Time), TimeCentsToSeconds(g[3]));
    setParam(block, EnvRow(env, kEnvSustain), sustain);
    setParam(block, EnvRow(env, kEnvR1Rate), TimeCentsToSeconds(g[5]));
    if (keyToHold) setParam(block, EnvRow(env, kEnvKeyToD1), KeyScale(keyToHold));
    if (keyToDecay) setParam(block, EnvRow(env, kEnvKeyToD2), KeyScale(keyToDecay));
}

// Fills a Region's articulation from the sum of the preset and instrument
// zones (generators G, modulator slots M) in the model's units.
void ZoneToArticulation(ParameterBlock& block, const Zone& inst, const Zone& preset) {
    int G[kGenCount];
    int M[kModSlots];
    for (int i = 0; i < kGenCount; ++i) G[i] = inst.gen[i] + preset.gen[i];
    for (int i = 0; i < kModSlots; ++i) M[i] = inst.mod[i] + preset.mod[i];

    // Vibrato LFO -> P-LFO; modulation LFO -> V-LFO, F-LFO and, for its
    // pitch depth, the X-LFO.
    setParam(block, LfoRow(kLfoPitch, kLfoFrequency), CentsToHz(G[kVibLfoFreq]));
    setParam(block, LfoRow(kLfoPitch, kLfoDelay), TimeCentsToSeconds(G[kVibLfoDelay]));
    setParam(block, 4, G[kVibLfoToPitch] * 0.01f);
    setParam(block, 5, M[53] * 0.01f);
    setParam(block, 7, M[54] * 0.01f);
    setParam(block, 6, M[55] * 0.01f);
    for (int lfo : {kLfoVolume, kLfoFilter, kLfoX}) {
        setParam(block, LfoRow(lfo, kLfoFrequency), CentsToHz(G[kModLfoFreq]));
        setParam(block, LfoRow(lfo, kLfoDelay), TimeCentsToSeconds(G[kModLfoDelay]));
    }
    setParam(block, 8, G[kModLfoToPitch] * 0.01f);
    setParam(block, 9, M[50] * 0.01f);
    setParam(block, 11, M[51] * 0.01f);
    setParam(block, 10, M[52] * 0.01f);
    setParam(block, 19, G[kModLfoToVolume] * 0.1f);
    setParam(block, 20, M[46] * 0.1f);
    setParam(block, 21, M[47] * 0.1f);
    setParam(block, 22, M[48] * 0.1f);
    setParam(block, 31, G[kModLfoToFilter] * 0.01f);
    setParam(block, 32, M[63] * 0.01f);
    setParam(block, 33, M[64] * 0.01f);
    setParam(block, 34, M[65] * 0.01f);

    // Volume envelope; sustain is an attenuation in 0.1 dB steps, taken as
    // a fraction of the 96 dB range.
    SetEnvelope(block, kEnvVolume, &G[kVolEnvDelay], std::max(0.0f, 1.0f - G[37] * 0.0010416667f),
                G[kVolEnvKeyToHold], G[kVolEnvKeyToDecay]);
    // The modulation envelope drives both pitch and filter; its sustain is
    // in 0.1 % steps.
    float modSustain = std::clamp(1.0f - G[29] * 0.001f, 0.0f, 1.0f);
    SetEnvelope(block, kEnvPitch, &G[kModEnvDelay], modSustain, G[kModEnvKeyToHold], G[kModEnvKeyToDecay]);
    SetEnvelope(block, kEnvFilter, &G[kModEnvDelay], modSustain, G[kModEnvKeyToHold], G[kModEnvKeyToDecay]);
    setParam(block, kParamPEnvToPitch, G[kModEnvToPitch] * 0.01f);
    setParam(block, kParamVelPEnvToPitch, M[56] * 0.01f);
    setParam(block, kParamFEnvToCutoff, G[kModEnvToFilter] * 0.01f);
    setParam(block, kParamVelFEnvToCutoff, M[66] * 0.01f);

    // Filter: low-pass unless it is wide open with no resonance.
    float cutoff = CentsToHz(G[kCutoff]);
    float velToCutoff = M[58] * -0.01f;
    if (velToCutoff != 0.0f) {
        // The model's velocity scaling is centred: raise the cutoff to the
        // middle of the velocity range and keep half the depth.
        cutoff *= float(std::exp(velToCutoff / 2 * 0.057762265));
        velToCutoff /= 2;
    }
    if (!(cutoff >= 19900.0f && G[kResonance] <= 0)) {
        setParam(block, kParamFilterType, 2.0f);
        setParam(block, kParamCutoff, cutoff);
        setParam(block, kParamResonance, G[kResonance] * 0.1f);
        setParam(block, 26, velToCutoff);
        setParam(block, 27, M[61] * 0.01f);
        setParam(block, 28, M[59] * 0.01f);
        setParam(block, 29, M[60] * 0.01f);
        setParam(block, 30, M[72] * 0.01f);
    }

    // Attenuation: 0.04 dB a unit, as real banks and players have it.
    float volume = G[kAttenuation] * -0.04f;
    setParam(block, kParamVelocityResponse, M[41] * 0.0010416667f);
    if (M[43]) {
        float k = M[43] * 0.0075f;
        setParam(block, kParamKeyToVolume, k);
        volume += k * -1.0f / 3.0f;
    } else if (M[42]) {
        float k = M[42] * 0.00375f;
        setParam(block, kParamKeyToVolume, k);
        volume += k * 5.0f;
    }
    setParam(block, kParamVolume, volume);
    setParam(block, 17, M[44] * 0.04f);
    setParam(block, 18, M[45] * 0.04f);

    setParam(block, kParamTuning, G[kCoarseTune] + G[kFineTune] * 0.01f);
    setParam(block, kParamKeyToPitch, G[kScaleTuning] * 0.01f);
    setParam(block, kParamBendToPitch, 2 + M[49] * 0.01f);

    setParam(block, kParamPan, G[kPan] * 0.002f);
    if (M[74]) setParam(block, 56, M[74] * 0.002f);
    if (M[73]) setParam(block, kParamKeyToPan, M[73] * 0.002f);
    setParam(block, kParamSendFirst, G[kReverbSend] * 0.001f);
    setParam(block, kParamSendFirst + 2, G[kChorusSend] * 0.001f);
    if (M[75]) setParam(block, kParamSendFirst + 1, M[75] * 0.001f);
    if (M[76]) setParam(block, kParamSendFirst + 3, M[76] * 0.001f);
}

// ---------------------------------------------------------------- samples

// The sample's text name of 20 bytes, cut at the first NUL.
int NameLength(const uint8_t* p, int field) {
    int n = 0;
    while (n < field && p[n]) ++n;
    return n;
}

bool IsTerminal(const uint8_t* name, const char* terminal) {
    return NameLength(name, 20) == int(std::strlen(terminal)) && std::memcmp(name, terminal, 3) == 0;
}

// Creates the Waveforms of shdr; waves[i] is null for a skipped record.
void ReadSamples(Collection& collection, const Bank& bank, std::vector<Waveform*>& waves) {
    size_t count = bank.shdr.count();
    waves.assign(count, nullptr);
    uint64_t smplFrames = bank.smplLength / 2;
    for (size_t i = 0; i + 1 < count; ++i) {
        const uint8_t* r = bank.shdr.at(i);
        if (IsTerminal(r, "EOS")) break;
        uint32_t start = Le32(r + 20), end = Le32(r + 24);
        uint32_t loopStart = Le32(r + 28), loopEnd = Le32(r + 32);
        uint32_t rate = Le32(r + 36);
        uint8_t key = r[40];
        int8_t correction = int8_t(r[41]);
        uint16_t type = Le16(r + 44);
        // ROM samples live in the sound card, not in this file; compressed
        // samples of a version 3 bank need the codecs.
        if (type & 0x8000) continue;
        if (bank.major == 3 && (type & 0x30)) continue;
        if (start == 0 && end == 0) continue;
        if (!bank.haveSmpl || start >= smplFrames || end <= start) continue;
        if (end > smplFrames) end = uint32_t(smplFrames); // repaired: cut at the end of smpl
        auto* wave =
            new Waveform(collection, kNewSerial, reinterpret_cast<const char*>(r), NameLength(r, 20));
        wave->frames = end - start;
        wave->sampleRate = rate ? rate : 44100;
        wave->rootKey = key <= 127 ? key : 60;
        wave->fineTune = correction;
        wave->sourceOffset = bank.smplOffset + 2 * uint64_t(start);
        bool wide = bank.haveSm24 && bank.sm24Length >= uint64_t(end);
        if (wide) {
            SetSampleFormat(*wave, kPcm24, 0);
            wave->decodeRoutine = &Sf2Decode24;
            wave->readerWide = bank.sm24Offset + start;
        } else {
            SetSampleFormat(*wave, kPcm16, 0);
        }
        // A loop outside the sample can't play: it is dropped.
        if (loopEnd > loopStart && loopStart >= start && loopEnd <= end) {
            LoopInfo loop{1, 0, float(loopStart - start), float(loopEnd - start), 0.0f};
            wave->addLoop(loop, nullptr, true, false);
        }
        waves[i] = wave;
    }
}

// ---------------------------------------------------------------- presets

// Intersects two ranges in generator form (low byte, high byte); false when
// they don't meet.
bool Intersect(int16_t a, int16_t b, uint16_t& out) {
    int lo = std::max(uint8_t(a), uint8_t(b)),
        hi = std::min(uint8_t(uint16_t(a) >> 8), uint8_t(uint16_t(b) >> 8));
    lo = std::min(lo, 127);
    hi = std::min(hi, 127);
    if (lo > hi) return false;
    out = uint16_t(lo | hi << 8);
    return true;
}

void MakeRegion(Instrument& instrument, const Zone& presetZone, const Zone& instZone, Waveform* wave) {
    uint16_t keys, vels;
    if (!Intersect(presetZone.gen[kKeyRange], instZone.gen[kKeyRange], keys)) return;
    if (!Intersect(presetZone.gen[kVelRange], instZone.gen[kVelRange], vels)) return;
    int root = instZone.gen[kRootKey];
    int rootOverride = root >= 0 && root <= 127 ? root : -1;
    Region* region = addRegion(instrument, SerialOf(wave->id), keys, vels, rootOverride);
    if (!region) return;
    ZoneToArticulation(region->articulation, instZone, presetZone);
    const int16_t* g = instZone.gen;
    if (g[kExclusiveClass] > 0) region->trigger.setTrigger(221, float(g[kExclusiveClass]));

    // Sample bounds and loop through the address offsets.
    int64_t startOffset = int64_t(g[kStartOffset]) + 32768 * int64_t(g[kStartCoarse]);
    int64_t endOffset = int64_t(g[kEndOffset]) + 32768 * int64_t(g[kEndCoarse]);
    if (startOffset || endOffset) {
        int64_t s = std::clamp<int64_t>(startOffset, 0, wave->frames);
        int64_t e = std::clamp<int64_t>(int64_t(wave->frames) + endOffset, s, wave->frames);
        if (e > s) setRegionSection(*region, uint32_t(s), uint32_t(e), wave);
    }
    int mode = g[kSampleModes] & 3;
    if (mode == 0 || mode == 2) {
        setRegionLoop(*region, LoopInfo{}, wave);
    } else if (const LoopRecord* main = wave->mainLoop()) {
        int64_t ls = int64_t(main->start) + g[kStartLoopOffset] + 32768 * int64_t(g[kStartLoopCoarse]);
        int64_t le = int64_t(main->end) + g[kEndLoopOffset] + 32768 * int64_t(g[kEndLoopCoarse]);
        if (ls != int64_t(main->start) || le != int64_t(main->end)) {
            if (ls >= 0 && le > ls && le <= int64_t(wave->frames))
                setRegionLoop(*region, LoopInfo{1, 0, float(ls), float(le), 0.0f}, wave);
        }
    }
}

// Presets may share instruments, so a small damaged hydra can multiply out
// to more regions than any real bank holds (the largest have some tens of
// thousands). The walk stops making regions at this count.
constexpr size_t kMaxRegions = 1000000;

void ReadPresets(Collection& collection, const Bank& bank, const std::vector<Waveform*>& waves) {
    size_t regions = 0;
    size_t instCount = bank.inst.count();
    size_t lastInst = instCount >= 2 ? instCount - 2 : 0; // the last before the terminal
    for (size_t p = 0; p + 1 < bank.phdr.count(); ++p) {
        const uint8_t* ph = bank.phdr.at(p);
        if (IsTerminal(ph, "EOP")) break;
        auto* instrument =
            new Instrument(collection, kNewSerial, reinterpret_cast<const char*>(ph), NameLength(ph, 20));
        uint16_t program = Le16(ph + 20), bankNumber = Le16(ph + 22);
        // Bank 128 is the drum kit; the number stays in the location as
        // major bank (low 7 bits) and minor bank (the rest).
        instrument->setLocation(program, bankNumber & 0x7F, (bankNumber >> 7) & 0x7F, bankNumber == 128);

        Zone presetGlobal;
        PresetDefaults(presetGlobal);
        size_t b0, b1;
        BagRange(bank.phdr, p, 24, bank.pbag, b0, b1);
        for (size_t b = b0; b < b1; ++b) {
            size_t g0, g1, m0, m1;
            ZoneRanges(bank.pbag, b, g0, g1, m0, m1);
            Zone pz = presetGlobal;
            ApplyGenerators(bank.pgen, g0, g1, true, pz);
            ApplyModulators(bank.pmod, m0, m1, pz);
            int instIndex = 0;
            if (!BagHas(bank.pgen, g0, g1, kInstrument, &instIndex)) {
                if (b == b0) presetGlobal = pz; // the global zone
                continue;
            }
            if (instCount < 2) continue;
            size_t ii = std::min<size_t>(size_t(uint16_t(instIndex)), lastInst);
            Zone instGlobal;
            InstrumentDefaults(instGlobal);
            size_t ib0, ib1;
            BagRange(bank.inst, ii, 20, bank.ibag, ib0, ib1);
            for (size_t ib = ib0; ib < ib1; ++ib) {
                size_t h0, h1, n0, n1;
                ZoneRanges(bank.ibag, ib, h0, h1, n0, n1);
                Zone iz = instGlobal;
                ApplyGenerators(bank.igen, h0, h1, false, iz);
                ApplyModulators(bank.imod, n0, n1, iz);
                int sampleId = 0;
                if (!BagHas(bank.igen, h0, h1, kSampleId, &sampleId)) {
                    if (ib == ib0) instGlobal = iz;
                    continue;
                }
                size_t s = uint16_t(sampleId);
                if (s >= waves.size() || !waves[s] || regions >= kMaxRegions) continue;
                MakeRegion(*instrument, pz, iz, waves[s]);
                ++regions;
            }
        }
        instrument->regionsChanged();
    }
}

using VersionTest = bool (*)(uint16_t);

int ReadBank(Collection& collection, FileObject& file, const char* versionMessage, VersionTest versionOk) {
    Bank bank;
    if (!WalkBank(file, bank, versionMessage, versionOk)) return 0;
    if (!bank.info.empty()) {
        MemChunkReader info(bank.info.data(), bank.info.size(), false, true, false);
        ReadInfoChunks(info, collection);
    }
    std::vector<Waveform*> waves;
    ReadSamples(collection, bank, waves);
    ReadPresets(collection, bank, waves);
    RegionConsensus(collection, true, true, false);
    return 1;
}

} // namespace

int ReadSf2(Collection& collection, FileObject& file, uint32_t) {
    return ReadBank(collection, file, "Not a Sound Font v2.x file",
                    [](uint16_t v) { return v == 2 || v == 3; });
}

int ReadSbk(Collection& collection, FileObject& file, uint32_t) {
    return ReadBank(collection, file, "Not a SoundFont v1.x file", [](uint16_t v) { return v == 1; });
}

int Sf2Decode24(Waveform& wave, FileObject& file, bool) {
    float* out = wave.allocateSamples();
    if (!out) return SetLastError("Out of memory"), 0;
    constexpr size_t kBlock = 16384;
    std::vector<uint8_t> words(kBlock * 2), low(kBlock);
    uint64_t wordsAt = wave.sourceOffset, lowAt = wave.readerWide;
    for (uint32_t done = 0; done < wave.frames;) {
        size_t n = std::min<size_t>(kBlock, wave.frames - done);
        if (file.ReadAt(wordsAt + 2 * uint64_t(done), words.data(), 2 * n) != 2 * n ||
            file.ReadAt(lowAt + done, low.data(), n) != n)
            return SetLastError("Reading from file failed"), 0;
        for (size_t i = 0; i < n; ++i) {
            int32_t v = int32_t(uint32_t(int16_t(Le16(&words[2 * i]))) << 8 | low[i]);
            // v is a 24-bit value with its sign from the word.
            out[done + i] = float(int32_t(uint32_t(v) << 8) >> 8) * (1.0f / 8388608.0f);
        }
        done += uint32_t(n);
    }
    return 1;
}

} // namespace vaxel
