// The sample codings: their names and widths, the coding word of a wave, the
// generic decoder and encoder over a file, the choice of a coding and of the
// channels for a save, and the preparation of the wave a writer writes from.
// The per-sample conversions live in coding_convert.cpp.
#include "fileio/sample_coding.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "fileio/coding_convert.h"
#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "model/collection.h"
#include "model/decode_ids.h"
#include "model/last_error.h"
#include "model/status_line.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel {

// ---------------------------------------------------------------- tables

namespace {

const char16_t* const kDataCodingNames[kDataCodingCount] = {
    u"PCM 8-bit",       u"PCM 12-bit",       u"PCM 16-bit",   u"PCM 20-bit",   u"PCM 24-bit",
    u"PCM 32-bit",      u"Float 32-bit",     u"Float 64-bit", u"Mu-law 8-bit", u"A-law 8-bit",
    u"GSM 2-bit",       u"ADPCM 2-bit",      u"ADPCM 3-bit",  u"ADPCM 4-bit",  u"ADPCM 5-bit",
    u"Delta PCM 8-bit", u"Delta PCM 16-bit", u"Compressed",   u"Ascii text",   u"MIDI",
};

constexpr uint8_t kDataCodingBits[kDataCodingCount] = {8, 12, 16, 20, 24, 32, 32, 64, 8, 8,
                                                       2, 2,  3,  4,  5,  8,  16, 1,  8, 0};

const char16_t* const kSampleCodingNames[kSampleCodingCount] = {
    u"PCM 8-bit",
    u"PCM 16-bit",
    u"PCM 24-bit",
    u"PCM 32-bit",
    u"Float 32-bit",
    u"Mu-law 8-bit",
    u"A-law 8-bit",
    u"ADPCM 4-bit",
    u"Compressed 32 kbit/s",
    u"Compressed 48 kbit/s",
    u"Compressed 64 kbit/s",
    u"Compressed 80 kbit/s",
    u"Compressed 96 kbit/s",
    u"Compressed 112 kbit/s",
    u"Compressed 128 kbit/s",
    u"Compressed 144 kbit/s",
    u"Compressed 160 kbit/s",
    u"Compressed 192 kbit/s",
    u"Compressed 224 kbit/s",
    u"Compressed 256 kbit/s",
    u"Compressed 320 kbit/s",
    u"Default",
};

constexpr int kFirstCompressed = 8;
constexpr int kCompressedRates[13] = {32, 48, 64, 80, 96, 112, 128, 144, 160, 192, 224, 256, 320};
// The DataCoding of SampleCodings 0 to 7.
constexpr int kPlainDataCodings[8] = {kPcm8, kPcm16, kPcm24, kPcm32, kFloat32, kMuLaw, kALaw, kAdpcm4};
// "No coding": what "Default" maps to.
constexpr int kNoDataCoding = 20;
// The rate a compressed save falls back to when none was asked for.
constexpr int kDefaultRate = 256;

// Pieces of the generic decoder and encoder: an even number of samples, so
// that the packed forms stay on whole bytes, and about a megabyte of data.
constexpr size_t kPieceSamples = size_t(1) << 18;

} // namespace

const char16_t* DataCodingName(int coding) {
    return coding >= 0 && coding < kDataCodingCount ? kDataCodingNames[coding] : u"";
}

int DataCodingBits(int coding) {
    return coding >= 0 && coding < kDataCodingCount ? kDataCodingBits[coding] : 0;
}

int CodingOfWord(uint32_t dataCodingWord) {
    const uint32_t codings = dataCodingWord & kMaskCodings;
    return codings ? std::countr_zero(codings) : -1;
}

const char16_t* SampleCodingName(int sampleCoding) {
    return sampleCoding >= 0 && sampleCoding < kSampleCodingCount ? kSampleCodingNames[sampleCoding] : u"";
}

int DataCodingOf(int sampleCoding) {
    if (sampleCoding >= 0 && sampleCoding < kFirstCompressed) return kPlainDataCodings[sampleCoding];
    if (sampleCoding >= kFirstCompressed && sampleCoding <= 20) return kCompressed;
    return kNoDataCoding;
}

int BitRateOf(int sampleCoding) {
    if (sampleCoding >= kFirstCompressed && sampleCoding <= 20)
        return kCompressedRates[sampleCoding - kFirstCompressed];
    return 0;
}

int SampleCodingOfData(int dataCoding) {
    switch (dataCoding) {
    case kPcm8:
    case kDelta8:
        return 0;
    case kPcm12:
    case kPcm16:
    case kDelta16:
        return 1;
    case kPcm20:
    case kPcm24:
        return 2;
    case kPcm32:
        return 3;
    case kFloat32:
    case kFloat64:
        return 4;
    case kMuLaw:
        return 5;
    case kALaw:
        return 6;
    default:
        return -1;
    }
}

