// RIFF/IFF chunk walkers and builders. Head layout, both byte
// orders: bytes 0-3 the id as stored, bytes 4-7 the body length (little-endian
// for RIFF, big-endian for IFF), then the body and, when word aligned and the
// length is odd, one pad byte. Container bodies start with a form type.
//
// Every offset is 64-bit. A file's offsets stay below 2^63 (FileObject::Seek
// refuses more), but a sub-range or a ds64 size can bring values near 2^64,
// so sums are formed only after checking that they fit.
#include "fileio/chunk.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include "fileio/file_object.h"
#include "model/item.h"
#include "model/text.h"
#include "vaxel_version.h"

namespace vaxel {

namespace {

uint32_t LoadLE32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

uint32_t LoadBE32(const uint8_t* p) {
    return uint32_t(p[3]) | uint32_t(p[2]) << 8 | uint32_t(p[1]) << 16 | uint32_t(p[0]) << 24;
}

void StoreLE32(uint8_t* p, uint32_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
    p[2] = uint8_t(v >> 16);
    p[3] = uint8_t(v >> 24);
}

void StoreBE32(uint8_t* p, uint32_t v) {
    p[0] = uint8_t(v >> 24);
    p[1] = uint8_t(v >> 16);
    p[2] = uint8_t(v >> 8);
    p[3] = uint8_t(v);
}

uint32_t LoadLength(const uint8_t* p, bool bigEndian) { return bigEndian ? LoadBE32(p) : LoadLE32(p); }

void StoreLength(uint8_t* p, uint64_t length, bool bigEndian) {
    uint32_t v = length > 0xFFFFFFFFu ? 0xFFFFFFFFu : uint32_t(length);
    bigEndian ? StoreBE32(p, v) : StoreLE32(p, v);
}

uint64_t SaturatingAdd(uint64_t a, uint64_t b) { return b > ~uint64_t(0) - a ? ~uint64_t(0) : a + b; }

bool IsContainer(uint32_t id) { return id == FourCC("LIST") || id == FourCC("RIFF") || id == FourCC("FORM"); }

// The next head behind a body of `length` bytes at `pos`, inside [pos, end]:
// returns the clipped body size and sets next. The pad byte is skipped only
// when it fits; a missing pad at the very end of the area is no error.
uint64_t PlaceBody(uint64_t pos, uint64_t end, uint64_t length, bool wordAligned, uint64_t& next) {
    if (pos >= end) {
        next = pos;
        return 0;
    }
    uint64_t avail = end - pos;
    if (length >= avail) {
        next = end;
        return avail;
    }
    uint64_t pad = wordAligned && (length & 1) ? 1 : 0;
    next = pos + length + pad; // length + pad <= avail
    return length;
}

} // namespace

std::string FourCCText(uint32_t id) {
    std::string text(4, ' ');
    for (int i = 0; i < 4; ++i) {
        char c = char((id >> (8 * i)) & 0xFF);
        text[size_t(i)] = c >= 32 && c < 127 ? c : '?';
    }
    return text;
}

// ---------------------------------------------------------------- ChunkReader

ChunkReader::ChunkReader(FileObject& file, bool bigEndian, bool wordAligned, bool expectsForm, uint64_t start,
                         uint64_t end)
    : file_(file), fileSize_(file.Size()), bigEndian_(bigEndian), wordAligned_(wordAligned) {
    if (end == 0 || end > fileSize_) end = fileSize_;
    if (start > end) start = end;
    base_ = pos_ = next_ = first_ = start;
    end_ = end;
    if (expectsForm) {
        uint8_t head[8];
        if (end - start < 8 || !ReadAt(start, head, 8)) {
            // No head: nothing to walk.
            pos_ = next_ = first_ = end_;
        } else {
            chunkId_ = LoadLE32(head);
            uint64_t length = LoadLength(head + 4, bigEndian);
            base_ = start + 8;
            // The form's end clips the walk; the file's end clips the form.
            if (length < end - base_) end_ = base_ + length;
            // The form type is taken even when the length says the form is
            // shorter (streaming writers leave a length of 0 behind); the walk
            // then stays empty until the caller sets a wider end.
            uint8_t type[4];
            if (end - base_ >= 4 && ReadAt(base_, type, 4)) {
                formType_ = LoadLE32(type);
                pos_ = next_ = first_ = base_ + 4;
            } else {
                pos_ = next_ = first_ = end;
            }
        }
    }
    firstId_ = chunkId_;
}

ChunkReader::ChunkReader(const ChunkReader& parent, bool readFormType)
    : file_(parent.file_), fileSize_(parent.fileSize_), bigEndian_(parent.bigEndian_),
      wordAligned_(parent.wordAligned_) {
    base_ = pos_ = parent.pos_;
    end_ = pos_ + parent.remaining_; // remaining never passes the parent's end
    chunkId_ = parent.chunkId_;
    uint8_t type[4];
    if (readFormType && parent.remaining_ >= 4 && ReadAt(pos_, type, 4)) {
        formType_ = LoadLE32(type);
        pos_ += 4;
    }
    next_ = first_ = pos_;
    firstId_ = chunkId_;
}

bool ChunkReader::ReadAt(uint64_t offset, void* buffer, size_t n) {
    uint64_t before = file_.Tell();
    if (file_.Seek(offset) && file_.Read(buffer, n)) return true;
    file_.Seek(before);
    return false;
}

void ChunkReader::PlaceNext(uint64_t length) {
    remaining_ = PlaceBody(pos_, end_, length, wordAligned_, next_);
}

bool ChunkReader::NextChunk() {
    if (next_ > end_ || end_ - next_ < 8) return false;
    uint8_t head[8];
    if (!ReadAt(next_, head, 8)) return false;
    chunkId_ = LoadLE32(head);
    pos_ = next_ + 8;
    PlaceNext(LoadLength(head + 4, bigEndian_));
    return true;
}

void ChunkReader::SetChunkSize(uint64_t size) { PlaceNext(size); }

void ChunkReader::SetEnd(uint64_t size) {
    end_ = std::min(SaturatingAdd(base_, size), fileSize_);
    // Keep the current chunk inside the new end.
    if (pos_ >= end_)
        remaining_ = 0;
    else if (remaining_ > end_ - pos_)
        remaining_ = end_ - pos_;
}

bool ChunkReader::Read(void* buffer, uint64_t n) {
    if (n > remaining_) return false;
    if (n == 0) return true;
    if (n > SIZE_MAX || !ReadAt(pos_, buffer, size_t(n))) return false;
    pos_ += n;
    remaining_ -= n;
    return true;
}

uint64_t ChunkReader::Skip(uint64_t n) {
    n = std::min(n, remaining_);
    pos_ += n;
    remaining_ -= n;
    return n;
}

uint64_t ChunkReader::Back(uint64_t n) {
    n = std::min(n, pos_ - base_);
    pos_ -= n;
    remaining_ += n;
    return n;
}

MemChunkReader ChunkReader::ReadRest() {
    if (pos_ >= end_ || end_ - pos_ > SIZE_MAX) return MemChunkReader();
    size_t n = size_t(end_ - pos_);
    std::vector<uint8_t> block;
    try {
        block.resize(n);
    } catch (const std::bad_alloc&) {
        return MemChunkReader();
    } catch (const std::length_error&) {
        return MemChunkReader();
    }
    if (!ReadAt(pos_, block.data(), n)) return MemChunkReader();
    pos_ = next_ = end_;
    remaining_ = 0;
    return MemChunkReader(std::move(block), bigEndian_, wordAligned_);
}

void ChunkReader::Rewind() {
    pos_ = next_ = first_;
    remaining_ = 0;
    chunkId_ = firstId_;
}

// ------------------------------------------------------------- MemChunkReader

MemChunkReader::MemChunkReader(const uint8_t* data, uint64_t length, bool bigEndian, bool wordAligned,
                               bool expectsForm)
    : data_(data), end_(data ? length : 0), bigEndian_(bigEndian), wordAligned_(wordAligned) {
    if (expectsForm) {
        if (end_ < 8) {
            first_ = end_;
        } else {
            chunkId_ = LoadLE32(data_);
            uint64_t length32 = LoadLength(data_ + 4, bigEndian);
            uint64_t blockEnd = end_;
            if (length32 < end_ - 8) end_ = 8 + length32;
            if (blockEnd >= 12) {
                formType_ = LoadLE32(data_ + 8);
                first_ = 12;
            } else {
                first_ = blockEnd;
            }
        }
    }
    pos_ = bodyStart_ = next_ = first_;
    firstId_ = chunkId_;
}

MemChunkReader::MemChunkReader(const MemChunkReader& parent, uint64_t size)
    : bigEndian_(parent.bigEndian_), wordAligned_(parent.wordAligned_) {
    if (!parent.data_) return;
    data_ = parent.data_ + parent.pos_;
    end_ = std::min(size, parent.remaining());
    chunkId_ = parent.chunkId_;
    if (IsContainer(chunkId_) && end_ >= 4) {
        formType_ = LoadLE32(data_);
        first_ = 4;
    }
    pos_ = bodyStart_ = next_ = first_;
    firstId_ = chunkId_;
}

MemChunkReader::MemChunkReader(std::vector<uint8_t>&& block, bool bigEndian, bool wordAligned)
    : owned_(std::move(block)), bigEndian_(bigEndian), wordAligned_(wordAligned) {
    data_ = owned_.data();
    end_ = owned_.size();
}

// A moved std::vector keeps its buffer, so data_ stays good when it points
// into owned_.
MemChunkReader::MemChunkReader(MemChunkReader&& other) noexcept
    : data_(other.data_), owned_(std::move(other.owned_)), pos_(other.pos_), bodyStart_(other.bodyStart_),
      next_(other.next_), end_(other.end_), first_(other.first_), chunkId_(other.chunkId_),
      firstId_(other.firstId_), chunkSize_(other.chunkSize_), formType_(other.formType_),
      bigEndian_(other.bigEndian_), wordAligned_(other.wordAligned_) {
    other.Clear();
}

MemChunkReader& MemChunkReader::operator=(MemChunkReader&& other) noexcept {
    if (this != &other) {
        owned_ = std::move(other.owned_);
        data_ = other.data_;
        pos_ = other.pos_;
        bodyStart_ = other.bodyStart_;
        next_ = other.next_;
        end_ = other.end_;
        first_ = other.first_;
        chunkId_ = other.chunkId_;
        firstId_ = other.firstId_;
        chunkSize_ = other.chunkSize_;
        formType_ = other.formType_;
        bigEndian_ = other.bigEndian_;
        wordAligned_ = other.wordAligned_;
        other.Clear();
    }
    return *this;
}

void MemChunkReader::Clear() {
    data_ = nullptr;
    owned_.clear();
    pos_ = bodyStart_ = next_ = end_ = first_ = 0;
    chunkId_ = firstId_ = chunkSize_ = formType_ = 0;
}

bool MemChunkReader::NextChunk() {
    if (next_ > end_ || end_ - next_ < 8) return false;
    const uint8_t* head = data_ + next_;
    chunkId_ = LoadLE32(head);
    pos_ = bodyStart_ = next_ + 8;
    // The clipped size is at most the stored 32-bit length.
    chunkSize_ = uint32_t(PlaceBody(pos_, end_, LoadLength(head + 4, bigEndian_), wordAligned_, next_));
    return true;
}

bool MemChunkReader::Read(void* buffer, uint64_t n) {
    if (n > remaining()) return false;
    if (n) std::memcpy(buffer, data_ + pos_, size_t(n));
    pos_ += n;
    return true;
}

uint64_t MemChunkReader::Skip(uint64_t n) {
    n = std::min(n, remaining());
    pos_ += n;
    return n;
}

void MemChunkReader::Rewind() {
    pos_ = bodyStart_ = next_ = first_;
    chunkSize_ = 0;
    chunkId_ = firstId_;
}

// ---------------------------------------------------------------- ChunkWriter

ChunkWriter::ChunkWriter(FileObject& file, bool bigEndian, bool wordAligned, uint32_t id, uint32_t formType)
    : file_(file), start_(file.Tell()), bigEndian_(bigEndian), wordAligned_(wordAligned) {
    if (id) {
        uint8_t type[4];
        StoreLE32(type, formType);
        ok_ = WriteHead(id, 4) && file_.Write(type, 4);
        headOpen_ = ok_;
    }
}

bool ChunkWriter::WriteHead(uint32_t id, uint64_t n) {
    uint8_t head[8];
    StoreLE32(head, id);
    StoreLength(head + 4, n, bigEndian_);
    return file_.Write(head, 8);
}

bool ChunkWriter::WritePad(uint64_t n) {
    if (!wordAligned_ || !(n & 1)) return true;
    uint8_t zero = 0;
    if (file_.Write(&zero, 1)) return true;
    ok_ = false;
    return false;
}

bool ChunkWriter::WriteChunk(uint32_t id, const void* data, uint64_t n) {
    bool done = WriteHead(id, n);
    if (done && data) done = file_.WriteBig(data, n) && WritePad(n);
    if (!done) ok_ = false;
    return done;
}

bool ChunkWriter::Close() {
    if (!headOpen_) return ok_;
    headOpen_ = false;
    uint64_t size = file_.Size();
    if (size < start_ + 8) {
        ok_ = false;
        return false;
    }
    uint8_t length[4];
    StoreLength(length, size - start_ - 8, bigEndian_);
    bool done = file_.Seek(start_ + 4) && file_.Write(length, 4) && file_.Seek(size);
    if (!done) ok_ = false;
    return done;
}

// ------------------------------------------------------------- MemChunkWriter

MemChunkWriter::MemChunkWriter(bool bigEndian, bool wordAligned, size_t capacity, uint32_t id,
                               uint32_t formType)
    : bigEndian_(bigEndian), wordAligned_(wordAligned) {
    try {
        buffer_.reserve(std::max<size_t>(capacity, 12));
    } catch (const std::exception&) {
        // A failed reserve is only a missed optimisation.
    }
    if (id) {
        if (!Grow(formType ? 12 : 8)) return;
        StoreLE32(buffer_.data(), id);
        if (formType) StoreLE32(buffer_.data() + 8, formType);
        hasHead_ = true;
    }
}

bool MemChunkWriter::Grow(size_t n) {
    if (!ok_) return false;
    try {
        buffer_.resize(buffer_.size() + n);
        return true;
    } catch (const std::exception&) { // bad_alloc or length_error
        ok_ = false;
        return false;
    }
}

uint8_t* MemChunkWriter::AddChunk(uint32_t id, uint32_t n) {
    size_t at = buffer_.size();
    size_t pad = wordAligned_ && (n & 1) ? 1 : 0;
    if (!Grow(8 + size_t(n) + pad)) return nullptr;
    uint8_t* head = buffer_.data() + at;
    StoreLE32(head, id);
    StoreLength(head + 4, n, bigEndian_);
    return head + 8;
}

bool MemChunkWriter::AddChunk(uint32_t id, const void* data, uint32_t n) {
    uint8_t* body = AddChunk(id, n);
    if (!body) return false;
    if (n && data) std::memcpy(body, data, n);
    return true;
}

bool MemChunkWriter::Append(const void* bytes, size_t n) {
    size_t at = buffer_.size();
    if (!Grow(n)) return false;
    if (n) std::memcpy(buffer_.data() + at, bytes, n);
    return true;
}

bool MemChunkWriter::AddChild(MemChunkWriter& child) {
    if (!child.ok_) ok_ = false;
    child.PatchHead();
    size_t n = child.buffer_.size();
    size_t pad = wordAligned_ && child.hasHead_ && ((n - 8) & 1) ? 1 : 0;
    size_t at = buffer_.size();
    if (!Grow(n + pad)) return false;
    if (n) std::memcpy(buffer_.data() + at, child.buffer_.data(), n);
    return true;
}

void MemChunkWriter::PatchHead() {
    if (hasHead_ && buffer_.size() >= 8) StoreLength(buffer_.data() + 4, buffer_.size() - 8, bigEndian_);
}

const uint8_t* MemChunkWriter::Finish(size_t* size) {
    PatchHead();
    if (size) *size = ok_ ? buffer_.size() : 0;
    return ok_ ? buffer_.data() : nullptr;
}

bool MemChunkWriter::WriteTo(FileObject& file) {
    if (!ok_) return false;
    PatchHead();
    return file.WriteBig(buffer_.data(), buffer_.size());
}

bool MemChunkWriter::MoveTo(std::vector<uint8_t>& out) {
    if (!ok_) return false;
    PatchHead();
    out = std::move(buffer_);
    buffer_ = std::vector<uint8_t>();
    hasHead_ = false;
    return true;
}

// ---------------------------------------------------------------- INFO chunks

namespace {

struct InfoChunk {
    uint32_t id;
    int field;
};

constexpr InfoChunk kInfoChunks[] = {
    {FourCC("INAM"), kInfoName},      {FourCC("IART"), kInfoArtist},   {FourCC("ICMT"), kInfoComments},
    {FourCC("ICOP"), kInfoCopyright}, {FourCC("IENG"), kInfoEngineer}, {FourCC("IPRD"), kInfoProduct},
};

// Texts longer than this are cut when read; a writer of this system never
// stores more, and a corrupt length must not make a megabyte name.
constexpr size_t kInfoReadLimit = 100000;

bool AddText(MemChunkWriter& writer, uint32_t id, const char* text) {
    size_t n = std::strlen(text);
    if (n == 0) return true;
    // The body is the text and its zero; AddChunk adds the pad of odd sizes.
    return n < 0xFFFFFFFFu ? writer.AddChunk(id, text, uint32_t(n + 1)) : true;
}

} // namespace

bool AddInfoChunks(MemChunkWriter& writer, const CollectionItem& item, bool stamp) {
    const auto* info = dynamic_cast<const InfoItem*>(&item);
    bool ok;
    if (info) {
        ok = AddText(writer, FourCC("INAM"), info->textAnsi(kInfoName));
    } else {
        std::string name = WideToAnsi(std::u16string_view(item.name()));
        ok = AddText(writer, FourCC("INAM"), name.c_str());
    }
    if (stamp) {
        static constexpr char kStamp[] = VAXEL_PROGRAM_STAMP;
        ok = writer.AddChunk(FourCC("ISFT"), kStamp, uint32_t(sizeof kStamp)) && ok;
    }
    if (info) {
        for (const InfoChunk& c : kInfoChunks)
            if (c.field != kInfoName) ok = AddText(writer, c.id, info->textAnsi(c.field)) && ok;
    }
    return ok;
}

int ReadInfoChunks(MemChunkReader& reader, CollectionItem& item) {
    auto* info = dynamic_cast<InfoItem*>(&item);
    int set = 0;
    while (reader.NextChunk()) {
        const InfoChunk* match = nullptr;
        for (const InfoChunk& c : kInfoChunks)
            if (c.id == reader.chunkId()) match = &c;
        if (!match || (!info && match->field != kInfoName)) continue;
        const char* text = reinterpret_cast<const char*>(reader.body());
        size_t n = std::min<size_t>(reader.chunkSize(), kInfoReadLimit);
        if (n == 0 || text[0] == 0) continue;
        if (const void* zero = std::memchr(text, 0, n)) n = size_t(static_cast<const char*>(zero) - text);
        if (info)
            info->setTextAnsi(match->field, text, int(n));
        else
            item.setNameAnsi(text, int(n));
        ++set;
    }
    return set;
}

} // namespace vaxel
