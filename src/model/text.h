#pragma once
// Text conversions between the model's UTF-16 text, Windows-1252 and UTF-8.
//
// The buffer forms take a destination with its capacity in units, a source
// and a source limit in units (0 means 1,048,576). The source also ends at its
// first NUL. The destination is always terminated; the result is false when
// the text did not fit (what fitted is kept).
#include <cstddef>
#include <string>
#include <string_view>

namespace vaxel {

constexpr size_t kDefaultTextLimit = 1048576;

bool AnsiToWide(char16_t* dest, size_t capacity, const char* source, size_t limit);
bool WideToAnsi(char* dest, size_t capacity, const char16_t* source, size_t limit);
bool Utf8ToWide(char16_t* dest, size_t capacity, const char* source, size_t limit);
bool WideToUtf8(char* dest, size_t capacity, const char16_t* source, size_t limit);
bool AsciiCopy(char* dest, size_t capacity, const char* source, size_t limit);

// Whole-string forms. These stop at an embedded NUL like the buffer forms.
std::u16string AnsiToWide(std::string_view source);
std::string WideToAnsi(std::u16string_view source);
std::u16string Utf8ToWide(std::string_view source);
std::string WideToUtf8(std::u16string_view source);

// Windows-1252 byte to its code point, and a code point to the one byte of
// the folding rule: code points up to 255 stay, the Windows-1252 specials
// map back, letters of the Latin extensions, Greek and Cyrillic fold to the
// nearest plain Latin letter, some punctuation to its ASCII look-alike, and
// anything else to '?'.
char16_t AnsiCharToWide(unsigned char c);
char WideCharToAnsi(char16_t c);

// Simple case folding used for name comparisons and extension matching:
// ASCII and Latin-1 letters.
char16_t FoldCase(char16_t c);
bool EqualsIgnoreCase(std::u16string_view a, std::u16string_view b);

} // namespace vaxel
