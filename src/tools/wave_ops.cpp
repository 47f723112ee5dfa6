// The shared wave operations: level, channel layout, fades, mixing, DC,
// smoothing, the filters of "Filter waveform" and the loudness analysis.
//
// Every operation reads the wave once through the read path, decides whether
// anything would change, and only then takes the write path, so that a run
// without effect leaves the wave equal to its file. Loops work on the
// SampleBlock's own frame and channel counts, never on the wave's fields, so
// a wave whose fields disagree with its block can't send a loop past it.
#include "tools/wave_ops.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <numbers>
#include <string>

#include "model/collection.h"
#include "model/last_error.h"
#include "model/waveform.h"

namespace vaxel {

namespace {

constexpr double kDbToNeper = 0.115129255; // ln(10) / 20

float Clamp1(double x) {
    return float(x < -1.0 ? -1.0 : x > 1.0 ? 1.0 : x);
}

// The block of a wave through the read path. Null with empty set for a wave
// without samples; null with empty clear when the read failed.
SampleBlock* ReadBlock(Waveform& wave, bool& empty) {
    empty = false;
    if (wave.frames == 0 || wave.channels == 0) {
        empty = true;
        return nullptr;
    }
    ClearLastError();
    if (!wave.lockSamples()) {
        if (!*LastError()) SetLastError("Out of memory");
        return nullptr;
    }
    SampleBlock* block = wave.samples();
    if (!block || block->frames == 0 || block->channels == 0) {
        empty = true;
        return nullptr;
    }
    return block;
}

// Takes the write path: the wave stops being a copy of its file, and a block
// that another wave shares is copied first, so the other keeps its samples.
SampleBlock* MakeWritable(Waveform& wave) {
    if (!wave.lockSamplesForWrite()) return nullptr;
    SampleBlock* block = wave.samples();
    if (block && block->refCount.load(std::memory_order_acquire) > 1) {
        SampleBlock* own = SampleBlock::Allocate(block->frames, block->channels, block->sampleRate);
        if (!own) {
            SetLastError("Out of memory");
            return nullptr;
        }
        std::memcpy(own->data, block->data, block->sampleCount() * sizeof(float));
        wave.adoptSamples(own);
        block = own;
    }
    return block;
}

// Puts a freshly made block in place of the wave's samples.
void Replace(Waveform& wave, SampleBlock* block) {
    wave.adoptSamples(block);
    wave.frames = block->frames;
    wave.channels = block->channels;
    wave.decodeRoutine = nullptr;
}

std::u16string StripEnding(std::u16string name, size_t minLength, const char16_t* separators,
                           const char16_t* letters) {
    const size_t n = name.size();
    if (n > minLength && std::u16string_view(separators).find(name[n - 2]) != std::u16string_view::npos &&
        std::u16string_view(letters).find(name[n - 1]) != std::u16string_view::npos) {
        name.resize(n - 2);
        while (!name.empty() && name.back() == u' ') name.pop_back();
    }
    return name;
}

} // namespace

float* WritableSamples(Waveform& wave, bool& empty) {
    if (!ReadBlock(wave, empty)) return nullptr;
    SampleBlock* block = MakeWritable(wave);
    return block ? block->data : nullptr;
}

bool ClipRange(const Waveform& wave, const FrameRange* range, uint32_t& start, uint32_t& end) {
    const SampleBlock* block = wave.samples();
    const uint32_t frames = block ? block->frames : wave.frames;
    start = 0;
    end = frames;
    if (range) {
        end = std::min(range->end, frames);
        start = std::min(range->start, end);
    }
    return end > start;
}

// Reads the wave and clips the range to it: kOpChanged when there are
// frames to work on, kOpUnchanged for an empty wave or range, kOpFailed when
// the samples can't be read (LastError says why).
OpResult OpenRange(Waveform& wave, const FrameRange* range, uint32_t& start, uint32_t& end) {
    bool empty;
    if (!ReadBlock(wave, empty)) return empty ? kOpUnchanged : kOpFailed;
    return ClipRange(wave, range, start, end) ? kOpChanged : kOpUnchanged;
}

// ------------------------------------------------------------------ level

OpResult ApplyGain(Waveform& wave, const FrameRange* range, double db) {
    if (db == 0.0) return kOpUnchanged;
    uint32_t start, end;
    if (const OpResult opened = OpenRange(wave, range, start, end); opened != kOpChanged) return opened;
    SampleBlock* block = MakeWritable(wave);
    if (!block) return kOpFailed;
    const double factor = std::exp(db * kDbToNeper);
    float* p = block->data + size_t(start) * block->channels;
    float* const stop = block->data + size_t(end) * block->channels;
    for (; p != stop; ++p) *p = Clamp1(*p * factor);
    return kOpChanged;
}

OpResult MaximizeWave(Waveform& wave, int mode) {
    if (mode < 0 || mode > 2) {
        SetLastError("Invalid algorithm");
        return kOpFailed;
    }
    bool empty;
    SampleBlock* block = ReadBlock(wave, empty);
    if (!block) return empty ? kOpUnchanged : kOpFailed;
    const size_t count = block->sampleCount();
    const float* data = block->data;
    float lo = 1.0f, hi = -1.0f;
    double sum = 0.0;
    for (size_t i = 0; i < count; ++i) {
        const float x = data[i];
        lo = std::min(lo, x);
        hi = std::max(hi, x);
        sum += x;
    }
    double f = 1.0, o = 0.0;
    if (mode == 0) {
        if (hi == lo) return kOpUnchanged;
        f = 2.0 / (double(hi) - lo);
        o = 1.0 - f * hi;
    } else if (mode == 1) {
        const double peak = std::max(std::fabs(double(hi)), std::fabs(double(lo)));
        if (!(peak > 0.0)) return kOpUnchanged;
        f = 1.0 / peak;
    } else {
        const double mean = sum / double(count);
        const double q = std::max(std::fabs(hi - mean), std::fabs(lo - mean));
        // The comparison with the mean is how the mode has always decided; a
        // wave of one constant value (q 0) would divide by zero, so it is
        // left alone as well.
        if (q == mean || !(q > 0.0)) return kOpUnchanged;
        f = 1.0 / q;
        o = -mean / q;
    }
    if (f == 1.0 && o == 0.0) return kOpUnchanged;
    block = MakeWritable(wave);
    if (!block) return kOpFailed;
    float* p = block->data;
    if (o == 0.0) {
        for (size_t i = 0; i < count; ++i) p[i] = float(p[i] * f);
    } else {
        for (size_t i = 0; i < count; ++i) p[i] = float(p[i] * f + o);
    }
    return kOpChanged;
}

OpResult RemoveDcOffset(Waveform& wave) {
    bool empty;
    SampleBlock* block = ReadBlock(wave, empty);
    if (!block) return empty ? kOpUnchanged : kOpFailed;
    const size_t count = block->sampleCount();
    double sum = 0.0;
    for (size_t i = 0; i < count; ++i) sum += block->data[i];
    const double mean = sum / double(count);
    if (mean == 0.0) return kOpUnchanged;
    block = MakeWritable(wave);
    if (!block) return kOpFailed;
    for (size_t i = 0; i < count; ++i) block->data[i] = Clamp1(block->data[i] - mean);
    return kOpChanged;
}

// ---------------------------------------------------------- frame order

OpResult InvertRange(Waveform& wave, const FrameRange* range) {
    uint32_t start, end;
    if (const OpResult opened = OpenRange(wave, range, start, end); opened != kOpChanged) return opened;
    SampleBlock* block = MakeWritable(wave);
    if (!block) return kOpFailed;
    float* p = block->data + size_t(start) * block->channels;
    float* const stop = block->data + size_t(end) * block->channels;
    for (; p != stop; ++p) *p = -*p;
    return kOpChanged;
}

OpResult ReverseRange(Waveform& wave, const FrameRange* range) {
    uint32_t start, end;
    if (const OpResult opened = OpenRange(wave, range, start, end); opened != kOpChanged) return opened;
    if (end - start < 2) return kOpUnchanged;
    SampleBlock* block = MakeWritable(wave);
    if (!block) return kOpFailed;
    const size_t ch = block->channels;
    float* a = block->data + start * ch;
    float* b = block->data + (end - 1) * ch;
    for (; a < b; a += ch, b -= ch) std::swap_ranges(a, a + ch, b);
    return kOpChanged;
}

OpResult SwapChannels(Waveform& wave) {
    if (wave.channels != 2) return kOpUnchanged;
    bool empty;
    SampleBlock* block = ReadBlock(wave, empty);
    if (!block) return empty ? kOpUnchanged : kOpFailed;
    if (block->channels != 2) return kOpUnchanged;
    block = MakeWritable(wave);
    if (!block) return kOpFailed;
    float* p = block->data;
    for (uint32_t i = 0; i < block->frames; ++i, p += 2) std::swap(p[0], p[1]);
    return kOpChanged;
}

// ------------------------------------------------------------ channels

OpResult ToMono(Waveform& wave, int mode, Waveform** second) {
    if (second) *second = nullptr;
    if (wave.channels == 1) return kOpUnchanged;
    if (mode < 0 || mode > 4) {
        SetLastError("Invalid algorithm");
        return kOpFailed;
    }
    bool empty;
    SampleBlock* block = ReadBlock(wave, empty);
    if (!block) {
        if (!empty) return kOpFailed;
        // No samples: the layout alone changes.
        if (wave.frames == 0 && wave.channels > 1 && mode != 3 && mode != 4) {
            wave.releaseSamples();
            wave.channels = 1;
            return kOpChanged;
        }
        return kOpUnchanged;
    }
    const uint32_t frames = block->frames;
    const size_t ch = block->channels;
    if (ch < 2) {
        wave.channels = uint8_t(ch);
        return kOpUnchanged;
    }
    const float* src = block->data;
    if (mode == 4) {
        for (uint32_t i = 0; i < frames; ++i)
            if (src[i * ch] != src[i * ch + 1]) return kOpUnchanged;
        mode = 1;
    }
    if (mode == 3) {
        auto* clone = new (std::nothrow) Waveform(wave.collection(), wave, true);
        if (!clone || !clone->samples()) {
            delete clone;
            SetLastError("Out of memory");
            return kOpFailed;
        }
        if (ToMono(*clone, 2) == kOpFailed) {
            delete clone;
            return kOpFailed;
        }
        const std::u16string base = StripEnding(wave.name(), 2, u" -", u"sS");
        wave.setName((base + u" -L").c_str());
        clone->setName((base + u" -R").c_str());
        if (second) *second = clone;
        mode = 1;
    }
    SampleBlock* out = SampleBlock::Allocate(frames, 1, block->sampleRate);
    if (!out) {
        SetLastError("Out of memory");
        return kOpFailed;
    }
    float* dst = out->data;
    if (mode == 0) {
        for (uint32_t i = 0; i < frames; ++i) dst[i] = (src[i * ch] + src[i * ch + 1]) * 0.5f;
    } else {
        const size_t c = mode == 1 ? 0 : 1;
        for (uint32_t i = 0; i < frames; ++i) dst[i] = src[i * ch + c];
    }
    Replace(wave, out);
    return kOpChanged;
}

OpResult ToStereo(Waveform& wave, int mode, Waveform* second, bool adjustName) {
    if (wave.channels == 2) return kOpUnchanged;
    if (mode < 0 || mode > 4) {
        SetLastError("Invalid algorithm");
        return kOpFailed;
    }
    const float* other = nullptr;
    uint32_t otherFrames = 0;
    SampleBlock* otherBlock = nullptr;
    if (mode >= 3) {
        if (!second) {
            SetLastError("No 2nd waveform specified");
            return kOpFailed;
        }
        if (second->channels != 1) {
            SetLastError("2nd waveform is not mono");
            return kOpFailed;
        }
        bool empty;
        otherBlock = ReadBlock(*second, empty);
        if (!otherBlock && !empty) return kOpFailed;
        if (otherBlock) {
            if (otherBlock->channels != 1) {
                SetLastError("2nd waveform is not mono");
                return kOpFailed;
            }
            other = otherBlock->data;
            otherFrames = otherBlock->frames;
        }
    }
    bool empty;
    SampleBlock* block = ReadBlock(wave, empty);
    if (!block && !empty) return kOpFailed;
    const float* own = block ? block->data : nullptr;
    const uint32_t ownFrames = block ? block->frames : 0;
    const size_t ownCh = block ? block->channels : 1;
    const uint32_t frames = mode >= 3 ? std::max(ownFrames, otherFrames) : ownFrames;
    if (frames == 0) {
        // Nothing to lay out: only the shape changes.
        wave.releaseSamples();
        wave.frames = 0;
        wave.channels = 2;
        return kOpChanged;
    }
    // Keeps the second wave's block alive even if it is this wave's own.
    if (otherBlock) otherBlock->addRef();
    SampleBlock* out = SampleBlock::Allocate(frames, 2, float(wave.sampleRate));
    if (!out) {
        if (otherBlock) otherBlock->release();
        SetLastError("Out of memory");
        return kOpFailed;
    }
    float* dst = out->data;
    for (uint32_t i = 0; i < frames; ++i, dst += 2) {
        const float x = i < ownFrames ? own[i * ownCh] : 0.0f;
        switch (mode) {
        case 0:
            dst[0] = dst[1] = x;
            break;
        case 1:
            dst[0] = x, dst[1] = 0.0f;
            break;
        case 2:
            dst[0] = 0.0f, dst[1] = x;
            break;
        default: {
            const float y = i < otherFrames ? other[i] : 0.0f;
            dst[0] = mode == 3 ? x : y;
            dst[1] = mode == 3 ? y : x;
        }
        }
    }
    if (otherBlock) otherBlock->release();
    Replace(wave, out);
    if (mode >= 3) {
        wave.bitsPerSample = std::max(wave.bitsPerSample, second->bitsPerSample);
        wave.rootKey = uint8_t((unsigned(wave.rootKey) + second->rootKey) >> 1);
        if (adjustName) wave.setName(StripEnding(wave.name(), 3, u"-", u"LRlr").c_str());
    }
    return kOpChanged;
}

// ----------------------------------------------------------- fades, mix

OpResult FadeRange(Waveform& wave, FrameRange range, int mode) {
    if (mode < 0 || mode > 3) {
        SetLastError("Invalid algorithm");
        return kOpFailed;
    }
    uint32_t start, end;
    if (const OpResult opened = OpenRange(wave, &range, start, end); opened != kOpChanged) return opened;
    SampleBlock* block = MakeWritable(wave);
    if (!block) return kOpFailed;
    const uint32_t n = end - start;
    const size_t ch = block->channels;
    const double d = 1.0 / (double(n) + 1.0);
    const float df = float(d);
    float* p = block->data + size_t(start) * ch;
    for (uint32_t j = 0; j < n; ++j, p += ch) {
        float g;
        switch (mode) {
        case 0:
            g = float((j + 1) * d);
            break;
        case 1:
            g = 1.0f - std::log10(1.0f + 9.0f * float(n - j) * df);
            break;
        case 2:
            g = float((n - j) * d);
            break;
        default:
            g = 1.0f - std::log10(1.0f + 9.0f * float(j + 1) * df);
            break;
        }
        for (size_t c = 0; c < ch; ++c) p[c] = Clamp1(p[c] * g);
    }
    return kOpChanged;
}

OpResult MixWaves(Waveform& target, Waveform* w1, Waveform* w2, double a, double b, double c) {
    if (!w1 || !w2) {
        SetLastError("A null wave was supplied");
        return kOpFailed;
    }
    bool empty1, empty2;
    SampleBlock* b1 = ReadBlock(*w1, empty1);
    if (!b1 && !empty1) return kOpFailed;
    SampleBlock* b2 = ReadBlock(*w2, empty2);
    if (!b2 && !empty2) return kOpFailed;
    const uint32_t n1 = b1 ? b1->frames : 0, n2 = b2 ? b2->frames : 0;
    const size_t c1 = b1 ? b1->channels : w1->channels, c2 = b2 ? b2->channels : w2->channels;
    const uint32_t frames = std::max(n1, n2);
    if (frames == 0) {
        SetLastError("The waves to mix hold no samples");
        return kOpFailed;
    }
    const int outCh = (c1 <= 1 && c2 <= 1) ? 1 : 2;
    SampleBlock* out = SampleBlock::Allocate(frames, uint8_t(outCh), float(target.sampleRate));
    if (!out) {
        SetLastError("Out of memory");
        return kOpFailed;
    }
    float* dst = out->data;
    for (uint32_t i = 0; i < frames; ++i) {
        for (int ch = 0; ch < outCh; ++ch) {
            // A mono source feeds both channels; past its end it gives 0.
            const double s1 = i < n1 ? b1->data[i * c1 + (c1 > 1 ? size_t(ch) : 0)] : 0.0;
            const double s2 = i < n2 ? b2->data[i * c2 + (c2 > 1 ? size_t(ch) : 0)] : 0.0;
            *dst++ = Clamp1(float(a * s1 + b * s2 + c));
        }
    }
    const uint8_t bits = std::max(w1->bitsPerSample, w2->bitsPerSample);
    const uint8_t root = uint8_t((unsigned(w1->rootKey) + w2->rootKey) >> 1);
    const int8_t fine = int8_t((int(w1->fineTune) + w2->fineTune) / 2);
    // The sources are read; only now may the target (possibly one of them)
    // let its old block go.
    Replace(target, out);
    target.bitsPerSample = bits;
    target.rootKey = root;
    target.fineTune = fine;
    return kOpChanged;
}

// -------------------------------------------------------------- smoothing

OpResult SmoothRange(Waveform& wave, FrameRange range, int filter) {
    if (filter < 0 || filter > 3) {
        SetLastError("Invalid algorithm");
        return kOpFailed;
    }
    uint32_t start, end;
    if (const OpResult opened = OpenRange(wave, &range, start, end); opened != kOpChanged) return opened;
    const uint32_t r = end - start;
    // The two centred filters leave the section's ends alone.
    if (filter <= 1 && r < 3) return kOpUnchanged;
    SampleBlock* block = MakeWritable(wave);
    if (!block) return kOpFailed;
    const size_t ch = block->channels;
    for (size_t c = 0; c < ch; ++c) {
        // x[i] is frame start + i of channel c. The block keeps a zero frame
        // ahead of the data and three behind it, so x[-1] and x[r] are
        // readable at the wave's ends.
        float* x = block->data + size_t(start) * ch + c;
        auto at = [&](ptrdiff_t i) -> float& { return x[i * ptrdiff_t(ch)]; };
        switch (filter) {
        case 0:
        case 1: {
            const float outer = filter == 0 ? 0.25f : 0.5f;
            const float inner = filter == 0 ? 0.5f : 0.0f;
            float previous = at(0);
            for (uint32_t i = 1; i + 1 < r; ++i) {
                const float current = at(i);
                at(i) = (previous + at(i + 1)) * outer + current * inner;
                previous = current;
            }
            break;
        }
        case 2:
            for (uint32_t i = 0; i < r; ++i) at(i) = (at(i) + at(ptrdiff_t(i) + 1)) * 0.5f;
            break;
        default:
            for (ptrdiff_t i = ptrdiff_t(r) - 1; i >= 0; --i) at(i) = (at(i) + at(i - 1)) * 0.5f;
            break;
        }
    }
    return kOpChanged;
}

// ---------------------------------------------------------------- filters

const char16_t* const kFilterTypeNames[kFilterTypeCount] = {u"Pass-thru",
                                                            u"Low-Pass 6 dB/oct",
                                                            u"Low-Pass 12 dB/oct",
                                                            u"Low-Pass 18 dB/oct",
                                                            u"Low-Pass 24 dB/oct",
                                                            u"High-Pass 6 dB/oct",
                                                            u"High-Pass 12 dB/oct",
                                                            u"High-Pass 18 dB/oct",
                                                            u"High-Pass 24 dB/oct",
                                                            u"Band-Pass 6 dB/oct",
                                                            u"Band-Pass 12 dB/oct",
                                                            u"Band-Reject 6 dB/oct",
                                                            u"Band-Reject 12 dB/oct"};

namespace {

// First-order section: y[n] = a0 x[n] + a1 x[n-1] + e y[n-1].
struct OnePole {
    double a0 = 0, a1 = 0, e = 0, x1 = 0, y1 = 0;
    OnePole(double cutoff, bool highPass) {
        e = std::exp(-2.0 * std::numbers::pi * std::min(cutoff, 0.5));
        if (highPass) {
            a0 = (1.0 + e) * 0.5;
            a1 = -a0;
        } else {
            a0 = 1.0 - e;
        }
    }
    double run(double x) {
        const double y = a0 * x + a1 * x1 + e * y1;
        x1 = x;
        y1 = y;
        return y;
    }
};

enum SvfOutput { kSvfLow, kSvfHigh, kSvfBand, kSvfNotch };

// The state-variable section in its twice-oversampled form, with no
// resonance (q = 1). The order of the four updates is the design: band is
// taken from the previous pass when low is updated.
struct StateVariable {
    double f = 0, d = 0, low = 0, band = 0;
    explicit StateVariable(double cutoff) {
        const double g = std::min(cutoff, 0.5);
        f = 2.0 * std::sin(g * std::numbers::pi / 2.0);
        d = std::min(2.0 - f, 1.0);
    }
    double run(double x, SvfOutput output) {
        double notch = 0, high = 0;
        for (int pass = 0; pass < 2; ++pass) {
            low += f * band;
            notch = x - d * band;
            high = notch - low;
            band += f * high;
        }
        switch (output) {
        case kSvfLow:
            return low;
        case kSvfHigh:
            return high;
        case kSvfBand:
            return band;
        default:
            return notch;
        }
    }
};

// The sections of one filter type for one channel.
struct FilterChain {
    int type;
    OnePole low, high;
    StateVariable first, second;
    FilterChain(int t, double cutoff)
        : type(t), low(cutoff, false), high(cutoff, true), first(cutoff), second(cutoff) {}
    double run(double x) {
        switch (type) {
        case kFilterLowPass6:
            return low.run(x);
        case kFilterLowPass12:
            return first.run(x, kSvfLow);
        case kFilterLowPass18:
            return first.run(low.run(x), kSvfLow);
        case kFilterLowPass24:
            return second.run(first.run(x, kSvfLow), kSvfLow);
        case kFilterHighPass6:
            return high.run(x);
        case kFilterHighPass12:
            return first.run(x, kSvfHigh);
        case kFilterHighPass18:
            return first.run(high.run(x), kSvfHigh);
        case kFilterHighPass24:
            return second.run(first.run(x, kSvfHigh), kSvfHigh);
        case kFilterBandPass6:
            return first.run(x, kSvfBand);
        case kFilterBandPass12:
            return second.run(first.run(x, kSvfBand), kSvfBand);
        case kFilterBandReject6:
            return first.run(x, kSvfNotch);
        default:
            return second.run(first.run(x, kSvfNotch), kSvfNotch);
        }
    }
};

} // namespace

void FilterRange(float* samples, uint32_t frames, int channels, int type, double relativeCutoff) {
    if (!samples || frames == 0 || channels <= 0 || type <= kFilterPassThru || type >= kFilterTypeCount)
        return;
    if (!(relativeCutoff >= 0.0)) relativeCutoff = 0.0;
    // The channels run side by side, frame by frame: each one's recursion is
    // a chain of dependent steps, and two chains at once keep the processor
    // busy while either waits.
    std::vector<FilterChain> chains(size_t(channels), FilterChain(type, relativeCutoff));
    float* p = samples;
    for (uint32_t i = 0; i < frames; ++i) {
        for (int c = 0; c < channels; ++c, ++p) {
            double y = chains[size_t(c)].run(double(*p));
            // Decaying states would otherwise turn denormal on silent tails.
            if (std::fabs(y) < 1e-30) y = 0.0;
            *p = float(y);
        }
    }
}

// --------------------------------------------------------------- loudness

namespace {

struct CurvePoint {
    double hz, db;
};
// The equal-loudness curve the FIR follows.
constexpr CurvePoint kCurve[] = {
    {0, 120},   {20, 113},    {30, 103},   {40, 97},     {50, 93},     {60, 91},     {70, 89},
    {80, 87},   {90, 86},     {100, 85},   {200, 78},    {300, 76},    {400, 76},    {500, 76},
    {600, 76},  {700, 77},    {800, 78},   {900, 79.5},  {1000, 80},   {1500, 79},   {2000, 77},
    {2500, 74}, {3000, 71.5}, {3700, 70},  {4000, 70.5}, {5000, 74},   {6000, 79},   {7000, 84},
    {8000, 86}, {9000, 86},   {10000, 85}, {12000, 95},  {15000, 110}, {20000, 125}, {24000, 140}};

double CurveLevel(double hz) {
    if (hz >= 24000.0) return 140.0;
    if (hz <= 0.0) return kCurve[0].db;
    for (size_t i = 1; i < std::size(kCurve); ++i) {
        if (hz <= kCurve[i].hz) {
            const CurvePoint& a = kCurve[i - 1];
            const CurvePoint& b = kCurve[i];
            return a.db + (b.db - a.db) * (hz - a.hz) / (b.hz - a.hz);
        }
    }
    return 140.0;
}

constexpr int kHistory = 64; // floats ahead of window position 0

} // namespace

void LoudnessAnalyzer::BuildEqualLoudnessFir(double sampleRate, float taps[kTaps]) {
    double magnitude[64];
    for (int i = 0; i < 64; ++i) {
        const double hz = i * (sampleRate * 0.007936508);
        magnitude[i] = std::exp((70.0 - CurveLevel(hz)) * kDbToNeper);
    }
    for (int n = 0; n < 64; ++n) {
        const double w = (n + 0.5) * std::numbers::pi / 64.0;
        double h = 0.5 * magnitude[0];
        for (int k = 1; k < 64; ++k) h += ((k & 1) ? -1.0 : 1.0) * magnitude[k] * std::cos(k * w);
        h /= 64.0;
        taps[n] = taps[127 - n] = float(h);
    }
}

bool LoudnessAnalyzer::prepare(int channels, double sampleRate, bool equalLoudness) {
    channels_ = std::max(channels, 1);
    windowLength_ = std::max(1, int(std::trunc(sampleRate * 0.05 + 0.5)));
    fill_ = 0;
    equalLoudness_ = equalLoudness;
    result = 0.0f;
    try {
        histogram_.assign(kBins, 0);
        buffers_.assign(size_t(channels_) * size_t(windowLength_ + 128), 0.0f);
        weighted_.assign(equalLoudness ? size_t(windowLength_) : 0, 0.0f);
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        return false;
    }
    if (equalLoudness) BuildEqualLoudnessFir(sampleRate, fir_);
    return true;
}

void LoudnessAnalyzer::feed(const float* samples, uint32_t frames) {
    if (buffers_.empty()) return;
    const size_t stride = size_t(windowLength_) + 128;
    for (uint32_t i = 0; i < frames; ++i) {
        float* slot = buffers_.data() + kHistory + fill_;
        for (int c = 0; c < channels_; ++c) slot[c * stride] = *samples++;
        if (++fill_ == windowLength_ + kHistory) processWindow();
    }
}

namespace {

// Four floats for the tap loop; GCC and Clang lower this to the target's
// vector registers without any flag.
typedef float Float4 __attribute__((vector_size(16)));

Float4 Load4(const float* p) {
    Float4 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

void Store4(float* p, Float4 v) {
    std::memcpy(p, &v, sizeof v);
}

} // namespace

void LoudnessAnalyzer::processWindow() {
    const size_t stride = size_t(windowLength_) + 128;
    const int n = windowLength_;
    double sum = 0.0;
    for (int c = 0; c < channels_; ++c) {
        float* buffer = buffers_.data() + c * stride;
        if (equalLoudness_) {
            // Position i is the dot product of the taps with buffer i ..
            // i+127. It is built tap by tap over the whole window, so every
            // position still adds its 128 products in tap order, in single
            // precision, while four positions go at a time.
            float* y = weighted_.data();
            std::fill(y, y + n, 0.0f);
            // Four taps per sweep keep y in a register between them; the
            // products are still added one tap after the other.
            for (int k = 0; k < kTaps; k += 4) {
                const float f0 = fir_[k], f1 = fir_[k + 1], f2 = fir_[k + 2], f3 = fir_[k + 3];
                const Float4 g0 = {f0, f0, f0, f0}, g1 = {f1, f1, f1, f1}, g2 = {f2, f2, f2, f2},
                             g3 = {f3, f3, f3, f3};
                const float* x = buffer + k;
                int i = 0;
                for (; i + 4 <= n; i += 4) {
                    Float4 v = Load4(y + i);
                    v += g0 * Load4(x + i);
                    v += g1 * Load4(x + i + 1);
                    v += g2 * Load4(x + i + 2);
                    v += g3 * Load4(x + i + 3);
                    Store4(y + i, v);
                }
                for (; i < n; ++i) {
                    float v = y[i];
                    v += f0 * x[i];
                    v += f1 * x[i + 1];
                    v += f2 * x[i + 2];
                    v += f3 * x[i + 3];
                    y[i] = v;
                }
            }
            for (int i = 0; i < n; ++i) sum += double(y[i]) * double(y[i]);
        } else {
            for (int i = 0; i < n; ++i) {
                const double v = buffer[kHistory + i];
                sum += v * v;
            }
        }
        // The last 128 floats become the history and look-ahead of the next
        // window.
        std::memmove(buffer, buffer + n, 128 * sizeof(float));
    }
    double mean = sum / (double(n) * channels_);
    if (mean < 1e-37) mean = 1e-37;
    const int bin = std::clamp(int(std::trunc(-1000.0 * std::log10(mean))), 0, kBins - 1);
    ++histogram_[size_t(bin)];
    fill_ = kHistory;
}

float LoudnessAnalyzer::finish() {
    if (!buffers_.empty() && fill_ > windowLength_ / 2.0) {
        const size_t stride = size_t(windowLength_) + 128;
        for (int c = 0; c < channels_; ++c) {
            float* buffer = buffers_.data() + c * stride;
            std::fill(buffer + kHistory + fill_, buffer + stride, 0.0f);
        }
        processWindow();
    }
    result = computeResult();
    return result;
}

void LoudnessAnalyzer::addHistogram(const LoudnessAnalyzer& other) {
    if (histogram_.size() != size_t(kBins)) histogram_.assign(kBins, 0);
    for (size_t k = 0; k < other.histogram_.size() && k < histogram_.size(); ++k)
        histogram_[k] += other.histogram_[k];
}

float LoudnessAnalyzer::computeResult() const {
    uint64_t total = 0;
    for (uint32_t c : histogram_) total += c;
    if (total == 0) return 0.0f;
    int64_t r = int64_t(double(total) * 0.050000000000000044 + 0.5);
    int k = kBins;
    for (int bin = 0; bin < int(histogram_.size()); ++bin) {
        const int64_t c = histogram_[size_t(bin)];
        if (c == 0) continue;
        if (r - c < 1) {
            k = c - r > r ? bin - 1 : bin;
            break;
        }
        r -= c;
    }
    return float(0.01 * k + (equalLoudness_ ? -31.49 : -21.26));
}

namespace {

bool Analyze(Waveform& wave, bool equalLoudness, LoudnessAnalyzer& analyzer) {
    if (!analyzer.prepare(wave.channels, wave.sampleRate, equalLoudness)) return false;
    bool empty;
    SampleBlock* block = ReadBlock(wave, empty);
    if (!block) {
        if (!empty) return false;
        analyzer.finish();
        return true;
    }
    if (block->channels != wave.channels &&
        !analyzer.prepare(block->channels, wave.sampleRate, equalLoudness))
        return false;
    analyzer.feed(block->data, block->frames);
    analyzer.finish();
    return true;
}

} // namespace

float LoudnessOfWave(Waveform& wave, bool equalLoudness, bool* ok) {
    LoudnessAnalyzer analyzer;
    const bool good = Analyze(wave, equalLoudness, analyzer);
    if (ok) *ok = good;
    return good ? analyzer.result : 0.0f;
}

float LoudnessOfList(const std::vector<CollectionItem*>& items, bool equalLoudness, bool* ok) {
    LoudnessAnalyzer total;
    bool good = total.prepare(1, 1000.0, equalLoudness);
    for (CollectionItem* item : items) {
        if (!good) break;
        if (!item || item->type() != ItemType::Waveform) continue;
        LoudnessAnalyzer one;
        good = Analyze(*static_cast<Waveform*>(item), equalLoudness, one);
        if (good) total.addHistogram(one);
    }
    if (ok) *ok = good;
    return good ? total.computeResult() : 0.0f;
}

} // namespace vaxel
