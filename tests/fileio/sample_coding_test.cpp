// Sample codings: the conversions at their edges, the packed layouts, the
// generic decoder over a file (pieces, split stereo, refusals, the guard
// against lengths the file does not hold), the generic encoder, the choice of
// a coding and the preparation of a wave for a save. libsndfile is the
// outside reference for every coding it knows.
#include "fileio/sample_coding.h"

#include <cmath>
#include <cstring>
#include <random>
#include <sndfile.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "model/collection.h"
#include "model/decode_ids.h"
#include "model/last_error.h"
#include "model/status_line.h"
#include "model/text.h"
#include "model/waveform.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

std::string Error() {
    return LastErrorUtf8();
}

// A file in memory that a FileObject can read and write.
class MemFile {
  public:
    explicit MemFile(const std::vector<uint8_t>& bytes = {}) {
        fd_ = memfd_create("coding-test", 0);
        if (!bytes.empty()) {
            EXPECT_EQ(::write(fd_, bytes.data(), bytes.size()), ssize_t(bytes.size()));
        }
        file_ = std::make_unique<FileObject>(fd_);
        file_->Seek(0);
    }
    ~MemFile() {
        file_.reset();
        ::close(fd_);
    }
    FileObject& file() { return *file_; }
    std::vector<uint8_t> contents() {
        std::vector<uint8_t> out(file_->Size());
        if (!out.empty()) {
            EXPECT_EQ(::pread(fd_, out.data(), out.size(), 0), ssize_t(out.size()));
        }
        return out;
    }

  private:
    int fd_ = -1;
    std::unique_ptr<FileObject> file_;
};

Waveform* MakeWave(Collection& c, int channels, uint32_t frames, int coding, uint32_t flags) {
    auto* w = new Waveform(c, kNewSerial, u"wave");
    w->channels = uint8_t(channels);
    w->frames = frames;
    SetSampleFormat(*w, coding, flags);
    return w;
}

std::vector<float> Samples(const Waveform& w) {
    const SampleBlock* b = w.samples();
    if (!b) return {};
    return std::vector<float>(b->data, b->data + b->sampleCount());
}

std::vector<uint8_t> RandomBytes(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> out(n);
    for (auto& b : out) b = uint8_t(rng());
    return out;
}

// Decodes bytes as one wave through GenericDecode.
std::vector<float> DecodeFile(const std::vector<uint8_t>& bytes, int channels, uint32_t frames, int coding,
                              uint32_t flags, uint64_t start = 0, uint64_t secondOffset = 0) {
    Collection c;
    Waveform* w = MakeWave(c, channels, frames, coding, flags);
    w->readerWide = secondOffset;
    MemFile m(bytes);
    m.file().Seek(start);
    EXPECT_EQ(GenericDecode(*w, m.file(), false), 1) << Error();
    return Samples(*w);
}

std::vector<uint8_t> Encode(const std::vector<float>& in, int coding, uint32_t flags) {
    std::vector<uint8_t> out(in.size() * size_t(EncodedWidth(coding)));
    EncodeFromFloat(in.data(), in.size(), coding, flags, out.data());
    return out;
}

float Decode1(std::vector<uint8_t> raw, int coding, uint32_t flags = 0) {
    float f = -99.0f;
    DecodeToFloat(raw.data(), 1, coding, flags, &f);
    return f;
}

// ---------------------------------------------------------------- tables

TEST(SampleCodingNames, FindsTheUsersCodingsAndBitRates) {
    EXPECT_EQ(FindSampleCoding(u"pcm 24-BIT"), 2);
    EXPECT_EQ(FindSampleCoding(u"Compressed 128 kbit/s"), 14);
    EXPECT_EQ(FindSampleCoding(u"Compressed"), 19); // the default 256 kbit/s
    EXPECT_EQ(FindSampleCoding(u"PCM 12-bit"), -1); // a coding no save can choose
    EXPECT_EQ(FindSampleCoding(u"PCM 24"), -1);
    EXPECT_EQ(SampleCodingForBitRate(39.4f), 8);
    EXPECT_EQ(SampleCodingForBitRate(39.6f), 9); // rounds to 40
    EXPECT_EQ(SampleCodingForBitRate(288.0f), 20);
    EXPECT_EQ(CodingOfWord(kCodingSplitStereo | (1u << kPcm24) | (1u << kPcm32)), kPcm24);
}

