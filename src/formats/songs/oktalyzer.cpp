// Oktalyzer modules (Amiga): "OKTASONG" at offset 0, then big-endian IFF-like
// chunks without a length for the file (CMOD, SAMP, SPEE, SLEN, PLEN, PATT,
// PBOD, SBOD).
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectOkt(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "OKTASONG") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallOktalyzerFormats() { songs::BindDetector(u"okt", u"Oktalyzer module", &DetectOkt); }

} // namespace vaxel
