// DigiTrekker 3 modules (DTM).
//
// The file is a plain sequence of chunks (4-character id, little-endian
// 32-bit length, data) with no magic of its own; the song lives in a chunk
// named "SONG". Detection walks the chunks in the buffer: printable ids,
// lengths inside the file, and a "SONG" chunk among them. That is a
// plausibility test only.
//
// The Atari Digital Tracker format, which also uses .dtm, starts with "D.T."
// and big-endian lengths; it is a different format and is not claimed here.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

bool IsChunkId(const probe::Bytes& b, size_t at) {
    for (size_t i = 0; i < 4; ++i) {
        uint8_t c = b.u8(at + i);
        bool ok = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == ' ' ||
                  c == '_';
        if (!ok) return false;
    }
    return true;
}

int DetectDtm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    probe::Bytes b{buffer, bytes};
    if (b.equals(0, "D.T.")) return songs::kNo;
    uint64_t at = 0;
    for (int chunk = 0; chunk < 32 && at + 8 <= bytes; ++chunk) {
        if (!IsChunkId(b, size_t(at))) return songs::kNo;
        uint64_t length = b.le32(size_t(at) + 4);
        if (at + 8 + length > fileSize) return songs::kNo;
        if (b.equals(size_t(at), "SONG")) return songs::kPlausible;
        at += 8 + length;
    }
    return songs::kNo;
}

} // namespace

void songs::InstallDigiTrekkerFormats() { songs::BindDetector(u"dtm", u"DigiTrekker module", &DetectDtm); }

} // namespace vaxel