TEST(SampleCodingWord, SetSampleFormatInstallsTheGenericDecoderUnderItsStableNumber) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"w");
    EXPECT_EQ(SetSampleFormat(*w, kDelta16, kCodingSwapped), 16);
    EXPECT_EQ(w->dataCodingWord, (1u << kDelta16) | kCodingSwapped);
    EXPECT_EQ(w->preferredCoding, 1);
    EXPECT_EQ(w->decodeRoutine, &GenericDecode);
    EXPECT_EQ(DecodeRoutineById(decode_id::kGeneric), &GenericDecode);
    EXPECT_EQ(DecodeRoutineId(w->decodeRoutine), decode_id::kGeneric);

    // Padded 12 and 20-bit data goes through as 16 and 24 bits.
    EXPECT_EQ(SetPcmBits(*w, 12, 0), 16);
    EXPECT_EQ(SetPcmBits(*w, 20, kCodingUnsigned), 24);
    EXPECT_EQ(w->dataCodingWord, (1u << kPcm24) | kCodingUnsigned);
    EXPECT_EQ(w->preferredCoding, 2);
    EXPECT_EQ(SetPcmBits(*w, 25, 0), 32);
}

// ---------------------------------------------------------------- conversions

TEST(SampleConversion, FullScaleEncodesToTheEndsOfEveryWidth) {
    auto le = [](const std::vector<uint8_t>& b, size_t at, int width) {
        int64_t v = 0;
        for (int i = width - 1; i >= 0; --i) v = v << 8 | b[at + size_t(i)];
        const int64_t sign = int64_t(1) << (8 * width - 1);
        return (v ^ sign) - sign;
    };
    const std::vector<float> ends = {1.0f, -1.0f, 2.5f, -7.0f, INFINITY, -INFINITY};
    struct Case {
        int coding, width;
        int64_t max;
    };
    for (Case k : {Case{kPcm8, 1, 127}, Case{kPcm16, 2, 32767}, Case{kPcm24, 3, 8388607},
                   Case{kPcm32, 4, 2147483647}}) {
        auto raw = Encode(ends, k.coding, 0);
        for (size_t i = 0; i < ends.size(); ++i)
            EXPECT_EQ(le(raw, i * size_t(k.width), k.width), ends[i] > 0 ? k.max : -k.max - 1)
                << "coding " << k.coding << " value " << ends[i];
        // Unsigned is the signed value moved up by half the range.
        auto u = Encode({1.0f, -1.0f, 0.0f}, k.coding, kCodingUnsigned);
        EXPECT_EQ(u[size_t(k.width) - 1], 0xFF);
        EXPECT_EQ(u[2 * size_t(k.width) - 1], 0x00);
        EXPECT_EQ(u[3 * size_t(k.width) - 1], 0x80);
    }
    // A NaN must not reach an undefined conversion; it clamps like a very
    // negative value.
    EXPECT_EQ(Encode({NAN}, kPcm16, 0), (std::vector<uint8_t>{0x00, 0x80}));
}

TEST(SampleConversion, UnsignedBytesDecodeFromMinusOneToJustBelowOne) {
    EXPECT_EQ(Decode1({0}, kPcm8, kCodingUnsigned), -1.0f);
    EXPECT_EQ(Decode1({128}, kPcm8, kCodingUnsigned), 0.0f);
    EXPECT_EQ(Decode1({255}, kPcm8, kCodingUnsigned), 127.0f / 128.0f);
    EXPECT_EQ(Decode1({0x80}, kPcm8), -1.0f);
    EXPECT_EQ(Decode1({0x00, 0x00}, kPcm16, kCodingUnsigned), -1.0f);
    EXPECT_EQ(Decode1({0x00, 0x00, 0x80}, kPcm24, kCodingUnsigned), 0.0f);
    EXPECT_EQ(Decode1({0x00, 0x00, 0x00}, kPcm24, kCodingUnsigned), -1.0f);
    EXPECT_EQ(Decode1({0xFF, 0xFF, 0xFF, 0xFF}, kPcm32, kCodingUnsigned), 1.0f); // rounds up in float
    EXPECT_EQ(Decode1({0x00, 0x00, 0x00, 0x80}, kPcm32), -1.0f);
    EXPECT_EQ(Decode1({0x01, 0x00, 0x00}, kPcm24), 1.1920929e-7f);
}

