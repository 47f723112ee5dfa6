#pragma once
// What the Edit commands of the main window do to the model, without the
// window: making Instruments, Layers and Regions, and cloning an item beside
// its source. Each returns the new item, or null with LastError set.
#include "model/ids.h"

namespace vaxel {
class Collection;
class CollectionItem;
} // namespace vaxel

namespace vaxel::app {

// A new, empty Instrument at the end of the collection. Its automatic name
// counts on from the instruments made before.
CollectionItem* AddInstrument(Collection& collection);

// A new Layer at the end of the Instrument that item is, or lies in (a
// Layer or Region of it).
CollectionItem* AddLayer(Collection& collection, CollectionItem* item);

// A new Region over all keys and velocities at the end of the Layer that
// item is, or holds it (a Region of it); an Instrument takes its last Layer,
// and gets one when it has none. A Waveform given as wave is what the Region
// plays.
CollectionItem* AddRegion(Collection& collection, CollectionItem* item, CollectionItem* wave = nullptr);

// A copy of item made by its clone constructor, with its children. A child
// item goes into its parent's list right behind the source; Instruments,
// Songs and Waveforms go to the end of their kind. With unique names on,
// an Instrument's or Waveform's clone gets a name of its own.
CollectionItem* CloneItem(Collection& collection, CollectionItem* item);

// The bits of Collection::update's remove mask for a type.
constexpr int RemoveBit(ItemType type) {
    return 1 << int(type);
}

} // namespace vaxel::app
