#pragma once
// The item bases. Every thing the program loads, edits, plays or saves is an
// item held by one Collection. Items refer to each other only by ItemId, so
// a whole item can be written to a flat buffer (undo, clipboard) and a merge
// renumbers a collection by rewriting numbers.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "model/id_list.h"
#include "model/ids.h"
#include "model/property.h"

namespace vaxel {

class Collection;

// Old id -> new id, used by a merge to renumber what it moves.
using IdRemap = std::unordered_map<ItemId, ItemId>;

class CollectionItem {
public:
    CollectionItem(const CollectionItem&) = delete;
    CollectionItem& operator=(const CollectionItem&) = delete;
    virtual ~CollectionItem();

    // Flat buffer: a self-contained little-endian image of one item.
    virtual uint8_t* writeFlat(uint8_t* buffer) const;
    // Reads what writeFlat wrote; returns the end, or null when the image is
    // cut short or malformed (the item is then left partly read).
    virtual const uint8_t* readFlat(const uint8_t* buffer, const uint8_t* end);
    virtual size_t flatSize() const;

    virtual void setName(const char16_t* text, int length = -1);
    virtual void setNameAnsi(const char* text, int length = -1);
    virtual const char16_t* name() const; // never null
    virtual std::u16string sourceFile() const;
    virtual void fixUp();

    virtual bool isSet(int number) const;
    virtual float getValue(int number) const;
    virtual void setValue(int number, float value);
    virtual void resetValue(int number);
    virtual void clearValue(int number, float value);
    virtual float defaultValue(int number) const;
    virtual const PropertyDescriptor& describe(int number) const;

    // Rewrites id, parentId and every entry of ids through the map. Classes
    // that keep further ids in their own data extend it.
    virtual void remapIds(const IdRemap& map);

    ItemType type() const { return TypeOf(id); }
    Collection& collection() const { return *collection_; }
    // The parent item, if parentId finds one.
    CollectionItem* parent() const;
    // Appends child to this item's list after setting its parentId.
    bool addChild(CollectionItem& child);

    ItemId id = kNoItem;
    ItemId parentId = kNoItem;
    uint32_t dataCodingWord = 0;
    // Free for the code that built the item. Cleared by the constructors,
    // copied by the clones; the first two words also go into the flat buffer.
    uint32_t readerWords[7] = {};
    uint64_t readerWide = 0;
    uint8_t readerByte = 0;
    IdList ids;

protected:
    // Assigns the id (serial kNewSerial takes the next free one) and enters
    // the item in the collection.
    CollectionItem(Collection& collection, ItemType type, uint32_t serial);
    // Clone: copies all fields of source but the id, which is new. parentId is
    // left for the caller to set.
    CollectionItem(Collection& collection, const CollectionItem& source);

    // Removes this item's id from its parent's list, if the parent exists.
    void unhookFromParent();
    // Deletes every child item in ids, from the last to the first. Entries
    // are followed as the child type, whatever their top bits say, so a
    // damaged list can never reach the collection or a parent. A child's
    // destructor shrinks the list, so the index is tested each time.
    void deleteChildren(ItemType childType);

    // Used only by the Collection for its own entry.
    explicit CollectionItem(Collection& self);

private:
    friend class Collection;
    Collection* collection_;
    // Node order of the collection: the order in which items were created.
    CollectionItem* prevNode_ = nullptr;
    CollectionItem* nextNode_ = nullptr;
};

// Base of Waveform, Instrument, Song and Collection: seven info texts and an
// image, each addressed by its InfoField number.
class InfoItem : public CollectionItem {
public:
    uint8_t* writeFlat(uint8_t* buffer) const override;
    const uint8_t* readFlat(const uint8_t* buffer, const uint8_t* end) override;
    size_t flatSize() const override;

    void setName(const char16_t* text, int length = -1) override;
    void setNameAnsi(const char* text, int length = -1) override;
    const char16_t* name() const override;
    std::u16string sourceFile() const override;
    const PropertyDescriptor& describe(int number) const override;

    virtual void setTextAnsi(int number, const char* text, int length = -1);
    virtual const char* textAnsi(int number) const;
    virtual void setTextUtf8(int number, const char* text, int length = -1);
    virtual const char* textUtf8(int number) const;
    virtual void setText(int number, const char16_t* text, int length = -1);
    virtual const char16_t* text(int number) const;

    void setText(int number, std::u16string_view text) { setText(number, text.data(), int(text.size())); }
    void setImage(const uint8_t* data, size_t length);
    const std::vector<uint8_t>& image() const { return image_; }
    bool hasImage() const { return !image_.empty(); }

protected:
    InfoItem(Collection& collection, ItemType type, uint32_t serial);
    InfoItem(Collection& collection, const InfoItem& source);

    // Copies the info fields and the image of another item.
    void copyInfoFrom(const InfoItem& other);

    explicit InfoItem(Collection& self); // the Collection's own entry

private:
    friend class Collection;

    struct TextField {
        std::u16string text;
        mutable std::optional<std::string> ansi;
        mutable std::optional<std::string> utf8;
    };
    TextField* field(int number);
    const TextField* field(int number) const;
    void applyAutomaticName();

    TextField fields_[kInfoTextCount];
    std::vector<uint8_t> image_;
};

// Light base of Layer, Region, SynthesisModel and Track, of which a large
// instrument has thousands: only an optional name on the heap.
class NamedItem : public CollectionItem {
public:
    ~NamedItem() override;
    uint8_t* writeFlat(uint8_t* buffer) const override;
    const uint8_t* readFlat(const uint8_t* buffer, const uint8_t* end) override;
    size_t flatSize() const override;

    void setName(const char16_t* text, int length = -1) override;
    void setNameAnsi(const char* text, int length = -1) override;
    const char16_t* name() const override;
    bool hasName() const { return name_ != nullptr; }

protected:
    NamedItem(Collection& collection, ItemType type, uint32_t serial);
    NamedItem(Collection& collection, const NamedItem& source);

private:
    std::u16string* name_ = nullptr;
};

// Little-endian helpers for the flat buffers.
namespace flat {
uint8_t* PutU16(uint8_t* p, uint16_t v);
uint8_t* PutU32(uint8_t* p, uint32_t v);
uint8_t* PutU64(uint8_t* p, uint64_t v);
uint8_t* PutBytes(uint8_t* p, const void* data, size_t n);
// The readers return false when fewer bytes than needed remain.
bool GetU16(const uint8_t*& p, const uint8_t* end, uint16_t& v);
bool GetU32(const uint8_t*& p, const uint8_t* end, uint32_t& v);
bool GetU64(const uint8_t*& p, const uint8_t* end, uint64_t& v);
bool GetBytes(const uint8_t*& p, const uint8_t* end, void* data, size_t n);
} // namespace flat

} // namespace vaxel
