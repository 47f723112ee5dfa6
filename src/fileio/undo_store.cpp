// Undo states: writing and reading state files, restoring them whole or in
// place, and the history of steps that Undo and Redo walk.
#include "fileio/undo_store.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <new>
#include <unordered_set>

#include "fileio/open_save.h"
#include "fileio/wave_loader.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/parameter_block.h"
#include "model/settings.h"
#include "model/status_line.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel {

namespace fs = std::filesystem;

namespace {

constexpr uint8_t kMagic[4] = {'V', 'x', 'S', 't'};
constexpr size_t kHeaderSize = 12;
// Reads of a state file go in pieces no larger than this.
constexpr size_t kReadPiece = 0x10000000;
// Raised whenever a flat layout of any item class changes, so that files
// written before the change are refused instead of misread.
constexpr uint32_t kFlatLayoutRevision = 1;

fs::path gStateFolder;
uint32_t gUndoNumber = 0;
UndoStore* gInstalled = nullptr;

constexpr ItemType kTypeOrder[] = {ItemType::Waveform, ItemType::SynthesisModel, ItemType::Region,
                                   ItemType::Layer,    ItemType::Instrument,     ItemType::Track,
                                   ItemType::Song};

void Fnv(uint32_t& h, const void* data, size_t n) {
    const auto* p = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < n; ++i) {
        h ^= p[i];
        h *= 16777619u;
    }
}

// Holds the background loader still while images are taken or replaced, and
// lets it go on afterwards if it was running.
class LoaderPause {
  public:
    explicit LoaderPause(Collection& c) : c_(c), wasRunning_(BackgroundLoader::IsRunning()) {
        BackgroundLoader::Stop();
    }
    ~LoaderPause() {
        if (wasRunning_) BackgroundLoader::QueueCollection(c_);
    }
    LoaderPause(const LoaderPause&) = delete;
    LoaderPause& operator=(const LoaderPause&) = delete;

  private:
    Collection& c_;
    bool wasRunning_;
};

// Every item of the collection in state order: by type, then node order.
template <class F> void ForEachInStateOrder(const Collection& c, F&& visit) {
    for (ItemType t : kTypeOrder)
        for (CollectionItem* item = c.first(t); item; item = c.next(item, t)) visit(*item);
}

// The images of a state, checked without touching the target: each one is
// read into a scratch item of its type, which is deleted at once, so at most
// one item's samples are held besides the block.
struct ImageRef {
    ItemId id;
    const uint8_t* begin;
};

