// Constructors, clones and destructors of the concrete item classes: who
// owns what, and how each unhooks itself from its parent.
#include "model/collection.h"
#include "model/song.h"
#include "model/waveform.h"

namespace vaxel {

// ---------------------------------------------------------------- Song, Track

Song::Song(Collection& c, uint32_t serial, const char16_t* name, int length) : InfoItem(c, ItemType::Song, serial) {
    setName(name, length);
}

Song::Song(Collection& c, uint32_t serial, const char* ansiName, int length)
    : InfoItem(c, ItemType::Song, serial) {
    setNameAnsi(ansiName, length);
}

Song::Song(Collection& c, const Song& s) : InfoItem(c, s), format(s.format), division(s.division) {
    ids.clear();
    for (ItemId trackId : s.ids) {
        auto* track = dynamic_cast<Track*>(s.collection().find(ItemType::Track, trackId));
        if (!track) continue;
        auto* copy = new Track(c, *track);
        addChild(*copy);
    }
}

Song::~Song() { deleteChildren(ItemType::Track); }

Track::Track(Collection& c, uint32_t serial, const char16_t* name, int length)
    : NamedItem(c, ItemType::Track, serial) {
    if (name) setName(name, length);
}

Track::Track(Collection& c, const Track& s)
    : NamedItem(c, s), port(s.port), reserved(s.reserved), eventCount(s.eventCount), data(s.data) {}

Track::~Track() { unhookFromParent(); }

} // namespace vaxel