TEST(SampleConversion, TwentyFourBitsTruncateWhereSixteenBitsRound) {
    const float step16 = 1.0f / 32768.0f, step24 = 1.0f / 8388608.0f;
    auto s16 = [](float x) { return int16_t(Encode({x}, kPcm16, 0)[0] | Encode({x}, kPcm16, 0)[1] << 8); };
    auto s24 = [](float x) {
        auto b = Encode({x}, kPcm24, 0);
        return int32_t(uint32_t(b[0]) << 8 | uint32_t(b[1]) << 16 | uint32_t(b[2]) << 24) >> 8;
    };
    EXPECT_EQ(s16(0.49f * step16), 0);
    EXPECT_EQ(s16(0.51f * step16), 1);
    EXPECT_EQ(s16(-0.49f * step16), 0);
    EXPECT_EQ(s16(-0.51f * step16), -1);
    EXPECT_EQ(s24(0.49f * step24), 0);
    EXPECT_EQ(s24(0.99f * step24), 0);
    EXPECT_EQ(s24(-0.49f * step24), -1);
    EXPECT_EQ(s24(-0.01f * step24), -1);
    EXPECT_EQ(s24(5.0f * step24), 5);
}

TEST(SampleConversion, G711FollowsTheStandardTablesAndTheUnbiasedMuLawEncoder) {
    // Decoding: the values of ITU-T G.711 at 16 bits.
    EXPECT_EQ(Decode1({0xD5}, kALaw) * 32768.0f, 8.0f);
    EXPECT_EQ(Decode1({0x55}, kALaw) * 32768.0f, -8.0f);
    EXPECT_EQ(Decode1({0xAA}, kALaw) * 32768.0f, 32256.0f);
    EXPECT_EQ(Decode1({0x2A}, kALaw) * 32768.0f, -32256.0f);
    EXPECT_EQ(Decode1({0xFF}, kMuLaw), 0.0f);
    EXPECT_EQ(Decode1({0x80}, kMuLaw) * 32768.0f, 32124.0f);
    EXPECT_EQ(Decode1({0x00}, kMuLaw) * 32768.0f, -32124.0f);
    EXPECT_EQ(Decode1({0xF0}, kMuLaw) * 32768.0f, 120.0f);

    // A-law: every code comes back from its own decoded value.
    for (int code = 0; code < 256; ++code)
        EXPECT_EQ(Encode({Decode1({uint8_t(code)}, kALaw)}, kALaw, 0)[0], code) << code;

    // Mu-law without the bias: zero and minus one sit at the two zeros, and
    // the segment comes from the plain magnitude.
    auto mu = [](int s) { return Encode({float(s) / 32768.0f}, kMuLaw, 0)[0]; };
    EXPECT_EQ(mu(0), 0xFF);
    EXPECT_EQ(mu(-1), 0x7F);
    EXPECT_EQ(mu(32767), 0x80);
    EXPECT_EQ(mu(-32768), 0x00);
    EXPECT_EQ(mu(255), 0xFF ^ 15);   // segment 0: 255 >> 3 = 31, & 15
    EXPECT_EQ(mu(256), 0xFF ^ 0x10); // segment 1, mantissa 0
    EXPECT_EQ(mu(-300), 0x7F ^ (0x10 | (299 >> 4 & 15)));
    // Every code of the decoder's table encodes to itself or the step below.
    for (int code = 0; code < 256; ++code) {
        const float x = Decode1({uint8_t(code)}, kMuLaw);
        const float back = Decode1({Encode({x}, kMuLaw, 0)[0]}, kMuLaw);
        EXPECT_LE(std::fabs(back), std::fabs(x)) << code;
    }
}

TEST(SampleConversion, TheUnsignedFlagChangesOnlyPlainPcm) {
    std::vector<float> in;
    for (int i = -40; i <= 40; ++i) in.push_back(float(i) / 37.0f);
    for (int coding : {kALaw, kMuLaw, kDelta8, kDelta16})
        EXPECT_EQ(Encode(in, coding, kCodingUnsigned), Encode(in, coding, 0)) << coding;
    EXPECT_NE(Encode(in, kPcm16, kCodingUnsigned), Encode(in, kPcm16, 0));
}

TEST(SampleConversion, PackedTwelveAndTwentyBitLayouts) {
    const std::vector<uint8_t> three = {0x21, 0x43, 0x65};
    float out[2];
    DecodeToFloat(three.data(), 2, kPcm12, 0, out);
    EXPECT_EQ(out[0], float(0x3210) / 32768.0f);
    EXPECT_EQ(out[1], float(0x6540) / 32768.0f);
    DecodeToFloat(three.data(), 2, kPcm12, kCodingSwapped, out);
    EXPECT_EQ(out[0], float(0x2140) / 32768.0f);
    EXPECT_EQ(out[1], float(0x3650) / 32768.0f);
    DecodeToFloat(three.data(), 2, kPcm12, kCodingUnsigned, out);
    EXPECT_EQ(out[0], float(0x3210 - 0x8000) / 32768.0f);

    const std::vector<uint8_t> five = {0x21, 0x43, 0x65, 0x87, 0xA9};
    DecodeToFloat(five.data(), 2, kPcm20, 0, out);
    EXPECT_EQ(out[0], float(0x54321) / 524288.0f);
    EXPECT_EQ(out[1], float(0xA9876 - 0x100000) / 524288.0f);
    DecodeToFloat(five.data(), 2, kPcm20, kCodingSwapped, out);
    EXPECT_EQ(out[0], float(0x21436) / 524288.0f);
    EXPECT_EQ(out[1], float(0x587A9) / 524288.0f);
}