bool ScanImages(const uint8_t* bytes, size_t size, std::vector<ImageRef>& images,
                const uint8_t*& collectionImage) {
    if (!bytes || size < kHeaderSize || std::memcmp(bytes, kMagic, 4) != 0) return false;
    const uint8_t* p = bytes + 4;
    const uint8_t* const end = bytes + size;
    uint32_t hash = 0, count = 0;
    flat::GetU32(p, end, hash);
    flat::GetU32(p, end, count);
    // Every image takes at least the 24 bytes of the item base.
    if (hash != StateVersionHash() || count == 0 || count > (size - kHeaderSize) / 24) return false;

    try {
        images.clear();
        images.reserve(count - 1);
        std::unordered_set<ItemId> seen;
        Collection scratch;
        for (uint32_t i = 0; i + 1 < count; ++i) {
            const uint8_t* head = p;
            uint32_t id = 0;
            if (!flat::GetU32(head, end, id)) return false;
            if (id == kNoItem || TypeOf(id) >= ItemType::Collection || !seen.insert(id).second) return false;
            CollectionItem* item = scratch.create(id);
            if (!item) return false;
            const uint8_t* next = item->readFlat(p, end);
            delete item;
            if (!next) return false;
            images.push_back({id, p});
            p = next;
        }
        Collection probe;
        collectionImage = p;
        p = probe.readFlat(p, end);
        return p == end;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void FailWrongVersion() {
    SetLastError("Wrong state version");
}

// A state file's bytes: the file mapped read-only when it can be (the bytes
// come straight from the page cache, with no copy and no fault per page of a
// fresh buffer), else read into memory. State files are only ever replaced by
// a rename, so a mapped file can't shrink under the reader.
class StateBytes {
  public:
    StateBytes() = default;
    ~StateBytes() {
        if (mapped_) ::munmap(mapped_, size_);
    }
    StateBytes(const StateBytes&) = delete;
    StateBytes& operator=(const StateBytes&) = delete;
    const uint8_t* data() const { return mapped_ ? static_cast<const uint8_t*>(mapped_) : block_.get(); }
    size_t size() const { return size_; }

    // False when the file can't be opened, is empty or the memory can't be had.
    bool read(const fs::path& path) {
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) return false;
        struct stat st {};
        bool ok = ::fstat(fd, &st) == 0 && st.st_size > 0 && uint64_t(st.st_size) <= SIZE_MAX;
        if (ok) {
            size_ = size_t(st.st_size);
            void* at = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0);
            if (at != MAP_FAILED) {
                ::madvise(at, size_, MADV_SEQUENTIAL);
                mapped_ = at;
                ::close(fd);
                return true;
            }
            block_.reset(new (std::nothrow) uint8_t[size_]);
            ok = block_ != nullptr;
        }
        size_t done = 0;
        while (ok && done < size_) {
            const size_t piece = size_ - done < kReadPiece ? size_ - done : kReadPiece;
            const ssize_t got = ::pread(fd, block_.get() + done, piece, off_t(done));
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) {
                ok = false;
                break;
            }
            done += size_t(got);
        }
        ::close(fd);
        if (!ok) block_.reset();
        return ok;
    }

  private:
    void* mapped_ = nullptr;
    std::unique_ptr<uint8_t[]> block_;
    size_t size_ = 0;
};

void Rebuilt(Collection& c) {
    if (Collection::hooks().rebuildView) Collection::hooks().rebuildView(c);
}

void RefreshInstruments(Collection& c) {
    for (Instrument* inst : ItemsOf<Instrument>(c)) inst->regionsChanged();
}

// Appends the item's id to its parent's list if the parent exists and lacks
// it (an item remade by an item step).
void Rehook(CollectionItem& item) {
    CollectionItem* parent = item.parent();
    if (!parent) return;
    for (ItemId child : parent->ids)
        if (child == item.id) return;
    parent->ids.push_back(item.id);
}

std::string FileNameOf(std::u16string_view name) {
    std::string utf8 = WideToUtf8(name);
    for (char& c : utf8)
        if (c == '/' || c == '\0') c = '_';
    if (utf8.empty() || utf8 == "." || utf8 == "..") utf8 = "_" + utf8;
    return utf8 + ".vxs";
}

} // namespace

// ---------------------------------------------------------------- files

fs::path StateFolder() {
    if (!gStateFolder.empty()) return gStateFolder;
    fs::path base;
    const char* data = std::getenv("XDG_DATA_HOME");
    if (data && *data) {
        base = data;
    } else {
        const char* home = std::getenv("HOME");
        base = fs::path(home && *home ? home : ".") / ".local" / "share";
    }
    return base / "vaxel-studio";
}

void SetStateFolder(const fs::path& folder) {
    gStateFolder = folder;
}

fs::path StatePath(std::u16string_view name) {
    return StateFolder() / FileNameOf(name);
}

uint32_t StateVersionHash() {
    static const uint32_t hash = [] {
        uint32_t h = 2166136261u;
        static const char kVersion[] = "12.13.0.8";
        Fnv(h, kVersion, sizeof kVersion - 1);
        const uint32_t layout[] = {kFlatLayoutRevision, uint32_t(kParameterBlockFlatSize),
                                   uint32_t(kTriggerBlockFlatSize), uint32_t(kParamCount),
                                   uint32_t(kFxSlots)};
        Fnv(h, layout, sizeof layout);
        return h;
    }();
    return hash;
}

