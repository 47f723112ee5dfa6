// INRS-Telecommunications audio: a 512-byte header, then 16-bit little-endian
// mono samples. The header has no magic, but its first four bytes are the
// sampling frequency as a VAX float, and the files used a handful of standard
// rates (6500, 20000/3, 8000, 10000, 12000, 16000 and 20000 Hz), whose bit
// patterns serve as a weak magic.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

constexpr char kRates[][5] = {
    "\xCB\x46\x00\x20", "\xD0\x46\x55\x55", "\xFA\x46\x00\x00", "\x1C\x47\x00\x40",
    "\x3B\x47\x00\x80", "\x7A\x47\x00\x00", "\x9C\x47\x00\x40",
};

int DetectInrs(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    probe::Bytes b{buffer, bytes};
    if (fileSize < 512) return audio::kNo;
    for (const char* rate : kRates)
        if (b.equals(0, rate, 4)) return audio::kWeakMagic;
    return audio::kNo;
}

} // namespace

void InstallInrsFormats() {
    audio::BindDetector(u"inrs", u"INRS-Telecommunications", &DetectInrs);
}

} // namespace vaxel