int SampleCodingForBitRate(float kbps) {
    // Upper limits between the selectable rates, after rounding.
    static constexpr int kBelow[12] = {40, 56, 72, 88, 104, 120, 136, 152, 176, 208, 240, 288};
    const double rounded = std::nearbyint(double(kbps));
    for (int i = 0; i < 12; ++i)
        if (rounded < kBelow[i]) return kFirstCompressed + i;
    return 20;
}

int FindSampleCoding(const char16_t* name) {
    if (!name) return -1;
    const std::u16string_view text(name);
    for (int i = 0; i < kSampleCodingCount; ++i)
        if (EqualsIgnoreCase(text, kSampleCodingNames[i])) return i;
    // A DataCoding name counts when it is exactly what a SampleCoding stands
    // for; plain "Compressed" means the default rate.
    for (int c = 0; c < kDataCodingCount; ++c) {
        if (!EqualsIgnoreCase(text, kDataCodingNames[c])) continue;
        if (c == kCompressed) return SampleCodingForBitRate(float(kDefaultRate));
        for (int i = 0; i < kFirstCompressed; ++i)
            if (kPlainDataCodings[i] == c) return i;
        return -1;
    }
    return -1;
}

// ---------------------------------------------------------------- the coding word

int SetSampleFormat(Waveform& wave, int dataCoding, uint32_t flags) {
    if (dataCoding < 0 || dataCoding >= kDataCodingCount) return 0;
    // Flat images and state files name the routine by its number; the
    // registry refuses nothing when the same routine comes again.
    RegisterDecodeRoutine(decode_id::kGeneric, &GenericDecode);
    wave.decodeRoutine = &GenericDecode;
    const int sampleCoding = SampleCodingOfData(dataCoding);
    if (sampleCoding >= 0) wave.preferredCoding = uint8_t(sampleCoding);
    wave.dataCodingWord = (1u << dataCoding) | (flags & ~kMaskCodings);
    wave.bitsPerSample = kDataCodingBits[dataCoding];
    return wave.bitsPerSample;
}

int SetPcmBits(Waveform& wave, int bitsPerSample, uint32_t flags) {
    int coding = kPcm32;
    if (bitsPerSample < 9)
        coding = kPcm8;
    else if (bitsPerSample < 17)
        coding = kPcm16;
    else if (bitsPerSample < 25)
        coding = kPcm24;
    return SetSampleFormat(wave, coding, flags);
}

// ---------------------------------------------------------------- decoding

namespace {

bool Fail(const char* message) {
    SetLastError(message);
    return false;
}

template <class T> std::unique_ptr<T[]> TryAllocate(size_t count) {
    return std::unique_ptr<T[]>(new (std::nothrow) T[count]);
}

// The sample bytes as one stream: the first part at the file's position and,
// for split stereo with a second-channel offset, the rest at that offset.
class SampleStream {
  public:
    SampleStream(FileObject& file, uint64_t firstBytes, uint64_t secondOffset)
        : file_(file), firstLeft_(firstBytes), secondOffset_(secondOffset) {}

    bool read(uint8_t* dest, uint64_t count) {
        if (firstLeft_ > 0) {
            const uint64_t part = std::min(count, firstLeft_);
            if (!file_.ReadBig(dest, part)) return false;
            firstLeft_ -= part;
            dest += part;
            count -= part;
            if (count == 0) return true;
        }
        if (!inSecond_) {
            if (!file_.Seek(secondOffset_)) return false;
            inSecond_ = true;
        }
        return file_.ReadBig(dest, count);
    }

  private:
    FileObject& file_;
    uint64_t firstLeft_;
    uint64_t secondOffset_;
    bool inSecond_ = false;
};

} // namespace