namespace {

// Writes the state to sink piece by piece: the head, then each image through
// one scratch buffer that grows to the largest, so a collection whose samples
// fill most of the memory can still be saved.
bool StreamState(Collection& collection, const std::function<bool(const uint8_t*, size_t)>& sink) {
    LoaderPause pause(collection);
    uint32_t count = 1;
    ForEachInStateOrder(collection, [&](CollectionItem&) { ++count; });
    uint8_t head[kHeaderSize];
    uint8_t* h = flat::PutBytes(head, kMagic, 4);
    h = flat::PutU32(h, StateVersionHash());
    flat::PutU32(h, count);
    if (!sink(head, kHeaderSize)) return false;

    std::vector<uint8_t> buffer;
    bool ok = true;
    auto put = [&](const CollectionItem& item) {
        if (!ok) return;
        const size_t size = item.flatSize();
        try {
            if (buffer.size() < size) buffer.resize(size);
        } catch (const std::bad_alloc&) {
            SetLastError("Out of memory");
            ok = false;
            return;
        }
        // A size that disagrees with what was written would make a state
        // that can't be read back: refuse it rather than save it.
        if (size_t(item.writeFlat(buffer.data()) - buffer.data()) != size) {
            SetLastError("Could not save the undo state");
            ok = false;
            return;
        }
        // Handed on in pieces of 1 MB: large single writes are markedly
        // slower into the page cache than a run of cache-sized ones.
        constexpr size_t kWritePiece = size_t(1) << 20;
        for (size_t done = 0; ok && done < size; done += kWritePiece)
            ok = sink(buffer.data() + done, std::min(kWritePiece, size - done));
    };
    ForEachInStateOrder(collection, put);
    put(collection);
    return ok;
}

} // namespace

bool WriteStateImage(Collection& collection, std::vector<uint8_t>& bytes) {
    bytes.clear();
    const bool ok = StreamState(collection, [&](const uint8_t* data, size_t size) {
        try {
            bytes.insert(bytes.end(), data, data + size);
        } catch (const std::bad_alloc&) {
            SetLastError("Out of memory");
            return false;
        }
        return true;
    });
    if (!ok) bytes.clear();
    return ok;
}

int ReadStateImage(Collection& collection, const uint8_t* bytes, size_t size) {
    std::vector<ImageRef> images;
    const uint8_t* collectionImage = nullptr;
    {
        LoaderPause pause(collection);
        if (!ScanImages(bytes, size, images, collectionImage)) {
            FailWrongVersion();
            return 0;
        }
        collection.clear();
        const uint8_t* end = bytes + size;
        for (const ImageRef& image : images) {
            CollectionItem* item = collection.create(image.id);
            // The scan read every image once already; only memory can fail now.
            if (!item || !item->readFlat(image.begin, end)) {
                collection.clear();
                SetLastError("Out of memory");
                return 0;
            }
        }
        collection.readFlat(collectionImage, end);
        RefreshInstruments(collection);
    }
    Rebuilt(collection);
    return 1;
}

int RestoreStateInPlace(Collection& collection, const uint8_t* bytes, size_t size) {
    std::vector<ImageRef> images;
    const uint8_t* collectionImage = nullptr;
    {
        LoaderPause pause(collection);
        if (!ScanImages(bytes, size, images, collectionImage)) {
            FailWrongVersion();
            return 0;
        }
        const uint8_t* end = bytes + size;
        std::unordered_set<ItemId> kept;
        bool ok = true;
        try {
            kept.reserve(images.size());
            for (const ImageRef& image : images) {
                kept.insert(image.id);
                CollectionItem* item = collection.find(image.id);
                if (!item) item = collection.create(image.id);
                if (!item || !item->readFlat(image.begin, end)) ok = false;
            }
        } catch (const std::bad_alloc&) {
            ok = false;
        }
        collection.readFlat(collectionImage, end);
        // What the state does not hold goes. Its own lists and parent are
        // cleared first: the restored items' lists are already those of the
        // state, and a leftover must not take restored children with it.
        std::vector<CollectionItem*> leftovers;
        for (CollectionItem* n = collection.firstNode(); n; n = Collection::nextNode(n))
            if (n != &collection && !kept.count(n->id)) leftovers.push_back(n);
        for (CollectionItem* item : leftovers) {
            item->ids.clear();
            item->parentId = kNoItem;
        }
        for (CollectionItem* item : leftovers) delete item;
        RefreshInstruments(collection);
        if (!ok) {
            SetLastError("Out of memory");
            return 0;
        }
    }
    Rebuilt(collection);
    return 1;
}

