#pragma once
// Fitting item names into the fixed-length name fields of sampler formats.
#include <cstddef>

namespace vaxel {

// Pad modes of FitNameToField.
constexpr int kPadNone = -1;  // write the name only
constexpr int kPadZeros = 0;  // fill the rest of the field with zero bytes
constexpr int kPadBlanks = 1; // fill with blanks; a channel suffix goes last

// Fits a name into a field of capacity characters so that what tells samples
// apart stays: a trailing channel letter (with stripSuffix, an 'L' or 'R'
// behind a blank or '-'), up to three trailing digits and a trailing note
// name ("C#3") are kept whole and the stem is shortened first. The parts are
// written as stem, note or digits (a blank before them only when one stood
// there and the field has room), then '-' and the channel letter.
//
// source ends at length characters or its first NUL (length -1: at the NUL).
// With terminate, one unit of capacity holds a terminating NUL. Returns the
// number of characters written, padding included, the NUL not.
size_t FitNameToField(char* dest, size_t capacity, const char* source, int length, bool stripSuffix,
                      int padWith, bool terminate);
// The same for a wide name, folded to 8 bits first (WideToAnsi).
size_t FitNameToField(char* dest, size_t capacity, const char16_t* source, int length, bool stripSuffix,
                      int padWith, bool terminate);

} // namespace vaxel
