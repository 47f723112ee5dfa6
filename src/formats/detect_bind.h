#pragma once
// What every format family shares for detection: the shape of a detect
// routine, the score scale, and a bind that fails loudly. Kept free of the
// format table's header so that the many small family files compile quickly.
#include <cstddef>
#include <cstdint>

namespace vaxel {

// Same signature as the format table's DetectRoutine.
using DetectFn = int (*)(const uint8_t* buffer, uint32_t param, size_t bufferBytes, uint64_t fileSize,
                         int row);

namespace detect {
constexpr int kNo = 0;
constexpr int kPlausible = 2; // lengths and value ranges only
constexpr int kWeakMagic = 4; // a short or shared signature
constexpr int kMagic = 6;     // a unique magic number at a fixed place
} // namespace detect

// Binds fn as the detect routine of the row with this extension and
// description (exact text) and answers the row. A refused bind (a misspelt
// row, or a row bound twice) is a programming error: it names the family and
// the row on stderr and stops the program.
int BindDetectorOrDie(const char* family, const char16_t* extension, const char16_t* description,
                      DetectFn fn);

} // namespace vaxel