int saveState(Collection& collection, std::u16string_view name) {
    const fs::path path = StatePath(name);
    std::error_code ec;
    fs::create_directories(path.parent_path(), ec);
    // Written beside the target and renamed over it, so a state that can't
    // be written whole leaves the old one as it was.
    fs::path temp = path;
    temp += ".part";
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        SetLastErrorF("Could not create the undo state file %s", path.c_str());
        return 0;
    }
    bool writeFailed = false;
    bool ok = StreamState(collection, [&](const uint8_t* data, size_t size) {
        size_t done = 0;
        while (done < size) {
            const ssize_t put = ::write(fd, data + done, size - done);
            if (put < 0 && errno == EINTR) continue;
            if (put <= 0) {
                writeFailed = true;
                return false;
            }
            done += size_t(put);
        }
        return true;
    });
    if (::close(fd) != 0) writeFailed = true;
    if (ok && !writeFailed && ::rename(temp.c_str(), path.c_str()) != 0) writeFailed = true;
    if (!ok || writeFailed) {
        ::unlink(temp.c_str());
        if (writeFailed) SetLastErrorF("Could not write the undo state file %s", path.c_str());
        return 0;
    }
    return 1;
}

int loadState(Collection& collection, std::u16string_view name) {
    StateBytes bytes;
    if (!bytes.read(StatePath(name))) {
        SetLastError("Could not open file");
        return 0;
    }
    if (!ReadStateImage(collection, bytes.data(), bytes.size())) return 0;
    Status().status(u"Loaded state", kStatusFinal);
    return 1;
}