// ---------------------------------------------------------------- the decoder

// The decoder works in pieces of a quarter of a million samples; across the
// cuts it must give what one pass over the buffer gives, for every coding.
TEST(GenericDecodeFile, MatchesOnePassOverTheBufferAcrossPieces) {
    const uint32_t frames = 300001; // odd, and more than one piece per channel
    for (int coding :
         {kPcm8, kPcm12, kPcm16, kPcm20, kPcm24, kPcm32, kFloat64, kMuLaw, kALaw, kDelta8, kDelta16}) {
        for (uint32_t flags : {0u, kCodingUnsigned, kCodingSwapped}) {
            for (int channels : {1, 2}) {
                const uint64_t samples = uint64_t(frames) * uint32_t(channels);
                const size_t bytes = size_t((uint64_t(DataCodingBits(coding)) * samples + 7) / 8);
                auto raw = RandomBytes(bytes + 7, uint32_t(coding * 100 + channels));
                std::vector<float> expected(samples);
                DecodeToFloat(raw.data() + 7, samples, coding, flags, expected.data());
                auto got = DecodeFile(raw, channels, frames, coding, flags, 7);
                ASSERT_EQ(got.size(), expected.size());
                ASSERT_EQ(std::memcmp(got.data(), expected.data(), got.size() * 4), 0)
                    << "coding " << coding << " flags " << flags << " channels " << channels;
            }
        }
    }
}

TEST(GenericDecodeFile, SplitStereoTakesLeftThenRightAndSeeksForTheSecondHalf) {
    // 12-bit stereo of 3 frames: 9 bytes, an odd count. The first half is the
    // lower half, 4 bytes at the position; the other 5 lie at the offset.
    auto stream = RandomBytes(9, 5);
    std::vector<float> flat(6);
    DecodeToFloat(stream.data(), 6, kPcm12, 0, flat.data());
    const std::vector<float> want = {flat[0], flat[3], flat[1], flat[4], flat[2], flat[5]};

    std::vector<uint8_t> file(40, 0xEE);
    std::copy(stream.begin(), stream.begin() + 4, file.begin() + 3);
    std::copy(stream.begin() + 4, stream.end(), file.begin() + 20);
    EXPECT_EQ(DecodeFile(file, 2, 3, kPcm12, kCodingSplitStereo, 3, 20), want);

    // Without an offset the halves follow each other.
    std::vector<uint8_t> together(stream);
    EXPECT_EQ(DecodeFile(together, 2, 3, kPcm12, kCodingSplitStereo), want);

    // Across pieces, in a 32-bit coding that otherwise converts in place.
    const uint32_t frames = 200000;
    auto big = RandomBytes(size_t(frames) * 8, 9);
    std::vector<float> all(size_t(frames) * 2);
    DecodeToFloat(big.data(), all.size(), kPcm32, 0, all.data());
    auto got = DecodeFile(big, 2, frames, kPcm32, kCodingSplitStereo);
    ASSERT_EQ(got.size(), all.size());
    for (size_t i = 0; i < frames; i += 997) {
        ASSERT_EQ(got[2 * i], all[i]);
        ASSERT_EQ(got[2 * i + 1], all[frames + i]);
    }

    // The flag means nothing to a mono wave.
    auto mono = RandomBytes(10, 3);
    EXPECT_EQ(DecodeFile(mono, 1, 5, kPcm16, kCodingSplitStereo), DecodeFile(mono, 1, 5, kPcm16, 0));
}

TEST(GenericDecodeFile, RefusesWhatItCannotDecodeWithTheSpecifiedWords) {
    Collection c;
    MemFile m(RandomBytes(64, 1));
    struct Case {
        int channels;
        uint32_t frames;
        uint32_t word;
        const char* message;
    };
    for (Case k : {Case{3, 4, 1u << kPcm16, "Too many channels"}, Case{0, 4, 1u << kPcm16, "No channels"},
                   Case{1, 0, 1u << kPcm16, "Zero length"},
                   Case{1, 4, 1u << kAdpcm4, "Invalid format for generic import function!"},
                   Case{1, 4, 1u << kGsm, "Invalid format for generic import function!"},
                   Case{1, 4, 1u << kCompressed, "Invalid format for generic import function!"},
                   Case{1, 4, kCodingUnsigned, "Invalid format for generic import function!"}}) {
        auto* w = new Waveform(c, kNewSerial, u"w");
        w->channels = uint8_t(k.channels);
        w->frames = k.frames;
        w->dataCodingWord = k.word;
        m.file().Seek(0);
        EXPECT_EQ(GenericDecode(*w, m.file(), false), 0);
        EXPECT_EQ(Error(), k.message);
        EXPECT_FALSE(w->hasSamples());
    }
}

