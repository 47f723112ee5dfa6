#pragma once
// The feature mask: which parts of the synthesizer architecture the user
// keeps. A clear bit takes the feature out of the model at the next update
// and out of the panels. One mask for the process, all bits on until the
// settings or the user change it.
#include <cstdint>

namespace vaxel {

using FeatureMask = uint64_t;

enum FeatureBit : int {
    kFeatureCrossFade = 0,          // "Trigger: X-fade between regions"
    kFeatureInstrumentLevel = 1,    // "Architecture: Articulation on Instrument level"
    kFeatureLayerLevel = 2,         // "Architecture: Articulation on Layer level"
    kFeatureRegionLevel = 3,        // "Architecture: Articulation on Region level"
    kFeatureCompressedFormats = 5,  // "Waves: Compressed data formats"
    kFeatureFractionalLoops = 7,    // "Waves: Fractional loop-points"
    kFeatureReverseLoops = 8,       // "Waves: Reverse and bi-directional loops"
    kFeatureSampledRelease = 9,     // "Waves: Sampled release (key-up breaks loop)"
    kFeaturePlaySection = 10,       // "Trigger: Waveform play section section (start/end offsets)"
    kFeatureLoopPitch = 11,         // "Waves: Tuning of loop pitch"
    kFeatureTriggerDelay = 12,      // "Trigger: Delay time"
    kFeatureTriggerType = 13,       // "Trigger: Trigger type"
    kFeatureTwoLfos = 14,           // "LFOs: Pitch/Modulation LFOs (2+ LFOs)"
    kFeatureSeparateLfos = 15,      // "LFOs: Separate P/V/F/X LFOs (3+ LFOs)"
    kFeatureLfoShapes = 16,         // "LFOs: Shapes"
    kFeatureLfoRamp = 17,           // "LFOs: Ramp time"
    kFeatureLfoSources = 18,        // "LFOs: MW/AT/Velocity to LFO"
    kFeatureTwoEnvelopes = 19,      // "Envs: Modulation/Volume envelopes (2+ envs)"
    kFeatureSeparateEnvelopes = 20, // "Envs: Separate P/V/F/X envelopes (3+ envs)"
    kFeatureSixStages = 21,         // "Envs: Six-stages (DAHDSR)"
    kFeatureMoreLevels = 22,        // "Envs: More levels + bi-directional (AADDSR)"
    kFeatureThreeReleases = 23,     // "Envs: Three Release segments"
    kFeatureKeyToEnvTimes = 24,     // "Envs: Key to Attack/Release"
    kFeatureVelToA1 = 25,           // "Envs: Velocity to Attack 1 Time (Delay)"
    kFeatureVelToA2 = 26,           // "Envs: Velocity to Attack 2 Time (Attack)"
    kFeatureVelToDecay = 27,        // "Envs: Velocity to Decay 1/2 Time (Hold/Decay)"
    kFeatureVelToRelease = 28,      // "Envs: Velocity to Release Rate"
    kFeatureVelToModEnv = 29,       // "Envs: Velocity to M-EG to Pitch/Cutoff"
    kFeatureLowPass = 30,           // "Filter: Low Pass Filter"
    kFeatureFilterTypes = 31,       // "Filter: Additional filter types"
    kFeatureWheelToCutoff = 32,     // "Filter: Mod wheel/Aftertouch to Cutoff"
    kFeatureKeyVelToCutoff = 33,    // "Filter: Key/Velocity to Cutoff"
    kFeatureResonanceSources = 34,  // "Filter: Velocity/MWheel/Aftertouch to Resonance"
    kFeatureSends = 35,             // "Effects: Effect send levels"
    kFeatureEq = 36,                // "Effects: EQ"
    kFeatureChannelDepths = 37,     // "Mixer: Channel command depths"
    kFeatureKeyToVolumePan = 38,    // "Mixer: Key to Volume/Pan"
    kFeatureRandomPan = 39,         // "Random: Random to Pan"
    kFeaturePitchBend = 40,         // "Pitch: Pitch bend to Pitch"
    kFeatureKeyToPitch = 41,        // "Pitch: Key to Pitch"
    kFeatureRandomPitchVolume = 42, // "Random: Random to Pitch/Volume"
    kFeatureWheelToVolume = 43,     // "Volume: Mod wheel/Aftertouch to Volume"
    kFeatureCcToEnvTimes = 44,      // "Envs: CC73/72 to Attack/Release"
    kFeatureCcToFilter = 45,        // "Filter: CC74/71 to Cutoff/Resonance"
};
constexpr int kFeatureBitLimit = 46;

constexpr FeatureMask kAllFeatures = ~FeatureMask(0);

FeatureMask CurrentFeatureMask();
void SetFeatureMask(FeatureMask mask);
inline bool HasFeature(int bit) {
    return (CurrentFeatureMask() >> bit) & 1;
}
inline bool HasFeature(FeatureMask mask, int bit) {
    return (mask >> bit) & 1;
}

// The text of a bit as the check list shows it; null for the unused bits
// (4, 6 and 46 on).
const char16_t* FeatureBitText(int bit);

// The presets of the check list, in list order.
struct FeaturePreset {
    const char16_t* text;
    FeatureMask mask;
};
int FeaturePresetCount(); // 24
const FeaturePreset& FeaturePresetAt(int index);
// The preset whose mask equals mask, or -1.
int FindFeaturePreset(FeatureMask mask);

// What a clear bit takes out of an articulation block: the parameter ids it
// resets to their defaults and the trigger properties (208..222, and 245 for
// the play section) it resets. Bits that act in another way (the levels, the
// LFO and envelope counts, the LFO shapes and ramps, the filter types) are
// handled by CleanBlock itself and list nothing here beyond what is reset.
struct FeatureClears {
    const uint8_t* params;
    int paramCount;
    const uint16_t* properties;
    int propertyCount;
};
FeatureClears FeatureBitClears(int bit);

} // namespace vaxel
