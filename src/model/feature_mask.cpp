// The process-wide feature mask, its texts and presets, and the table of
// what each clear bit takes out of the articulation. Atomic, since the
// background loader and batch threads read it while the user interface thread
// may change it.
#include "model/feature_mask.h"

#include <atomic>
#include <vector>

#include "model/param_table.h"

namespace vaxel {

namespace {
std::atomic<FeatureMask> gFeatureMask{kAllFeatures};

const char16_t* const kBitTexts[kFeatureBitLimit] = {
    u"Trigger: X-fade between regions",
    u"Architecture: Articulation on Instrument level",
    u"Architecture: Articulation on Layer level",
    u"Architecture: Articulation on Region level",
    nullptr,
    u"Waves: Compressed data formats",
    nullptr,
    u"Waves: Fractional loop-points",
    u"Waves: Reverse and bi-directional loops",
    u"Waves: Sampled release (key-up breaks loop)",
    u"Trigger: Waveform play section section (start/end offsets)",
    u"Waves: Tuning of loop pitch",
    u"Trigger: Delay time",
    u"Trigger: Trigger type",
    u"LFOs: Pitch/Modulation LFOs (2+ LFOs)",
    u"LFOs: Separate P/V/F/X LFOs (3+ LFOs)",
    u"LFOs: Shapes",
    u"LFOs: Ramp time",
    u"LFOs: MW/AT/Velocity to LFO",
    u"Envs: Modulation/Volume envelopes (2+ envs)",
    u"Envs: Separate P/V/F/X envelopes (3+ envs)",
    u"Envs: Six-stages (DAHDSR)",
    u"Envs: More levels + bi-directional (AADDSR)",
    u"Envs: Three Release segments",
    u"Envs: Key to Attack/Release",
    u"Envs: Velocity to Attack 1 Time (Delay)",
    u"Envs: Velocity to Attack 2 Time (Attack)",
    u"Envs: Velocity to Decay 1/2 Time (Hold/Decay)",
    u"Envs: Velocity to Release Rate",
    u"Envs: Velocity to M-EG to Pitch/Cutoff",
    u"Filter: Low Pass Filter",
    u"Filter: Additional filter types",
    u"Filter: Mod wheel/Aftertouch to Cutoff",
    u"Filter: Key/Velocity to Cutoff",
    u"Filter: Velocity/MWheel/Aftertouch to Resonance",
    u"Effects: Effect send levels",
    u"Effects: EQ",
    u"Mixer: Channel command depths",
    u"Mixer: Key to Volume/Pan",
    u"Random: Random to Pan",
    u"Pitch: Pitch bend to Pitch",
    u"Pitch: Key to Pitch",
    u"Random: Random to Pitch/Volume",
    u"Volume: Mod wheel/Aftertouch to Volume",
    u"Envs: CC73/72 to Attack/Release",
    u"Filter: CC74/71 to Cutoff/Resonance",
};

const FeaturePreset kPresets[] = {
    {u"All parameters supported by Vaxel Studio", kAllFeatures},
    {u"Akai S1000-series (.P)", 0xB42740C4E88},
    {u"Akai S3000-series (.P)", 0xB43740D4E88},
    {u"Akai new MPC-line (.XPM)", 0x783C41D2108},
    {u"DLS level 1 melodic (.DLS)", 0x40C0002},
    {u"DLS level 2 (.DLS)", 0x22A442C420A},
    {u"DLS level 2+ (.DLS)", 0x22A442C422A},
    {u"DLS level 2++ (.DLS)", 0xA6F5F2C422A},
    {u"GigaStudio (.GIG)", 0x300400C6608},
    {u"Gravis UltraSound GF1 (.PAT)", 0x20000C04388},
    {u"Kontakt (.NKI)", 0x3F5FFD2D6F2D},
    {u"Korg Trinity (.PCG)", 0xB4EFF6F3404},
    {u"Korg Triton (.PCG)", 0xB4FFF6F7C04},
    {u"Korg Kronos/M3 (.PCG)", 0xB5FFF6F7C05},
    {u"Kurzweil K2000-series (.KRZ)", 0x753DFEC4704},
    {u"SFZ v1 (.SFZ)", 0x3F5BFF2E772D},
    {u"SFZ v2 (.SFZ)", 0x3F5FFFEF7F2F},
    {u"SoundFont 2.0 (.SF2)", 0x2084428460C},
    {u"SoundFont 2.01 (.SF2)", 0x3B6F7F2C460C},
    {u"Yamaha Motif/Motif ES (.W2V/.W7V)", 0xB5FE46F5004},
    {u"Yamaha Motif XS/Motif XF (.X0V/.X3V)", 0xB5FE46F7404},
    {u"Yamaha Montage/MODX/Montage M (.X7U/.X8U/.Y2U)", 0x3B7FE46F7404},
    {u"Yamaha Tyros 2/3 normal voice (.TVN/.UVN)", 0xA1FE66F5004},
    {u"Minimal for portability", 0},
};

// Rows of envelope rows k over the envelopes given by envMask (bit n for
// envelope n: V, P, F, X), skipping the reserved holes.
void AddEnvRows(std::vector<uint8_t>& out, unsigned envMask, std::initializer_list<int> ks) {
    for (int env = 0; env < 4; ++env) {
        if (!(envMask & (1u << env))) continue;
        for (int k : ks) {
            const int id = EnvRow(env, k);
            if (!IsReservedParam(id)) out.push_back(uint8_t(id));
        }
    }
}

void AddRange(std::vector<uint8_t>& out, int from, int to) { // to inclusive
    for (int id = from; id <= to; ++id)
        if (!IsReservedParam(id)) out.push_back(uint8_t(id));
}

// What each clear bit resets to the defaults. Derived from the bit texts:
//
// | Bit | Parameters reset | Trigger properties reset |
// |---|---|---|
// | 0 cross-fades | | 213-218 (fade ranges and formulas) |
// | 10 play section | | 245 (the Region's play section) |
// | 12 delay | | 220 |
// | 13 trigger type | | 208, 219 (trigger type, pedal mode) |
// | 14 two LFOs | V-LFO and F-LFO follow the P-LFO (CleanBlock) | |
// | 15 separate LFOs | X-LFO depths 8-11, 58 and rows 80-83; F-LFO follows V-LFO (CleanBlock) | |
// | 16 shapes | 68, 72, 76, 80 | |
// | 17 ramp | ramp folded into delay (CleanBlock) | |
// | 18 LFO sources | 5-7, 9-11, 20-22, 32-34 | |
// | 19 two envelopes | P/F/X-ENV rows 115-207, depths 12, 13, 35, 36, 59 | |
// | 20 separate envelopes | X-ENV rows 177-207, depth 59; F-ENV follows P-ENV (CleanBlock) | |
// | 21 six stages | A1 and D1 times with their velocity, key and CC rows (k 1-4, 11-13) | |
// | 22 more levels | initial, A1, A2 and D1 levels (k 0, 5, 10, 14) | |
// | 23 three releases | R1 level, R2 and R3 (k 24-28) | |
// | 24 key to times | k 3, 8, 13, 17, 21 | |
// | 25 velocity to A1 | k 2 | |
// | 26 velocity to A2 | k 7 | |
// | 27 velocity to decays | k 12, 16 | |
// | 28 velocity to release | k 20 | |
// | 29 velocity to M-EG | 13, 36 | |
// | 30 low pass | filter rows 24-41 (the filter is off) | |
// | 31 filter types | types other than 0 and 2 become 2 (CleanBlock) | |
// | 32 wheel to cutoff | 28, 29 | |
// | 33 key/velocity to cutoff | 26, 27 | |
// | 34 resonance sources | 38-40 | |
// | 35 sends | 60-67 | |
// | 36 EQ | 42-53 | |
// | 37 channel depths | 56, 61, 63, 65, 67 | |
// | 38 key to volume/pan | 16, 57 | |
// | 39 random to pan | 55 | |
// | 40 pitch bend | 3 | |
// | 41 key to pitch | 2 | |
// | 42 random to pitch/volume | 1, 15 | |
// | 43 wheel to volume | 17, 18 | |
// | 44 CC73/72 to times | k 4, 9, 22, 23 | |
// | 45 CC74/71 to filter | 30, 41 | |
//
// Bits 1-3 move articulation between the levels (the normalisation in
// instrument.cpp); bits 5, 7, 8, 9 and 11 act on Waveforms.
struct ClearTable {
    std::vector<uint8_t> params[kFeatureBitLimit];
    std::vector<uint16_t> properties[kFeatureBitLimit];

