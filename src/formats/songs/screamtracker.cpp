// Scream Tracker modules: version 3 (S3M) and version 2 (STM).
//
// S3M, little-endian: name (28 bytes), 0x1A, type 16 at 29, the order,
// instrument and pattern counts at 0x20, 0x22, 0x24, "SCRM" at 44, the order
// table at 0x60 and behind it the instrument parapointers (16-bit, in units
// of 16 bytes). Each instrument head carries "SCRS" (sample) or "SCRI"
// (AdLib instrument) at +0x4C. The module's magic is "SCRM" at 44 together
// with one of those at an instrument head in the buffer. Empty instrument
// slots carry no tag, so a module with only empty slots (or heads beyond the
// buffer) keeps the weaker score of "SCRM" alone.
//
// STM: name (20 bytes), an 8-character tracker id at 20 ("!Scream!", or
// "BMOD2STM", "WUZAMOD!", "SWavePro" from converters), 0x1A at 28, file type
// 2 (module) at 29 and major version 2 at 30. A known id is the magic; another
// printable id with the rest in place is a weaker signature.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectS3m(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.equals(44, "SCRM")) return songs::kNo;
    size_t orders = b.le16(0x20), instruments = b.le16(0x22);
    if (instruments > 256) instruments = 256;
    for (size_t i = 0; i < instruments; ++i) {
        size_t pointerAt = 0x60 + orders + i * 2;
        if (!b.has(pointerAt, 2)) break;
        size_t head = size_t(b.le16(pointerAt)) * 16;
        if (head == 0) continue;
        if (b.equals(head + 0x4C, "SCRS") || b.equals(head + 0x4C, "SCRI")) return songs::kMagic;
    }
    return songs::kWeakMagic;
}

int DetectStm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (b.u8(28) != 0x1A || b.u8(29) != 2 || b.u8(30) != 2) return songs::kNo;
    static const char kIds[][9] = {"!Scream!", "BMOD2STM", "WUZAMOD!", "SWavePro"};
    for (const char* id : kIds)
        if (b.equals(20, id, 8)) return songs::kMagic;
    for (size_t i = 20; i < 28; ++i)
        if (b.u8(i) < 0x20 || b.u8(i) > 0x7E) return songs::kNo;
    return songs::kWeakMagic;
}

} // namespace

void songs::InstallScreamTrackerFormats() {
    songs::BindDetector(u"s3m", u"ScreamTracker v3 module", &DetectS3m);
    songs::BindDetector(u"stm", u"ScreamTracker v2 module", &DetectStm);
}

} // namespace vaxel
