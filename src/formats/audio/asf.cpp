// Advanced Systems Format: ActiveMovie streaming (asf), Windows Media audio
// (wma) and video (wmv).
//
// Every ASF file opens with the Header Object: its GUID
// 75B22630-668E-11CF-A6D9-00AA0062CE6C, a 64-bit size, a 32-bit object count
// and two reserved bytes; the header's objects follow from offset 30. Each
// Stream Properties Object (GUID B7DC0791-A9B7-11CF-8EE6-00C00C205365) names
// its stream type at offset 24: audio F8699E40-5B4D-11CF-A8FD-00805F5C442B or
// video BC19EFC0-5B4D-11CF-A8FD-00805F5C442B. Audio alone makes a wma, any
// video a wmv; the generic asf row takes what cannot be told apart, and the
// others only with its extension. GUIDs are stored with their first three
// fields little-endian.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

constexpr char kHeaderObject[] = "\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C";
constexpr char kStreamProperties[] = "\x91\x07\xDC\xB7\xB7\xA9\xCF\x11\x8E\xE6\x00\xC0\x0C\x20\x53\x65";
constexpr char kAudioMedia[] = "\x40\x9E\x69\xF8\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B";
constexpr char kVideoMedia[] = "\xC0\xEF\x19\xBC\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B";

enum class Content { NotAsf, Unknown, AudioOnly, Video };

Content Examine(const probe::Bytes& b) {
    if (!b.equals(0, kHeaderObject, 16)) return Content::NotAsf;
    uint32_t objects = b.le32(24);
    bool audio = false, video = false;
    uint64_t at = 30;
    for (uint32_t i = 0; i < objects && i < 64 && b.has(size_t(at), 24); ++i) {
        if (b.equals(size_t(at), kStreamProperties, 16)) {
            if (b.equals(size_t(at) + 24, kAudioMedia, 16)) audio = true;
            if (b.equals(size_t(at) + 24, kVideoMedia, 16)) video = true;
        }
        uint64_t size = b.le64(size_t(at) + 16);
        if (size < 24) break;
        at += size;
        if (at > b.size) break;
    }
    if (video) return Content::Video;
    return audio ? Content::AudioOnly : Content::Unknown;
}

int DetectAsf(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    switch (Examine(probe::Bytes{buffer, bytes})) {
    case Content::NotAsf:
        return audio::kNo;
    case Content::Unknown:
        return audio::kMagic;
    default:
        return audio::kWeakMagic;
    }
}

int DetectWma(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    switch (Examine(probe::Bytes{buffer, bytes})) {
    case Content::NotAsf:
        return audio::kNo;
    case Content::AudioOnly:
        return audio::kMagic;
    case Content::Video:
        return audio::kPlausible;
    default:
        return audio::kWeakMagic;
    }
}

int DetectWmv(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    switch (Examine(probe::Bytes{buffer, bytes})) {
    case Content::NotAsf:
        return audio::kNo;
    case Content::Video:
        return audio::kMagic;
    case Content::AudioOnly:
        return audio::kPlausible;
    default:
        return audio::kWeakMagic;
    }
}

} // namespace

void InstallAsfFormats() {
    audio::BindDetector(u"asf", u"ActiveMovie streaming", &DetectAsf);
    audio::BindDetector(u"wma", u"Windows Media audio", &DetectWma);
    audio::BindDetector(u"wmv", u"Windows Media video", &DetectWmv);
}

} // namespace vaxel