TEST(GenericDecodeFile, ALengthBeyondTheFileFailsBeforeAnythingIsAllocated) {
    Collection c;
    MemFile m(RandomBytes(1000, 2));
    // Four thousand million stereo float frames would be 32 GB.
    Waveform* w = MakeWave(c, 2, 0xFFFFFFFFu, kFloat32, 0);
    EXPECT_EQ(GenericDecode(*w, m.file(), false), 0);
    EXPECT_EQ(Error(), "Reading from file failed");
    EXPECT_FALSE(w->hasSamples());

    // One byte short, from a position inside the file.
    Waveform* v = MakeWave(c, 1, 500, kPcm16, 0);
    m.file().Seek(1);
    EXPECT_EQ(GenericDecode(*v, m.file(), false), 0);
    EXPECT_EQ(Error(), "Reading from file failed");
    m.file().Seek(0);
    EXPECT_EQ(GenericDecode(*v, m.file(), false), 1);

    // A second half that would lie past the end.
    Waveform* s = MakeWave(c, 2, 100, kPcm16, kCodingSplitStereo);
    s->readerWide = 801;
    m.file().Seek(0);
    EXPECT_EQ(GenericDecode(*s, m.file(), false), 0);
    s->readerWide = 800;
    m.file().Seek(0);
    EXPECT_EQ(GenericDecode(*s, m.file(), false), 1) << Error();
}

class ProgressRecorder : public StatusLine {
  public:
    void status(std::u16string_view, int) override {}
    void progress(double fraction) override { fractions.push_back(fraction); }
    std::vector<double> fractions;
};

TEST(GenericDecodeFile, ReportsProgressOnlyWhenAsked) {
    ProgressRecorder recorder;
    StatusLine* old = SetStatusLine(&recorder);
    Collection c;
    MemFile m(RandomBytes(3000000, 4));
    Waveform* w = MakeWave(c, 1, 1000000, kPcm24, 0);
    EXPECT_EQ(GenericDecode(*w, m.file(), false), 1);
    EXPECT_TRUE(recorder.fractions.empty());
    m.file().Seek(0);
    EXPECT_EQ(GenericDecode(*w, m.file(), true), 1);
    SetStatusLine(old);
    ASSERT_GE(recorder.fractions.size(), 3u);
    EXPECT_EQ(recorder.fractions.back(), 1.0);
    EXPECT_TRUE(std::is_sorted(recorder.fractions.begin(), recorder.fractions.end()));
}

// ---------------------------------------------------------------- the encoder

TEST(GenericEncodeFile, DeltaRunsAcrossInterleavedChannelsBothWays) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"st");
    w->channels = 2;
    w->frames = 3;
    float* d = w->allocateSamples();
    const float values[6] = {0.5f, -0.25f, 0.75f, 0.0f, -1.0f, 0.125f};
    std::copy(values, values + 6, d);
    MemFile m;
    ASSERT_EQ(GenericEncode(m.file(), *w, kDelta8, 0, 0), 1) << Error();
    // Signed 8-bit values 64, -32, 96, 0, -128, 16 and their differences.
    EXPECT_EQ(m.contents(), (std::vector<uint8_t>{64, uint8_t(-96), 128, uint8_t(-96), uint8_t(-128), 144}));
    auto back = DecodeFile(m.contents(), 2, 3, kDelta8, 0);
    EXPECT_EQ(back, std::vector<float>(values, values + 6));
}

TEST(GenericEncodeFile, SplitSwapsAndWritesEachChannelAsABlock) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"st");
    w->channels = 2;
    w->frames = 300000; // more than one piece
    float* d = w->allocateSamples();
    for (size_t i = 0; i < 600000; ++i) d[i] = float(int(i % 50000) - 25000) / 32768.0f;
    MemFile m;
    ASSERT_EQ(GenericEncode(m.file(), *w, kPcm16, 0, kCodingSplitStereo | kCodingSwapped), 1) << Error();
    auto bytes = m.contents();
    ASSERT_EQ(bytes.size(), 1200000u);
    for (size_t i : {size_t(0), size_t(1), size_t(262143), size_t(299999)}) {
        const int16_t left = int16_t(bytes[2 * i] << 8 | bytes[2 * i + 1]);
        const int16_t right = int16_t(bytes[600000 + 2 * i] << 8 | bytes[600000 + 2 * i + 1]);
        EXPECT_EQ(left, int(2 * i % 50000) - 25000);
        EXPECT_EQ(right, int((2 * i + 1) % 50000) - 25000);
    }
    auto back = DecodeFile(bytes, 2, 300000, kPcm16, kCodingSplitStereo | kCodingSwapped);
    EXPECT_EQ(back, Samples(*w));
}

