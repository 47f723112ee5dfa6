#pragma once
// The articulation parameter table: 208 numbered parameters that exist at the
// Instrument, Layer and Region levels, with their labels, defaults, limits,
// display units and precision classes, and the rounding every store applies.
#include <cstdint>

#include "model/property.h"

namespace vaxel {

constexpr int kParamCount = 208;
constexpr int kTriggerCount = 15; // properties 208..222

// Display units of the parameter rows (PropertyDescriptor::unit). The model
// stores seconds, dB, semitones, hertz and percent; a fraction is stored as
// 0..1 and shown as a percentage.
enum ParamUnit : uint8_t {
    kUnitNone = 0,
    kUnitSemitones = 1,
    kUnitDecibels = 2,
    kUnitHertz = 3,
    kUnitSeconds = 4,
    kUnitPercent = 5,
    kUnitFraction = 6,
    kUnitMultiplier = 7, // a factor per octave
    kUnitRate = 8,       // seconds per unit of level change
    kUnitIndex = 9,      // a choice from a list (filter type, LFO shape, mode)
};

// Descriptor flags.
enum ParamFlags : uint8_t {
    kParamReserved = 1, // a hole in the numbering: always default, never set
};

// Named parameter ids that code refers to. The four envelopes share one row
// layout (EnvRow); the four LFOs one of four rows (LfoRow).
enum ParamId : int {
    kParamTuning = 0,
    kParamRandomPitch = 1,
    kParamKeyToPitch = 2,
    kParamBendToPitch = 3,
    kParamPEnvToPitch = 12,
    kParamVelPEnvToPitch = 13,
    kParamVolume = 14,
    kParamRandomVolume = 15,
    kParamKeyToVolume = 16,
    kParamVelocityResponse = 23,
    kParamFilterType = 24,
    kParamCutoff = 25,
    kParamFEnvToCutoff = 35,
    kParamVelFEnvToCutoff = 36,
    kParamResonance = 37,
    kParamEqFirst = 42, // three bands of mode, frequency, gain, Q
    kParamPan = 54,
    kParamRandomPan = 55,
    kParamKeyToPan = 57,
    kParamXEnvToPan = 59,
    kParamSendFirst = 60, // four sends, each level then its controller depth
    kParamLfoFirst = 68,  // P, V, F, X: shape, frequency, delay, ramp
    kParamEnvFirst = 84,  // V, P, F, X envelopes of 31 rows each
};

enum LfoIndex : int { kLfoPitch = 0, kLfoVolume = 1, kLfoFilter = 2, kLfoX = 3 };
enum LfoRowK : int { kLfoShape = 0, kLfoFrequency = 1, kLfoDelay = 2, kLfoRamp = 3 };
constexpr int LfoRow(int lfo, int k) {
    return kParamLfoFirst + 4 * lfo + k;
}

enum EnvIndex : int { kEnvVolume = 0, kEnvPitch = 1, kEnvFilter = 2, kEnvX = 3 };
// Rows of one envelope, as in the V-ENV layout.
enum EnvRowK : int {
    kEnvInitialLevel = 0,
    kEnvA1Time = 1,
    kEnvVelToA1 = 2,
    kEnvKeyToA1 = 3,
    kEnvCc73ToA1 = 4,
    kEnvA1Level = 5,
    kEnvA2Time = 6,
    kEnvVelToA2 = 7,
    kEnvKeyToA2 = 8,
    kEnvCc73ToA2 = 9,
    kEnvA2Level = 10,
    kEnvD1Time = 11,
    kEnvVelToD1 = 12,
    kEnvKeyToD1 = 13,
    kEnvD1Level = 14,
    kEnvD2Time = 15,
    kEnvVelToD2 = 16,
    kEnvKeyToD2 = 17,
    kEnvSustain = 18,
    kEnvR1Rate = 19,
    kEnvVelToR1 = 20,
    kEnvKeyToR1 = 21,
    kEnvCc72ToR1 = 22,
    kEnvCc69ToR1 = 23,
    kEnvR1Level = 24,
    kEnvR2Time = 25,
    kEnvR2Level = 26,
    kEnvR3Time = 27,
    kEnvR3Level = 28,
    kEnvKeyReleaseMode = 29,
    kEnvShutdownRate = 30,
    kEnvRowCount = 31,
};
constexpr int EnvRow(int env, int k) {
    return kParamEnvFirst + kEnvRowCount * env + k;
}

// The row of an articulation id (0..207); the empty descriptor otherwise.
const PropertyDescriptor& ParamRow(int id);
// The process-wide default array, filled from the table.
const float* ParamDefaults();
bool IsReservedParam(int id);

// Rounds a value to the grain of a precision class, half away from zero:
// classes 1 and 6 to 0.001, 2 to 0.01, 3 to 0.1, 5 to 0.001 below 10 and to
// 0.01 from 10 on, 8 to 0.0001; every other class keeps the value.
float RoundToClass(float value, int precisionClass);

} // namespace vaxel
