// Song and Track: construction, clones, destruction order, the flat buffer
// parts, and the scanner of SMF track bodies that counts a Track's events.
#include "model/song.h"

#include <cstring>
#include <new>

#include "model/collection.h"

namespace vaxel {

// ---------------------------------------------------------------- event scanner

namespace {

// A variable-length number of at most four bytes, most significant seven
// bits first. False when the bytes run out before the last one.
bool ReadVarLen(const uint8_t*& p, const uint8_t* end, uint32_t& value) {
    value = 0;
    for (int i = 0; i < 4; ++i) {
        if (p >= end) return false;
        const uint8_t b = *p++;
        value = (value << 7) | (b & 0x7F);
        if (!(b & 0x80)) return true;
    }
    // A fourth byte with its continuation bit set still ends the number; the
    // next byte is read as what follows.
    return true;
}

// Data bytes behind a status of the fixed-length kinds.
int FixedDataBytes(uint8_t status) {
    if (status < 0xF0) return (status & 0xE0) == 0xC0 ? 1 : 2; // 0xC0..0xDF take one
    switch (status) {
    case 0xF1:
    case 0xF3:
        return 1;
    case 0xF2:
        return 2;
    default:
        return 0; // 0xF4..0xFE
    }
}

} // namespace

bool NextTrackEvent(const uint8_t*& p, const uint8_t* end, uint8_t& running, TrackEvent& e) {
    const uint8_t* q = p;
    e.start = p;
    if (!ReadVarLen(q, end, e.delta) || q >= end) return false;
    uint8_t status = *q;
    e.runningStatus = status < 0x80;
    if (e.runningStatus) {
        if (!running) return false; // a data byte with no status to continue
        status = running;
    } else {
        ++q;
    }
    e.status = status;
    e.metaType = 0;
    if (status == 0xFF || status == 0xF0 || status == 0xF7) {
        if (status == 0xFF) {
            if (q >= end) return false;
            e.metaType = *q++;
        }
        uint32_t size;
        if (!ReadVarLen(q, end, size) || size > size_t(end - q)) return false;
        e.data = q;
        e.length = size;
        q += size;
    } else {
        const int n = FixedDataBytes(status);
        if (n > end - q) return false;
        e.data = q;
        e.length = uint32_t(n);
        q += n;
        if (status < 0xF0) running = status;
    }
    e.end = q;
    p = q;
    return true;
}

uint32_t CountTrackEvents(const uint8_t* bytes, size_t length) {
    if (!bytes || !length) return 0;
    const uint8_t* p = bytes;
    const uint8_t* const end = bytes + length;
    uint8_t running = 0;
    uint32_t count = 0;
    TrackEvent e;
    for (;;) {
        // Fewer than four bytes left: the last byte alone can't be an event,
        // so a lone trailing delta is not read as the start of one.
        const uint8_t* limit = end - p < 4 ? end - 1 : end;
        if (p >= limit || !NextTrackEvent(p, end, running, e)) break;
        ++count;
    }
    return count;
}

// ---------------------------------------------------------------- Song

Song::Song(Collection& c, uint32_t serial, const char16_t* name, int length)
    : InfoItem(c, ItemType::Song, serial) {
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
        auto* copy = new (std::nothrow) Track(c, *track);
        if (copy) addChild(*copy);
    }
}

Song::~Song() {
    deleteChildren(ItemType::Track);
}

Track* Song::track(uint32_t index) const {
    if (index >= ids.size()) return nullptr;
    return dynamic_cast<Track*>(collection().find(ItemType::Track, ids[index]));
}

int Song::portCount() const {
    int highest = 0;
    for (uint32_t i = 0; i < ids.size(); ++i)
        if (const Track* t = track(i); t && t->port > highest) highest = t->port;
    return highest + 1;
}

uint64_t Song::eventCount() const {
    uint64_t sum = 0;
    for (uint32_t i = 0; i < ids.size(); ++i)
        if (const Track* t = track(i)) sum += t->eventCount;
    return sum;
}