int GenericDecode(Waveform& wave, FileObject& file, bool showProgress) {
    if (wave.frames == 0) return Fail("Zero length");
    if (wave.channels == 0) return Fail("No channels");
    if (wave.channels > 2) return Fail("Too many channels");
    const uint32_t word = wave.dataCodingWord;
    const int coding = CodingOfWord(word);
    if (coding < 0 || coding > kDelta16 || (coding >= kGsm && coding <= kAdpcm5))
        return Fail("Invalid format for generic import function!");

    const uint64_t samples = uint64_t(wave.frames) * wave.channels;
    const uint64_t bytes = coding::StreamBytes(coding, samples);
    const bool split = wave.channels == 2 && (word & kCodingSplitStereo);
    const bool secondPart = split && wave.readerWide != 0;

    // A header may claim any length: the data must be in the file before
    // anything is allocated for it.
    const uint64_t position = file.Tell();
    const uint64_t size = file.Size();
    const uint64_t firstBytes = secondPart ? bytes / 2 : bytes;
    auto fits = [size](uint64_t at, uint64_t count) { return at <= size && count <= size - at; };
    if (!fits(position, firstBytes) || (secondPart && !fits(wave.readerWide, bytes - firstBytes)))
        return Fail("Reading from file failed");

    float* out = wave.allocateSamples();
    if (!out) return Fail("Out of memory");

    SampleStream stream(file, firstBytes, wave.readerWide);
    ProgressMeter meter(bytes, showProgress);
    const int width = kDataCodingBits[coding] / 8;
    const bool swap = (word & kCodingSwapped) && coding != kPcm12 && coding != kPcm20 && width > 1;
    uint64_t doneBytes = 0;

    // The 32-bit forms are read into the block and converted where they lie.
    if (!split && width == 4) {
        auto* raw = reinterpret_cast<uint8_t*>(out);
        for (uint64_t done = 0; done < samples;) {
            const size_t n = size_t(std::min<uint64_t>(kPieceSamples, samples - done));
            uint8_t* at = raw + done * 4;
            if (!stream.read(at, uint64_t(n) * 4)) return Fail("Reading from file failed");
            if (swap) coding::SwapUnits(at, n, 4);
            coding::DecodeInPlace32(at, n, coding, word);
            done += n;
            meter.step(done * 4);
        }
        return 1;
    }

    const size_t pieceSamples = size_t(std::min<uint64_t>(kPieceSamples, samples));
    auto buffer = TryAllocate<uint8_t>(size_t(coding::StreamBytes(coding, pieceSamples)));
    std::unique_ptr<float[]> scratch;
    if (split) scratch = TryAllocate<float>(pieceSamples);
    if (!buffer || (split && !scratch)) return Fail("Out of memory");

    coding::StreamState state;
    const uint64_t frames = wave.frames;
    for (uint64_t done = 0; done < samples;) {
        const size_t n = size_t(std::min<uint64_t>(pieceSamples, samples - done));
        // done is even, so the piece starts on a whole byte.
        const uint64_t pieceBytes = coding::StreamBytes(coding, n);
        if (!stream.read(buffer.get(), pieceBytes)) return Fail("Reading from file failed");
        if (swap) coding::SwapUnits(buffer.get(), n, width);
        if (!split) {
            coding::DecodeRun(buffer.get(), n, coding, word, out + done, state);
        } else {
            // The stream holds all left samples, then all right ones.
            coding::DecodeRun(buffer.get(), n, coding, word, scratch.get(), state);
            for (size_t k = 0; k < n; ++k) {
                const uint64_t index = done + k;
                if (index < frames)
                    out[2 * index] = scratch[k];
                else
                    out[2 * (index - frames) + 1] = scratch[k];
            }
        }
        done += n;
        doneBytes += pieceBytes;
        meter.step(doneBytes);
    }
    return 1;
}

void DecodeToFloat(const uint8_t* raw, size_t sampleCount, int dataCoding, uint32_t flags, float* out) {
    const int width = DataCodingBits(dataCoding) / 8;
    const bool swap = (flags & kCodingSwapped) && dataCoding != kPcm12 && dataCoding != kPcm20 && width > 1 &&
                      DataCodingBits(dataCoding) % 8 == 0;
    coding::StreamState state;
    if (!swap) {
        coding::DecodeRun(raw, sampleCount, dataCoding, flags, out, state);
        return;
    }
    // The raw data is the caller's: put each piece in order in a small
    // buffer first.
    uint8_t piece[4096];
    const size_t perPiece = sizeof piece / size_t(width);
    for (size_t done = 0; done < sampleCount;) {
        const size_t n = std::min(perPiece, sampleCount - done);
        std::memcpy(piece, raw + done * size_t(width), n * size_t(width));
        coding::SwapUnits(piece, n, width);
        coding::DecodeRun(piece, n, dataCoding, flags, out + done, state);
        done += n;
    }
}

// ---------------------------------------------------------------- encoding

int EncodedWidth(int dataCoding) {
    switch (dataCoding) {
    case kPcm8:
    case kMuLaw:
    case kALaw:
    case kDelta8:
        return 1;
    case kPcm16:
    case kDelta16:
        return 2;
    case kPcm24:
        return 3;
    case kPcm32:
    case kFloat32:
        return 4;
    case kFloat64:
        return 8;
    default:
        return 0;
    }
}

