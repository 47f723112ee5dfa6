// Articulation blocks: the one setter with its rounding and clamping,
// envelopes in their value form, trigger fields, the feature-mask cleaning of
// a block and the flat images.
#include "model/parameter_block.h"

#include <cmath>
#include <cstring>

#include "model/item.h"

namespace vaxel {

bool ParameterBlock::anySet(int from, int to) const {
    for (int id = from < 0 ? 0 : from; id < to && id < kParamCount; ++id)
        if (isSet(id)) return true;
    return false;
}

void initBlock(ParameterBlock& block) {
    std::memcpy(block.values, ParamDefaults(), sizeof block.values);
    block.clearMask();
}

float limitParam(int id, float value) {
    const PropertyDescriptor& row = ParamRow(id);
    if (std::isnan(value)) return row.defaultValue;
    float v = RoundToClass(value, row.precision);
    if (v < row.minimum) v = row.minimum;
    if (v > row.maximum) v = row.maximum;
    return v;
}

float setParam(ParameterBlock& block, int id, float value) {
    if (id < 0 || id >= kParamCount || IsReservedParam(id)) return value;
    const PropertyDescriptor& row = ParamRow(id);
    const float rounded = std::isnan(value) ? row.defaultValue : RoundToClass(value, row.precision);
    block.values[id] = limitParam(id, rounded);
    block.mark(id);
    return rounded;
}

// ---------------------------------------------------------------- envelopes

namespace {

constexpr int kTimeRows[7] = {kEnvA1Time, kEnvA2Time, kEnvD1Time, kEnvD2Time,
                              kEnvR1Rate, kEnvR2Time, kEnvR3Time};
constexpr int kLevelRows[8] = {kEnvInitialLevel, kEnvA1Level, kEnvA2Level, kEnvD1Level,
                               kEnvSustain,      kEnvR1Level, kEnvR2Level, kEnvR3Level};
constexpr int kVelocityRows[5] = {kEnvVelToA1, kEnvVelToA2, kEnvVelToD1, kEnvVelToD2, kEnvVelToR1};
constexpr int kKeyRows[5] = {kEnvKeyToA1, kEnvKeyToA2, kEnvKeyToD1, kEnvKeyToD2, kEnvKeyToR1};

// The depth rows of an envelope, -1 where it has none.
void DepthRows(int n, int rows[2]) {
    rows[0] = rows[1] = -1;
    if (n == kEnvPitch) rows[0] = kParamPEnvToPitch, rows[1] = kParamVelPEnvToPitch;
    if (n == kEnvFilter) rows[0] = kParamFEnvToCutoff, rows[1] = kParamVelFEnvToCutoff;
    if (n == kEnvX) rows[0] = kParamXEnvToPan;
}

void SetRow(ParameterBlock& block, int n, int k, float value) {
    const int id = EnvRow(n, k);
    if (!IsReservedParam(id)) setParam(block, id, value);
}

float GetRow(const ParameterBlock& block, int n, int k) {
    const int id = EnvRow(n, k);
    return IsReservedParam(id) ? 0.0f : block.values[id];
}

} // namespace

void setEnvelope(ParameterBlock& block, int n, const EnvelopeInfo& info) {
    if (n < 0 || n > 3) return;
    for (int i = 0; i < 7; ++i) SetRow(block, n, kTimeRows[i], info.times[i]);
    for (int i = 0; i < 8; ++i) SetRow(block, n, kLevelRows[i], info.levels[i]);
    for (int i = 0; i < 5; ++i) SetRow(block, n, kVelocityRows[i], info.velocityToTime[i]);
    for (int i = 0; i < 5; ++i) SetRow(block, n, kKeyRows[i], info.keyToTime[i]);
    SetRow(block, n, kEnvCc73ToA1, info.cc73ToA1);
    SetRow(block, n, kEnvCc73ToA2, info.cc73ToA2);
    SetRow(block, n, kEnvCc72ToR1, info.cc72ToR1);
    SetRow(block, n, kEnvCc69ToR1, info.cc69ToR1);
    SetRow(block, n, kEnvKeyReleaseMode, info.keyReleaseMode);
    SetRow(block, n, kEnvShutdownRate, info.shutdownRate);
    int depth[2];
    DepthRows(n, depth);
    for (int i = 0; i < 2; ++i)
        if (depth[i] >= 0) setParam(block, depth[i], info.modDepth[i]);
}

EnvelopeInfo getEnvelope(const ParameterBlock& block, int n) {
    EnvelopeInfo info{};
    if (n < 0 || n > 3) return info;
    for (int i = 0; i < 7; ++i) info.times[i] = GetRow(block, n, kTimeRows[i]);
    for (int i = 0; i < 8; ++i) info.levels[i] = GetRow(block, n, kLevelRows[i]);
    for (int i = 0; i < 5; ++i) info.velocityToTime[i] = GetRow(block, n, kVelocityRows[i]);
    for (int i = 0; i < 5; ++i) info.keyToTime[i] = GetRow(block, n, kKeyRows[i]);
    info.cc73ToA1 = GetRow(block, n, kEnvCc73ToA1);
    info.cc73ToA2 = GetRow(block, n, kEnvCc73ToA2);
    info.cc72ToR1 = GetRow(block, n, kEnvCc72ToR1);
    info.cc69ToR1 = GetRow(block, n, kEnvCc69ToR1);
    info.keyReleaseMode = GetRow(block, n, kEnvKeyReleaseMode);
    info.shutdownRate = GetRow(block, n, kEnvShutdownRate);
    int depth[2];
    DepthRows(n, depth);
    for (int i = 0; i < 2; ++i)
        if (depth[i] >= 0) info.modDepth[i] = block.values[depth[i]];
    return info;
}

// ---------------------------------------------------------------- triggers

namespace {

const PropertyDescriptor kTriggerRows[kTriggerCount] = {
    {208, 0, kUnitIndex, 0, 0, 0, 0, 17, u"Trigger type", u"The playback trigger"},
    {209, 0, kUnitNone, 0, 0, 0, 0, 127, u"Key range low", u"Lowest key"},
    {210, 0, kUnitNone, 0, 0, 127, 0, 127, u"Key range high", u"Highest key"},
    {211, 0, kUnitNone, 0, 0, 0, 0, 127, u"Velocity range low", u""},
    {212, 0, kUnitNone, 0, 0, 127, 0, 127, u"Velocity range high", u""},
    {213, 0, kUnitNone, 0, 0, 0, 0, 126, u"Key cross-fade in", u"Range centred on the low key"},
    {214, 0, kUnitNone, 0, 0, 0, 0, 126, u"Key cross-fade out", u"Range centred on the high key"},
    {215, 0, kUnitIndex, 0, 0, 0, 0, 1, u"Key cross-fade formula", u"Equal-Power | Linear Gain"},
    {216, 0, kUnitNone, 0, 0, 0, 0, 126, u"Velocity cross-fade in", u"Range centred on the low velocity"},
    {217, 0, kUnitNone, 0, 0, 0, 0, 126, u"Velocity cross-fade out", u"Range centred on the high velocity"},
    {218, 0, kUnitIndex, 0, 0, 0, 0, 1, u"Velocity cross-fade formula", u"Equal-Power | Linear Gain"},
    {219, 0, kUnitIndex, 0, 0, 0, 0, 2, u"Sustain pedal condition",
     u"Play regardless | Only with the sustain pedal up | Only with the sustain pedal down"},
    {220, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"Delay time", u"Seconds between trigger and start of playback"},
    {221, 0, kUnitNone, 0, 0, 0, 0, 65535, u"Key exclusion group", u"0 = none"},
    {222, 0, kUnitIndex, 0, 0, 0, 0, 1, u"Note exclusion", u"Self exclusive | Self non-exclusive"},
};

long RoundAwayFromZero(double v) {
    return long(v < 0 ? std::ceil(v - 0.5) : std::floor(v + 0.5));
}

} // namespace

const PropertyDescriptor& DescribeTrigger(int number) {
    if (number < 208 || number > 222) return EmptyDescriptor();
    return kTriggerRows[number - 208];
}

float TriggerBlock::getTrigger(int number) const {
    switch (number) {
    case 208:
        return triggerType;
    case 209:
        return keyLow;
    case 210:
        return keyHigh;
    case 211:
        return velocityLow;
    case 212:
        return velocityHigh;
    case 213:
        return keyFadeIn;
    case 214:
        return keyFadeOut;
    case 215:
        return keyFadeFormula;
    case 216:
        return velocityFadeIn;
    case 217:
        return velocityFadeOut;
    case 218:
        return velocityFadeFormula;
    case 219:
        return pedalMode;
    case 220:
        return delay;
    case 221:
        return exclusionGroup;
    case 222:
        return noteExclusion;
    default:
        return 0.0f;
    }
}

void TriggerBlock::storeTrigger(int number, float value) {
    const PropertyDescriptor& row = DescribeTrigger(number);
    if (row.number == 0xFFFF) return;
    double v = std::isnan(value) ? row.defaultValue : value;
    if (number == 220) {
        float d = RoundToClass(float(v), row.precision);
        delay = d < 0 ? 0.0f : d > 100 ? 100.0f : d;
        return;
    }
    v = v < row.minimum ? row.minimum : v > row.maximum ? row.maximum : v;
    const long n = RoundAwayFromZero(v);
    switch (number) {
    case 208:
        triggerType = uint8_t(n);
        break;
    case 209:
        keyLow = uint8_t(n);
        break;
    case 210:
        keyHigh = uint8_t(n);
        break;
    case 211:
        velocityLow = uint8_t(n);
        break;
    case 212:
        velocityHigh = uint8_t(n);
        break;
    case 213:
        keyFadeIn = uint8_t(n);
        break;
    case 214:
        keyFadeOut = uint8_t(n);
        break;
    case 215:
        keyFadeFormula = uint8_t(n);
        break;
    case 216:
        velocityFadeIn = uint8_t(n);
        break;
    case 217:
        velocityFadeOut = uint8_t(n);
        break;
    case 218:
        velocityFadeFormula = uint8_t(n);
        break;
    case 219:
        pedalMode = uint8_t(n);
        break;
    case 221:
        exclusionGroup = uint16_t(n);
        break;
    case 222:
        noteExclusion = uint8_t(n);
        break;
    default:
        break;
    }
}

// ---------------------------------------------------------------- cleaning

namespace {

// The depth rows each LFO drives.
const int kLfoDriven[4][5] = {
    {4, 5, 6, 7, -1},     // P-LFO: pitch and its wheel, aftertouch and velocity sources
    {19, 20, 21, 22, -1}, // V-LFO
    {31, 32, 33, 34, -1}, // F-LFO
    {8, 9, 10, 11, 58},   // X-LFO: pitch and pan
};

void ResetParam(ParameterBlock& block, int id) {
    block.values[id] = ParamDefaults()[id];
    block.unmark(id);
}

void CopyParam(ParameterBlock& block, int to, int from) {
    block.values[to] = block.values[from];
    if (block.isSet(from))
        block.mark(to);
    else
        block.unmark(to);
}

// The timing rows of LFO to follow those of LFO from (shape, frequency,
// delay, ramp): one LFO serves both.
void FollowLfo(ParameterBlock& block, int to, int from) {
    for (int k = 0; k < 4; ++k) CopyParam(block, LfoRow(to, k), LfoRow(from, k));
}

} // namespace

void cleanBlock(ParameterBlock& block, FeatureMask features) {
    // An inverted LFO shape (bit 0x80 of the shape index) becomes its plain
    // form, marked by 0x40, with every depth it drives negated.
    for (int lfo = 0; lfo < 4; ++lfo) {
        const int row = LfoRow(lfo, kLfoShape);
        const float value = block.values[row];
        if (!(value >= 0 && value <= 255)) continue;
        const int shape = int(value);
        if (!(shape & 0x80)) continue;
        for (int id : kLfoDriven[lfo])
            if (id >= 0) block.values[id] = limitParam(id, -block.values[id]);
        block.values[row] = float((shape & ~0x80) | 0x40);
    }

    if (!HasFeature(features, kFeatureLfoRamp)) {
        for (int lfo = 0; lfo < 4; ++lfo) {
            const int ramp = LfoRow(lfo, kLfoRamp), delay = LfoRow(lfo, kLfoDelay);
            if (block.values[ramp] != 0.0f) {
                const bool marked = block.isSet(ramp) || block.isSet(delay);
                block.values[delay] = limitParam(delay, block.values[delay] + block.values[ramp] * 0.5f);
                if (marked) block.mark(delay);
            }
            ResetParam(block, ramp);
        }
    }

    if (!HasFeature(features, kFeatureTwoLfos)) {
        FollowLfo(block, kLfoVolume, kLfoPitch);
        FollowLfo(block, kLfoFilter, kLfoPitch);
    } else if (!HasFeature(features, kFeatureSeparateLfos)) {
        FollowLfo(block, kLfoFilter, kLfoVolume);
    }
    if (HasFeature(features, kFeatureTwoEnvelopes) && !HasFeature(features, kFeatureSeparateEnvelopes)) {
        // One modulation envelope drives pitch and cutoff.
        for (int k = 0; k < kEnvRowCount; ++k) {
            const int to = EnvRow(kEnvFilter, k), from = EnvRow(kEnvPitch, k);
            if (!IsReservedParam(to) && !IsReservedParam(from)) CopyParam(block, to, from);
        }
    }
    if (!HasFeature(features, kFeatureFilterTypes)) {
        const float type = block.values[kParamFilterType];
        if (type != 0.0f && type != 2.0f) block.values[kParamFilterType] = 2.0f;
    }

    for (int bit = 0; bit < kFeatureBitLimit; ++bit) {
        if (HasFeature(features, bit)) continue;
        const FeatureClears clears = FeatureBitClears(bit);
        for (int i = 0; i < clears.paramCount; ++i) ResetParam(block, clears.params[i]);
    }
}

void cleanTrigger(TriggerBlock& trigger, FeatureMask features) {
    static const TriggerBlock kDefaults;
    for (int bit = 0; bit < kFeatureBitLimit; ++bit) {
        if (HasFeature(features, bit)) continue;
        const FeatureClears clears = FeatureBitClears(bit);
        for (int i = 0; i < clears.propertyCount; ++i) {
            const int number = clears.properties[i];
            if (number < 208 || number > 222) continue;
            trigger.storeTrigger(number, kDefaults.getTrigger(number));
            trigger.setMask &= ~(uint64_t(1) << (number - 208));
        }
    }
}

// ---------------------------------------------------------------- flat

uint8_t* WriteBlockFlat(uint8_t* p, const ParameterBlock& block) {
    for (float v : block.values) {
        uint32_t bits;
        std::memcpy(&bits, &v, 4);
        p = flat::PutU32(p, bits);
    }
    for (uint64_t word : block.mask) p = flat::PutU64(p, word);
    return p;
}

const uint8_t* ReadBlockFlat(const uint8_t* p, const uint8_t* end, ParameterBlock& block) {
    if (size_t(end - p) < kParameterBlockFlatSize) return nullptr;
    for (int id = 0; id < kParamCount; ++id) {
        uint32_t bits = 0;
        flat::GetU32(p, end, bits);
        float v;
        std::memcpy(&v, &bits, 4);
        // A damaged image may hold anything; what is stored keeps the limits.
        block.values[id] = IsReservedParam(id) ? ParamDefaults()[id] : limitParam(id, v);
    }
    for (uint64_t& word : block.mask) flat::GetU64(p, end, word);
    block.mask[3] &= (uint64_t(1) << (kParamCount - 192)) - 1;
    return p;
}

uint8_t* WriteTriggerFlat(uint8_t* p, const TriggerBlock& t) {
    const uint8_t bytes[12] = {
        t.keyLow,      t.keyHigh,        t.velocityLow,     t.velocityHigh,   t.keyFadeIn,
        t.keyFadeOut,  t.velocityFadeIn, t.velocityFadeOut, t.keyFadeFormula, t.velocityFadeFormula,
        t.triggerType, t.pedalMode};
    p = flat::PutBytes(p, bytes, 12);
    p = flat::PutU16(p, t.exclusionGroup);
    *p++ = t.noteExclusion;
    uint32_t bits;
    std::memcpy(&bits, &t.delay, 4);
    p = flat::PutU32(p, bits);
    return flat::PutU64(p, t.setMask);
}

const uint8_t* ReadTriggerFlat(const uint8_t* p, const uint8_t* end, TriggerBlock& t) {
    if (size_t(end - p) < kTriggerBlockFlatSize) return nullptr;
    static const int kOrder[12] = {209, 210, 211, 212, 213, 214, 216, 217, 215, 218, 208, 219};
    for (int number : kOrder) t.storeTrigger(number, *p++);
    uint16_t group = 0;
    flat::GetU16(p, end, group);
    t.exclusionGroup = group;
    t.storeTrigger(222, *p++);
    uint32_t bits = 0;
    flat::GetU32(p, end, bits);
    float d;
    std::memcpy(&d, &bits, 4);
    t.storeTrigger(220, d);
    flat::GetU64(p, end, t.setMask);
    t.setMask &= (uint64_t(1) << kTriggerCount) - 1;
    return p;
}

} // namespace vaxel
