// The model side of the Edit commands; see edit_ops.h.
#include "app/edit_ops.h"

#include <new>

#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/song.h"
#include "model/waveform.h"

namespace vaxel::app {

namespace {

// The Instrument that item is or lies in.
Instrument* InstrumentOf(CollectionItem* item) {
    for (int depth = 0; item && depth < 3; ++depth, item = item->parent()) {
        if (item->type() == ItemType::Instrument) return static_cast<Instrument*>(item);
    }
    return nullptr;
}

// The new child goes to its parent's list; when the list can't grow the
// child has no place in the tree and goes again.
CollectionItem* Attach(CollectionItem* parent, CollectionItem* child) {
    if (!parent->addChild(*child)) {
        delete child;
        SetLastError("Out of memory");
        return nullptr;
    }
    return child;
}

} // namespace

CollectionItem* AddInstrument(Collection& collection) {
    try {
        auto* instrument = new Instrument(collection, kNewSerial, static_cast<const char16_t*>(nullptr));
        // The automatic name of a collection's only instrument is the
        // collection's name, which a new collection doesn't have yet.
        if (!*instrument->name()) instrument->setName(u"New instrument");
        if (GlobalSettings().load.bEnsureUniqueNames) collection.makeNameUnique(*instrument);
        return instrument;
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        return nullptr;
    }
}

CollectionItem* AddLayer(Collection& collection, CollectionItem* item) {
    Instrument* instrument = InstrumentOf(item);
    if (!instrument) {
        SetLastError("Select an instrument to add the layer to.");
        return nullptr;
    }
    try {
        CollectionItem* layer = Attach(instrument, new Layer(collection, kNewSerial));
        if (layer) instrument->regionsChanged();
        return layer;
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        return nullptr;
    }
}

CollectionItem* AddRegion(Collection& collection, CollectionItem* item, CollectionItem* wave) {
    Layer* layer = nullptr;
    if (item && item->type() == ItemType::Region) item = item->parent();
    if (item && item->type() == ItemType::Layer) layer = static_cast<Layer*>(item);
    if (!layer && item && item->type() == ItemType::Instrument) {
        auto* instrument = static_cast<Instrument*>(item);
        layer = instrument->ids.empty() ? nullptr : instrument->layerAt(instrument->ids.size() - 1);
        if (!layer) layer = static_cast<Layer*>(AddLayer(collection, instrument));
        if (!layer) return nullptr;
    }
    if (!layer) {
        SetLastError("Select a layer to add the region to.");
        return nullptr;
    }
    try {
        auto* region = static_cast<Region*>(Attach(layer, new Region(collection, kNewSerial)));
        if (!region) return nullptr;
        if (wave && wave->type() == ItemType::Waveform) region->ids.push_back(wave->id);
        if (Instrument* instrument = layer->instrument()) instrument->regionsChanged();
        return region;
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        return nullptr;
    }
}

CollectionItem* CloneItem(Collection& collection, CollectionItem* item) {
    if (!item || item == &collection) {
        SetLastError("Select the item to clone.");
        return nullptr;
    }
    CollectionItem* clone = nullptr;
    try {
        switch (item->type()) {
        case ItemType::Waveform:
            // With a copy of the samples when they are loaded, else read
            // from the same source as the original.
            clone = new Waveform(collection, *static_cast<Waveform*>(item), true);
            break;
        case ItemType::SynthesisModel:
            clone = new SynthesisModel(collection, *static_cast<SynthesisModel*>(item));
            break;
        case ItemType::Region:
            clone = new Region(collection, *static_cast<Region*>(item));
            break;
        case ItemType::Layer:
            clone = new Layer(collection, *static_cast<Layer*>(item));
            break;
        case ItemType::Instrument:
            clone = new Instrument(collection, *static_cast<Instrument*>(item));
            break;
        case ItemType::Track:
            clone = new Track(collection, *static_cast<Track*>(item));
            break;
        case ItemType::Song:
            clone = new Song(collection, *static_cast<Song*>(item));
            break;
        default:
            break;
        }
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        return nullptr;
    }
    if (!clone) {
        SetLastError("This item can not be cloned.");
        return nullptr;
    }

    // A child goes right behind its source in the parent's list.
    CollectionItem* parent = item->parent();
    if (parent && parent != &collection) {
        const int at = parent->ids.indexOf(item->id);
        clone->parentId = parent->id;
        if (!parent->ids.insert(uint32_t(at < 0 ? parent->ids.size() : at + 1), clone->id)) {
            delete clone;
            SetLastError("Out of memory");
            return nullptr;
        }
        if (Instrument* instrument = InstrumentOf(parent)) instrument->regionsChanged();
    } else {
        clone->parentId = item->parentId;
    }
    const ItemType type = clone->type();
    if ((type == ItemType::Instrument || type == ItemType::Waveform) &&
        GlobalSettings().load.bEnsureUniqueNames)
        collection.makeNameUnique(*clone);
    return clone;
}

} // namespace vaxel::app