void EncodeFromFloat(const float* samples, size_t sampleCount, int dataCoding, uint32_t flags, uint8_t* out) {
    coding::StreamState state;
    coding::EncodeRun(samples, sampleCount, dataCoding, flags, out, state);
    const int width = EncodedWidth(dataCoding);
    if ((flags & kCodingSwapped) && width > 1) coding::SwapUnits(out, sampleCount, width);
}

int GenericEncode(FileObject& file, CollectionItem& item, int dataCoding, int channelsWanted,
                  uint32_t flags) {
    const char* const kCannotSave = "The file format can not save this item";
    if (item.type() != ItemType::Waveform) return Fail(kCannotSave);
    const uint32_t mask = channelsWanted == 1 ? kMaskMono : channelsWanted == 2 ? kMaskStereo : 0;
    bool isTemporary = false;
    Waveform* wave = PrepareWave(item, mask, 0, isTemporary);
    if (!wave) return Fail(kCannotSave);
    std::unique_ptr<Waveform> temporary(isTemporary ? wave : nullptr);

    const int width = EncodedWidth(dataCoding);
    if (width == 0) return Fail("Invalid data format");
    if (!file.IsOpen()) return Fail("Could not create file");
    const float* data = wave->lockSamples();
    if (!data) return Fail("Could not lock wave data");
    const SampleBlock& block = *wave->samples();
    const size_t channels = block.channels;
    const size_t frames = block.frames;
    const bool swap = (flags & kCodingSwapped) && width != 1;
    const bool split = (flags & kCodingSplitStereo) && channels > 1;

    if (dataCoding == kFloat32 && !swap && !split && !(flags & kCodingUnsigned) &&
        std::endian::native == std::endian::little) {
        if (!file.WriteBig(data, uint64_t(block.sampleCount()) * 4)) return Fail("Writing to file failed");
        return 1;
    }

    // Whole frames to a piece; a split save goes over the data once for each
    // channel and keeps that channel's values, so that the running difference
    // of the delta forms still runs across the interleaved values.
    const size_t pieceFrames = std::max<size_t>(1, kPieceSamples / channels);
    const size_t pieceSamples = pieceFrames * channels;
    auto buffer = TryAllocate<uint8_t>(pieceSamples * size_t(width));
    std::unique_ptr<uint8_t[]> picked;
    if (split) picked = TryAllocate<uint8_t>(pieceFrames * size_t(width));
    if (!buffer || (split && !picked)) return Fail("Out of memory");

    const size_t passes = split ? channels : 1;
    ProgressMeter progress(uint64_t(frames) * passes, frames > 250000);
    for (size_t pass = 0; pass < passes; ++pass) {
        coding::StreamState state;
        for (size_t done = 0; done < frames;) {
            progress.step(uint64_t(pass) * frames + done);
            const size_t n = std::min(pieceFrames, frames - done);
            const size_t count = n * channels;
            coding::EncodeRun(data + done * channels, count, dataCoding, flags, buffer.get(), state);
            if (swap) coding::SwapUnits(buffer.get(), count, width);
            const uint8_t* out = buffer.get();
            size_t outBytes = count * size_t(width);
            if (split) {
                const size_t w = size_t(width);
                for (size_t k = 0; k < n; ++k)
                    std::memcpy(&picked[k * w], &buffer[(k * channels + pass) * w], w);
                out = picked.get();
                outBytes = n * w;
            }
            if (!file.WriteBig(out, outBytes)) return Fail("Writing to file failed");
            done += n;
        }
    }
    return 1;
}

// ---------------------------------------------------------------- choosing

