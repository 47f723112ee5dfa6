// The item bases: id assignment on construction, unhooking on destruction,
// the info texts with their automatic names, and the flat buffer base parts.
#include "model/item.h"

#include <atomic>
#include <cstring>
#include <string>
#include <new>

#include "model/collection.h"
#include "model/text.h"

namespace vaxel {

const char16_t* TypeText(ItemType type) {
    static const char16_t* const kTexts[kItemTypeCount] = {
        u"waveform", u"synth", u"region", u"layer", u"instrument", u"track", u"song", u"collection"};
    unsigned t = unsigned(type);
    return t < kItemTypeCount ? kTexts[t] : u"";
}

// ---------------------------------------------------------------- flat helpers

namespace flat {
uint8_t* PutU16(uint8_t* p, uint16_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
    return p + 2;
}
uint8_t* PutU32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
    return p + 4;
}
uint8_t* PutU64(uint8_t* p, uint64_t v) {
    for (int i = 0; i < 8; ++i) p[i] = uint8_t(v >> (8 * i));
    return p + 8;
}
uint8_t* PutBytes(uint8_t* p, const void* data, size_t n) {
    if (n) std::memcpy(p, data, n);
    return p + n;
}
bool GetU16(const uint8_t*& p, const uint8_t* end, uint16_t& v) {
    if (end - p < 2) return false;
    v = uint16_t(p[0] | (p[1] << 8));
    p += 2;
    return true;
}
bool GetU32(const uint8_t*& p, const uint8_t* end, uint32_t& v) {
    if (end - p < 4) return false;
    v = uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
    p += 4;
    return true;
}
bool GetU64(const uint8_t*& p, const uint8_t* end, uint64_t& v) {
    if (end - p < 8) return false;
    v = 0;
    for (int i = 0; i < 8; ++i) v |= uint64_t(p[i]) << (8 * i);
    p += 8;
    return true;
}
bool GetBytes(const uint8_t*& p, const uint8_t* end, void* data, size_t n) {
    if (size_t(end - p) < n) return false;
    if (n) std::memcpy(data, p, n);
    p += n;
    return true;
}
} // namespace flat

// ---------------------------------------------------------------- CollectionItem

CollectionItem::CollectionItem(Collection& self) : collection_(&self) { id = kCollectionId; }

CollectionItem::CollectionItem(Collection& collection, ItemType type, uint32_t serial)
    : collection_(&collection) {
    id = collection.assignId(type, serial);
    collection.enter(this);
}

CollectionItem::CollectionItem(Collection& collection, const CollectionItem& source)
    : parentId(source.parentId), dataCodingWord(source.dataCodingWord), readerWide(source.readerWide),
      readerByte(source.readerByte), ids(source.ids), collection_(&collection) {
    std::memcpy(readerWords, source.readerWords, sizeof readerWords);
    id = collection.assignId(source.type(), kNewSerial);
    collection.enter(this);
}

CollectionItem::~CollectionItem() {
    if (collection_ && static_cast<CollectionItem*>(collection_) != this) collection_->leave(this);
}

CollectionItem* CollectionItem::parent() const {
    return parentId == kNoItem ? nullptr : collection_->find(parentId);
}

bool CollectionItem::addChild(CollectionItem& child) {
    child.parentId = id;
    return ids.push_back(child.id);
}

void CollectionItem::unhookFromParent() {
    if (CollectionItem* p = parent()) p->ids.remove(id);
}

void CollectionItem::deleteChildren(ItemType childType) {
    for (int i = int(ids.size()) - 1; i >= 0; --i) {
        if (i >= int(ids.size())) continue;
        ItemId child = ids[uint32_t(i)];
        CollectionItem* item = child == kNoItem ? nullptr : collection_->find(MakeId(childType, child));
        if (item && item != this) {
            delete item;
        }
        // A child that did not unhook itself (or was already gone) leaves
        // its entry; drop it so the list never points at freed memory.
        if (i < int(ids.size()) && ids[uint32_t(i)] == child) ids.erase(uint32_t(i));
    }
}

uint8_t* CollectionItem::writeFlat(uint8_t* p) const {
    p = flat::PutU32(p, id);
    p = flat::PutU32(p, parentId);
    p = flat::PutU32(p, dataCodingWord);
    p = flat::PutU32(p, readerWords[0]);
    p = flat::PutU32(p, readerWords[1]);
    p = flat::PutU32(p, ids.size());
    for (ItemId child : ids) p = flat::PutU32(p, child);
    return p;
}

