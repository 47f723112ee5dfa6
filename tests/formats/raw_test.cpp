// The raw sample rows: files made by sox in every coding the rows name, read
// through the rows and decoded, must give exactly the floats libsndfile reads
// from them; what the rows write, libsndfile (or sox, for the unsigned words
// it has no coding for) must read back to the same values.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <sndfile.h>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "fileio/sample_coding.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/text.h"
#include "model/waveform.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

namespace fs = std::filesystem;

const FormatEntry& Row(const char16_t* extension, const char16_t* description) {
    InstallFormats();
    const int row = findFormatRow(extension, description);
    EXPECT_GE(row, 0) << WideToUtf8(extension);
    return *formatRow(row);
}

std::vector<float> SndRead(const fs::path& path, int sfFormat, int channels = 1) {
    SF_INFO info{};
    info.samplerate = 22050;
    info.channels = channels;
    info.format = SF_FORMAT_RAW | sfFormat;
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    EXPECT_NE(f, nullptr) << path << ": " << sf_strerror(nullptr);
    if (!f) return {};
    std::vector<float> out(size_t(info.frames) * size_t(channels));
    EXPECT_EQ(sf_readf_float(f, out.data(), info.frames), info.frames);
    sf_close(f);
    return out;
}

// Runs the row's reader over the file and decodes the one wave it made.
struct ReadResult {
    bool ok = false;
    uint32_t frames = 0, rate = 0;
    int channels = 0, bits = 0;
    std::u16string name;
    std::vector<float> samples;
};

ReadResult ReadThrough(const FormatEntry& row, const fs::path& path) {
    ReadResult r;
    Collection c;
    c.setName(u"from file");
    FileObject file;
    EXPECT_TRUE(file.Open(path, FileObject::kRead));
    if (!row.read || !(row.read(c, file, row.param) & 0xFF)) {
        ADD_FAILURE() << "read failed: " << LastErrorUtf8();
        return r;
    }
    EXPECT_EQ(c.count(ItemType::Waveform), 1u);
    auto* w = static_cast<Waveform*>(c.first(ItemType::Waveform));
    if (!w || !w->decodeRoutine) return r;
    r.frames = w->frames;
    r.rate = w->sampleRate;
    r.channels = w->channels;
    r.bits = w->bitsPerSample;
    r.name = w->name();
    EXPECT_TRUE(file.Seek(w->sourceOffset));
    if (!w->decodeRoutine(*w, file, false)) {
        ADD_FAILURE() << "decode failed: " << LastErrorUtf8();
        return r;
    }
    r.samples.assign(w->samples()->data, w->samples()->data + w->samples()->sampleCount());
    r.ok = true;
    return r;
}

void Sox(const std::string& args) {
    ASSERT_EQ(test::Run("sox " + args, nullptr, true), 0) << "sox " << args;
}

struct RawCase {
    const char16_t* extension;
    const char16_t* description;
    const char* soxFormat; // sox's words for the coding
    int sfFormat;          // libsndfile's, or 0: read a signed copy made by sox
    const char* signedCopy;
    int bits;
};

