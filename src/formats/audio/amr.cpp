// AMR speech: the MIME storage format of RFC 4867 section 5, which opens with
// "#!AMR\n" (narrow band), "#!AMR-WB\n" (wide band) or their multi-channel
// forms "#!AMR_MC1.0\n" and "#!AMR-WB_MC1.0\n"; and the headerless 3GPP
// interface format 2 (cod), which the extension alone names.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectAmr(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (b.equals(0, "#!AMR\n") || b.equals(0, "#!AMR-WB\n") || b.equals(0, "#!AMR_MC1.0\n") ||
        b.equals(0, "#!AMR-WB_MC1.0\n"))
        return audio::kMagic;
    return audio::kNo;
}

} // namespace

void InstallAmrFormats() {
    audio::BindDetector(u"amr", u"MIME AMR file storage", &DetectAmr);
    audio::BindDetector(u"cod", u"3GPP AMR if-format 2'", &audio::DetectHeaderless);
}

} // namespace vaxel
