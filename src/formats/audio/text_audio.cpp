// Ascii text audio: sample values written as numbers, one frame a line (the
// channels separated by blanks, tabs or commas), optionally with comment
// lines that start with ';', '#' or '%' (as the text writers of sound tools
// put the rate and channel count there).
//
// There is no magic, so this is a plausibility test over the head of the
// file: printable text only, and every line that is not a comment made of
// numbers; at least two number lines, or one when the whole file is seen.
// Other text rows (ring-tones, instrument lists) hold words, which fail it.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

bool IsNumberChar(uint8_t c) {
    return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}
bool IsBlank(uint8_t c) {
    return c == ' ' || c == '\t' || c == ',' || c == '\r';
}

int DetectTextAudio(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    probe::Bytes b{buffer, bytes};
    constexpr size_t kWindow = 4096;
    size_t end = b.size < kWindow ? b.size : kWindow;
    // A line cut off by the window's end is not judged.
    const bool wholeFile = end == b.size && fileSize <= b.size;
    int numberLines = 0;
    size_t at = 0;
    while (at < end) {
        size_t lineEnd = at;
        while (lineEnd < end && b.data[lineEnd] != '\n') ++lineEnd;
        if (lineEnd == end && !wholeFile) break;
        size_t i = at;
        while (i < lineEnd && IsBlank(b.data[i])) ++i;
        if (i < lineEnd && (b.data[i] == ';' || b.data[i] == '#' || b.data[i] == '%')) {
            for (size_t j = i; j < lineEnd; ++j)
                if ((b.data[j] < 0x20 && b.data[j] != '\t' && b.data[j] != '\r') || b.data[j] > 0x7E)
                    return audio::kNo;
        } else if (i < lineEnd) {
            bool digit = false;
            for (; i < lineEnd; ++i) {
                uint8_t c = b.data[i];
                if (c >= '0' && c <= '9') digit = true;
                if (!IsNumberChar(c) && !IsBlank(c)) return audio::kNo;
            }
            if (!digit) return audio::kNo;
            ++numberLines;
        }
        at = lineEnd + 1;
    }
    return numberLines >= 2 || (wholeFile && numberLines == 1) ? audio::kPlausible : audio::kNo;
}

} // namespace

void InstallTextAudioFormats() {
    audio::BindDetector(u"txt", u"Ascii text audio", &DetectTextAudio);
}

} // namespace vaxel
