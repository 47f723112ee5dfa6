// The tool tables. The rows, their order and their flags are fixed: the
// Tools menu numbers its commands by row, and the wave table keeps "Find
// volume" ahead of "Filter waveform" on purpose. Each tool family binds its
// ToolSpecs to the rows by name at start (InstallTools); a row without a
// spec is a tool that is not built yet.
//
// "VST plug-in effects" closes the wave table once the plug-in host exists;
// until then the row is left out, so the list does not offer it.
#include "tools/tool_table.h"

#include <atomic>

#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/song.h"
#include "model/text.h"
#include "model/waveform.h"
#include "tools/tool_session.h"
#include "tools/wave_passes.h"

namespace vaxel {

namespace tool_available {

namespace {

template <class F> bool AnyItem(const ToolSession& s, F test) {
    for (size_t i = 0; i < s.items.size(); ++i)
        if (CollectionItem* item = s.item(i); item && test(*item)) return true;
    return false;
}

template <class F> bool AnyWave(const ToolSession& s, F test) {
    return AnyItem(s, [&](CollectionItem& item) {
        return item.type() == ItemType::Waveform && test(static_cast<Waveform&>(item));
    });
}

bool IsType(const CollectionItem& item, std::initializer_list<ItemType> types) {
    for (ItemType t : types)
        if (item.type() == t) return true;
    return false;
}

// The items of a type among the children (ids) of an item.
int ChildrenOfType(const CollectionItem& item, ItemType type) {
    int n = 0;
    for (ItemId id : item.ids)
        if (TypeOf(id) == type && item.collection().find(id)) ++n;
    return n;
}

bool RegionHasPlaySection(const Region& r) {
    return r.playSection != 0;
}

bool LayerHasPlaySection(const CollectionItem& layer) {
    for (ItemId id : layer.ids)
        if (TypeOf(id) == ItemType::Region)
            if (auto* r = static_cast<Region*>(layer.collection().find(id)); r && RegionHasPlaySection(*r))
                return true;
    return false;
}

bool InstrumentHasPlaySection(const CollectionItem& instrument) {
    for (ItemId id : instrument.ids)
        if (TypeOf(id) == ItemType::Layer)
            if (CollectionItem* layer = instrument.collection().find(id);
                layer && LayerHasPlaySection(*layer))
                return true;
    return false;
}

bool InstrumentPlaysStereo(const CollectionItem& instrument) {
    const Collection& c = instrument.collection();
    for (ItemId layerId : instrument.ids) {
        CollectionItem* layer = TypeOf(layerId) == ItemType::Layer ? c.find(layerId) : nullptr;
        if (!layer) continue;
        for (ItemId regionId : layer->ids) {
            auto* r = TypeOf(regionId) == ItemType::Region ? static_cast<Region*>(c.find(regionId)) : nullptr;
            if (!r) continue;
            if (Waveform* w = r->waveform(); w && w->channels == 2) return true;
        }
    }
    return false;
}

} // namespace

bool Always(const ToolSession&) {
    return true;
}

bool HasLoopedWave(const ToolSession& s) {
    return AnyWave(s, [](Waveform& w) {
        const LoopRecord* loop = w.mainLoop();
        return loop && loop->kind == kMarkerLoop && loop->loopType != 0;
    });
}

bool HasSectionMarker(const ToolSession& s) {
    return AnyWave(s, [](Waveform& w) {
        for (const LoopRecord& m : w.markers)
            if (m.kind == kMarkerSection) return true;
        return false;
    });
}

bool HasNonLoopMarker(const ToolSession& s) {
    return AnyWave(s, [](Waveform& w) {
        for (const LoopRecord& m : w.markers)
            if (m.kind != kMarkerLoop) return true;
        return false;
    });
}

bool HasMonoWave(const ToolSession& s) {
    return AnyWave(s, [](Waveform& w) { return w.channels == 1; });
}

bool HasStereoWave(const ToolSession& s) {
    return AnyWave(s, [](Waveform& w) { return w.channels == 2; });
}

bool TwoOrMore(const ToolSession& s) {
    return s.items.size() >= 2 && !IsBatchWizardOpen();
}

bool ExactlyOne(const ToolSession& s) {
    return s.items.size() == 1 && !IsBatchWizardOpen();
}

bool HasCollectionOrInstrument(const ToolSession& s) {
    return AnyItem(s, [](CollectionItem& i) {
        return IsType(i, {ItemType::Collection, ItemType::Instrument});
    });
}

bool HasInstrumentLevel(const ToolSession& s) {
    return AnyItem(s, [](CollectionItem& i) {
        return IsType(i, {ItemType::Layer, ItemType::Instrument, ItemType::Collection});
    });
}

bool HasRegionLevel(const ToolSession& s) {
    return AnyItem(s, [](CollectionItem& i) {
        return IsType(i, {ItemType::Region, ItemType::Layer, ItemType::Instrument, ItemType::Collection});
    });
}

bool SeveralInstruments(const ToolSession& s) {
    int instruments = 0;
    for (size_t i = 0; i < s.items.size(); ++i) {
        CollectionItem* item = s.item(i);
        if (!item) continue;
        if (item->type() == ItemType::Collection && s.collection().count(ItemType::Instrument) > 1)
            return true;
        if (item->type() == ItemType::Instrument && ++instruments >= 2) return true;
    }
    return false;
}

bool SeveralLayers(const ToolSession& s) {
    std::vector<ItemId> layerParents;
    for (size_t i = 0; i < s.items.size(); ++i) {
        CollectionItem* item = s.item(i);
        if (!item) continue;
        switch (item->type()) {
        case ItemType::Collection:
            if (s.collection().count(ItemType::Layer) > 1) return true;
            break;
        case ItemType::Instrument:
            if (ChildrenOfType(*item, ItemType::Layer) > 1) return true;
            break;
        case ItemType::Layer:
            for (ItemId parent : layerParents)
                if (parent == item->parentId) return true;
            layerParents.push_back(item->parentId);
            break;
        default:
            break;
        }
    }
    return false;
}

bool HasSong(const ToolSession& s) {
    return AnyItem(s, [](CollectionItem& i) {
        return i.type() == ItemType::Song ||
               (i.type() == ItemType::Collection && i.collection().count(ItemType::Song) > 0);
    });
}

bool HasTrackOrSong(const ToolSession& s) {
    return AnyItem(s, [](CollectionItem& i) {
        return IsType(i, {ItemType::Track, ItemType::Song}) ||
               (i.type() == ItemType::Collection && i.collection().count(ItemType::Song) > 0);
    });
}

bool MergeableTracks(const ToolSession& s) {
    const CollectionItem* previous = nullptr;
    for (size_t i = 0; i < s.items.size(); ++i) {
        CollectionItem* item = s.item(i);
        if (item && item->type() == ItemType::Song && ChildrenOfType(*item, ItemType::Track) > 1) return true;
        if (item && item->type() == ItemType::Track && previous && previous->type() == ItemType::Track &&
            previous->parentId == item->parentId)
            return true;
        previous = item;
    }
    return false;
}

bool CollectionWithSongs(const ToolSession& s) {
    return s.collection().count(ItemType::Song) > 0 &&
           AnyItem(s, [](CollectionItem& i) { return i.type() == ItemType::Collection; });
}

bool HasDrumKit(const ToolSession& s) {
    return AnyItem(s, [](CollectionItem& i) {
        if (i.type() == ItemType::Instrument) return static_cast<Instrument&>(i).isDrumKit();
        if (i.type() == ItemType::Collection)
            for (Instrument* instrument : ItemsOf<Instrument>(i.collection()))
                if (instrument->isDrumKit()) return true;
        return false;
    });
}

bool HasStereoInUse(const ToolSession& s) {
    return AnyItem(s, [](CollectionItem& i) {
        if (i.type() == ItemType::Instrument) return InstrumentPlaysStereo(i);
        if (i.type() == ItemType::Collection)
            for (Waveform* w : ItemsOf<Waveform>(i.collection()))
                if (w->channels == 2) return true;
        return false;
    });
}

bool HasPlaySection(const ToolSession& s) {
    return AnyItem(s, [](CollectionItem& i) {
        switch (i.type()) {
        case ItemType::Region:
            return RegionHasPlaySection(static_cast<Region&>(i));
        case ItemType::Layer:
            return LayerHasPlaySection(i);
        case ItemType::Instrument:
            return InstrumentHasPlaySection(i);
        case ItemType::Collection:
            for (Region* r : ItemsOf<Region>(i.collection()))
                if (RegionHasPlaySection(*r)) return true;
            return false;
        default:
            return false;
        }
    });
}

} // namespace tool_available

namespace {

using namespace tool_available;

constexpr uint8_t S = kSectionCapable;
constexpr uint8_t R = kSectionCapable | kSectionRequired;
constexpr uint8_t Q = kRunsWithoutOptions;

ToolEntry gWaveTable[] = {
    {u"Adjust volume/gain", nullptr, Always, S},
    {u"Auto loop finder", nullptr, Always, 0},
    {u"Auto tune", nullptr, Always, 0},
    {u"Calculate tuning", nullptr, Always, 0},
    {u"Combine waveforms into a sliced wave", nullptr, TwoOrMore, 0},
    {u"Convert from mono to stereo", nullptr, HasMonoWave, 0},
    {u"Convert from stereo to mono", nullptr, HasStereoWave, 0},
    {u"Convert loop markers to sections", nullptr, HasLoopedWave, 0},
    {u"Convert section markers to loops", nullptr, HasNonLoopMarker, 0},
    {u"Cross-fade loop", nullptr, HasLoopedWave, 0},
    {u"Cut away selection", nullptr, Always, R},
    {u"Enable/disable loops", nullptr, Always, 0},
    {u"Fade in/out selection", nullptr, Always, R},
    {u"Find volume", nullptr, Always, 0},
    {u"Filter waveform", nullptr, Always, 0},
    {u"Insert another waveform", nullptr, Always, S},
    {u"Insert silence", nullptr, Always, S},
    {u"Invert sign throughout selection", nullptr, Always, S | Q},
    {u"Loop sanitizer/converter", nullptr, HasLoopedWave, 0},
    {u"Maximize amplitude", nullptr, Always, Q},
    {u"Mix out = a * wave1 + b * wave2 + c", nullptr, ExactlyOne, 0},
    {u"Move loop points to zero-crossing", nullptr, HasLoopedWave, Q},
    {u"Normalize volume", nullptr, Always, 0},
    {u"Parse root key from waveform name", nullptr, Always, Q},
    {u"Pitch scale", nullptr, Always, 0},
    {u"Remove DC offset", nullptr, Always, Q},
    {u"Remove silent sections", nullptr, Always, 0},
    {u"Resample", nullptr, Always, 0},
    {u"Reverse audio within selection", nullptr, Always, S | Q},
    {u"Search and replace text", nullptr, Always, 0},
    {u"Set waveform names from file names", nullptr, Always, Q},
    {u"Set waveform names from root keys", nullptr, Always, 0},
    {u"Smooth within the selection", nullptr, Always, R},
    {u"Split sections/slices into separate waves", nullptr, HasSectionMarker, 0},
    {u"Split waveform at silent sections", nullptr, Always, 0},
    {u"Statistics for the waveform", nullptr, Always, 0},
    {u"Swap left and right channels", nullptr, HasStereoWave, Q},
    {u"Time stretch", nullptr, Always, 0},
    {u"Trim waveform after loop", nullptr, HasLoopedWave, 0},
    {u"Trim waveform to selection", nullptr, Always, R | Q},
    {},
};

ToolEntry gMidiTable[] = {
    {u"Change tick rate", nullptr, HasSong, 0},
    {u"Compact MIDI file size", nullptr, HasTrackOrSong, 0},
    {u"Convert MIDI format", nullptr, HasSong, 0},
    {u"Filter MIDI messages", nullptr, HasTrackOrSong, 0},
    {u"Fix compatibility issues and improve portability", nullptr, HasTrackOrSong, 0},
    {u"Merge selected tracks", nullptr, MergeableTracks, Q},
    {u"Search and replace text", nullptr, Always, 0},
    {u"Transpose notes", nullptr, HasTrackOrSong, 0},
    {u"Trim start and/or length", nullptr, HasTrackOrSong, 0},
    {},
};

ToolEntry gInstrumentTable[] = {
    {u"Add downsampled waves at every octave", nullptr, HasRegionLevel, Q},
    {u"Adjust common parameters", nullptr, Always, 0},
    {u"Auto-extend region key ranges", nullptr, HasInstrumentLevel, 0},
    {u"Delete items not used by any song", nullptr, CollectionWithSongs, 0},
    {u"Format text in names", nullptr, Always, 0},
    {u"Merge instruments into a single instrument", nullptr, SeveralInstruments, 0},
    {u"Merge layers into a single layer", nullptr, SeveralLayers, 0},
    {u"Merge mono waveform pairs to stereo", nullptr, HasCollectionOrInstrument, 0},
    {u"Merge regions using the same waveform", nullptr, HasInstrumentLevel, 0},
    {u"Move articulation level", nullptr, HasInstrumentLevel, 0},
    {u"Move instruments between banks", nullptr, HasCollectionOrInstrument, 0},
    {u"Move up articulation level if all equal below", nullptr, HasInstrumentLevel, 0},
    {u"Renumber instruments", nullptr, HasCollectionOrInstrument, 0},
    {u"Search and replace text", nullptr, Always, 0},
    {u"Split drum kits into melodic instruments", nullptr, HasDrumKit, Q},
    {u"Split layers with velocity splits", nullptr, HasInstrumentLevel, Q},
    {u"Split multi-layered instruments", nullptr, HasCollectionOrInstrument, Q},
    {u"Split stereo waveforms to dual mono layers", nullptr, HasStereoInUse, Q},
    {u"Transpose regions", nullptr, Always, 0},
    {u"Trim waveforms to region play sections", nullptr, HasPlaySection, Q},
    {},
};

std::atomic<bool> gBatchWizardOpen{false};

} // namespace

ToolEntry* ToolTable(ToolKind kind) {
    switch (kind) {
    case ToolKind::Wave:
        return gWaveTable;
    case ToolKind::Instrument:
        return gInstrumentTable;
    case ToolKind::Midi:
        return gMidiTable;
    case ToolKind::Undecided:
        break;
    }
    return nullptr;
}

int ToolTableLength(const ToolEntry* table) {
    int n = 0;
    if (table)
        while (table[n].name) ++n;
    return n;
}

int FindToolIndex(const ToolEntry* table, std::u16string_view name) {
    if (!table) return -1;
    for (int i = 0; table[i].name; ++i)
        if (EqualsIgnoreCase(table[i].name, name)) return i;
    return -1;
}

ToolEntry* FindTool(ToolKind kind, std::u16string_view name) {
    ToolEntry* table = ToolTable(kind);
    const int i = FindToolIndex(table, name);
    return i < 0 ? nullptr : &table[i];
}

bool BindTool(ToolKind kind, std::u16string_view name, const ToolSpec* tool) {
    ToolEntry* entry = FindTool(kind, name);
    if (!entry) return false;
    entry->tool = tool;
    return true;
}

void InstallTools() {
    static bool installed = false;
    if (installed) return;
    installed = true;
    InstallWaveTools();
    InstallWavePasses();
}

bool IsToolBuilt(const ToolEntry& entry) {
    return entry.tool && entry.tool->execute;
}

bool IsToolAvailable(const ToolEntry& entry, const ToolSession& session) {
    return IsToolBuilt(entry) && entry.available && entry.available(session);
}

ToolKind KindForItemType(int itemType) {
    switch (ItemType(itemType)) {
    case ItemType::Waveform:
        return ToolKind::Wave;
    case ItemType::Track:
    case ItemType::Song:
        return ToolKind::Midi;
    default:
        return ToolKind::Instrument;
    }
}

void SetBatchWizardOpen(bool open) {
    gBatchWizardOpen = open;
}
bool IsBatchWizardOpen() {
    return gBatchWizardOpen;
}

} // namespace vaxel