void Song::fixUp() {
    InfoItem::fixUp();
    if (InfoItem::text(kInfoSourceFile)[0] == 0) {
        std::u16string path = collection().text(kInfoSourceFile);
        if (!path.empty()) setText(kInfoSourceFile, path);
    }
    if (division == 0) division = 24;
}

// Behind the InfoItem part: format in the low, division in the high half of
// one 32-bit word.
uint8_t* Song::writeFlat(uint8_t* p) const {
    p = InfoItem::writeFlat(p);
    return flat::PutU32(p, uint32_t(format) | uint32_t(division) << 16);
}

const uint8_t* Song::readFlat(const uint8_t* p, const uint8_t* end) {
    p = InfoItem::readFlat(p, end);
    uint32_t word;
    if (!p || !flat::GetU32(p, end, word)) return nullptr;
    format = uint16_t(word);
    division = uint16_t(word >> 16);
    return p;
}

size_t Song::flatSize() const {
    return InfoItem::flatSize() + 4;
}

// ---------------------------------------------------------------- Track

Track::Track(Collection& c, uint32_t serial, const char16_t* name, int length)
    : NamedItem(c, ItemType::Track, serial) {
    if (name) setName(name, length);
}

Track::Track(Collection& c, uint32_t serial, const char* ansiName, int length)
    : NamedItem(c, ItemType::Track, serial) {
    if (ansiName) setNameAnsi(ansiName, length);
}

Track::Track(Collection& c, const Track& s)
    : NamedItem(c, s), port(s.port), reserved(s.reserved), kind(s.kind), startChannel(s.startChannel),
      eventCount(s.eventCount) {
    try {
        data_ = s.data_;
    } catch (const std::bad_alloc&) {
        data_.clear();
        eventCount = 0;
    }
}

Track::~Track() {
    unhookFromParent();
}

bool Track::setEvents(const uint8_t* bytes, size_t length) {
    std::vector<uint8_t>().swap(data_);
    eventCount = 0;
    if (!bytes || !length || length > 0xFFFFFFFFu) return !length;
    try {
        data_.assign(bytes, bytes + length);
    } catch (const std::bad_alloc&) {
        return false;
    }
    eventCount = CountTrackEvents(data_.data(), data_.size());
    return true;
}

void Track::setEvents(std::vector<uint8_t>&& bytes) {
    data_ = std::move(bytes);
    if (data_.size() > 0xFFFFFFFFu) data_.clear();
    eventCount = CountTrackEvents(data_.data(), data_.size());
}

// Behind the NamedItem part: one 8-byte word with port, reserved, kind and
// start channel in its low half and the data length in its high half; then
// the event count; then the events.
uint8_t* Track::writeFlat(uint8_t* p) const {
    p = NamedItem::writeFlat(p);
    const uint64_t word = uint64_t(port) | uint64_t(reserved) << 8 | uint64_t(uint8_t(kind)) << 16 |
                          uint64_t(startChannel) << 24 | uint64_t(dataLength()) << 32;
    p = flat::PutU64(p, word);
    p = flat::PutU32(p, eventCount);
    return flat::PutBytes(p, data_.data(), data_.size());
}

const uint8_t* Track::readFlat(const uint8_t* p, const uint8_t* end) {
    p = NamedItem::readFlat(p, end);
    uint64_t word;
    uint32_t count;
    if (!p || !flat::GetU64(p, end, word) || !flat::GetU32(p, end, count)) return nullptr;
    const uint32_t length = uint32_t(word >> 32);
    if (size_t(end - p) < length) return nullptr;
    port = uint8_t(word);
    reserved = uint8_t(word >> 8);
    kind = int8_t(uint8_t(word >> 16));
    startChannel = uint8_t(word >> 24);
    // The count is made again from the bytes, whatever the image says.
    if (!setEvents(p, length)) return nullptr;
    return p + length;
}

size_t Track::flatSize() const {
    return NamedItem::flatSize() + 12 + data_.size();
}

} // namespace vaxel
