// The Collection: id assignment, node order, the post-load pass, merging,
// adoption and unique names and MIDI locations.
#include "model/collection.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "model/instrument.h"
#include "model/settings.h"
#include "model/song.h"
#include "model/status_line.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel {

void ResetNameNumbersForTesting(); // item.cpp

namespace {
// One serial counter per item type for the whole process, not per
// collection: ids stay unique across the collections of one run (undo,
// clipboard, batch).
std::atomic<uint32_t> gSerialCounters[kItemTypeCount];
} // namespace

void ResetItemCountersForTesting() {
    for (auto& c : gSerialCounters) c = 0;
    ResetNameNumbersForTesting();
}

Collection::UpdateHooks& Collection::hooks() {
    static UpdateHooks hooks;
    return hooks;
}

Collection::Collection() : InfoItem(*this) {
    items_.max_load_factor(1.0f);
    items_.rehash(8);
    enter(this);
    clear();
}

Collection::~Collection() {
    destroying_ = true;
    clear();
    // Whatever no Song, Instrument or Waveform owned goes too.
    while (head_ && (head_ != this || head_->nextNode_)) {
        CollectionItem* victim = head_ == this ? head_->nextNode_ : head_;
        delete victim;
    }
}

// ---------------------------------------------------------------- ids

ItemId Collection::assignId(ItemType type, uint32_t serial) {
    std::atomic<uint32_t>& counter = gSerialCounters[int(type) & 7];
    if (serial < kNewSerial) {
        counter.store(serial);
        return MakeId(type, serial);
    }
    for (;;) {
        uint32_t next = (counter.fetch_add(1) + 1) & kSerialMask;
        ItemId candidate = MakeId(type, next);
        if (candidate == kNoItem) return candidate;
        auto it = items_.find(candidate);
        if (it != items_.end() && it->second) continue;
        // Another thread may have moved the counter on; only raise it.
        uint32_t seen = counter.load();
        while (seen < next && !counter.compare_exchange_weak(seen, next)) {
        }
        return candidate;
    }
}

ItemId Collection::nextFreeId(ItemType type) {
    return assignId(type, kNewSerial);
}

void Collection::enter(CollectionItem* item) {
    items_[item->id] = item;
    ++countByType_[int(item->type()) & 7];
    linkNode(item);
}

void Collection::leave(CollectionItem* item) {
    auto it = items_.find(item->id);
    if (it != items_.end() && it->second == item) items_.erase(it);
    uint32_t& count = countByType_[int(item->type()) & 7];
    if (count) --count;
    unlinkNode(item);
}

void Collection::linkNode(CollectionItem* item) {
    item->prevNode_ = tail_;
    item->nextNode_ = nullptr;
    if (tail_)
        tail_->nextNode_ = item;
    else
        head_ = item;
    tail_ = item;
}

void Collection::unlinkNode(CollectionItem* item) {
    if (item->prevNode_)
        item->prevNode_->nextNode_ = item->nextNode_;
    else if (head_ == item)
        head_ = item->nextNode_;
    if (item->nextNode_)
        item->nextNode_->prevNode_ = item->prevNode_;
    else if (tail_ == item)
        tail_ = item->prevNode_;
    item->prevNode_ = item->nextNode_ = nullptr;
}

CollectionItem* Collection::find(ItemId id) const {
    auto it = items_.find(id);
    return it == items_.end() ? nullptr : it->second;
}

CollectionItem* Collection::first(ItemType type) const {
    for (CollectionItem* n = head_; n; n = n->nextNode_)
        if (n->type() == type && n != this) return n;
    return nullptr;
}

CollectionItem* Collection::next(const CollectionItem* item, ItemType type) const {
    for (CollectionItem* n = item ? item->nextNode_ : nullptr; n; n = n->nextNode_)
        if (n->type() == type && n != this) return n;
    return nullptr;
}

CollectionItem* Collection::create(ItemId id) {
    uint32_t serial = SerialOf(id);
    switch (TypeOf(id)) {
    case ItemType::Waveform:
        return new Waveform(*this, serial, static_cast<const char16_t*>(nullptr));
    case ItemType::SynthesisModel:
        return new SynthesisModel(*this, serial);
    case ItemType::Region:
        return new Region(*this, serial);
    case ItemType::Layer:
        return new Layer(*this, serial);
    case ItemType::Instrument:
        return new Instrument(*this, serial, static_cast<const char16_t*>(nullptr));
    case ItemType::Track:
        return new Track(*this, serial);
    case ItemType::Song:
        return new Song(*this, serial, static_cast<const char16_t*>(nullptr));
    default:
        return nullptr;
    }
}

