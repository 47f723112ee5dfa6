// Detection over every row of the format table. The input is copied into a
// buffer of exactly its own size so that a detector reading one byte too far
// is caught; the first byte picks the file name's extension from the table,
// so the extension bonus and the pattern matching are exercised too.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fileio/format_table.h"
#include "formats/install.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vaxel::InstallFormats();
    if (size == 0) return 0;
    std::u16string name = u"/tmp/input.";
    name += vaxel::extensionOf(int(data[0]) * vaxel::formatCount / 256);
    const uint8_t* body = data + 1;
    size_t bytes = size - 1;
    if (bytes > 32768) bytes = 32768;

    auto* exact = static_cast<uint8_t*>(std::malloc(bytes ? bytes : 1));
    if (bytes) std::memcpy(exact, body, bytes);
    int confidence = 0;
    // The file may be longer than what was read, or exactly as long.
    vaxel::detectFormatInBuffer(name, exact, bytes, bytes, &confidence);
    vaxel::detectFormatInBuffer(name, exact, bytes, uint64_t(bytes) + 123456789, &confidence);
    vaxel::detectFormatInBuffer(u"NOEXT", exact, bytes, bytes ? bytes : 1, &confidence);
    // Every detector on its own, with every short length of the input.
    for (int row = 0; row < vaxel::formatCount; ++row) {
        const vaxel::FormatEntry* e = vaxel::formatRow(row);
        if (!e->detect) continue;
        size_t shortest = bytes < 64 ? 0 : bytes - 64;
        for (size_t n = shortest; n <= bytes; n += (bytes - shortest) / 4 + 1)
            e->detect(exact + (bytes - n), e->param, n, n, row);
    }
    std::free(exact);
    return 0;
}