TEST(GenericEncodeFile, ConvertsChannelsAndRefusesWithTheSpecifiedWords) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"st");
    w->channels = 2;
    w->frames = 2;
    float* d = w->allocateSamples();
    const float v[4] = {0.5f, 0.25f, -1.0f, 1.0f};
    std::copy(v, v + 4, d);
    {
        MemFile m;
        ASSERT_EQ(GenericEncode(m.file(), *w, kFloat32, 1, 0), 1);
        auto bytes = m.contents();
        ASSERT_EQ(bytes.size(), 8u);
        float mono[2];
        std::memcpy(mono, bytes.data(), 8);
        EXPECT_EQ(mono[0], 0.375f);
        EXPECT_EQ(mono[1], 0.0f);
    }
    {
        MemFile m; // the float shortcut writes the block as it stands
        ASSERT_EQ(GenericEncode(m.file(), *w, kFloat32, 0, 0), 1);
        EXPECT_EQ(std::memcmp(m.contents().data(), v, 16), 0);
    }
    const size_t before = c.size();
    MemFile m;
    EXPECT_EQ(GenericEncode(m.file(), *w, kPcm12, 0, 0), 0);
    EXPECT_EQ(Error(), "Invalid data format");
    EXPECT_EQ(GenericEncode(m.file(), *w, kAdpcm4, 1, 0), 0); // after making a mono copy
    EXPECT_EQ(Error(), "Invalid data format");
    EXPECT_EQ(c.size(), before) << "a temporary wave was left behind";
    EXPECT_EQ(GenericEncode(m.file(), c, kPcm16, 0, 0), 0);
    EXPECT_EQ(Error(), "The file format can not save this item");
    FileObject closed;
    EXPECT_EQ(GenericEncode(closed, *w, kPcm16, 0, 0), 0);
    EXPECT_EQ(Error(), "Could not create file");
    auto* empty = new Waveform(c, kNewSerial, u"empty");
    EXPECT_EQ(GenericEncode(m.file(), *empty, kPcm16, 0, 0), 0);
    EXPECT_EQ(Error(), "The file format can not save this item");
}

// ---------------------------------------------------------------- choosing and preparing

int Choose(int preferred, uint32_t mask, float* rate = nullptr, BitRateList list = nullptr) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->preferredCoding = uint8_t(preferred);
    float r = 0.0f;
    return ChooseCoding(*w, mask, rate ? rate : &r, list);
}

int ThreeRates(int index, uint32_t, char16_t*) {
    static const int kRates[] = {32, 64, 128};
    return index < 3 ? kRates[index] : 0;
}

TEST(ChooseCodingForSave, FollowsTheEightSteps) {
    const uint32_t pcm8 = 1u << kPcm8, pcm16 = 1u << kPcm16, pcm24 = 1u << kPcm24, f32 = 1u << kFloat32;
    const uint32_t d8 = 1u << kDelta8, d16 = 1u << kDelta16, comp = 1u << kCompressed;
    EXPECT_EQ(Choose(2, pcm8 | pcm16 | pcm24 | kMaskMono), kPcm24); // the source's coding stands
    EXPECT_EQ(Choose(2, f32 | kMaskStereo), kFloat32);              // the only one
    EXPECT_EQ(Choose(1, pcm8 | pcm24 | f32), kPcm24);               // next higher, not 8 bits
    EXPECT_EQ(Choose(2, pcm8 | pcm16), kPcm16);                     // 24 bits where only 8, 16
    EXPECT_EQ(Choose(3, pcm8 | f32), kFloat32);
    EXPECT_EQ(Choose(1, pcm8 | d16), kDelta16);
    EXPECT_EQ(Choose(0, (1u << kMuLaw) | d8), kDelta8);
    EXPECT_EQ(Choose(5, pcm8 | d8), kPcm8); // mu-law: the lowest
    EXPECT_EQ(Choose(kCodingDefault, pcm8 | pcm16), kPcm16);
    EXPECT_EQ(Choose(kCodingDefault, pcm8 | (1u << kMuLaw)), kPcm8);

    // Compressed: the source's rate stands unless another was asked for;
    // otherwise the list's first rate not below the wanted one, or its last.
    float rate = 0.0f;
    EXPECT_EQ(Choose(14, pcm16 | comp, &rate), kCompressed);
    EXPECT_EQ(rate, 128.0f);
    rate = 50.0f;
    EXPECT_EQ(Choose(1, pcm8 | comp | (1u << kALaw), &rate, ThreeRates), kCompressed);
    EXPECT_EQ(rate, 64.0f);
    rate = 0.0f; // counts as 256, past the list's end
    EXPECT_EQ(Choose(1, pcm8 | comp | (1u << kALaw), &rate, ThreeRates), kCompressed);
    EXPECT_EQ(rate, 128.0f);
    rate = 96.0f;
    EXPECT_EQ(Choose(16, pcm8 | comp, &rate), kCompressed);
    EXPECT_EQ(rate, 96.0f);
    rate = 64.0f;
    EXPECT_EQ(Choose(1, pcm16 | comp, &rate), kPcm16);
    EXPECT_EQ(rate, 0.0f);
}

