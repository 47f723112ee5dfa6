// id Software music format (IMF at 560 Hz, WLF at 700 Hz).
//
// Raw OPL2 register writes, four bytes each: register, value and a
// little-endian delay in ticks. A type-1 file starts with a 16-bit length of
// the data in bytes (a multiple of 4, tags may follow the data); a type-0
// file has no length and starts with the data, often with an all-zero record.
// There is no magic at all, so detection is a plausibility test: the records
// in the buffer must all write registers that exist on an OPL2 chip (0 being
// used as a no-op), and several of them must write something. Both rows share
// the layout; the extension tells the playback rate.
//
// Imago Orpheus modules also use .imf; they carry "IM10" at offset 60 and are
// refused at once.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

// An operator register group: base + 0x00..0x15 without the holes at 6, 7,
// 0x0E and 0x0F.
bool IsOperatorRegister(uint8_t r, uint8_t base) {
    return r >= base && r <= base + 0x15 && ((r - base) & 7) < 6;
}

bool IsOplRegister(uint8_t r) {
    if (r <= 0x05 || r == 0x08 || r == 0xBD) return true;
    if ((r >= 0xA0 && r <= 0xA8) || (r >= 0xB0 && r <= 0xB8) || (r >= 0xC0 && r <= 0xC8)) return true;
    return IsOperatorRegister(r, 0x20) || IsOperatorRegister(r, 0x40) || IsOperatorRegister(r, 0x60) ||
           IsOperatorRegister(r, 0x80) || IsOperatorRegister(r, 0xE0);
}

// Checks up to maxRecords records from start (those in the buffer).
bool AreOplRecords(const probe::Bytes& b, size_t start, size_t maxRecords) {
    size_t available = b.size > start ? (b.size - start) / 4 : 0;
    size_t count = available < maxRecords ? available : maxRecords;
    if (count > 128) count = 128;
    if (count < 4) return false;
    size_t writes = 0;
    for (size_t i = 0; i < count; ++i) {
        uint8_t r = b.u8(start + i * 4);
        if (!IsOplRegister(r)) return false;
        if (r != 0) ++writes;
    }
    return writes >= 4 || writes * 2 >= count;
}

int DetectIdMusic(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    probe::Bytes b{buffer, bytes};
    if (b.equals(60, "IM10")) return songs::kNo;
    uint32_t length = b.le16(0);
    if (length >= 16 && length % 4 == 0 && length + 2u <= fileSize && AreOplRecords(b, 2, length / 4))
        return songs::kPlausible;
    if (fileSize % 4 == 0 && AreOplRecords(b, 0, size_t(fileSize / 4))) return songs::kPlausible;
    return songs::kNo;
}

} // namespace

void songs::InstallIdMusicFormats() {
    songs::BindDetector(u"imf", u"id Software Music Format (560Hz)", &DetectIdMusic);
    songs::BindDetector(u"wlf", u"iD music (700Hz)", &DetectIdMusic);
}

} // namespace vaxel
