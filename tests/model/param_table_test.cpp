// The articulation table, the one setter's rounding and clamping, envelopes
// in their value form, and the feature mask's cleaning of a block.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "model/feature_mask.h"
#include "model/parameter_block.h"

namespace vaxel {
namespace {

TEST(ParamTable, SampledRowsMatchTheSpecifiedTable) {
    struct Row {
        int id;
        const char16_t* label;
        float def, lo, hi;
    };
    // A sample across every group, the odd labels included.
    const Row rows[] = {
        {0, u"Master tuning Pitch adjustment", 0, -48, 48},
        {2, u"Key to Pitch", 1, -12, 12},
        {3, u"Pitch bender to Pitch", 2, -96, 96},
        {21, u"Aftertrouch to V-LFO to Volume", 0, -96, 96},
        {23, u"Velocity response", 1, -1, 1},
        {25, u"Filter Cutoff frequency", 8000, 8, 24000},
        {37, u"Filter Resonance peak height", 0, -6, 96},
        {45, u"EQ 1 Q-value", 0.71f, 0.01f, 10},
        {51, u"EQ 3 center Frequency", 5000, 16, 24000},
        {56, u"CC10 to Pan position", 1, -1, 1},
        {66, u"Send channel 3 level", 0, 0, 1},
        {69, u"P-LFO Frequency", 5, 0.01f, 20},
        {80, u"F-LFO Wave Shape", 0, 0, 255},
        {87, u"V-ENV Key number to Attack 1 Time", 1, 0.25f, 4},
        {107, u"V-ENV CC69 Hold2 Pedal to Release 1 Rate", 0, 0, 100},
        {114, u"Shutdown Rate", 0.015f, 0, 100},
        {115, u"P-ENV Initial Level", 0, -1, 1},
        {139, u"P-ENV Release 1 Level", 0, -1, 1},
        {181, u"X-ENV CC73 to Attack 1 Time", 0, 0, 0},
        {191, u"X-ENV Decay 1 Level", -1, -1, 1},
        {195, u"X-ENV Sustain | Decay 2 Level", 0, -1, 1},
        {206, u"X-ENV Key Release Mode", 1, 0, 1},
    };
    for (const Row& r : rows) {
        const PropertyDescriptor& d = ParamRow(r.id);
        EXPECT_EQ(d.number, r.id);
        EXPECT_EQ(std::u16string(d.label), std::u16string(r.label)) << r.id;
        EXPECT_FLOAT_EQ(d.defaultValue, r.def) << r.id;
        EXPECT_FLOAT_EQ(d.minimum, r.lo) << r.id;
        EXPECT_FLOAT_EQ(d.maximum, r.hi) << r.id;
    }
    // The holes of the numbering, and the envelope layout at offsets of 31.
    for (int id : {138, 145, 169, 176, 179, 180, 184, 185, 189, 190, 193, 194, 197, 198, 200, 207})
        EXPECT_TRUE(IsReservedParam(id)) << id;
    EXPECT_FALSE(IsReservedParam(114));
    EXPECT_EQ(EnvRow(kEnvFilter, kEnvSustain), 164);
    EXPECT_EQ(std::u16string(ParamRow(EnvRow(kEnvPitch, kEnvR1Rate)).label), u"P-ENV Release 1 Rate");
    EXPECT_EQ(ParamRow(208).number, 0xFFFF);
    EXPECT_EQ(ParamRow(-1).number, 0xFFFF);
}

TEST(ParamTable, SetParamRoundsByClassThenClamps) {
    ParameterBlock b;
    initBlock(b);
    EXPECT_FALSE(b.anySet());

    // Out of range: stored at the limit, marked; the result is the rounded
    // value before clamping.
    EXPECT_FLOAT_EQ(setParam(b, kParamCutoff, 30000), 30000);
    EXPECT_FLOAT_EQ(b.values[kParamCutoff], 24000);
    EXPECT_TRUE(b.isSet(kParamCutoff));
    EXPECT_TRUE((b.mask[0] >> 25) & 1);

    // Class 2, half away from zero (0.125 is exact in binary).
    setParam(b, kParamTuning, 0.125f);
    EXPECT_FLOAT_EQ(b.values[kParamTuning], 0.13f);
    setParam(b, kParamTuning, -0.125f);
    EXPECT_FLOAT_EQ(b.values[kParamTuning], -0.13f);
    // Class 5: thousandths below 10, hundredths from 10 on.
    setParam(b, EnvRow(kEnvVolume, kEnvA1Time), 1.0625f);
    EXPECT_FLOAT_EQ(b.values[85], 1.063f);
    setParam(b, EnvRow(kEnvVolume, kEnvA1Time), 12.375f);
    EXPECT_FLOAT_EQ(b.values[85], 12.38f);
    // Class 8 keeps ten-thousandths; class 1 thousandths.
    setParam(b, kParamKeyToPitch, 0.50005f);
    EXPECT_NEAR(b.values[kParamKeyToPitch], 0.5001f, 1e-6);
    setParam(b, kParamPan, -0.0625f);
    EXPECT_FLOAT_EQ(b.values[kParamPan], -0.063f);
    // Below the minimum, and a rounded value that lands beyond the maximum.
    setParam(b, kParamResonance, -50);
    EXPECT_FLOAT_EQ(b.values[kParamResonance], -6);
    setParam(b, kParamPan, 1.0006f);
    EXPECT_FLOAT_EQ(b.values[kParamPan], 1);
    // NaN stores the default; reserved rows and ids out of range store nothing.
    setParam(b, kParamCutoff, NAN);
    EXPECT_FLOAT_EQ(b.values[kParamCutoff], 8000);
    setParam(b, 138, 5);
    EXPECT_FALSE(b.isSet(138));
    EXPECT_FLOAT_EQ(b.values[138], 0);
    setParam(b, 208, 1);
    setParam(b, -3, 1);
    EXPECT_FALSE(b.isSet(207));
}

TEST(ParamTable, EnvelopesRoundTripThroughTheirValueForm) {
    ParameterBlock b;
    initBlock(b);
    EnvelopeInfo in{};
    for (int i = 0; i < 7; ++i) in.times[i] = 0.5f * float(i + 1);
    for (int i = 0; i < 8; ++i) in.levels[i] = -0.5f + 0.125f * float(i);
    for (int i = 0; i < 5; ++i) in.velocityToTime[i] = float(10 * i) - 20;
    for (int i = 0; i < 5; ++i) in.keyToTime[i] = 0.5f + 0.25f * float(i);
    in.cc73ToA1 = 5;
    in.cc73ToA2 = 6;
    in.cc72ToR1 = -7;
    in.cc69ToR1 = 8; // the P-ENV has no such row
    in.keyReleaseMode = 1;
    in.shutdownRate = 3; // nor this one
    in.modDepth[0] = 12;
    in.modDepth[1] = -3;
    setEnvelope(b, kEnvPitch, in);
    EXPECT_FALSE(b.isSet(138));
    EXPECT_FALSE(b.isSet(145));
    EXPECT_FLOAT_EQ(b.values[kParamPEnvToPitch], 12);
    EXPECT_FLOAT_EQ(b.values[kParamVelPEnvToPitch], -3);
    EXPECT_FLOAT_EQ(b.values[EnvRow(kEnvPitch, kEnvR1Rate)], in.times[4]);
    EXPECT_FLOAT_EQ(b.values[EnvRow(kEnvPitch, kEnvSustain)], in.levels[4]);

    EnvelopeInfo out = getEnvelope(b, kEnvPitch);
    for (int i = 0; i < 7; ++i) EXPECT_FLOAT_EQ(out.times[i], in.times[i]) << i;
    for (int i = 0; i < 8; ++i) EXPECT_FLOAT_EQ(out.levels[i], in.levels[i]) << i;
    for (int i = 0; i < 5; ++i) EXPECT_FLOAT_EQ(out.velocityToTime[i], in.velocityToTime[i]) << i;
    for (int i = 0; i < 5; ++i) EXPECT_FLOAT_EQ(out.keyToTime[i], in.keyToTime[i]) << i;
    EXPECT_FLOAT_EQ(out.cc72ToR1, -7);
    EXPECT_FLOAT_EQ(out.cc69ToR1, 0);
    EXPECT_FLOAT_EQ(out.shutdownRate, 0);
    EXPECT_FLOAT_EQ(out.modDepth[0], 12);
    // The V-ENV's levels are unipolar: a negative level is clamped there.
    setEnvelope(b, kEnvVolume, in);
    EXPECT_FLOAT_EQ(getEnvelope(b, kEnvVolume).levels[0], 0);
    EXPECT_FLOAT_EQ(getEnvelope(b, kEnvVolume).shutdownRate, 3);
}

TEST(FeatureMask, TextsAndPresets) {
    EXPECT_EQ(FeaturePresetCount(), 24);
    EXPECT_EQ(FeaturePresetAt(0).mask, kAllFeatures);
    EXPECT_EQ(std::u16string(FeaturePresetAt(17).text), u"SoundFont 2.0 (.SF2)");
    EXPECT_EQ(FeaturePresetAt(17).mask, 0x2084428460Cull);
    EXPECT_EQ(FeaturePresetAt(23).mask, 0u);
    EXPECT_EQ(FindFeaturePreset(0x3F5FFFEF7F2Full), 16);
    EXPECT_EQ(FindFeaturePreset(0x1234), -1);
    EXPECT_EQ(std::u16string(FeatureBitText(10)),
              u"Trigger: Waveform play section section (start/end offsets)");
    EXPECT_EQ(FeatureBitText(4), nullptr);
    EXPECT_EQ(FeatureBitText(46), nullptr);
}

TEST(FeatureMask, CleanBlockFollowsTheLfoPattern) {
    ParameterBlock b;
    initBlock(b);
    // An inverted P-LFO: its depths are negated and the shape takes its plain
    // form with 0x40.
    setParam(b, LfoRow(kLfoPitch, kLfoShape), 0x80 | 3);
    setParam(b, 4, 2);
    setParam(b, 5, -1);
    cleanBlock(b, kAllFeatures);
    EXPECT_FLOAT_EQ(b.values[LfoRow(kLfoPitch, kLfoShape)], 0x40 | 3);
    EXPECT_FLOAT_EQ(b.values[4], -2);
    EXPECT_FLOAT_EQ(b.values[5], 1);
    cleanBlock(b, kAllFeatures); // once only
    EXPECT_FLOAT_EQ(b.values[4], -2);

    // Without shapes, ramps and LFO sources.
    setParam(b, LfoRow(kLfoVolume, kLfoDelay), 1);
    setParam(b, LfoRow(kLfoVolume, kLfoRamp), 3);
    setParam(b, 20, 4);
    FeatureMask mask = kAllFeatures & ~(FeatureMask(1) << kFeatureLfoShapes) &
                       ~(FeatureMask(1) << kFeatureLfoRamp) & ~(FeatureMask(1) << kFeatureLfoSources);
    cleanBlock(b, mask);
    EXPECT_FLOAT_EQ(b.values[LfoRow(kLfoPitch, kLfoShape)], 0);
    EXPECT_FALSE(b.isSet(LfoRow(kLfoPitch, kLfoShape)));
    EXPECT_FLOAT_EQ(b.values[LfoRow(kLfoVolume, kLfoDelay)], 2.5f);
    EXPECT_FLOAT_EQ(b.values[LfoRow(kLfoVolume, kLfoRamp)], 0);
    EXPECT_FALSE(b.isSet(LfoRow(kLfoVolume, kLfoRamp)));
    EXPECT_FLOAT_EQ(b.values[20], 0);
    EXPECT_FALSE(b.isSet(20));
    EXPECT_FLOAT_EQ(b.values[4], -2); // the depth itself stays
}

TEST(FeatureMask, MinimalMaskLeavesOnlyTheBaseSynthesis) {
    ParameterBlock b;
    initBlock(b);
    setParam(b, kParamTuning, 0.5f);
    setParam(b, kParamVolume, -6);
    setParam(b, kParamPan, 0.25f);
    setParam(b, EnvRow(kEnvVolume, kEnvA2Time), 0.2f);
    setParam(b, EnvRow(kEnvVolume, kEnvA1Time), 0.1f); // delay stage
    setParam(b, kParamCutoff, 1000);
    setParam(b, 46, 1); // EQ 2 mode
    setParam(b, 60, 0.5f);
    setParam(b, kParamKeyToPitch, 0.5f);
    setParam(b, EnvRow(kEnvFilter, kEnvA2Time), 2);
    cleanBlock(b, 0);
    EXPECT_FLOAT_EQ(b.values[kParamTuning], 0.5f);
    EXPECT_FLOAT_EQ(b.values[kParamVolume], -6);
    EXPECT_FLOAT_EQ(b.values[kParamPan], 0.25f);
    EXPECT_FLOAT_EQ(b.values[EnvRow(kEnvVolume, kEnvA2Time)], 0.2f);
    EXPECT_FLOAT_EQ(b.values[EnvRow(kEnvVolume, kEnvA1Time)], 0);
    EXPECT_FLOAT_EQ(b.values[kParamCutoff], 8000);
    EXPECT_FLOAT_EQ(b.values[46], 0);
    EXPECT_FLOAT_EQ(b.values[60], 0);
    EXPECT_FLOAT_EQ(b.values[kParamKeyToPitch], 1);
    EXPECT_FLOAT_EQ(b.values[EnvRow(kEnvFilter, kEnvA2Time)], 0);
    EXPECT_FALSE(b.isSet(kParamCutoff));

    // Two envelopes without separate ones: the F-ENV follows the P-ENV.
    initBlock(b);
    setParam(b, EnvRow(kEnvPitch, kEnvD2Time), 1.5f);
    cleanBlock(b, kAllFeatures & ~(FeatureMask(1) << kFeatureSeparateEnvelopes));
    EXPECT_FLOAT_EQ(b.values[EnvRow(kEnvFilter, kEnvD2Time)], 1.5f);
    EXPECT_TRUE(b.isSet(EnvRow(kEnvFilter, kEnvD2Time)));
}

TEST(TriggerBlock, FieldsKeepTheirLimits) {
    TriggerBlock t;
    t.setTrigger(209, 200);
    EXPECT_EQ(t.keyLow, 127);
    t.setTrigger(213, 127.6f);
    EXPECT_EQ(t.keyFadeIn, 126);
    t.setTrigger(221, 70000);
    EXPECT_EQ(t.exclusionGroup, 65535);
    t.setTrigger(208, 2.5f);
    EXPECT_EQ(t.triggerType, 3); // half away from zero
    t.setTrigger(220, 0.0625f);
    EXPECT_FLOAT_EQ(t.delay, 0.063f);
    EXPECT_EQ(t.setMask, (1u << 1) | (1u << 5) | (1u << 13) | (1u << 0) | (1u << 12));

    cleanTrigger(t, kAllFeatures & ~(FeatureMask(1) << kFeatureTriggerDelay) &
                        ~(FeatureMask(1) << kFeatureCrossFade));
    EXPECT_EQ(t.delay, 0.0f);
    EXPECT_EQ(t.keyFadeIn, 0);
    EXPECT_FALSE(t.isSet(220));
    EXPECT_TRUE(t.isSet(208));
}

} // namespace
} // namespace vaxel
