// MIDI Sample Dump Standard files: the SysEx messages of a dump, starting
// with the 21-byte dump header (the MIDI 1.0 Sample Dump
// Standard): F0 7E, channel, 01, sample number (2 bytes), bits per sample
// (8 to 28), sample period (3), length (3), loop start (3), loop end (3),
// loop type, F7. Every byte between F0 and F7 has its top bit clear.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectMidiSds(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.has(0, 21) || b.u8(0) != 0xF0 || b.u8(1) != 0x7E || b.u8(3) != 0x01 || b.u8(20) != 0xF7)
        return audio::kNo;
    for (size_t i = 2; i < 20; ++i)
        if (b.u8(i) & 0x80) return audio::kNo;
    uint8_t bits = b.u8(6);
    return bits >= 8 && bits <= 28 ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallMidiSdsFormats() {
    audio::BindDetector(u"sds", u"MIDI SDS", &DetectMidiSds);
}

} // namespace vaxel
