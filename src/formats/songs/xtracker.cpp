// X-Tracker modules (DMF): little-endian chunks, the first of which is the
// file head "DDMF" at offset 0 (followed by the version byte and the tracker
// name); INFO, SEQU, PATT, SMPI, SMPD and ENDE chunks follow.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectDmf(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "DDMF") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallXTrackerFormats() { songs::BindDetector(u"dmf", u"XTracker module", &DetectDmf); }

} // namespace vaxel
