// Unreal packages holding sounds: Unreal Tournament sound packages (uax) and
// Unreal Engine assets (uasset).
//
// Every package opens with the tag 0x9E2A83C1 (little-endian). Packages of
// the first engines follow it with a positive 16-bit file version and
// licensee version, the package flags at 8, the name count at 12 and the
// name table's offset at 16;
// a sound package names the class "Sound" there (music packages name
// "Music"). Engine 4 and later assets follow the tag with a small negative
// "legacy" version instead.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

constexpr uint32_t kPackageTag = 0x9E2A83C1;

bool IsPackage(const probe::Bytes& b) {
    return b.has(0, 8) && b.le32(0) == kPackageTag;
}

int DetectUax(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!IsPackage(b)) return audio::kNo;
    int16_t version = int16_t(b.le16(4));
    if (version <= 0 || version >= 1000) return audio::kNo;
    // The name table: "Sound" as a whole name, zero-terminated.
    uint32_t names = b.le32(16);
    constexpr size_t kNameWindow = 8192;
    const size_t limit = size_t(names) + kNameWindow;
    for (size_t at = b.find(names, "Sound\0", 6, limit); at < b.size;
         at = b.find(at + 1, "Sound\0", 6, limit)) {
        uint8_t before = at > 0 ? b.u8(at - 1) : 0;
        bool partOfLongerName = (before >= 'A' && before <= 'Z') || (before >= 'a' && before <= 'z');
        if (!partOfLongerName) return audio::kMagic;
    }
    return audio::kWeakMagic;
}

int DetectUasset(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!IsPackage(b)) return audio::kNo;
    int32_t legacy = int32_t(b.le32(4));
    return legacy < 0 && legacy >= -16 ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallUnrealFormats() {
    audio::BindDetector(u"uasset", u"Unreal Engine asset", &DetectUasset);
    audio::BindDetector(u"uax", u"Unreal Tournament", &DetectUax);
}

} // namespace vaxel