    ClearTable() {
        properties[kFeatureCrossFade] = {213, 214, 215, 216, 217, 218};
        properties[kFeaturePlaySection] = {245};
        properties[kFeatureTriggerDelay] = {220};
        properties[kFeatureTriggerType] = {208, 219};

        params[kFeatureSeparateLfos] = {8, 9, 10, 11, 58, 80, 81, 82, 83};
        params[kFeatureLfoShapes] = {68, 72, 76, 80};
        params[kFeatureLfoSources] = {5, 6, 7, 9, 10, 11, 20, 21, 22, 32, 33, 34};
        AddRange(params[kFeatureTwoEnvelopes], EnvRow(kEnvPitch, 0), kParamCount - 1);
        for (int id : {12, 13, 35, 36, 59}) params[kFeatureTwoEnvelopes].push_back(uint8_t(id));
        AddRange(params[kFeatureSeparateEnvelopes], EnvRow(kEnvX, 0), kParamCount - 1);
        params[kFeatureSeparateEnvelopes].push_back(59);
        AddEnvRows(params[kFeatureSixStages], 0xF, {1, 2, 3, 4, 11, 12, 13});
        AddEnvRows(params[kFeatureMoreLevels], 0xF, {0, 5, 10, 14});
        AddEnvRows(params[kFeatureThreeReleases], 0xF, {24, 25, 26, 27, 28});
        AddEnvRows(params[kFeatureKeyToEnvTimes], 0xF, {3, 8, 13, 17, 21});
        AddEnvRows(params[kFeatureVelToA1], 0xF, {2});
        AddEnvRows(params[kFeatureVelToA2], 0xF, {7});
        AddEnvRows(params[kFeatureVelToDecay], 0xF, {12, 16});
        AddEnvRows(params[kFeatureVelToRelease], 0xF, {20});
        params[kFeatureVelToModEnv] = {13, 36};
        AddRange(params[kFeatureLowPass], 24, 41);
        params[kFeatureWheelToCutoff] = {28, 29};
        params[kFeatureKeyVelToCutoff] = {26, 27};
        params[kFeatureResonanceSources] = {38, 39, 40};
        AddRange(params[kFeatureSends], 60, 67);
        AddRange(params[kFeatureEq], 42, 53);
        params[kFeatureChannelDepths] = {56, 61, 63, 65, 67};
        params[kFeatureKeyToVolumePan] = {16, 57};
        params[kFeatureRandomPan] = {55};
        params[kFeaturePitchBend] = {3};
        params[kFeatureKeyToPitch] = {2};
        params[kFeatureRandomPitchVolume] = {1, 15};
        params[kFeatureWheelToVolume] = {17, 18};
        AddEnvRows(params[kFeatureCcToEnvTimes], 0xF, {4, 9, 22, 23});
        params[kFeatureCcToFilter] = {30, 41};
    }
};

const ClearTable& Clears() {
    static const ClearTable table;
    return table;
}

} // namespace

FeatureMask CurrentFeatureMask() {
    return gFeatureMask.load(std::memory_order_relaxed);
}
void SetFeatureMask(FeatureMask mask) {
    gFeatureMask.store(mask, std::memory_order_relaxed);
}

const char16_t* FeatureBitText(int bit) {
    return bit >= 0 && bit < kFeatureBitLimit ? kBitTexts[bit] : nullptr;
}

int FeaturePresetCount() {
    return int(sizeof kPresets / sizeof kPresets[0]);
}

const FeaturePreset& FeaturePresetAt(int index) {
    if (index < 0 || index >= FeaturePresetCount()) index = 0;
    return kPresets[index];
}

int FindFeaturePreset(FeatureMask mask) {
    for (int i = 0; i < FeaturePresetCount(); ++i)
        if (kPresets[i].mask == mask) return i;
    return -1;
}

FeatureClears FeatureBitClears(int bit) {
    if (bit < 0 || bit >= kFeatureBitLimit) return {nullptr, 0, nullptr, 0};
    const ClearTable& t = Clears();
    return {t.params[bit].data(), int(t.params[bit].size()), t.properties[bit].data(),
            int(t.properties[bit].size())};
}

} // namespace vaxel