bool stateExists(std::u16string_view name) {
    const int fd = ::open(StatePath(name).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    ::close(fd);
    return true;
}

bool deleteState(std::u16string_view name) {
    return ::unlink(StatePath(name).c_str()) == 0;
}

bool saveLastSession(Collection& collection) {
    if (!GlobalSettings().app.bPersistentState) return true;
    return saveState(collection, kLastSessionName) != 0;
}

bool loadLastSession(Collection& collection) {
    if (!GlobalSettings().app.bPersistentState || !stateExists(kLastSessionName)) return true;
    if (loadState(collection, kLastSessionName)) return true;
    // A state of another build, or a damaged one: the program starts empty.
    const std::u16string why = LastError();
    collection.clear();
    SetLastError(why);
    return false;
}

void ResetUndoNumbersForTesting() {
    gUndoNumber = 0;
}

// ---------------------------------------------------------------- steps

struct UndoStore::Step {
    UndoKind kind = UndoKind::Whole;
    uint32_t number = 0;
    std::u16string label;
    bool midi = false;
    // Whole: the state's name.
    std::u16string stateName;
    // Items: one record per listed id.
    struct Record {
        ItemId id = kNoItem;
        bool present = false;
        std::vector<uint8_t> image;
    };
    std::vector<Record> records;
    // Markers: the wave and its encoded marker list.
    ItemId wave = kNoItem;
    std::vector<uint8_t> markers;
};

namespace {

// A number whose file exists belongs to another running instance (the
// folder is shared per user) or to one that ended without cleaning up: it is
// passed over, so no step ever replaces a file it did not write.
std::u16string NextUndoStateName() {
    for (;;) {
        std::u16string name = u"Undo state " + Utf8ToWide(std::to_string(++gUndoNumber));
        if (!stateExists(name)) return name;
    }
}

// The marker list of a wave: mainLoopId u32, selectedMarkerId u32, count
// u32, then per marker kind u8, start u32, end u32, startFraction u8,
// endFraction u8, loopType u8, flags u8, loopCount u8, pitch i16, markerId
// u32, name length u32 and the name's UTF-16 units.
std::vector<uint8_t> EncodeMarkers(const Waveform& wave) {
    size_t size = 12;
    for (const LoopRecord& m : wave.markers) size += 26 + 2 * m.name.size();
    std::vector<uint8_t> bytes(size);
    uint8_t* p = bytes.data();
    p = flat::PutU32(p, wave.mainLoopId);
    p = flat::PutU32(p, wave.selectedMarkerId);
    p = flat::PutU32(p, uint32_t(wave.markers.size()));
    for (const LoopRecord& m : wave.markers) {
        *p++ = m.kind;
        p = flat::PutU32(p, m.start);
        p = flat::PutU32(p, m.end);
        *p++ = m.startFraction;
        *p++ = m.endFraction;
        *p++ = m.loopType;
        *p++ = m.flags;
        *p++ = m.loopCount;
        p = flat::PutU16(p, uint16_t(m.pitch));
        p = flat::PutU32(p, m.markerId);
        p = flat::PutU32(p, uint32_t(m.name.size()));
        for (char16_t c : m.name) p = flat::PutU16(p, c);
    }
    return bytes;
}

bool DecodeMarkers(const std::vector<uint8_t>& bytes, Waveform& wave) {
    const uint8_t* p = bytes.data();
    const uint8_t* end = p + bytes.size();
    uint32_t mainLoop, selected, count;
    if (!flat::GetU32(p, end, mainLoop) || !flat::GetU32(p, end, selected) || !flat::GetU32(p, end, count) ||
        count > size_t(end - p) / 26)
        return false;
    std::vector<LoopRecord> markers(count);
    for (LoopRecord& m : markers) {
        uint8_t small[5];
        uint16_t pitch;
        uint32_t length;
        if (!flat::GetBytes(p, end, &m.kind, 1) || !flat::GetU32(p, end, m.start) ||
            !flat::GetU32(p, end, m.end) || !flat::GetBytes(p, end, small, 5) ||
            !flat::GetU16(p, end, pitch) || !flat::GetU32(p, end, m.markerId) ||
            !flat::GetU32(p, end, length) || length > size_t(end - p) / 2)
            return false;
        m.startFraction = small[0];
        m.endFraction = small[1];
        m.loopType = small[2];
        m.flags = small[3];
        m.loopCount = small[4];
        m.pitch = int16_t(pitch);
        m.name.resize(length);
        for (char16_t& c : m.name) {
            uint16_t unit;
            flat::GetU16(p, end, unit);
            c = char16_t(unit);
        }
    }
    wave.markers = std::move(markers);
    wave.mainLoopId = mainLoop;
    wave.selectedMarkerId = selected;
    return true;
}

std::vector<UndoStore::Step::Record> CaptureItems(const Collection& c,
                                                  const std::vector<UndoStore::Step::Record>& like) {
    std::vector<UndoStore::Step::Record> records;
    records.reserve(like.size());
    for (const auto& r : like) {
        UndoStore::Step::Record now;
        now.id = r.id;
        if (CollectionItem* item = c.find(r.id)) {
            now.present = true;
            now.image.resize(item->flatSize());
            item->writeFlat(now.image.data());
        }
        records.push_back(std::move(now));
    }
    return records;
}

bool ApplyItems(Collection& c, const std::vector<UndoStore::Step::Record>& records) {
    bool ok = true;
    for (const auto& r : records) {
        if (!r.present) continue;
        CollectionItem* item = c.find(r.id);
        const bool made = !item;
        if (made) item = c.create(r.id);
        if (!item || !item->readFlat(r.image.data(), r.image.data() + r.image.size())) {
            ok = false;
            continue;
        }
        if (made) Rehook(*item);
    }
    for (const auto& r : records)
        if (!r.present)
            if (CollectionItem* item = c.find(r.id)) delete item;
    RefreshInstruments(c);
    return ok;
}

} // namespace

UndoStore::UndoStore(Collection& collection) : collection_(collection) {}

UndoStore::~UndoStore() {
    if (gInstalled == this) Install(nullptr);
    for (auto& step : steps_)
        if (step->kind == UndoKind::Whole) deleteState(step->stateName);
    if (!temporaryName_.empty()) deleteState(temporaryName_);
}

void UndoStore::notify() {
    if (changed) changed();
}

void UndoStore::dropRedoSteps() {
    while (steps_.size() > position_) {
        if (steps_.back()->kind == UndoKind::Whole) deleteState(steps_.back()->stateName);
        steps_.pop_back();
    }
}

void UndoStore::trim() {
    while (steps_.size() > maxSteps_ && !steps_.empty()) {
        if (steps_.front()->kind == UndoKind::Whole) deleteState(steps_.front()->stateName);
        steps_.erase(steps_.begin());
        if (position_) --position_;
    }
}

uint32_t UndoStore::append(std::unique_ptr<Step> step) {
    dropRedoSteps();
    step->number = nextStepNumber_++;
    const uint32_t number = step->number;
    steps_.push_back(std::move(step));
    position_ = steps_.size();
    trim();
    notify();
    return number;
}

void UndoStore::setMaxSteps(size_t count) {
    maxSteps_ = count ? count : 1;
    trim();
    notify();
}

uint32_t UndoStore::pushWholeState(std::u16string_view label) {
    auto step = std::make_unique<Step>();
    step->kind = UndoKind::Whole;
    step->label = label.empty() ? u"Edit all" : std::u16string(label);
    step->stateName = NextUndoStateName();
    if (!saveState(collection_, step->stateName)) return 0;
    return append(std::move(step));
}

uint32_t UndoStore::pushItemState(const std::vector<ItemId>& ids, std::u16string_view label, bool midi) {
    auto step = std::make_unique<Step>();
    step->kind = UndoKind::Items;
    step->label = label.empty() ? u"Edit all" : std::u16string(label);
    step->midi = midi;
    try {
        std::vector<Step::Record> like;
        std::unordered_set<ItemId> seen;
        for (ItemId id : ids)
            if (id != kNoItem && TypeOf(id) < ItemType::Collection && seen.insert(id).second)
                like.push_back({id, false, {}});
        LoaderPause pause(collection_);
        step->records = CaptureItems(collection_, like);
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        return 0;
    }
    return append(std::move(step));
}

uint32_t UndoStore::pushMarkerState(const Waveform& wave, std::u16string_view label) {
    auto step = std::make_unique<Step>();
    step->kind = UndoKind::Markers;
    step->label = label.empty() ? u"Edit markers" : std::u16string(label);
    step->wave = wave.id;
    try {
        step->markers = EncodeMarkers(wave);
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        return 0;
    }
    return append(std::move(step));
}

bool UndoStore::dropStep(uint32_t step) {
    if (!step || position_ == 0 || position_ != steps_.size() || steps_.back()->number != step) return false;
    if (steps_.back()->kind == UndoKind::Whole) deleteState(steps_.back()->stateName);
    steps_.pop_back();
    position_ = steps_.size();
    notify();
    return true;
}

bool UndoStore::swap(Step& step) {
    switch (step.kind) {
    case UndoKind::Whole: {
        const std::u16string now = NextUndoStateName();
        if (!saveState(collection_, now)) return false;
        if (!loadState(collection_, step.stateName)) {
            deleteState(now);
            return false;
        }
        deleteState(step.stateName);
        step.stateName = now;
        return true;
    }
    case UndoKind::Items: {
        LoaderPause pause(collection_);
        std::vector<Step::Record> now;
        try {
            now = CaptureItems(collection_, step.records);
        } catch (const std::bad_alloc&) {
            SetLastError("Out of memory");
            return false;
        }
        const bool ok = ApplyItems(collection_, step.records);
        step.records = std::move(now);
        Rebuilt(collection_);
        if (!ok) SetLastError("Out of memory");
        return ok;
    }
    case UndoKind::Markers: {
        auto* wave = dynamic_cast<Waveform*>(collection_.find(step.wave));
        if (!wave) {
            SetLastError("The waveform of this step no longer exists");
            return false;
        }
        std::vector<uint8_t> now;
        try {
            now = EncodeMarkers(*wave);
        } catch (const std::bad_alloc&) {
            SetLastError("Out of memory");
            return false;
        }
        if (!DecodeMarkers(step.markers, *wave)) {
            SetLastError("The undo step is damaged");
            return false;
        }
        step.markers = std::move(now);
        return true;
    }
    }
    return false;
}

bool UndoStore::undo() {
    if (!canUndo()) {
        SetLastError("Nothing to undo");
        return false;
    }
    if (!swap(*steps_[position_ - 1])) return false;
    --position_;
    notify();
    return true;
}

bool UndoStore::redo() {
    if (!canRedo()) {
        SetLastError("Nothing to redo");
        return false;
    }
    if (!swap(*steps_[position_])) return false;
    ++position_;
    notify();
    return true;
}

std::u16string UndoStore::undoText() const {
    return canUndo() ? u"Undo: " + steps_[position_ - 1]->label : u"";
}

std::u16string UndoStore::redoText() const {
    return canRedo() ? u"Redo: " + steps_[position_]->label : u"";
}

void UndoStore::clear() {
    for (auto& step : steps_)
        if (step->kind == UndoKind::Whole) deleteState(step->stateName);
    steps_.clear();
    position_ = 0;
    notify();
}

UndoKind UndoStore::kind(size_t index) const {
    return index < steps_.size() ? steps_[index]->kind : UndoKind::Whole;
}

std::u16string UndoStore::label(size_t index) const {
    return index < steps_.size() ? steps_[index]->label : std::u16string();
}

fs::path UndoStore::stateFile(size_t index) const {
    if (index >= steps_.size() || steps_[index]->kind != UndoKind::Whole) return {};
    return StatePath(steps_[index]->stateName);
}

bool UndoStore::takeTemporaryState() {
    if (!temporaryName_.empty()) deleteState(temporaryName_);
    temporaryName_.clear();
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char name[32];
    std::snprintf(name, sizeof name, "Saved state %02d:%02d.%02d", local.tm_hour, local.tm_min, local.tm_sec);
    const std::u16string wide = Utf8ToWide(name);
    if (!saveState(collection_, wide)) return false;
    temporaryName_ = wide;
    return true;
}

bool UndoStore::restoreTemporaryState() {
    if (temporaryName_.empty()) return false;
    const std::u16string name = std::move(temporaryName_);
    temporaryName_.clear();
    StateBytes bytes;
    bool ok = bytes.read(StatePath(name));
    if (!ok)
        SetLastError("Could not open file");
    else
        ok = RestoreStateInPlace(collection_, bytes.data(), bytes.size()) != 0;
    deleteState(name);
    return ok;
}

void UndoStore::Install(UndoStore* store) {
    gInstalled = store;
    FlowHooks& hooks = Flows();
    if (!store) {
        hooks.takeTemporaryState = nullptr;
        hooks.restoreTemporaryState = nullptr;
        hooks.dropUndoHistory = nullptr;
        return;
    }
    // The flows name the collection they work on; only the store's own
    // collection has a history to keep its states in.
    hooks.takeTemporaryState = [store](Collection& c) {
        return &c == &store->collection_ && store->takeTemporaryState();
    };
    hooks.restoreTemporaryState = [store](Collection& c) {
        if (&c == &store->collection_) store->restoreTemporaryState();
    };
    hooks.dropUndoHistory = [store] { store->clear(); };
}

UndoStore* UndoStore::Installed() {
    return gInstalled;
}

} // namespace vaxel
