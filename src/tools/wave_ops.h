#pragma once
// Operations on the float samples of a Waveform that the wave tools share
// with the other tool families, the batch engine and the synthesizer's
// renderers: gain, maximizing, channel layout, fades, the three-term mix, the
// loudness analysis behind "Normalize volume" and the filters of "Filter
// waveform". All of them change samples through the wave's write path only.
#include <cstdint>
#include <vector>

namespace vaxel {

class CollectionItem;
class Waveform;

// What an operation did. Failures leave a sentence in LastError.
enum OpResult : int { kOpFailed = 0, kOpChanged = 1, kOpUnchanged = 2 };

// A range of frames [start, end); the end is cut to the wave's length.
struct FrameRange {
    uint32_t start = 0;
    uint32_t end = 0;
};

// Multiplies the range (null: the whole wave) by exp(db * 0.115129255) and
// clamps to -1..1. A gain of exactly 0 dB, an empty range or an empty wave
// change nothing.
OpResult ApplyGain(Waveform& wave, const FrameRange* range, double db);

// Mode 0 stretches to both rails, 1 scales about a fixed zero so the larger
// of |min| and |max| reaches 1, 2 scales about the mean. The scan starts from
// min +1 and max -1.
OpResult MaximizeWave(Waveform& wave, int mode);

// Stereo to mono: 0 average, 1 left, 2 right, 3 split into two waves (the
// right one is a new wave in the same collection, handed out through second
// when given), 4 left only when both channels are equal. A mono wave is left
// alone.
OpResult ToMono(Waveform& wave, int mode, Waveform** second = nullptr);

// Mono to stereo: 0 duplicate, 1 left only, 2 right only, 3 this wave left
// and second right, 4 the other way round. A stereo wave is left alone.
OpResult ToStereo(Waveform& wave, int mode, Waveform* second, bool adjustName);

// Fades the range: 0 linear in, 1 exponential in, 2 linear out, 3
// exponential out.
OpResult FadeRange(Waveform& wave, FrameRange range, int mode);

// target = a * w1 + b * w2 + c, at the longer length, stereo unless both are
// mono. target may be w1 or w2.
OpResult MixWaves(Waveform& target, Waveform* w1, Waveform* w2, double a, double b, double c);

// Subtracts the mean of all samples (one mean over all channels).
OpResult RemoveDcOffset(Waveform& wave);

// Negates the range; reverses the frames of the range; exchanges left and
// right of a stereo wave.
OpResult InvertRange(Waveform& wave, const FrameRange* range);
OpResult ReverseRange(Waveform& wave, const FrameRange* range);
OpResult SwapChannels(Waveform& wave);

// Smoothing filters of "Smooth within the selection", rows 0 to 3.
OpResult SmoothRange(Waveform& wave, FrameRange range, int filter);

// The filter types of "Filter waveform" (the texts of the Filter type
// parameter).
enum FilterType : int {
    kFilterPassThru = 0,
    kFilterLowPass6,
    kFilterLowPass12,
    kFilterLowPass18,
    kFilterLowPass24,
    kFilterHighPass6,
    kFilterHighPass12,
    kFilterHighPass18,
    kFilterHighPass24,
    kFilterBandPass6,
    kFilterBandPass12,
    kFilterBandReject6,
    kFilterBandReject12,
    kFilterTypeCount
};
extern const char16_t* const kFilterTypeNames[kFilterTypeCount];

// Filters interleaved samples of 1 or 2 channels in place. relativeCutoff is
// the cutoff over the sample rate. No clamping.
void FilterRange(float* samples, uint32_t frames, int channels, int type, double relativeCutoff);

// The windowed loudness histogram. 50 ms windows, optionally weighted by a
// 128-tap equal-loudness FIR; the level that 5% of the windows exceed
// decides the gain.
class LoudnessAnalyzer {
  public:
    static constexpr int kBins = 12000;
    static constexpr int kTaps = 128;

    // Sets up for a stream; false (and "Out of memory") when the buffers
    // can't be had.
    bool prepare(int channels, double sampleRate, bool equalLoudness);
    // Interleaved frames of the prepared channel count.
    void feed(const float* samples, uint32_t frames);
    // Processes a tail of more than half a window, then computes result.
    float finish();

    // The gain in dB that the histogram asks for.
    float computeResult() const;
    void addHistogram(const LoudnessAnalyzer& other);

    const std::vector<uint32_t>& histogram() const { return histogram_; }
    const float* fir() const { return equalLoudness_ ? fir_ : nullptr; }
    float result = 0.0f;

    // The 128 taps of the equal-loudness curve for a sample rate.
    static void BuildEqualLoudnessFir(double sampleRate, float taps[kTaps]);

  private:
    void processWindow();

    int channels_ = 0;
    int windowLength_ = 0;
    int fill_ = 0;
    bool equalLoudness_ = false;
    std::vector<uint32_t> histogram_;
    std::vector<float> buffers_;  // channels_ x (windowLength_ + 128)
    std::vector<float> weighted_; // one window after the FIR
    float fir_[kTaps] = {};
};

// The gain in dB that brings a wave to the reference loudness; 0 for a wave
// too short for a window, and 0 with LastError set when the samples can't be
// read (ok reports which).
float LoudnessOfWave(Waveform& wave, bool equalLoudness, bool* ok = nullptr);
// All waves of the list as one recording; items that are not waves are
// skipped.
float LoudnessOfList(const std::vector<CollectionItem*>& items, bool equalLoudness, bool* ok = nullptr);

// Writable samples of a wave: null for a wave without frames or channels
// (empty set) or when the read fails (LastError set, empty clear).
float* WritableSamples(Waveform& wave, bool& empty);
// The range cut to the wave; false when it is empty.
bool ClipRange(const Waveform& wave, const FrameRange* range, uint32_t& start, uint32_t& end);

} // namespace vaxel