const uint8_t* CollectionItem::readFlat(const uint8_t* p, const uint8_t* end) {
    uint32_t storedId, count;
    if (!flat::GetU32(p, end, storedId) || !flat::GetU32(p, end, parentId) ||
        !flat::GetU32(p, end, dataCodingWord) || !flat::GetU32(p, end, readerWords[0]) ||
        !flat::GetU32(p, end, readerWords[1]) || !flat::GetU32(p, end, count))
        return nullptr;
    // The id itself was restored when the item was created for this image.
    if (size_t(end - p) / 4 < count) return nullptr;
    ids.clear();
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t child = 0;
        flat::GetU32(p, end, child);
        ids.push_back(child);
    }
    return p;
}

size_t CollectionItem::flatSize() const { return 24 + 4 * size_t(ids.size()); }

void CollectionItem::setName(const char16_t*, int) {}
void CollectionItem::setNameAnsi(const char*, int) {}
const char16_t* CollectionItem::name() const { return u"unnamed"; }
std::u16string CollectionItem::sourceFile() const {
    if (static_cast<const CollectionItem*>(collection_) == this) return {};
    return collection_->text(kInfoSourceFile);
}

void CollectionItem::fixUp() {
    uint32_t kept = 0;
    for (uint32_t i = 0; i < ids.size(); ++i) {
        ItemId child = ids[i];
        if (child == kNoItem || !collection_->find(child)) continue;
        ids[kept++] = child;
    }
    while (ids.size() > kept) ids.erase(ids.size() - 1);
}

bool CollectionItem::isSet(int) const { return false; }
float CollectionItem::getValue(int) const { return 0.0f; }
void CollectionItem::setValue(int, float) {}
void CollectionItem::resetValue(int number) { clearValue(number, defaultValue(number)); }
void CollectionItem::clearValue(int, float) {}
float CollectionItem::defaultValue(int number) const { return describe(number).defaultValue; }
const PropertyDescriptor& CollectionItem::describe(int) const { return EmptyDescriptor(); }

void CollectionItem::remapIds(const IdRemap& map) {
    auto through = [&map](ItemId v) {
        auto it = map.find(v);
        return it == map.end() ? v : it->second;
    };
    id = through(id);
    parentId = through(parentId);
    for (ItemId& child : ids) child = through(child);
}

// ---------------------------------------------------------------- InfoItem

InfoItem::InfoItem(Collection& self) : CollectionItem(self) {}

InfoItem::InfoItem(Collection& collection, ItemType type, uint32_t serial)
    : CollectionItem(collection, type, serial) {}

InfoItem::InfoItem(Collection& collection, const InfoItem& source) : CollectionItem(collection, source) {
    copyInfoFrom(source);
}

void InfoItem::copyInfoFrom(const InfoItem& other) {
    for (int i = 0; i < kInfoTextCount; ++i) {
        fields_[i].text = other.fields_[i].text;
        fields_[i].ansi.reset();
        fields_[i].utf8.reset();
    }
    try {
        image_ = other.image_;
    } catch (const std::bad_alloc&) {
        image_.clear(); // a failed copy leaves the item without an image
    }
}

InfoItem::TextField* InfoItem::field(int number) {
    if (number < kInfoName || number > kInfoSourceFile) return nullptr;
    return &fields_[number - kInfoName];
}

const InfoItem::TextField* InfoItem::field(int number) const {
    if (number < kInfoName || number > kInfoSourceFile) return nullptr;
    return &fields_[number - kInfoName];
}

void InfoItem::setText(int number, const char16_t* text, int length) {
    TextField* f = field(number);
    if (!f) return;
    f->text.clear();
    f->ansi.reset();
    f->utf8.reset();
    if (!text) return;
    size_t n = length < 0 ? std::char_traits<char16_t>::length(text) : size_t(length);
    size_t begin = 0;
    while (begin < n && text[begin] >= 1 && text[begin] <= 32) ++begin;
    size_t stop = begin;
    while (stop < n && text[stop] != 0) ++stop;
    while (stop > begin && text[stop - 1] <= 32) --stop;
    try {
        f->text.assign(text + begin, stop - begin);
    } catch (const std::bad_alloc&) {
        f->text.clear();
    }
    if (number == kInfoName) {
        for (char16_t& c : f->text)
            if (c < 32) c = u' ';
        if (f->text.empty()) applyAutomaticName();
    }
}

