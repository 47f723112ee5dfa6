#pragma once
// The Collection: the root that owns every item. It maps ids to items with
// one hash probe, keeps the order in which items were created, and offers
// the post-load pass, merging and adoption.
#include <cstdint>
#include <functional>
#include <unordered_map>

#include "model/item.h"

namespace vaxel {

class Waveform;
class Instrument;
class Song;

// FNV-1a over the four bytes of the id, least significant first, in 64 bits.
struct ItemIdHash {
    size_t operator()(ItemId id) const noexcept {
        uint64_t h = 14695981039346656037ull;
        for (int i = 0; i < 4; ++i) {
            h ^= (id >> (8 * i)) & 0xFF;
            h *= 1099511628211ull;
        }
        return size_t(h);
    }
};

class Collection : public InfoItem {
public:
    Collection();
    ~Collection() override;

    uint8_t* writeFlat(uint8_t* buffer) const override;
    const uint8_t* readFlat(const uint8_t* buffer, const uint8_t* end) override;
    size_t flatSize() const override;
    void fixUp() override;

    // The item for an id, or null. No type check: the caller gives the full id.
    CollectionItem* find(ItemId id) const;
    // Typed lookup: rebuilds the id with the wanted type in the top bits.
    CollectionItem* find(ItemType type, ItemId id) const { return find(MakeId(type, id)); }

    // Iteration by type in node order: first(type), then next(item, type).
    CollectionItem* first(ItemType type) const;
    CollectionItem* next(const CollectionItem* item, ItemType type) const;
    // Every item in node order, the collection itself first.
    CollectionItem* firstNode() const { return head_; }
    static CollectionItem* nextNode(const CollectionItem* item) { return item->nextNode_; }

    // An empty item of the type in the id's top bits (0 to 6), or null.
    CollectionItem* create(ItemId id);
    // The next unused id of a type; advances the process-wide counter.
    ItemId nextFreeId(ItemType type);
    uint32_t count(ItemType type) const { return countByType_[int(type)]; }
    size_t size() const { return items_.size(); }

    void clear();
    void merge(Collection& source);
    void adopt(Collection& other);
    void update(int removeMask, bool full);

    // Unique names: renames the item while another of its type has the same
    // name (case ignored). Returns whether the name changed.
    bool makeNameUnique(CollectionItem& item);
    // The same for every item of a type, in node order, with the same
    // result as calling makeNameUnique on each in turn, in linear time.
    void makeNamesUnique(ItemType type);

    int sourceFormat = -1;

    // Steps of the post-load pass that later subsystems provide. Each is
    // called by update() at its place when it is set.
    struct UpdateHooks {
        // After an item's fixUp in step 1 (Instrument, Layer, Region): cleans
        // its parameter block; with full also checks region overrides.
        std::function<void(CollectionItem&, bool full)> cleanParameters;
        // Step 4: move articulation between levels by the feature mask.
        std::function<void(Collection&)> applyFeatureMask;
        // Step 5: the "On Load" options after the unique names.
        std::function<void(Collection&)> onLoadOptions;
        // Tells the view to rebuild after items were deleted.
        std::function<void(Collection&)> rebuildView;
        // Before clear() (and so the destructor) deletes the items: the
        // background loader lets go of this collection's waves.
        std::function<void(Collection&)> beforeClear;
    };
    static UpdateHooks& hooks();

private:
    friend class CollectionItem;
    void enter(CollectionItem* item);
    void leave(CollectionItem* item);
    void linkNode(CollectionItem* item);
    void unlinkNode(CollectionItem* item);
    ItemId assignId(ItemType type, uint32_t serial);
    bool isEmptyItem(CollectionItem* item) const;

    std::unordered_map<ItemId, CollectionItem*, ItemIdHash> items_;
    uint32_t countByType_[kItemTypeCount] = {};
    CollectionItem* head_ = nullptr;
    CollectionItem* tail_ = nullptr;
    bool destroying_ = false;
};

// Typed iteration over one type, in node order:
//   for (Waveform* w : ItemsOf<Waveform>(collection)) ...
// The next item is taken before the body runs, so the body may delete the
// item it is given.
template <class T> class ItemsOf {
public:
    explicit ItemsOf(const Collection& c) : c_(c) {}
    struct iterator {
        const Collection* c;
        CollectionItem* item;
        CollectionItem* following;
        T* operator*() const { return static_cast<T*>(item); }
        iterator& operator++() {
            item = following;
            following = item ? c->next(item, T::kType) : nullptr;
            return *this;
        }
        bool operator!=(const iterator& o) const { return item != o.item; }
    };
    iterator begin() const {
        CollectionItem* f = c_.first(T::kType);
        return {&c_, f, f ? c_.next(f, T::kType) : nullptr};
    }
    iterator end() const { return {&c_, nullptr, nullptr}; }

private:
    const Collection& c_;
};

// The process-wide running numbers of the automatic names and the id
// counters, exposed for tests that need a known starting point.
void ResetItemCountersForTesting();

} // namespace vaxel