const RawCase kReadCases[] = {
    {u"raw", u"Signed 8-bit PCM", "-e signed-integer -b 8", SF_FORMAT_PCM_S8, nullptr, 8},
    {u"sam", u"Signed 8-bit PCM", "-e signed-integer -b 8", SF_FORMAT_PCM_S8, nullptr, 8},
    {u"sb", u"Signed bytes (8-bit)", "-e signed-integer -b 8", SF_FORMAT_PCM_S8, nullptr, 8},
    {u"snd", u"Unsigned 8-bit PCM", "-e unsigned-integer -b 8", SF_FORMAT_PCM_U8, nullptr, 8},
    {u"ub", u"Unsigned bytes (8-bit)", "-e unsigned-integer -b 8", SF_FORMAT_PCM_U8, nullptr, 8},
    {u"sw", u"Signed words (16-bit) - Little Endian", "-e signed-integer -b 16 -L", SF_FORMAT_PCM_16, nullptr,
     16},
    {u"uw", u"Unsigned words (16-bit) - Little Endian", "-e unsigned-integer -b 16 -L", 0,
     "-e signed-integer -b 16 -L", 16},
    {u"sdw", u"Signed dwords (32-bit)", "-e signed-integer -b 32 -L", SF_FORMAT_PCM_32, nullptr, 32},
    {u"udw", u"Unsigned dwords (32-bit)", "-e unsigned-integer -b 32 -L", 0, "-e signed-integer -b 32 -L",
     32},
    {u"f32", u"Floating point (32-bit)", "-e floating-point -b 32 -L", SF_FORMAT_FLOAT, nullptr, 32},
    {u"f64", u"Floating point (64-bit)", "-e floating-point -b 64 -L", SF_FORMAT_DOUBLE, nullptr, 64},
    {u"alaw", u"G.711 A-law", "-e a-law -b 8", SF_FORMAT_ALAW, nullptr, 8},
    {u"alw", u"G.711 A-law", "-e a-law -b 8", SF_FORMAT_ALAW, nullptr, 8},
    {u"ulaw", u"G.711 mu-law", "-e u-law -b 8", SF_FORMAT_ULAW, nullptr, 8},
    {u"ulw", u"G.711 mu-law", "-e u-law -b 8", SF_FORMAT_ULAW, nullptr, 8},
};

TEST(RawRows, ReadFilesMadeBySoxExactlyAsLibsndfileDoes) {
    test::RequireTool("sox");
    test::TempDir dir;
    for (const RawCase& k : kReadCases) {
        const std::string ext = WideToUtf8(k.extension);
        const fs::path path = dir / ("in." + ext);
        // Noise reaches every code; the sine adds full-scale peaks.
        Sox("-n -r 22050 -c 1 -t raw " + std::string(k.soxFormat) + " " + test::Quote(path.string()) +
            " synth 0.5 whitenoise synth 0.5 sine mix 1000 vol 0.95");
        ReadResult r = ReadThrough(Row(k.extension, k.description), path);
        ASSERT_TRUE(r.ok) << ext;
        EXPECT_EQ(r.frames, 11025u) << ext;
        EXPECT_EQ(r.rate, 22050u);
        EXPECT_EQ(r.channels, 1);
        EXPECT_EQ(r.bits, k.bits) << ext;
        EXPECT_EQ(r.name, u"from file");

        std::vector<float> want;
        if (k.sfFormat) {
            want = SndRead(path, k.sfFormat);
        } else {
            const fs::path copy = dir / "signed.raw";
            Sox("-t raw -r 22050 -c 1 " + std::string(k.soxFormat) + " " + test::Quote(path.string()) +
                " -t raw " + k.signedCopy + " " + test::Quote(copy.string()));
            want = SndRead(copy, k.bits == 16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_32);
        }
        ASSERT_EQ(r.samples.size(), want.size()) << ext;
        EXPECT_EQ(std::memcmp(r.samples.data(), want.data(), want.size() * 4), 0) << ext;
    }
}

struct WriteCase {
    const char16_t* extension;
    const char16_t* description;
    int sfFormat;            // how libsndfile reads the result, or 0
    const char* soxUnsigned; // else: sox turns these unsigned words to signed ones
    int bits;
};