// ---------------------------------------------------------------- clear, adopt

void Collection::clear() {
    if (items_.size() > 1) {
        if (hooks().beforeClear) hooks().beforeClear(*this);
        for (ItemType t : {ItemType::Song, ItemType::Instrument, ItemType::Waveform}) {
            while (CollectionItem* item = first(t)) delete item;
        }
        // Items that nothing owned (a Layer whose Instrument was deleted
        // without it, a lone Region) would otherwise outlive the clear.
        for (CollectionItem* n = head_; n;) {
            CollectionItem* following = n->nextNode_;
            if (n != this) delete n;
            n = following;
        }
    }
    sourceFormat = -1;
    if (!destroying_) {
        setName(u"New collection");
        setText(kInfoSourceFile, u"");
    }
}

void Collection::adopt(Collection& other) {
    if (&other == this) return;
    clear();
    // Take both collections' own entries out, swap the contents, and put
    // each collection back into its own map.
    leave(this);
    other.leave(&other);
    items_.swap(other.items_);
    std::swap(countByType_, other.countByType_);
    std::swap(head_, other.head_);
    std::swap(tail_, other.tail_);
    for (CollectionItem* n = head_; n; n = n->nextNode_) n->collection_ = this;
    // Our own entry goes first in node order.
    items_[id] = this;
    ++countByType_[int(ItemType::Collection)];
    prevNode_ = nullptr;
    nextNode_ = head_;
    if (head_) head_->prevNode_ = this;
    head_ = this;
    if (!tail_) tail_ = this;
    other.enter(&other);

    dataCodingWord = other.dataCodingWord;
    std::copy(std::begin(other.readerWords), std::end(other.readerWords), std::begin(readerWords));
    readerWide = other.readerWide;
    readerByte = other.readerByte;
    sourceFormat = other.sourceFormat;
    copyInfoFrom(other);
}

// ---------------------------------------------------------------- names

namespace {

std::u16string Folded(std::u16string_view name) {
    std::u16string f(name);
    for (char16_t& c : f) c = FoldCase(c);
    return f;
}

// The next name to try after a clash: a trailing number counts up, other
// names get " 1".
std::u16string NextUniqueCandidate(std::u16string name) {
    size_t n = name.size();
    bool run = false;
    size_t runStart = n;
    if (n > 0 && name[n - 1] >= u'0' && name[n - 1] <= u'9') {
        // Note names such as "Piano F#3" or "Bass C2" keep their octave.
        char16_t before = n >= 2 ? name[n - 2] : 0;
        if (n == 1 || !(before == u'#' || (before >= u'A' && before <= u'G'))) {
            run = true;
            while (runStart > 0 && name[runStart - 1] >= u'0' && name[runStart - 1] <= u'9') --runStart;
        }
    }
    if (run) {
        // Digits beyond what a number holds only ever count up the tail.
        size_t digits = n - runStart;
        if (digits > 18) runStart = n - 18;
        uint64_t value = 0;
        for (size_t i = runStart; i < n; ++i) value = value * 10 + uint64_t(name[i] - u'0');
        name.resize(runStart);
        for (char c : std::to_string(value + 1)) name += char16_t(c);
    } else {
        name += u" 1";
    }
    return name;
}

} // namespace

bool Collection::makeNameUnique(CollectionItem& item) {
    bool changed = false;
    const ItemType type = item.type();
    for (;;) {
        std::u16string name = item.name();
        bool clash = false;
        for (CollectionItem* other = first(type); other; other = next(other, type)) {
            if (other != &item && EqualsIgnoreCase(other->name(), name)) {
                clash = true;
                break;
            }
        }
        if (!clash) return changed;
        name = NextUniqueCandidate(std::move(name));
        item.setName(name.c_str(), int(name.size()));
        changed = true;
    }
}

