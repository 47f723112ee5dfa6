// Matroska audio (mka) and video (mkv), WebM included.
//
// The file opens with an EBML header (element 1A 45 DF A3) whose DocType
// element (42 82) holds "matroska" or "webm". The Tracks element (16 54 AE 6B)
// follows the segment's first elements; in it each TrackType element (83)
// holds 1 for video or 2 for audio. Tracks are looked for in the buffer
// only: a file whose tracks lie beyond it counts for both rows alike, and
// then the extension decides.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

enum class Content { NotMatroska, Unknown, AudioOnly, Video };

Content Examine(const probe::Bytes& b) {
    if (!b.equals(0, "\x1A\x45\xDF\xA3", 4)) return Content::NotMatroska;
    constexpr size_t kHeaderWindow = 64;
    size_t docType = b.find(4, "\x42\x82", 2, kHeaderWindow);
    if (docType >= b.size) return Content::NotMatroska;
    // The size is a one-byte EBML number (0x80 | length) for these names.
    bool matroska = b.u8(docType + 2) == 0x88 && b.equals(docType + 3, "matroska");
    bool webm = b.u8(docType + 2) == 0x84 && b.equals(docType + 3, "webm");
    if (!matroska && !webm) return Content::NotMatroska;
    size_t tracks = b.find(docType, "\x16\x54\xAE\x6B", 4, b.size);
    if (tracks >= b.size) return Content::Unknown;
    // TrackType with a one-byte size and value.
    bool video = b.find(tracks, "\x83\x81\x01", 3, b.size) < b.size;
    bool audio = b.find(tracks, "\x83\x81\x02", 3, b.size) < b.size;
    if (video) return Content::Video;
    return audio ? Content::AudioOnly : Content::Unknown;
}

int DetectMka(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    switch (Examine(probe::Bytes{buffer, bytes})) {
    case Content::NotMatroska:
        return audio::kNo;
    case Content::Video:
        return audio::kWeakMagic;
    default:
        return audio::kMagic;
    }
}

int DetectMkv(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    switch (Examine(probe::Bytes{buffer, bytes})) {
    case Content::NotMatroska:
        return audio::kNo;
    case Content::AudioOnly:
        return audio::kWeakMagic;
    default:
        return audio::kMagic;
    }
}

} // namespace

void InstallMatroskaFormats() {
    audio::BindDetector(u"mka", u"Matriska audio", &DetectMka);
    audio::BindDetector(u"mkv", u"Matriska video", &DetectMkv);
}

} // namespace vaxel
