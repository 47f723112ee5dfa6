// Flat item images come back from undo files and from the clipboard, which
// another process may have filled. Reading one must never run past its end.
// A Layer or Region that was read is then hung into an Instrument beside
// regions made by addRegion, so that the level passes of the post-load update
// run over whatever blocks the image held.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "model/collection.h"
#include "model/instrument.h"
#include "model/waveform.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace vaxel;
    if (size < 1) return 0;
    Collection collection;
    ItemType type = ItemType(data[0] % 8);
    std::vector<uint8_t> exact(data + 1, data + size);
    CollectionItem* item = type == ItemType::Collection ? static_cast<CollectionItem*>(&collection)
                                                        : collection.create(MakeId(type, 5));
    if (!item) return 0;
    const uint8_t* end = item->readFlat(exact.data(), exact.data() + exact.size());
    if (end) {
        // Whatever was read must write back to exactly its own size.
        std::vector<uint8_t> again(item->flatSize());
        uint8_t* stop = item->writeFlat(again.data());
        if (size_t(stop - again.data()) != again.size()) std::abort();
    }
    if (end && (type == ItemType::Layer || type == ItemType::Region || type == ItemType::Instrument)) {
        auto* wave = new Waveform(collection, kNewSerial, u"w");
        wave->frames = 16;
        Instrument* inst = type == ItemType::Instrument ? static_cast<Instrument*>(item)
                                                        : new Instrument(collection, kNewSerial, u"i");
        inst->ids.clear();
        if (type == ItemType::Layer) {
            item->ids.clear();
            inst->addChild(*item);
        }
        // The bytes behind the image give the rectangles of a few regions.
        const size_t rest = size_t(exact.data() + exact.size() - end);
        for (size_t i = 0; i + 4 <= rest && i < 64; i += 4) {
            const uint16_t keyWord = uint16_t(end[i] | (end[i + 1] << 8));
            const uint16_t velocityWord = uint16_t(end[i + 2] | (end[i + 3] << 8));
            addRegion(*inst, SerialOf(wave->id), keyWord, velocityWord, end[i] % 130 - 1,
                      int(end[i + 3] % 3) - 1);
        }
        if (type == ItemType::Region) {
            Region* region = static_cast<Region*>(item);
            region->ids.clear();
            region->ids.push_back(wave->id);
            Layer* layer = inst->layerAt(0);
            if (!layer) {
                layer = new Layer(collection, kNewSerial);
                inst->addChild(*layer);
            }
            layer->addChild(*region);
            inst->regionsChanged();
            addRegion(*inst, SerialOf(wave->id), region->trigger.keyLow | (region->trigger.keyHigh << 8),
                      0xFFFF, -1);
        }
        SetFeatureMask(rest ? uint64_t(end[0]) * 0x0101010101ull : kAllFeatures);
    }
    collection.fixUp();
    collection.update(-1, true);
    SetFeatureMask(kAllFeatures);
    return 0;
}