bool HalveRate(Waveform& wave, uint32_t rate, int quality) {
    EXPECT_EQ(quality, 8);
    wave.frames /= 2;
    wave.sampleRate = rate;
    return wave.allocateSamples() != nullptr;
}

TEST(PrepareWaveForSave, ConvertsChannelsOnACopyThatKeepsTheMarkers) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"st");
    w->channels = 2;
    w->frames = 2;
    float* d = w->allocateSamples();
    const float v[4] = {0.5f, 0.25f, -1.0f, 1.0f};
    std::copy(v, v + 4, d);
    w->addMarker(1, u"here");

    bool temporary = true;
    EXPECT_EQ(PrepareWave(*w, kMaskStereo, 0, temporary), w);
    EXPECT_FALSE(temporary);
    EXPECT_EQ(PrepareWave(*w, 0, 22050, temporary), w);

    Waveform* mono = PrepareWave(*w, kMaskMono, 0, temporary);
    ASSERT_NE(mono, nullptr);
    ASSERT_TRUE(temporary);
    EXPECT_EQ(mono->channels, 1);
    EXPECT_EQ(Samples(*mono), (std::vector<float>{0.375f, 0.0f}));
    ASSERT_EQ(mono->markers.size(), 1u);
    EXPECT_EQ(mono->markers[0].name, u"here");
    EXPECT_EQ(mono->decodeRoutine, nullptr);
    Waveform* stereo = PrepareWave(*mono, kMaskStereo, 0, temporary);
    ASSERT_TRUE(temporary);
    EXPECT_EQ(Samples(*stereo), (std::vector<float>{0.375f, 0.375f, 0.0f, 0.0f}));
    delete stereo;
    delete mono;

    // A change of rate needs the resampler of the tools.
    SetResampleHook(nullptr);
    EXPECT_EQ(PrepareWave(*w, 0, 44100, temporary), nullptr);
    EXPECT_NE(Error().find("resampler"), std::string::npos);
    SetResampleHook(HalveRate);
    Waveform* half = PrepareWave(*w, kMaskMono, 11025, temporary);
    SetResampleHook(nullptr);
    ASSERT_NE(half, nullptr);
    EXPECT_EQ(half->sampleRate, 11025u);
    EXPECT_EQ(half->frames, 1u);
    EXPECT_EQ(w->sampleRate, 22050u);
    delete half;

    EXPECT_EQ(PrepareWave(c, 0, 0, temporary), nullptr);
}

// ---------------------------------------------------------------- libsndfile as the reference

struct SndCoding {
    int coding;
    uint32_t flags;
    int sfFormat; // subtype and byte order of a raw libsndfile file
};

const SndCoding kSndCodings[] = {
    {kPcm8, 0, SF_FORMAT_PCM_S8},
    {kPcm8, kCodingUnsigned, SF_FORMAT_PCM_U8},
    {kPcm16, 0, SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE},
    {kPcm16, kCodingSwapped, SF_FORMAT_PCM_16 | SF_ENDIAN_BIG},
    {kPcm24, 0, SF_FORMAT_PCM_24 | SF_ENDIAN_LITTLE},
    {kPcm24, kCodingSwapped, SF_FORMAT_PCM_24 | SF_ENDIAN_BIG},
    {kPcm32, 0, SF_FORMAT_PCM_32 | SF_ENDIAN_LITTLE},
    {kPcm32, kCodingSwapped, SF_FORMAT_PCM_32 | SF_ENDIAN_BIG},
    {kFloat32, 0, SF_FORMAT_FLOAT | SF_ENDIAN_LITTLE},
    {kFloat32, kCodingSwapped, SF_FORMAT_FLOAT | SF_ENDIAN_BIG},
    {kFloat64, 0, SF_FORMAT_DOUBLE | SF_ENDIAN_LITTLE},
    {kFloat64, kCodingSwapped, SF_FORMAT_DOUBLE | SF_ENDIAN_BIG},
    {kMuLaw, 0, SF_FORMAT_ULAW},
    {kALaw, 0, SF_FORMAT_ALAW},
};

