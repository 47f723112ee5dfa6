// Sound Designer II. On the Macintosh the samples are the data fork (plain
// big-endian PCM, with no header) and the format lives in the resource fork,
// so a copied data fork is headerless and only its extension names it. A
// "flat" file carries both forks in a MacBinary wrapper: a 128-byte header
// with a zero byte, the name's length (1 to 63) and name, then the file type
// at 65 ("Sd2f") and the creator at 69.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectSd2Flat(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.has(0, 128) || b.u8(0) != 0 || b.u8(1) < 1 || b.u8(1) > 63) return audio::kNo;
    return b.equals(65, "Sd2f") ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallSoundDesigner2Formats() {
    audio::BindDetector(u"sd2", u"Sound Designer II data", &audio::DetectHeaderless);
    audio::BindDetector(u"sd2", u"Sound Designer II flat", &DetectSd2Flat);
}

} // namespace vaxel