void Collection::makeNamesUnique(ItemType type) {
    // How many items bear each folded name; an item is renamed while
    // another one shares its name, as makeNameUnique does.
    std::unordered_map<std::u16string, uint32_t> count;
    for (CollectionItem* item = first(type); item; item = next(item, type)) ++count[Folded(item->name())];
    for (CollectionItem* item = first(type); item; item = next(item, type)) {
        std::u16string name = item->name();
        std::u16string key = Folded(name);
        if (count[key] < 2) continue;
        while (count[key] >= 2) {
            --count[key];
            name = NextUniqueCandidate(std::move(name));
            key = Folded(name);
            ++count[key];
        }
        item->setName(name.c_str(), int(name.size()));
    }
}

// ---------------------------------------------------------------- fixUp

namespace {
// The location as a key in which a raise by one moves to the next major
// bank first, then the program, then the minor bank; the drum flag stays.
uint32_t LocationToKey(uint32_t location) {
    uint32_t program = location & 0x7F, minor = (location >> 7) & 0x7F, major = (location >> 14) & 0x7F;
    return major | (program << 7) | (minor << 14) | (location & 0x200000);
}
uint32_t KeyToLocation(uint32_t key) {
    uint32_t major = key & 0x7F, program = (key >> 7) & 0x7F, minor = (key >> 14) & 0x7F;
    return program | (minor << 7) | (major << 14) | (key & 0x200000);
}
} // namespace

void Collection::fixUp() {
    CollectionItem::fixUp();
    std::unordered_set<uint32_t> used;
    for (Instrument* inst : ItemsOf<Instrument>(*this)) {
        uint32_t key = LocationToKey(inst->location);
        const uint32_t drum = key & 0x200000;
        // 2^21 places per drum flag; the loop ends long before they run out.
        for (uint32_t tries = 0; used.count(key) && tries < 0x200000; ++tries)
            key = drum | ((key + 1) & 0x1FFFFF);
        used.insert(key);
        inst->location = KeyToLocation(key);
    }
}

// ---------------------------------------------------------------- merge

void Collection::merge(Collection& source) {
    if (&source == this || source.items_.size() <= 1) return;

    // Old -> new ids; every moved item is renumbered even without a clash.
    IdRemap remap;
    remap[kNoItem] = kNoItem;
    std::vector<CollectionItem*> moving;
    for (CollectionItem* n = source.head_; n; n = n->nextNode_) {
        if (n == &source) continue;
        moving.push_back(n);
    }
    for (CollectionItem* item : moving) remap[item->id] = nextFreeId(item->type());

    std::unordered_set<uint32_t> usedLocations;
    for (Instrument* inst : ItemsOf<Instrument>(*this)) usedLocations.insert(inst->location);
    uint32_t melodicCounter = 0, drumCounter = 0x200000;
    const bool uniqueNames = GlobalSettings().load.bEnsureUniqueNames;

    for (CollectionItem* item : moving) {
        source.leave(item);
        item->collection_ = this;
        item->remapIds(remap);
        enter(item);

        if (item->type() == ItemType::Instrument) {
            auto* inst = static_cast<Instrument*>(item);
            if (usedLocations.count(inst->location)) {
                uint32_t& counter = inst->isDrumKit() ? drumCounter : melodicCounter;
                if (counter <= inst->location) counter = inst->location + 1;
                while (usedLocations.count(counter)) ++counter;
                inst->location = counter;
            }
            usedLocations.insert(inst->location);
        }
        if (uniqueNames && (item->type() == ItemType::Instrument || item->type() == ItemType::Waveform))
            makeNameUnique(*item);
    }
    fixUp();
}

// ---------------------------------------------------------------- update

namespace {
// Checks a Region's waveform overrides against its Waveform and drops those
// that add nothing.
void CheckRegionOverrides(Region& region) {
    Waveform* wave = region.waveform();
    if (!wave) return;
    if (region.rootOverride >= 0 && uint8_t(region.rootOverride) == wave->rootKey) region.rootOverride = -1;
    if (region.playSection) {
        const LoopRecord* m = wave->findMarker(region.playSection);
        if (!m || (m->start == 0 && (m->kind == 0 || m->end >= wave->frames))) region.playSection = 0;
    }
    if (region.loopSection != 0xFFFFFFFFu && region.loopSection != 0) {
        if (!wave->findMarker(region.loopSection) || region.loopSection == wave->mainLoopId)
            region.loopSection = 0xFFFFFFFFu;
    } else if (region.loopSection == 0) {
        const LoopRecord* mainLoop = wave->mainLoopId ? wave->findMarker(wave->mainLoopId) : nullptr;
        if (!mainLoop || mainLoop->loopType == 0) region.loopSection = 0xFFFFFFFFu;
    }
}
} // namespace

