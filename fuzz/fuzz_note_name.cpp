// Note names, field fitting and safe file names from arbitrary text. Byte 0
// picks the field capacity, byte 1 the flags; the rest is the text, held in
// buffers of exactly its own size (no terminator) so that a read past the
// given length is caught. The results are checked for what callers rely on.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fileio/names.h"
#include "fileio/path_util.h"
#include "fileio/units.h"

namespace {
void Check(bool condition) {
    if (!condition) __builtin_trap();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace vaxel;
    if (size < 2) return 0;
    size_t capacity = data[0] % 40;
    uint8_t flags = data[1];
    size_t n = size - 2;

    std::vector<char> narrow(data + 2, data + size);
    // Wide text: pairs of bytes, so that any code point (surrogates included)
    // can appear, and also the bytes widened one by one.
    std::vector<char16_t> wide(n / 2);
    for (size_t i = 0; i < wide.size(); ++i) wide[i] = char16_t(data[2 + 2 * i] | data[3 + 2 * i] << 8);
    std::vector<char16_t> widened(narrow.begin(), narrow.end());

    static const int kOffsets[] = {kOctaveAsWritten, 4, 3, 5, 0, -1, 127, 2147483647, -2147483647 - 1};
    for (int offset : kOffsets) {
        int a = ParseNoteName(std::string_view(narrow.data(), n), offset);
        int b = ParseNoteName(std::u16string_view(widened.data(), widened.size()), offset);
        int c = ParseNoteName(std::u16string_view(wide.data(), wide.size()), offset);
        Check(a == b);
        Check(a >= -1 && a <= 127 && c >= -1 && c <= 127);
    }

    bool strip = flags & 1;
    bool terminate = flags & 2;
    int pad = int((flags >> 2) % 3) - 1; // kPadNone, kPadZeros, kPadBlanks
    char* field = static_cast<char*>(std::malloc(capacity ? capacity : 1));
    size_t written = FitNameToField(field, capacity, narrow.data(), int(n), strip, pad, terminate);
    Check(written + (terminate && capacity ? 1 : 0) <= capacity);
    if (pad != kPadNone && capacity) Check(written == capacity - (terminate ? 1 : 0));
    written = FitNameToField(field, capacity, wide.data(), int(wide.size()), strip, pad, terminate);
    Check(written <= capacity);
    std::free(field);

    std::u16string text(wide.begin(), wide.end());
    std::u16string clean = text;
    bool changed = CleanUnicodePath(clean);
    Check(changed == (clean != text));
    Check(clean.size() <= text.size());
    Check(ExtensionPart(text) <= text.size() && FileNamePart(text) <= text.size());

    for (bool fold : {false, true}) {
        std::u16string safe = SafeFileName(text, fold);
        Check(!safe.empty() && safe != u"." && safe != u"..");
        Check(safe.find_first_of(u"/\\:*?\"<>|") == std::u16string::npos);
        Check(safe.find(u'\0') == std::u16string::npos);
    }
    std::string ansi = SafeFileNameAnsi(text);
    Check(!ansi.empty() && ansi.find('/') == std::string::npos);
    return 0;
}
