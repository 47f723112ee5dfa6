// The 208 rows of the articulation table. Labels, defaults and limits are the
// program's own, typos included ("Aftertrouch", the second "Send channel 3
// level" at 66, "F-LFO" for the X-LFO rows 80-83), since panels and files of
// other programs match on them.
//
// The rows come with no precision class of their own; these are our choices,
// by kind of row:
//   class 2 (0.01): semitones, dB, Q values, and the percent depths of
//                   velocity and controllers on envelope times;
//   class 8 (0.0001): Key to Pitch and the key multipliers of envelope times,
//                   so that a tracking of one cent per key survives;
//   class 5 (0.001 below 10, else 0.01): frequencies, times and rates;
//   class 1 (0.001): levels, pan, send levels, velocity response;
//   class 0 (kept as given): filter type, EQ modes, LFO shapes and the key
//                   release modes, whose values are indices.
#include "model/param_table.h"

#include <cmath>

namespace vaxel {

namespace {

constexpr PropertyDescriptor kRows[kParamCount] = {
    {0, 2, kUnitSemitones, 0, 0, 0, -48, 48, u"Master tuning Pitch adjustment", u""},
    {1, 2, kUnitSemitones, 0, 0, 0, 0, 96, u"Random to Pitch", u""},
    {2, 8, kUnitSemitones, 0, 0, 1, -12, 12, u"Key to Pitch", u"Semitones per key, centered on Root key"},
    {3, 2, kUnitSemitones, 0, 0, 2, -96, 96, u"Pitch bender to Pitch", u""},
    {4, 2, kUnitSemitones, 0, 0, 0, -96, 96, u"P-LFO to Pitch", u"Bipolar source"},
    {5, 2, kUnitSemitones, 0, 0, 0, -96, 96, u"Mod wheel to P-LFO to Pitch", u""},
    {6, 2, kUnitSemitones, 0, 0, 0, -96, 96, u"Aftertouch to P-LFO to Pitch", u""},
    {7, 2, kUnitSemitones, 0, 0, 0, -96, 96, u"Velocity to P-LFO to Pitch", u""},
    {8, 2, kUnitSemitones, 0, 0, 0, -96, 96, u"X-LFO to Pitch", u"Bipolar source"},
    {9, 2, kUnitSemitones, 0, 0, 0, -96, 96, u"Mod wheel to X-LFO to Pitch", u""},
    {10, 2, kUnitSemitones, 0, 0, 0, -96, 96, u"Aftertouch to X-LFO to Pitch", u""},
    {11, 2, kUnitSemitones, 0, 0, 0, -96, 96, u"Velocity to X-LFO to Pitch", u""},
    {12, 2, kUnitSemitones, 0, 0, 0, -96, 96, u"P-ENV to Pitch", u"Unipolar source"},
    {13, 2, kUnitSemitones, 0, 0, 0, -96, 96, u"Velocity to P-ENV to Pitch", u""},
    {14, 2, kUnitDecibels, 0, 0, 0, -96, 96, u"Master Volume adjustment", u""},
    {15, 2, kUnitDecibels, 0, 0, 0, 0, 96, u"Random to Volume", u""},
    {16, 2, kUnitDecibels, 0, 0, 0, -24, 24, u"Key to Volume", u"dB per octave, centered on mid-C"},
    {17, 2, kUnitDecibels, 0, 0, 0, -96, 96, u"Mod wheel to Volume", u""},
    {18, 2, kUnitDecibels, 0, 0, 0, -96, 96, u"Aftertouch to Volume", u""},
    {19, 2, kUnitDecibels, 0, 0, 0, -96, 96, u"V-LFO to Volume", u"Bipolar source"},
    {20, 2, kUnitDecibels, 0, 0, 0, -96, 96, u"Mod wheel to V-LFO to Volume", u""},
    {21, 2, kUnitDecibels, 0, 0, 0, -96, 96, u"Aftertrouch to V-LFO to Volume", u""},
    {22, 2, kUnitDecibels, 0, 0, 0, -96, 96, u"Velocity to V-LFO to Volume", u""},
    {23, 1, kUnitFraction, 0, 0, 1, -1, 1, u"Velocity response", u"100% = GM standard, 50% = half in"},
    {24, 0, kUnitIndex, 0, 0, 0, 0, 12, u"Filter type", u""},
    {25, 5, kUnitHertz, 0, 0, 8000, 8, 24000, u"Filter Cutoff frequency", u""},
    {26, 2, kUnitSemitones, 0, 0, 0, -128, 128, u"Velocity to Filter Cutoff", u""},
    {27, 2, kUnitSemitones, 0, 0, 0, -128, 128, u"Key number to Filter Cutoff", u""},
    {28, 2, kUnitSemitones, 0, 0, 0, -128, 128, u"Mod wheel to Filter Cutoff", u""},
    {29, 2, kUnitSemitones, 0, 0, 0, -128, 128, u"Aftertouch to Filter Cutoff", u""},
    {30, 2, kUnitSemitones, 0, 0, 0, -128, 128, u"CC74 to Filter Cutoff", u""},
    {31, 2, kUnitSemitones, 0, 0, 0, -128, 128, u"F-LFO to Filter Cutoff", u"Bipolar source"},
    {32, 2, kUnitSemitones, 0, 0, 0, -128, 128, u"Mod wheel to F-LFO to Filter Cutoff", u""},
    {33, 2, kUnitSemitones, 0, 0, 0, -128, 128, u"Aftertouch to F-LFO to Filter Cutoff", u""},
    {34, 2, kUnitSemitones, 0, 0, 0, -128, 128, u"Velocity to F-LFO to Filter Cutoff", u""},
    {35, 2, kUnitSemitones, 0, 0, 0, -128, 128, u"F-ENV to Filter Cutoff", u"Unipolar source"},
    {36, 2, kUnitSemitones, 0, 0, 0, -128, 128, u"Velocity to F-ENV to Filter Cutoff", u""},
    {37, 2, kUnitDecibels, 0, 0, 0, -6, 96, u"Filter Resonance peak height", u""},
    {38, 2, kUnitDecibels, 0, 0, 0, -96, 96, u"Velocity to Filter Resonance", u""},
    {39, 2, kUnitDecibels, 0, 0, 0, -96, 96, u"Mod wheel to Filter Resonance", u""},
    {40, 2, kUnitDecibels, 0, 0, 0, -96, 96, u"Aftertouch to Filter Resonance", u""},
    {41, 2, kUnitDecibels, 0, 0, 0, -96, 96, u"CC71 to Filter Resonance", u""},
    {42, 0, kUnitIndex, 0, 0, 0, 0, 2, u"EQ 1 Mode", u""},
    {43, 5, kUnitHertz, 0, 0, 120, 16, 24000, u"EQ 1 center Frequency", u""},
    {44, 2, kUnitDecibels, 0, 0, 0, -24, 24, u"EQ 1 Gain", u""},
    {45, 2, kUnitNone, 0, 0, 0.71f, 0.01f, 10, u"EQ 1 Q-value", u""},
    {46, 0, kUnitIndex, 0, 0, 0, 0, 2, u"EQ 2 Mode", u""},
    {47, 5, kUnitHertz, 0, 0, 800, 16, 24000, u"EQ 2 center Frequency", u""},
    {48, 2, kUnitDecibels, 0, 0, 0, -24, 24, u"EQ 2 Gain", u""},
    {49, 2, kUnitNone, 0, 0, 0.71f, 0.01f, 10, u"EQ 2 Q-value", u""},
    {50, 0, kUnitIndex, 0, 0, 0, 0, 2, u"EQ 3 Mode", u""},
    {51, 5, kUnitHertz, 0, 0, 5000, 16, 24000, u"EQ 3 center Frequency", u""},
    {52, 2, kUnitDecibels, 0, 0, 0, -24, 24, u"EQ 3 Gain", u""},
    {53, 2, kUnitNone, 0, 0, 0.71f, 0.01f, 10, u"EQ 3 Q-value", u""},
    {54, 1, kUnitFraction, 0, 0, 0, -1, 1, u"Pan position", u""},
    {55, 1, kUnitFraction, 0, 0, 0, 0, 1, u"Random to Pan position", u""},
    {56, 1, kUnitFraction, 0, 0, 1, -1, 1, u"CC10 to Pan position", u""},
    {57, 1, kUnitFraction, 0, 0, 0, -1, 1, u"Key number to Pan position", u""},
    {58, 1, kUnitFraction, 0, 0, 0, -1, 1, u"X-LFO to Pan position", u"Bipolar source"},
    {59, 1, kUnitFraction, 0, 0, 0, -1, 1, u"X-ENV to Pan position", u"Unipolar source"},
    {60, 1, kUnitFraction, 0, 0, 0, 0, 1, u"Send channel 1 level", u""},
    {61, 1, kUnitFraction, 0, 0, 1, 0, 1, u"CC91 to Send channel 1 level", u""},
    {62, 1, kUnitFraction, 0, 0, 0, 0, 1, u"Send channel 2 level", u""},
    {63, 1, kUnitFraction, 0, 0, 1, 0, 1, u"CC92 to Send channel 2 level", u""},
    {64, 1, kUnitFraction, 0, 0, 0, 0, 1, u"Send channel 3 level", u""},
    {65, 1, kUnitFraction, 0, 0, 1, 0, 1, u"CC93 to Send channel 3 level", u""},
    {66, 1, kUnitFraction, 0, 0, 0, 0, 1, u"Send channel 3 level", u""},
    {67, 1, kUnitFraction, 0, 0, 1, 0, 1, u"CC94 to Send channel 3 level", u""},
    {68, 0, kUnitIndex, 0, 0, 0, 0, 255, u"P-LFO Wave Shape", u""},
    {69, 5, kUnitHertz, 0, 0, 5, 0.01f, 20, u"P-LFO Frequency", u""},
    {70, 5, kUnitSeconds, 0, 0, 0, 0, 10, u"P-LFO Delay Time", u""},
    {71, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"P-LFO Ramp/fade-in Time", u""},
    {72, 0, kUnitIndex, 0, 0, 0, 0, 255, u"V-LFO Wave Shape", u""},
    {73, 5, kUnitHertz, 0, 0, 5, 0.01f, 20, u"V-LFO Frequency", u""},
    {74, 5, kUnitSeconds, 0, 0, 0, 0, 10, u"V-LFO Delay Time", u""},
    {75, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"V-LFO Ramp/fade-in Time", u""},
    {76, 0, kUnitIndex, 0, 0, 0, 0, 255, u"F-LFO Wave Shape", u""},
    {77, 5, kUnitHertz, 0, 0, 5, 0.01f, 20, u"F-LFO Frequency", u""},
    {78, 5, kUnitSeconds, 0, 0, 0, 0, 10, u"F-LFO Delay Time", u""},
    {79, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"F-LFO Ramp/fade-in Time", u""},
    {80, 0, kUnitIndex, 0, 0, 0, 0, 255, u"F-LFO Wave Shape", u""},
    {81, 5, kUnitHertz, 0, 0, 5, 0.01f, 20, u"F-LFO Frequency", u""},
    {82, 5, kUnitSeconds, 0, 0, 0, 0, 10, u"F-LFO Delay Time", u""},
    {83, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"F-LFO Ramp/fade-in Time", u""},
    {84, 1, kUnitFraction, 0, 0, 0, 0, 1, u"V-ENV Initial Level", u""},
    {85, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"V-ENV Attack 1 Time", u""},
    {86, 2, kUnitPercent, 0, 0, 0, -100, 100, u"V-ENV Velocity to Attack 1 Time", u""},
    {87, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"V-ENV Key number to Attack 1 Time",
     u"Multiplier per octave"},
    {88, 2, kUnitPercent, 0, 0, 0, -100, 100, u"V-ENV CC73 to Attack 1 Time", u""},
    {89, 1, kUnitFraction, 0, 0, 0, 0, 1, u"V-ENV Attack 1 Level", u""},
    {90, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"V-ENV Attack 2 Time", u""},
    {91, 2, kUnitPercent, 0, 0, 0, -100, 100, u"V-ENV Velocity to Attack 2 Time", u""},
    {92, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"V-ENV Key number to Attack 2 Time",
     u"Multiplier per octave"},
    {93, 2, kUnitPercent, 0, 0, 0, -100, 100, u"V-ENV CC73 to Attack 2 Time", u""},
    {94, 1, kUnitFraction, 0, 0, 1, 0, 1, u"V-ENV Attack 2 Level", u""},
    {95, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"V-ENV Decay 1 Time", u""},
    {96, 2, kUnitPercent, 0, 0, 0, -100, 100, u"V-ENV Velocity to Decay 1 Time", u""},
    {97, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"V-ENV Key number to Decay 1 Time",
     u"Multiplier per octave"},
    {98, 1, kUnitFraction, 0, 0, 1, 0, 1, u"V-ENV Decay 1 Level", u""},
    {99, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"V-ENV Decay 2 Time", u""},
    {100, 2, kUnitPercent, 0, 0, 0, -100, 100, u"V-ENV Velocity to Decay 2 Time", u""},
    {101, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"V-ENV Key number to Decay 2 Time",
     u"Multiplier per octave"},
    {102, 1, kUnitFraction, 0, 0, 1, 0, 1, u"V-ENV Sustain", u""},
    {103, 5, kUnitRate, 0, 0, 0, 0, 100, u"V-ENV Release 1 Rate", u"Note: Time = Rate * Delta-Level"},
    {104, 2, kUnitPercent, 0, 0, 0, -100, 100, u"V-ENV Velocity to Release 1 Rate", u""},
    {105, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"V-ENV Key number to Release 1 Rate",
     u"Multiplier per octave"},
    {106, 2, kUnitPercent, 0, 0, 0, -100, 100, u"V-ENV CC72 to Release 1 Rate", u""},
    {107, 2, kUnitPercent, 0, 0, 0, 0, 100, u"V-ENV CC69 Hold2 Pedal to Release 1 Rate", u""},
    {108, 1, kUnitFraction, 0, 0, 0, 0, 1, u"V-ENV Release 1 Level", u""},
    {109, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"V-ENV Release 2 Time", u""},
    {110, 1, kUnitFraction, 0, 0, 0, 0, 1, u"V-ENV Release 2 Level", u""},
    {111, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"V-ENV Release 3 Time", u""},
    {112, 1, kUnitFraction, 0, 0, 0, 0, 1, u"V-ENV Release 3 Level", u""},
    {113, 0, kUnitIndex, 0, 0, 0, 0, 1, u"V-ENV Key Release Mode", u""},
    {114, 5, kUnitRate, 0, 0, 0.015f, 0, 100, u"Shutdown Rate", u"Note: Time = Rate * Delta-Level"},
    {115, 1, kUnitFraction, 0, 0, 0, -1, 1, u"P-ENV Initial Level", u""},
    {116, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"P-ENV Attack 1 Time", u""},
    {117, 2, kUnitPercent, 0, 0, 0, -100, 100, u"P-ENV Velocity to Attack 1 Time", u""},
    {118, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"P-ENV Key number to Attack 1 Time",
     u"Multiplier per octave"},
    {119, 2, kUnitPercent, 0, 0, 0, -100, 100, u"P-ENV CC73 to Attack 1 Time", u""},
    {120, 1, kUnitFraction, 0, 0, 0, -1, 1, u"P-ENV Attack 1 Level", u""},
    {121, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"P-ENV Attack 2 Time", u""},
    {122, 2, kUnitPercent, 0, 0, 0, -100, 100, u"P-ENV Velocity to Attack 2 Time", u""},
    {123, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"P-ENV Key number to Attack 2 Time",
     u"Multiplier per octave"},
    {124, 2, kUnitPercent, 0, 0, 0, -100, 100, u"P-ENV CC73 to Attack 2 Time", u""},
    {125, 1, kUnitFraction, 0, 0, 1, -1, 1, u"P-ENV Attack 2 Level", u""},
    {126, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"P-ENV Decay 1 Time", u""},
    {127, 2, kUnitPercent, 0, 0, 0, -100, 100, u"P-ENV Velocity to Decay 1 Time", u""},
    {128, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"P-ENV Key number to Decay 1 Time",
     u"Multiplier per octave"},
    {129, 1, kUnitFraction, 0, 0, 1, -1, 1, u"P-ENV Decay 1 Level", u""},
    {130, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"P-ENV Decay 2 Time", u""},
    {131, 2, kUnitPercent, 0, 0, 0, -100, 100, u"P-ENV Velocity to Decay 2 Time", u""},
    {132, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"P-ENV Key number to Decay 2 Time",
     u"Multiplier per octave"},
    {133, 1, kUnitFraction, 0, 0, 1, -1, 1, u"P-ENV Sustain", u""},
    {134, 5, kUnitRate, 0, 0, 0, 0, 100, u"P-ENV Release 1 Rate", u"Note: Time = Rate * Delta-Level"},
    {135, 2, kUnitPercent, 0, 0, 0, -100, 100, u"P-ENV Velocity to Release 1 Rate", u""},
    {136, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"P-ENV Key number to Release 1 Rate",
     u"Multiplier per octave"},
    {137, 2, kUnitPercent, 0, 0, 0, -100, 100, u"P-ENV CC72 to Release 1 Rate", u""},
    {138, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {139, 1, kUnitFraction, 0, 0, 0, -1, 1, u"P-ENV Release 1 Level", u""},
    {140, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"P-ENV Release 2 Time", u""},
    {141, 1, kUnitFraction, 0, 0, 0, -1, 1, u"P-ENV Release 2 Level", u""},
    {142, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"P-ENV Release 3 Time", u""},
    {143, 1, kUnitFraction, 0, 0, 0, -1, 1, u"P-ENV Release 3 Level", u""},
    {144, 0, kUnitIndex, 0, 0, 0, 0, 1, u"P-ENV Key Release Mode", u""},
    {145, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {146, 1, kUnitFraction, 0, 0, 0, -1, 1, u"F-ENV Initial Level", u""},
    {147, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"F-ENV Attack 1 Time", u""},
    {148, 2, kUnitPercent, 0, 0, 0, -100, 100, u"F-ENV Velocity to Attack 1 Time", u""},
    {149, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"F-ENV Key number to Attack 1 Time",
     u"Multiplier per octave"},
    {150, 2, kUnitPercent, 0, 0, 0, -100, 100, u"F-ENV CC73 to Attack 1 Time", u""},
    {151, 1, kUnitFraction, 0, 0, 0, -1, 1, u"F-ENV Attack 1 Level", u""},
    {152, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"F-ENV Attack 2 Time", u""},
    {153, 2, kUnitPercent, 0, 0, 0, -100, 100, u"F-ENV Velocity to Attack 2 Time", u""},
    {154, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"F-ENV Key number to Attack 2 Time",
     u"Multiplier per octave"},
    {155, 2, kUnitPercent, 0, 0, 0, -100, 100, u"F-ENV CC73 to Attack 2 Time", u""},
    {156, 1, kUnitFraction, 0, 0, 1, -1, 1, u"F-ENV Attack 2 Level", u""},
    {157, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"F-ENV Decay 1 Time", u""},
    {158, 2, kUnitPercent, 0, 0, 0, -100, 100, u"F-ENV Velocity to Decay 1 Time", u""},
    {159, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"F-ENV Key number to Decay 1 Time",
     u"Multiplier per octave"},
    {160, 1, kUnitFraction, 0, 0, 1, -1, 1, u"F-ENV Decay 1 Level", u""},
    {161, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"F-ENV Decay 2 Time", u""},
    {162, 2, kUnitPercent, 0, 0, 0, -100, 100, u"F-ENV Velocity to Decay 2 Time", u""},
    {163, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"F-ENV Key number to Decay 2 Time",
     u"Multiplier per octave"},
    {164, 1, kUnitFraction, 0, 0, 1, -1, 1, u"F-ENV Sustain", u""},
    {165, 5, kUnitRate, 0, 0, 0, 0, 100, u"F-ENV Release 1 Rate", u"Note: Time = Rate * Delta-Level"},
    {166, 2, kUnitPercent, 0, 0, 0, -100, 100, u"F-ENV Velocity to Release 1 Rate", u""},
    {167, 8, kUnitMultiplier, 0, 0, 1, 0.25f, 4, u"F-ENV Key number to Release 1 Rate",
     u"Multiplier per octave"},
    {168, 2, kUnitPercent, 0, 0, 0, -100, 100, u"F-ENV CC72 to Release 1 Rate", u""},
    {169, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {170, 1, kUnitFraction, 0, 0, 0, -1, 1, u"F-ENV Release 1 Level", u""},
    {171, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"F-ENV Release 2 Time", u""},
    {172, 1, kUnitFraction, 0, 0, 0, -1, 1, u"F-ENV Release 2 Level", u""},
    {173, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"F-ENV Release 3 Time", u""},
    {174, 1, kUnitFraction, 0, 0, 0, -1, 1, u"F-ENV Release 3 Level", u""},
    {175, 0, kUnitIndex, 0, 0, 0, 0, 1, u"F-ENV Key Release Mode", u""},
    {176, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {177, 1, kUnitFraction, 0, 0, 0, -1, 1, u"X-ENV Initial Level", u""},
    {178, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"X-ENV Attack 1 Time", u""},
    {179, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {180, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {181, 2, kUnitPercent, 0, 0, 0, 0, 0, u"X-ENV CC73 to Attack 1 Time", u""},
    {182, 1, kUnitFraction, 0, 0, 1, -1, 1, u"X-ENV Attack 1 Level", u""},
    {183, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"X-ENV Attack 2 Time", u""},
    {184, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {185, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {186, 2, kUnitPercent, 0, 0, 0, 0, 0, u"X-ENV CC73 to Attack 2 Time", u""},
    {187, 1, kUnitFraction, 0, 0, 0, -1, 1, u"X-ENV Attack 2 Level", u""},
    {188, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"X-ENV Decay 1 Time", u""},
    {189, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {190, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {191, 1, kUnitFraction, 0, 0, -1, -1, 1, u"X-ENV Decay 1 Level", u""},
    {192, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"X-ENV Decay 2 Time", u""},
    {193, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {194, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {195, 1, kUnitFraction, 0, 0, 0, -1, 1, u"X-ENV Sustain | Decay 2 Level", u""},
    {196, 5, kUnitRate, 0, 0, 0, 0, 100, u"X-ENV Release 1 Rate", u"Note: Time = Rate * Delta-Level"},
    {197, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {198, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {199, 2, kUnitPercent, 0, 0, 0, 0, 0, u"X-ENV CC72 to Release 1 Rate", u""},
    {200, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
    {201, 1, kUnitFraction, 0, 0, 0, -1, 1, u"X-ENV Release 1 Level", u""},
    {202, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"X-ENV Release 2 Time", u""},
    {203, 1, kUnitFraction, 0, 0, 0, -1, 1, u"X-ENV Release 2 Level", u""},
    {204, 5, kUnitSeconds, 0, 0, 0, 0, 100, u"X-ENV Release 3 Time", u""},
    {205, 1, kUnitFraction, 0, 0, 0, -1, 1, u"X-ENV Release 3 Level", u""},
    {206, 0, kUnitIndex, 0, 0, 1, 0, 1, u"X-ENV Key Release Mode", u""},
    {207, 0, kUnitNone, kParamReserved, 0, 0, 0, 0, u"(reserved)", u""},
};

struct Defaults {
    float values[kParamCount];
    Defaults() {
        for (int i = 0; i < kParamCount; ++i) values[i] = kRows[i].defaultValue;
    }
};

} // namespace

const PropertyDescriptor& ParamRow(int id) {
    if (id < 0 || id >= kParamCount) return EmptyDescriptor();
    return kRows[id];
}

const float* ParamDefaults() {
    static const Defaults defaults;
    return defaults.values;
}

bool IsReservedParam(int id) {
    return id >= 0 && id < kParamCount && (kRows[id].flags & kParamReserved);
}

float RoundToClass(float value, int precisionClass) {
    double grain;
    switch (precisionClass) {
    case 1:
    case 6:
        grain = 0.001;
        break;
    case 2:
        grain = 0.01;
        break;
    case 3:
        grain = 0.1;
        break;
    case 5:
        grain = std::fabs(value) < 10.0f ? 0.001 : 0.01;
        break;
    case 8:
        grain = 0.0001;
        break;
    default:
        return value;
    }
    if (!std::isfinite(value)) return value;
    const double steps = double(value) / grain;
    // Half away from zero, with room for the binary error of the division.
    const double rounded = steps < 0 ? -std::floor(-steps + 0.5 + 1e-9) : std::floor(steps + 0.5 + 1e-9);
    return float(rounded * grain);
}

} // namespace vaxel