const char16_t* InfoItem::text(int number) const {
    const TextField* f = field(number);
    return f ? f->text.c_str() : u"";
}

void InfoItem::setTextAnsi(int number, const char* text, int length) {
    if (!text) return setText(number, nullptr, length);
    size_t n = length < 0 ? std::strlen(text) : size_t(length);
    std::u16string wide = AnsiToWide(std::string_view(text, n));
    setText(number, wide.c_str(), int(wide.size()));
}

void InfoItem::setTextUtf8(int number, const char* text, int length) {
    if (!text) return setText(number, nullptr, length);
    size_t n = length < 0 ? std::strlen(text) : size_t(length);
    std::u16string wide = Utf8ToWide(std::string_view(text, n));
    setText(number, wide.c_str(), int(wide.size()));
}

const char* InfoItem::textAnsi(int number) const {
    const TextField* f = field(number);
    if (!f) return "";
    if (!f->ansi) {
        try {
            f->ansi = WideToAnsi(f->text);
        } catch (const std::bad_alloc&) {
            return "";
        }
    }
    return f->ansi->c_str();
}

const char* InfoItem::textUtf8(int number) const {
    const TextField* f = field(number);
    if (!f) return "";
    if (!f->utf8) {
        try {
            f->utf8 = WideToUtf8(f->text);
        } catch (const std::bad_alloc&) {
            return "";
        }
    }
    return f->utf8->c_str();
}

void InfoItem::setName(const char16_t* text, int length) { setText(kInfoName, text, length); }
void InfoItem::setNameAnsi(const char* text, int length) { setTextAnsi(kInfoName, text, length); }
const char16_t* InfoItem::name() const { return text(kInfoName); }
std::u16string InfoItem::sourceFile() const { return text(kInfoSourceFile); }

const PropertyDescriptor& InfoItem::describe(int number) const {
    if (number >= kInfoName && number <= kInfoImage) return DescribeProperty(number);
    return CollectionItem::describe(number);
}

void InfoItem::setImage(const uint8_t* data, size_t length) {
    try {
        image_.assign(data, data + (data ? length : 0));
    } catch (const std::bad_alloc&) {
        image_.clear();
    }
}

namespace {
// Process-wide running numbers of the automatic names.
std::atomic<int> gWaveNameNumber{0};
std::atomic<int> gInstrumentNameNumber{1};

std::u16string Ordinal(int n) {
    std::u16string digits;
    for (char c : std::to_string(n)) digits += char16_t(c);
    const char16_t* suffix = u"th";
    if (n != 11 && n != 12 && n != 13) {
        switch (n % 10) {
        case 1: suffix = u"st"; break;
        case 2: suffix = u"nd"; break;
        case 3: suffix = u"rd"; break;
        default: break;
        }
    }
    return digits + suffix;
}
} // namespace

void ResetNameNumbersForTesting() {
    gWaveNameNumber = 0;
    gInstrumentNameNumber = 1;
}

void InfoItem::applyAutomaticName() {
    ItemType t = type();
    TextField& f = fields_[0];
    if (t != ItemType::Waveform && t != ItemType::Instrument) {
        f.text = TypeText(t);
        return;
    }
    std::atomic<int>& running = t == ItemType::Waveform ? gWaveNameNumber : gInstrumentNameNumber;
    bool numbered = collection().count(t) != 1;
    int number = 0;
    if (numbered)
        number = running.fetch_add(1);
    else
        running = 0;
    std::u16string name = collection().text(kInfoName);
    if (numbered) {
        if (t == ItemType::Instrument) {
            name += u": " + Ordinal(number) + u" instrument";
        } else {
            name += u' ';
            for (char c : std::to_string(number)) name += char16_t(c);
        }
    }
    // Straight into the field: the collection's name was cleaned when it was
    // set, and an empty result must not start another automatic name.
    for (char16_t& c : name)
        if (c < 32) c = u' ';
    f.text = std::move(name);
}

