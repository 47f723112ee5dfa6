// AKAI S-series samplers: detection of S900/S950, S1000 and S3000 sample
// and program files, S5000/S6000 and Z4/Z8 programs and multis, and the
// raw and ChkSys disk images.
//
// S1000/S3000 files are little-endian; names are 12 bytes in the sampler's
// own character code (0..40 index "0123456789 ABC...XYZ#+-."), so a name
// byte above 40 rules a file out.
//  - Sample: byte 0 is 3, name at 3. The S1000 head is 150 bytes long and
//    the S3000 head 192; an S3000 head has zeros from 150 to 191, where an
//    S1000 file already holds sample data. Byte 134 (behind the eight loop
//    records) is zero in both.
//  - Program: byte 0 is 1, name at 3; the first keygroup follows the head,
//    and its block-type byte (2) falls at 150 (S1000) or 192 (S3000).
// S900/S950 samples have a 60-byte head: ASCII name (10), sample count at
// 16, rate at 20, replay mode letter at 26 ('O' one-shot, 'L' loop,
// 'A' alternating), end marker at 28, start marker at 32, loop length at 36.
// S5000/S6000 and Z4/Z8 programs are RIFF forms "APRG", multis "AMLT".
// A raw disk image starts with a directory of 24-byte entries whose 12-byte
// names are 7-bit; a ChkSys image (dmg) carries a head in front of the same
// directory, which then starts at 24,576.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

using instruments::Bytes;
using instruments::View;

constexpr uint8_t kLastAkaiCharacter = 40;

bool AkaiName(const Bytes& b, size_t at) {
    if (!b.has(at, 12)) return false;
    for (size_t i = 0; i < 12; ++i)
        if (b.u8(at + i) > kLastAkaiCharacter) return false;
    return true;
}

struct SeriesScores {
    int s1000 = 0;
    int s3000 = 0;
};

SeriesScores LookAtSample(const Bytes& b) {
    constexpr size_t kS1000Head = 150, kS3000Head = 192;
    if (b.size < kS1000Head || b.u8(0) != 3 || !AkaiName(b, 3)) return {};
    if (b.u8(134) != 0) return {2, 2};
    if (b.size < kS3000Head) return {4, 2};
    for (size_t i = kS1000Head; i < kS3000Head; ++i)
        if (b.u8(i) != 0) return {4, 2}; // sample data right behind a 150-byte head
    return {2, 4};
}

// The row's param names the model: 1 S1000, 3 S3000.
constexpr uint32_t kS3000 = 3;

int DetectSeriesSample(const uint8_t* buffer, uint32_t param, size_t bytes, uint64_t, int) {
    SeriesScores scores = LookAtSample(View(buffer, bytes));
    return param == kS3000 ? scores.s3000 : scores.s1000;
}

// headBytes: the least a program of the model holds; keygroupAt: where the
// first keygroup's block-type byte falls.
int ProgramScore(const Bytes& b, size_t headBytes, size_t keygroupAt) {
    if (b.size < headBytes || b.u8(0) != 1 || !AkaiName(b, 3)) return 0;
    return b.u8(keygroupAt) == 2 ? 4 : 2;
}

int DetectSeriesProgram(const uint8_t* buffer, uint32_t param, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    return param == kS3000 ? ProgramScore(b, 113, 192) : ProgramScore(b, 72, 150);
}

int DetectS900Sample(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    if (b.size < 60) return 0;
    const uint32_t count = b.le32(16), end = b.le32(28), start = b.le32(32), loopLength = b.le32(36);
    if (b.le16(20) == 0 || start > end || end > count || count < loopLength) return 0;
    const uint8_t mode = b.u8(26);
    if (mode != 'O' && mode != 'L' && mode != 'A') return 0;
    // The name is 10 bytes; the six behind it are blank in a sampler's file.
    for (size_t i = 10; i < 16; ++i)
        if (b.u8(i) != ' ' && b.u8(i) != 0) return 2;
    return 4;
}

int DetectAkp(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return instruments::IsRiffForm(View(buffer, bytes), "APRG") ? 6 : 0;
}

int DetectAkm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return instruments::IsRiffForm(View(buffer, bytes), "AMLT") ? 6 : 0;
}

// Up to 64 directory entries of 24 bytes from offset: every name byte 7-bit.
bool AkaiDirectory(const Bytes& b, size_t offset) {
    constexpr size_t kEntry = 24, kMaxEntries = 64;
    if (!b.has(offset, kEntry)) return false;
    size_t entries = (b.size - offset) / kEntry;
    if (entries > kMaxEntries) entries = kMaxEntries;
    for (size_t e = 0; e < entries; ++e)
        for (size_t i = 0; i < 12; ++i)
            if (b.u8(offset + e * kEntry + i) > 127) return false;
    return true;
}

int DetectAkaiImage(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return AkaiDirectory(View(buffer, bytes), 0) ? 2 : 0;
}

int DetectChkSysImage(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    constexpr uint64_t kSmallest = 0xCE000, kLargest = 0x200000;
    constexpr size_t kDirectoryAt = 24576;
    if (fileSize < kSmallest || fileSize > kLargest) return 0;
    return AkaiDirectory(View(buffer, bytes), kDirectoryAt) ? 2 : 0;
}

} // namespace

void InstallAkaiFormats() {
    using instruments::BindDetector;
    BindDetector(u"akai", u"AKAI S-series disk image", &DetectAkaiImage);
    BindDetector(u"akm", u"AKAI S5000/S6000 multi", &DetectAkm);
    BindDetector(u"akm", u"AKAI Z4/Z8 multi", &DetectAkm);
    BindDetector(u"akp", u"AKAI S5000/S6000 program", &DetectAkp);
    BindDetector(u"akp", u"AKAI Z4/Z8 program", &DetectAkp);
    BindDetector(u"dmg", u"ChkSys AKAI S-series", &DetectChkSysImage);
    BindDetector(u"p", u"AKAI S1000 program", &DetectSeriesProgram);
    BindDetector(u"p", u"AKAI S3000 program", &DetectSeriesProgram);
    BindDetector(u"p1", u"AKAI S1000 program", &DetectSeriesProgram);
    BindDetector(u"p3", u"AKAI S3000 program", &DetectSeriesProgram);
    BindDetector(u"s", u"AKAI S900/S950 sample", &DetectS900Sample);
    BindDetector(u"s", u"AKAI S1000 sample", &DetectSeriesSample);
    BindDetector(u"s", u"AKAI S3000 sample", &DetectSeriesSample);
    BindDetector(u"s1", u"AKAI S1000 sample", &DetectSeriesSample);
    BindDetector(u"s3", u"AKAI S3000 sample", &DetectSeriesSample);
    BindDetector(u"s9", u"AKAI S900/S950 sample", &DetectS900Sample);
}

} // namespace vaxel
