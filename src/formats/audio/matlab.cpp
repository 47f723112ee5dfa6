// MATLAB binary files holding sound as a matrix.
//
// Level 5: a 128-byte header of descriptive text that opens with
// "MATLAB 5.0 MAT-file", then a version word and the endian indicator "IM"
// (little-endian) or "MI" (big-endian) at offset 126.
//
// Level 4 has no magic. Each matrix starts with five 32-bit words: a type
// code MOPT (M the byte order, 0 little and 1 big; O 0; P the number type
// 0..5; T 0 for full, 1 text, 2 sparse), rows, columns, an imaginary flag
// (0 or 1) and the name's length including its zero; then the name. Those
// ranges make the file plausible.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

bool PlausibleLevel4(const probe::Bytes& b) {
    if (!b.has(0, 20)) return false;
    bool big = b.le32(0) >= 1000;
    auto word = [&](size_t at) { return big ? b.be32(at) : b.le32(at); };
    uint32_t type = word(0);
    uint32_t m = type / 1000, o = type / 100 % 10, p = type / 10 % 10, t = type % 10;
    if (m != (big ? 1u : 0u) || type >= 2000 || o != 0 || p > 5 || t > 2) return false;
    if (word(4) == 0 || word(8) == 0 || word(12) > 1) return false;
    uint32_t nameLength = word(16);
    if (nameLength < 2 || nameLength > 64 || !b.has(20, nameLength)) return false;
    for (size_t i = 0; i + 1 < nameLength; ++i) {
        uint8_t c = b.u8(20 + i);
        if (c < 0x21 || c > 0x7E) return false;
    }
    return b.u8(20 + nameLength - 1) == 0;
}

int DetectMatlab(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (b.equals(0, "MATLAB 5.0 MAT-file"))
        return b.equals(126, "IM") || b.equals(126, "MI") ? audio::kMagic : audio::kWeakMagic;
    return PlausibleLevel4(b) ? audio::kPlausible : audio::kNo;
}

} // namespace

void InstallMatlabFormats() {
    audio::BindDetector(u"mat", u"Matlab binary vars", &DetectMatlab);
}

} // namespace vaxel
