// Flat item images come back from undo files and from the clipboard, which
// another process may have filled. Reading one must never run past its end.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "model/collection.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    vaxel::Collection collection;
    vaxel::ItemType type = vaxel::ItemType(data[0] % 8);
    std::vector<uint8_t> exact(data + 1, data + size);
    vaxel::CollectionItem* item = type == vaxel::ItemType::Collection
                                      ? static_cast<vaxel::CollectionItem*>(&collection)
                                      : collection.create(vaxel::MakeId(type, 5));
    if (!item) return 0;
    const uint8_t* end = item->readFlat(exact.data(), exact.data() + exact.size());
    if (end) {
        // Whatever was read must write back to exactly its own size.
        std::vector<uint8_t> again(item->flatSize());
        uint8_t* stop = item->writeFlat(again.data());
        if (size_t(stop - again.data()) != again.size()) std::abort();
    }
    collection.fixUp();
    collection.update(-1, true);
    return 0;
}
