#pragma once
// Articulation blocks. A ParameterBlock holds the effective value of all 208
// parameters at one level (Instrument, Layer or Region) and a presence mask
// of those the level set itself; a TriggerBlock holds the 15 trigger
// properties of a Layer or Region in the same way.
#include <cstddef>
#include <cstdint>

#include "model/feature_mask.h"
#include "model/param_table.h"

namespace vaxel {

struct ParameterBlock {
    float values[kParamCount];
    uint64_t mask[4]; // bit id % 64 of word id / 64: this level set the value

    bool isSet(int id) const { return (mask[id >> 6] >> (id & 63)) & 1; }
    void mark(int id) { mask[id >> 6] |= uint64_t(1) << (id & 63); }
    void unmark(int id) { mask[id >> 6] &= ~(uint64_t(1) << (id & 63)); }
    bool anySet() const { return mask[0] | mask[1] | mask[2] | mask[3]; }
    bool anySet(int from, int to) const; // to exclusive
    void clearMask() { mask[0] = mask[1] = mask[2] = mask[3] = 0; }
};

// Flat image of a block: the 208 values as f32, then the four mask words.
constexpr size_t kParameterBlockFlatSize = kParamCount * 4 + 4 * 8;

// Fills values from the defaults and clears the mask.
void initBlock(ParameterBlock& block);
// The one setter: rounds by the row's precision class, clamps to the row's
// limits, stores and marks. Returns the rounded value before clamping. A NaN
// stores the default. Ids outside 0..207 and reserved rows store nothing.
float setParam(ParameterBlock& block, int id, float value);
// Rounds and clamps as setParam does, without storing.
float limitParam(int id, float value);

// The value form of one envelope.
struct EnvelopeInfo {
    float times[7];          // A1, A2, D1, D2, R1 (a rate), R2, R3
    float levels[8];         // Initial, A1, A2, D1, Sustain, R1, R2, R3
    float velocityToTime[5]; // A1, A2, D1, D2, R1
    float keyToTime[5];      // multipliers per octave: A1, A2, D1, D2, R1
    float cc73ToA1, cc73ToA2, cc72ToR1, cc69ToR1;
    float keyReleaseMode;
    float shutdownRate;
    // The envelope's own depths: 12 and 13 for the P-ENV, 35 and 36 for the
    // F-ENV, 59 (and none) for the X-ENV; the V-ENV has none.
    float modDepth[2];
};

// Sets every row of envelope n (kEnvVolume..kEnvX) and its depth rows from
// info through setParam; rows reserved for that envelope are skipped.
void setEnvelope(ParameterBlock& block, int n, const EnvelopeInfo& info);
EnvelopeInfo getEnvelope(const ParameterBlock& block, int n);

// Properties 208..222.
struct TriggerBlock {
    uint8_t keyLow = 0;
    uint8_t keyHigh = 127;
    uint8_t velocityLow = 0;
    uint8_t velocityHigh = 127;
    uint8_t keyFadeIn = 0;
    uint8_t keyFadeOut = 0;
    uint8_t velocityFadeIn = 0;
    uint8_t velocityFadeOut = 0;
    uint8_t keyFadeFormula = 0; // 0 "Equal-Power", 1 "Linear Gain"
    uint8_t velocityFadeFormula = 0;
    uint8_t triggerType = 0; // 0..17
    uint8_t pedalMode = 0;   // 0..2
    uint16_t exclusionGroup = 0;
    uint8_t noteExclusion = 0;
    float delay = 0.0f;   // seconds, 0..100
    uint64_t setMask = 0; // bit (property - 208)

    bool isSet(int number) const { return (setMask >> (number - 208)) & 1; }
    // The rectangle overlaps another's when both key and velocity ranges
    // intersect, ends included.
    bool overlaps(const TriggerBlock& o) const {
        return keyLow <= o.keyHigh && o.keyLow <= keyHigh && velocityLow <= o.velocityHigh &&
               o.velocityLow <= velocityHigh;
    }
    bool sameFields(const TriggerBlock& o, int number) const {
        return getTrigger(number) == o.getTrigger(number);
    }
    float getTrigger(int number) const;
    // Stores through the field's limits without touching setMask.
    void storeTrigger(int number, float value);
    // Stores and marks.
    void setTrigger(int number, float value) {
        storeTrigger(number, value);
        setMask |= uint64_t(1) << (number - 208);
    }
};

constexpr size_t kTriggerBlockFlatSize = 12 + 2 + 1 + 4 + 8;

// Descriptors of 208..222.
const PropertyDescriptor& DescribeTrigger(int number);

// Applies the feature mask to one block (see the table in feature_mask.cpp):
// folds inverted LFO shapes into their depths, resets what clear bits take
// out, folds LFO ramps into delays, and makes LFOs and envelopes follow each
// other where the mask has fewer of them.
void cleanBlock(ParameterBlock& block, FeatureMask features);
// The same for a trigger block (and nothing else; the play section of a
// Region is its own).
void cleanTrigger(TriggerBlock& trigger, FeatureMask features);

// Flat images, little-endian. The readers return null when the image is cut
// short.
uint8_t* WriteBlockFlat(uint8_t* p, const ParameterBlock& block);
const uint8_t* ReadBlockFlat(const uint8_t* p, const uint8_t* end, ParameterBlock& block);
uint8_t* WriteTriggerFlat(uint8_t* p, const TriggerBlock& trigger);
const uint8_t* ReadTriggerFlat(const uint8_t* p, const uint8_t* end, TriggerBlock& trigger);

} // namespace vaxel
