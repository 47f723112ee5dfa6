// Impulse Tracker modules.
//
// A module starts with "IMPM" (the single-instrument and single-sample files,
// "IMPI" and "IMPS", are rows of the instrument family). Modules packed with
// MMCMP start with "ziRCONia"; the reader names that case with its own
// message, so detection hands such files to this row, but only with the
// weaker score: the packer may hold other module types too.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectIt(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (b.equals(0, "IMPM")) return songs::kMagic;
    if (b.equals(0, "ziRCONia")) return songs::kWeakMagic;
    return songs::kNo;
}

} // namespace

void songs::InstallImpulseFormats() { songs::BindDetector(u"it", u"Impulse Tracker module", &DetectIt); }

} // namespace vaxel