// libsndfile's floats for a raw file of a coding.
std::vector<float> SndRead(const std::filesystem::path& path, int sfFormat, int channels) {
    SF_INFO info{};
    info.samplerate = 22050;
    info.channels = channels;
    info.format = SF_FORMAT_RAW | sfFormat;
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    EXPECT_NE(f, nullptr) << sf_strerror(nullptr);
    if (!f) return {};
    std::vector<float> out(size_t(info.frames) * size_t(channels));
    EXPECT_EQ(sf_readf_float(f, out.data(), info.frames), info.frames);
    sf_close(f);
    return out;
}

// Every byte pattern of each coding, decoded by us and by libsndfile, must
// give the same floats, bit for bit.
TEST(SampleCodingOracle, DecodesExactlyAsLibsndfileDoes) {
    test::TempDir dir;
    for (const SndCoding& k : kSndCodings) {
        const int width = EncodedWidth(k.coding);
        const size_t frames = 70001;
        auto bytes = RandomBytes(frames * 2 * size_t(width), uint32_t(k.sfFormat));
        if (k.coding == kFloat32 || k.coding == kFloat64) {
            // Random bits make NaNs, which compare unequal; use real values.
            std::mt19937 rng(7);
            std::uniform_real_distribution<double> dist(-1.5, 1.5);
            for (size_t i = 0; i < frames * 2; ++i) {
                uint8_t* at = bytes.data() + i * size_t(width);
                if (width == 4) {
                    float f = float(dist(rng));
                    std::memcpy(at, &f, 4);
                } else {
                    double g = dist(rng);
                    std::memcpy(at, &g, 8);
                }
                if (k.flags & kCodingSwapped) std::reverse(at, at + width);
            }
        }
        const auto path = dir / "data.raw";
        test::WriteFile(path, bytes);
        for (int channels : {1, 2}) {
            auto ours =
                DecodeFile(bytes, channels, uint32_t(frames * 2 / size_t(channels)), k.coding, k.flags);
            auto theirs = SndRead(path, k.sfFormat, channels);
            ASSERT_EQ(ours.size(), theirs.size());
            ASSERT_EQ(std::memcmp(ours.data(), theirs.data(), ours.size() * 4), 0)
                << WideToUtf8(DataCodingName(k.coding)) << " flags " << k.flags;
        }
    }
}

// What we encode, libsndfile reads back to the floats we read back
// ourselves, and within half a step (a step for the truncating widths) of
// what went in.
TEST(SampleCodingOracle, LibsndfileReadsWhatWeEncode) {
    test::TempDir dir;
    std::vector<float> in;
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> dist(-1.2f, 1.2f);
    for (int i = 0; i < 50000; ++i) in.push_back(dist(rng));
    in.insert(in.end(), {1.0f, -1.0f, 0.0f, -0.0f, 1e-9f, -1e-9f});
    for (const SndCoding& k : kSndCodings) {
        auto raw = Encode(in, k.coding, k.flags);
        const auto path = dir / "out.raw";
        test::WriteFile(path, raw);
        auto theirs = SndRead(path, k.sfFormat, 1);
        std::vector<float> ours(in.size());
        DecodeToFloat(raw.data(), in.size(), k.coding, k.flags, ours.data());
        ASSERT_EQ(theirs, ours) << WideToUtf8(DataCodingName(k.coding));
        if (k.coding == kFloat32 || k.coding == kFloat64) {
            EXPECT_EQ(ours, in);
            continue;
        }
        if (k.coding == kMuLaw || k.coding == kALaw) continue;
        // Rounding loses half a step, truncation a whole one; 32-bit values
        // come back through a float's 24 bits.
        const double step = std::ldexp(1.0, 1 - DataCodingBits(k.coding));
        const double tolerance = std::max(step, 1.2e-7);
        for (size_t i = 0; i < in.size(); ++i) {
            const double x = std::clamp(double(in[i]), -1.0, 1.0 - step);
            ASSERT_NEAR(ours[i], x, tolerance) << WideToUtf8(DataCodingName(k.coding)) << " " << in[i];
        }
    }
}

} // namespace
} // namespace vaxel
