// AdLib Visual Composer songs (ROL), little-endian.
//
// Head: major version 0 and minor version 4 (words at 0 and 2), a 40-byte
// signature field (normally "\roll\default"), ticks per beat at 44, beats per
// measure at 46, the editing scales, a reserved byte and the mode byte at 53
// (0 percussive, 1 melodic), 90 bytes of track counters and 38 of filler. The
// first track, always the tempo track, follows at 182 with its 15-byte name
// (normally "Tempo"). The version words and mode byte alone are only a
// plausibility test; with the usual signature or tempo track name they make a
// unique head.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectRol(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.has(0, 197)) return songs::kNo;
    if (b.le16(0) != 0 || b.le16(2) != 4 || b.u8(53) > 1) return songs::kNo;
    uint16_t ticksPerBeat = b.le16(44), beatsPerMeasure = b.le16(46);
    if (ticksPerBeat == 0 || ticksPerBeat > 1000 || beatsPerMeasure == 0 || beatsPerMeasure > 64) return songs::kNo;
    if (songs::EqualsNoCase(b, 4, "\\roll\\default", 14) || songs::EqualsNoCase(b, 182, "Tempo", 6))
        return songs::kMagic;
    return songs::kPlausible;
}

} // namespace

void songs::InstallAdLibRolFormats() { songs::BindDetector(u"rol", u"AdLib Visual Composer song", &DetectRol); }

} // namespace vaxel