bool Collection::isEmptyItem(CollectionItem* item) const {
    auto anyLive = [this](const CollectionItem* it) {
        for (ItemId child : it->ids)
            if (child != kNoItem && find(child)) return true;
        return false;
    };
    switch (item->type()) {
    case ItemType::Waveform: {
        auto* w = static_cast<Waveform*>(item);
        return w->frames == 0 || (w->channels != 1 && w->channels != 2);
    }
    case ItemType::SynthesisModel: {
        uint32_t kept = 0;
        for (uint32_t i = 0; i < item->ids.size(); ++i) {
            ItemId wave = item->ids[i];
            if (TypeOf(wave) == ItemType::Waveform && find(wave)) item->ids[kept++] = wave;
        }
        while (item->ids.size() > kept) item->ids.erase(item->ids.size() - 1);
        return kept == 0;
    }
    case ItemType::Track:
        return static_cast<Track*>(item)->eventCount == 0;
    case ItemType::Region:
    case ItemType::Layer:
    case ItemType::Instrument:
    case ItemType::Song:
        return !anyLive(item);
    default:
        return false;
    }
}

void Collection::update(int removeMask, bool full) {
    StatusLine& status = Status();
    const UpdateHooks& h = hooks();
    auto fixLevel = [&](ItemType type) {
        for (CollectionItem* item = first(type); item; item = next(item, type)) {
            item->fixUp();
            if (type == ItemType::Region && full) CheckRegionOverrides(*static_cast<Region*>(item));
            CleanItemParameters(*item, CurrentFeatureMask());
            if (h.cleanParameters) h.cleanParameters(*item, full);
        }
    };

    status.status(u"Fixing up items", kStatusProgress);
    fixLevel(ItemType::Instrument);
    fixLevel(ItemType::Layer);
    fixLevel(ItemType::Region);

    status.status(u"Fixing up items", kStatusProgress);
    for (ItemType t : {ItemType::SynthesisModel, ItemType::Waveform, ItemType::Song, ItemType::Track})
        for (CollectionItem* item = first(t); item; item = next(item, t)) item->fixUp();

    status.status(u"Fixing up items", kStatusProgress);
    bool deleted = false;
    for (ItemType t : {ItemType::Waveform, ItemType::SynthesisModel, ItemType::Region, ItemType::Layer,
                       ItemType::Instrument, ItemType::Track, ItemType::Song}) {
        if (!(removeMask & (1 << int(t)))) continue;
        for (CollectionItem* item = first(t); item;) {
            CollectionItem* following = next(item, t);
            // Deleting an item takes its children with it, which are always of
            // another type, so the following item of this type stays valid.
            if (isEmptyItem(item)) {
                delete item;
                deleted = true;
            }
            item = following;
        }
    }

    status.status(u"Fixing up items", kStatusProgress);
    NormalizeArticulation(*this, CurrentFeatureMask());
    if (h.applyFeatureMask) h.applyFeatureMask(*this);

    if (full) {
        status.status(u"Fixing up items", kStatusProgress);
        if (GlobalSettings().load.bEnsureUniqueNames) {
            makeNamesUnique(ItemType::Instrument);
            makeNamesUnique(ItemType::Waveform);
        }
        RunInstrumentLoadOptionsBeforeStereo(*this);
        if (h.onLoadOptions) h.onLoadOptions(*this);
        RunInstrumentLoadOptionsAfterStereo(*this);
    }

    fixUp();
    status.status(u"", kStatusClearProgress);
    if (deleted && h.rebuildView) h.rebuildView(*this);
}

// ---------------------------------------------------------------- flat

uint8_t* Collection::writeFlat(uint8_t* p) const {
    p = InfoItem::writeFlat(p);
    return flat::PutU32(p, uint32_t(sourceFormat));
}

const uint8_t* Collection::readFlat(const uint8_t* p, const uint8_t* end) {
    p = InfoItem::readFlat(p, end);
    uint32_t format;
    if (!p || !flat::GetU32(p, end, format)) return nullptr;
    sourceFormat = int32_t(format);
    return p;
}

size_t Collection::flatSize() const {
    return InfoItem::flatSize() + 4;
}

} // namespace vaxel
