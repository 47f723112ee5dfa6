// Shared detection helpers of the audio families (see audio_detect.h).
#include "formats/audio/audio_detect.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fileio/format_table.h"
#include "formats/audio/audio_formats.h"
#include "model/text.h"

namespace vaxel {
namespace {

// Room for every row of the audio group; the table has 559 rows in all.
constexpr size_t kMaxAudioRows = 256;
int gRows[kMaxAudioRows];
size_t gRowCount = 0;

} // namespace

std::span<const int> AudioDetectorRows() {
    return {gRows, gRowCount};
}

namespace audio {

void BindDetector(const char16_t* extension, const char16_t* description, DetectFn fn) {
    int row = BindDetectorOrDie("audio", extension, description, fn);
    if (gRowCount < kMaxAudioRows) gRows[gRowCount++] = row;
}

void BindRoutines(const char16_t* extension, const char16_t* description, const FormatRoutines& routines) {
    if (!bindFormat(extension, description, routines)) {
        std::fprintf(stderr, "vaxel: audio formats: cannot bind the routines of %s \"%s\"\n",
                     WideToUtf8(extension).c_str(), WideToUtf8(description).c_str());
        std::abort();
    }
    if (routines.detect && gRowCount < kMaxAudioRows)
        gRows[gRowCount++] = findFormatRow(extension, description);
}

int DetectHeaderless(const uint8_t*, uint32_t, size_t, uint64_t, int) {
    return kPlausible;
}

AudioStart SkipId3v2(const probe::Bytes& b) {
    size_t at = 0;
    bool tagged = false;
    // Some writers put two tags in a row; a few more than that is damage.
    for (int tags = 0; tags < 4 && b.equals(at, "ID3"); ++tags) {
        // "ID3", major and minor version (never 0xFF), flags, and a 28-bit
        // size in four bytes of seven bits each (ID3v2.4 section 3.1).
        if (!b.has(at, 10)) return {b.size, true};
        if (b.u8(at + 3) == 0xFF || b.u8(at + 4) == 0xFF) break;
        uint32_t size = 0;
        bool syncsafe = true;
        for (size_t i = 6; i < 10; ++i) {
            uint8_t v = b.u8(at + i);
            if (v & 0x80) syncsafe = false;
            size = size << 7 | v;
        }
        if (!syncsafe) break;
        // Bit 4 of the flags announces a 10-byte footer behind the tag.
        uint64_t end = uint64_t(at) + 10 + size + ((b.u8(at + 5) & 0x10) ? 10 : 0);
        tagged = true;
        if (end >= b.size) return {b.size, true};
        at = size_t(end);
    }
    if (tagged)
        while (at < b.size && b.data[at] == 0) ++at;
    return {at, tagged && at >= b.size};
}

bool IsRiffForm(const probe::Bytes& b, const char* form) {
    return (b.equals(0, "RIFF") || b.equals(0, "RF64")) && b.equals(8, form, 4);
}

} // namespace audio
} // namespace vaxel