const WriteCase kWriteCases[] = {
    {u"sb", u"Signed bytes (8-bit)", SF_FORMAT_PCM_S8, nullptr, 8},
    {u"ub", u"Unsigned bytes (8-bit)", SF_FORMAT_PCM_U8, nullptr, 8},
    {u"sw", u"Signed words (16-bit) - Little Endian", SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE, nullptr, 16},
    {u"sw", u"Signed words (16-bit) - Big Endian", SF_FORMAT_PCM_16 | SF_ENDIAN_BIG, nullptr, 16},
    {u"uw", u"Unsigned words (16-bit) - Little Endian", 0, "-L", 16},
    {u"uw", u"Unsigned words (16-bit) - Bit Endian", 0, "-B", 16},
    {u"f32", u"Floating point (32-bit)", SF_FORMAT_FLOAT, nullptr, 32},
    {u"f64", u"Floating point (64-bit)", SF_FORMAT_DOUBLE, nullptr, 64},
    {u"alaw", u"G.711 A-law", SF_FORMAT_ALAW, nullptr, 8},
    {u"ulaw", u"G.711 mu-law", SF_FORMAT_ULAW, nullptr, 8},
};

TEST(RawRows, WhatTheRowsWriteReadsBackInLibsndfile) {
    test::RequireTool("sox");
    test::TempDir dir;
    for (const WriteCase& k : kWriteCases) {
        const std::string ext = WideToUtf8(k.extension);
        Collection c;
        auto* w = new Waveform(c, kNewSerial, u"out");
        w->channels = 2;
        w->frames = 5000;
        w->preferredCoding = 1; // 16-bit: each row must still pick its own coding
        float* d = w->allocateSamples();
        for (size_t i = 0; i < 10000; ++i) d[i] = float(std::sin(double(i) * 0.01)) * (i % 2 ? 1.1f : 0.7f);

        const FormatEntry& row = Row(k.extension, k.description);
        ASSERT_NE(row.write, nullptr) << ext;
        const fs::path path = dir / ("out." + ext);
        {
            FileObject file;
            ASSERT_TRUE(file.Open(path, FileObject::kCreate));
            WriteOptions options{row.codingMask, row.param, 0.0f};
            ASSERT_EQ(row.write(*w, file, options) & 0xFF, 1) << ext << ": " << LastErrorUtf8();
        }
        EXPECT_EQ(fs::file_size(path), 10000u * uint64_t(k.bits / 8)) << ext << " keeps stereo";

        std::vector<float> theirs;
        if (k.sfFormat) {
            theirs = SndRead(path, k.sfFormat, 2);
        } else {
            const fs::path copy = dir / "signed.raw";
            Sox("-t raw -r 22050 -c 2 -e unsigned-integer -b 16 " + std::string(k.soxUnsigned) + " " +
                test::Quote(path.string()) + " -t raw -e signed-integer -b 16 -L " +
                test::Quote(copy.string()));
            theirs = SndRead(copy, SF_FORMAT_PCM_16, 2);
        }
        ASSERT_EQ(theirs.size(), 10000u) << ext;
        // Within a step of the clamped input; floats are exact.
        const double step = k.bits >= 32 ? 0.0 : (k.bits == 8 ? 1.0 / 128 : 1.0 / 32768);
        const bool companded = ext == "alaw" || ext == "ulaw";
        for (size_t i = 0; i < theirs.size(); ++i) {
            const double x = std::clamp(double(d[i]), -1.0, 1.0 - step);
            ASSERT_NEAR(theirs[i], k.bits >= 32 ? d[i] : x, companded ? 0.07 : step) << ext << " at " << i;
        }
    }
}

TEST(RawRows, TheWriterSavesOnlyWaveforms) {
    Collection c;
    test::TempDir dir;
    FileObject file;
    ASSERT_TRUE(file.Open(dir / "x.sw", FileObject::kCreate));
    const FormatEntry& row = Row(u"sw", u"Signed words (16-bit) - Little Endian");
    EXPECT_EQ(row.write(c, file, WriteOptions{row.codingMask, row.param, 0.0f}) & 0xFF, 0);
    EXPECT_EQ(LastErrorUtf8(), "The file format can not save this item");
    // The read-only rows have no writer, the write-only ones no reader.
    EXPECT_EQ(Row(u"sdw", u"Signed dwords (32-bit)").write, nullptr);
    EXPECT_EQ(Row(u"uw", u"Unsigned words (16-bit) - Bit Endian").read, nullptr);
}

} // namespace
} // namespace vaxel