uint8_t* InfoItem::writeFlat(uint8_t* p) const {
    p = CollectionItem::writeFlat(p);
    for (int i = 0; i < kInfoTextCount; ++i) {
        const std::u16string& t = fields_[i].text;
        if (t.empty()) continue;
        p = flat::PutU16(p, uint16_t(kInfoName + i));
        p = flat::PutU32(p, uint32_t((t.size() + 1) * 2));
        for (char16_t c : t) p = flat::PutU16(p, c);
        p = flat::PutU16(p, 0);
    }
    if (!image_.empty()) {
        p = flat::PutU16(p, kInfoImage);
        p = flat::PutU32(p, uint32_t(image_.size()));
        p = flat::PutBytes(p, image_.data(), image_.size());
    }
    return flat::PutU16(p, 0xFFFF);
}

const uint8_t* InfoItem::readFlat(const uint8_t* p, const uint8_t* end) {
    p = CollectionItem::readFlat(p, end);
    if (!p) return nullptr;
    for (auto& f : fields_) {
        f.text.clear();
        f.ansi.reset();
        f.utf8.reset();
    }
    image_.clear();
    for (;;) {
        uint16_t number;
        if (!flat::GetU16(p, end, number)) return nullptr;
        if (number == 0xFFFF) return p;
        uint32_t bytes;
        if (!flat::GetU32(p, end, bytes) || size_t(end - p) < bytes) return nullptr;
        if (number == kInfoImage) {
            image_.assign(p, p + bytes);
        } else if (TextField* f = field(number)) {
            size_t units = bytes / 2;
            f->text.resize(units);
            for (size_t i = 0; i < units; ++i) f->text[i] = char16_t(p[2 * i] | (p[2 * i + 1] << 8));
            // Drop the terminator and anything a damaged image put behind it.
            size_t nul = f->text.find(u'\0');
            if (nul != std::u16string::npos) f->text.resize(nul);
        } else {
            return nullptr;
        }
        p += bytes;
    }
}

size_t InfoItem::flatSize() const {
    size_t size = CollectionItem::flatSize() + 2;
    for (const auto& f : fields_)
        if (!f.text.empty()) size += 6 + (f.text.size() + 1) * 2;
    if (!image_.empty()) size += 6 + image_.size();
    return size;
}

// ---------------------------------------------------------------- NamedItem

NamedItem::NamedItem(Collection& collection, ItemType type, uint32_t serial)
    : CollectionItem(collection, type, serial) {}

NamedItem::NamedItem(Collection& collection, const NamedItem& source) : CollectionItem(collection, source) {
    if (source.name_) name_ = new (std::nothrow) std::u16string(*source.name_);
}

NamedItem::~NamedItem() { delete name_; }

void NamedItem::setName(const char16_t* text, int length) {
    delete name_;
    name_ = nullptr;
    if (!text) return;
    size_t n = length < 0 ? std::char_traits<char16_t>::length(text) : size_t(length);
    while (n > 0 && text[n - 1] == u' ') --n;
    name_ = new (std::nothrow) std::u16string(text, n);
}

void NamedItem::setNameAnsi(const char* text, int length) {
    delete name_;
    name_ = nullptr;
    if (!text) return;
    size_t n = length < 0 ? std::strlen(text) : size_t(length);
    while (n > 0 && static_cast<unsigned char>(text[n - 1]) < 33) --n;
    std::u16string wide = AnsiToWide(std::string_view(text, n));
    name_ = new (std::nothrow) std::u16string(std::move(wide));
}

const char16_t* NamedItem::name() const { return name_ ? name_->c_str() : u"unnamed"; }

uint8_t* NamedItem::writeFlat(uint8_t* p) const {
    p = CollectionItem::writeFlat(p);
    const char16_t* n = name();
    for (; *n; ++n) p = flat::PutU16(p, *n);
    return flat::PutU16(p, 0);
}

const uint8_t* NamedItem::readFlat(const uint8_t* p, const uint8_t* end) {
    p = CollectionItem::readFlat(p, end);
    if (!p) return nullptr;
    std::u16string text;
    for (;;) {
        uint16_t c;
        if (!flat::GetU16(p, end, c)) return nullptr;
        if (c == 0) break;
        text += char16_t(c);
    }
    setName(text.c_str(), int(text.size()));
    return p;
}

size_t NamedItem::flatSize() const {
    return CollectionItem::flatSize() + (std::char_traits<char16_t>::length(name()) + 1) * 2;
}

} // namespace vaxel