int ChooseCoding(const Waveform& wave, uint32_t codingMask, float* rate, BitRateList rateList,
                 uint32_t rateParam) {
    const uint32_t allowed = codingMask & kMaskCodings;
    const float asked = rate ? *rate : 0.0f;
    const int source = DataCodingOf(wave.preferredCoding);
    const int sourceRate = BitRateOf(wave.preferredCoding);
    auto allows = [allowed](int coding) {
        return coding >= 0 && coding < kDataCodingCount && (allowed >> coding) & 1;
    };

    int chosen = -1;
    float wanted = asked;
    if (allows(source) && (source != kCompressed || asked == 0.0f || asked == float(sourceRate))) {
        chosen = source;
        wanted = float(sourceRate);
    } else if (std::has_single_bit(allowed)) {
        chosen = std::countr_zero(allowed);
    } else {
        if (source >= kPcm8 && source <= kFloat64)
            for (int c = source + 1; c <= kFloat64 && chosen < 0; ++c)
                if (allows(c)) chosen = c;
        if (chosen < 0 && allows(kPcm16)) chosen = kPcm16;
        if (chosen < 0) {
            if (allows(kDelta16) && source == kPcm16)
                chosen = kDelta16;
            else if (allows(kDelta8) && source == kPcm8)
                chosen = kDelta8;
            else if (allows(kCompressed))
                chosen = kCompressed;
        }
        if (chosen < 0 && allowed) chosen = std::countr_zero(allowed);
    }

    float result = 0.0f;
    if (chosen == kCompressed) {
        if (wanted <= 0.0f) wanted = float(kDefaultRate);
        result = wanted;
        if (rateList) {
            // The first selectable rate not below the wanted one; past the
            // end of the list, its last rate.
            int last = 0;
            for (int i = 0;; ++i) {
                const int r = rateList(i, rateParam, nullptr);
                if (r <= 0) {
                    if (last > 0) result = float(last);
                    break;
                }
                last = r;
                if (float(r) >= wanted) {
                    result = float(r);
                    break;
                }
            }
        }
    }
    if (rate) *rate = result;
    return chosen;
}

int ChannelsFor(int channels, uint32_t mask) {
    if (mask & kMaskDualMono) mask |= kMaskStereo;
    if (channels == 1) return (mask & kMaskMono) ? 1 : 2;
    return (mask & kMaskStereo) ? 2 : 1;
}

int ChannelsFor(const Waveform& wave, uint32_t mask) {
    return ChannelsFor(wave.channels, mask);
}

// ---------------------------------------------------------------- preparing

namespace {
std::atomic<ResampleHook> gResampler{nullptr};

// Channel conversion with the averaging algorithm: down to mono the channels
// are averaged (for stereo (L + R) x 0.5), up to stereo a mono channel is
// duplicated; a wider wave to stereo keeps its first two channels.
bool ConvertChannels(Waveform& copy, const SampleBlock& from, int wanted) {
    const size_t inChannels = from.channels;
    copy.channels = uint8_t(wanted);
    copy.frames = from.frames;
    float* out = copy.allocateSamples();
    if (!out) return Fail("Out of memory");
    const float* in = from.data;
    const size_t frames = from.frames;
    if (wanted == 1 && inChannels == 2) {
        for (size_t i = 0; i < frames; ++i) out[i] = (in[2 * i] + in[2 * i + 1]) * 0.5f;
    } else if (wanted == 1) {
        const float scale = 1.0f / float(inChannels);
        for (size_t i = 0; i < frames; ++i) {
            float sum = 0.0f;
            for (size_t c = 0; c < inChannels; ++c) sum += in[i * inChannels + c];
            out[i] = sum * scale;
        }
    } else if (inChannels == 1) {
        for (size_t i = 0; i < frames; ++i) out[2 * i] = out[2 * i + 1] = in[i];
    } else {
        for (size_t i = 0; i < frames; ++i) {
            out[2 * i] = in[i * inChannels];
            out[2 * i + 1] = in[i * inChannels + 1];
        }
    }
    return true;
}
} // namespace

void SetResampleHook(ResampleHook hook) {
    gResampler.store(hook);
}

Waveform* PrepareWave(CollectionItem& item, uint32_t mask, uint32_t sampleRate, bool& isTemporary) {
    isTemporary = false;
    if (item.type() != ItemType::Waveform) return nullptr;
    auto& wave = static_cast<Waveform&>(item);
    if (!wave.lockSamples()) return nullptr;
    const SampleBlock& block = *wave.samples();
    const int channels = mask ? ChannelsFor(block.channels, mask) : block.channels;
    const uint32_t rate = sampleRate ? sampleRate : wave.sampleRate;
    if (channels == block.channels && rate == wave.sampleRate) return &wave;

    ResampleHook resample = gResampler.load();
    if (rate != wave.sampleRate && !resample) {
        SetLastError("Changing the sample rate needs the resampler, which this program does not have");
        return nullptr;
    }
    std::unique_ptr<Waveform> copy;
    try {
        copy.reset(new Waveform(wave.collection(), wave, channels == block.channels));
    } catch (const std::bad_alloc&) {
        Fail("Out of memory");
        return nullptr;
    }
    // The copy is a temporary: it belongs to nobody, and its block is its
    // only source.
    copy->parentId = kNoItem;
    copy->decodeRoutine = nullptr;
    if (channels != block.channels && !ConvertChannels(*copy, block, channels)) return nullptr;
    if (!copy->hasSamples()) return nullptr;
    if (rate != wave.sampleRate && !resample(*copy, rate, 8)) return nullptr;
    isTemporary = true;
    return copy.release();
}

} // namespace vaxel
