#pragma once
// LastError: the sentence for the user that a failing operation leaves
// behind. One per thread, so that files converted on several threads keep
// their own messages.
#include <string>
#include <string_view>

namespace vaxel {

void SetLastError(std::u16string_view text);
void SetLastError(const char* utf8);
// printf-style, the arguments formatted in UTF-8.
void SetLastErrorF(const char* format, ...) __attribute__((format(printf, 1, 2)));
const char16_t* LastError();
std::string LastErrorUtf8();
void ClearLastError();

} // namespace vaxel
