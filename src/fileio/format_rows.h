#pragma once
// The data of the 559 rows of the format table, in table order.
#include <cstdint>

namespace vaxel {

struct FormatRowData {
    const char16_t* extension;
    const char16_t* description;
    uint8_t itemMask;
    uint32_t codingMask;
    uint32_t param;
    // What the row is meant to have once its format is complete: a reader,
    // a writer. A routine can only be bound where these allow it.
    bool reads;
    bool writes;
};

extern const FormatRowData kFormatRowData[559];

} // namespace vaxel
