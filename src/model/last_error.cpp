#include "model/last_error.h"

#include <cstdarg>
#include <cstdio>

#include "model/text.h"

namespace vaxel {

namespace {
// A fixed buffer: setting the error must work when memory has run out.
constexpr size_t kCapacity = 1024;
thread_local char16_t gLastError[kCapacity];
} // namespace

void SetLastError(std::u16string_view text) {
    size_t n = text.size() < kCapacity - 1 ? text.size() : kCapacity - 1;
    for (size_t i = 0; i < n; ++i) gLastError[i] = text[i];
    gLastError[n] = 0;
}

void SetLastError(const char* utf8) {
    Utf8ToWide(gLastError, kCapacity, utf8 ? utf8 : "", 0);
}

void SetLastErrorF(const char* format, ...) {
    char buffer[kCapacity * 3];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    SetLastError(buffer);
}

const char16_t* LastError() { return gLastError; }

std::string LastErrorUtf8() { return WideToUtf8(std::u16string_view(gLastError)); }

void ClearLastError() { gLastError[0] = 0; }

} // namespace vaxel
