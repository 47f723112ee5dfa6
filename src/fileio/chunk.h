#pragma once
// RIFF/IFF chunk primitives: two walkers (over a file and over a block in
// memory), two builders (straight to a file and into a growing vector) and
// the INFO text chunks shared by the RIFF formats.
//
// A chunk is an id of four bytes and a 32-bit length, then the body. RIFF
// stores the length little-endian, IFF/AIFF ('FORM') big-endian. With word
// alignment a body of odd length is followed by one pad byte that the length
// does not count. The container chunks 'RIFF', 'LIST' and 'FORM' start their
// body with a four-byte form type.
//
// The walkers follow one rule for every RIFF and IFF format: a length that
// runs past the end of the walked area is clipped to it and the chunk is still
// delivered, so a truncated file keeps its last chunk. All offset arithmetic
// is 64-bit and checked before adding. The walkers never set LastError; the
// format reader that uses them decides what a short chunk means.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vaxel {

class CollectionItem;
class FileObject;

// The four identifier bytes as stored, as a little-endian word. Ids are
// compared raw in both byte orders; nothing is case-folded.
constexpr uint32_t FourCC(const char (&id)[5]) {
    return uint32_t(uint8_t(id[0])) | uint32_t(uint8_t(id[1])) << 8 | uint32_t(uint8_t(id[2])) << 16 |
           uint32_t(uint8_t(id[3])) << 24;
}
// The four bytes of an id as text, for messages and test output.
std::string FourCCText(uint32_t id);

class MemChunkReader;

// Walks the chunks of an area of a file. It holds no chunk data: every Read
// seeks the file to the reader's own position first, so a caller may read
// sample data through the file in between. The file's size is taken once, at
// construction, and bounds every end.
class ChunkReader {
public:
    // Walks [start, end) of the file; end 0 means the file's size, and an end
    // past the file's size is clipped to it. With expectsForm the head at
    // start is read first (id, length, four bytes of form type): the end is
    // clipped to that chunk's end, and the walk starts behind the form type.
    // chunkId() and formType() then tell what was found (0 when the head could
    // not be read). The form type is taken even when the form's length is
    // below 4 (streaming writers leave 0); the walk is then empty until the
    // caller widens it with SetEnd. base() is the form's body (start + 8), so
    // SetEnd(length) means the same as the length field.
    ChunkReader(FileObject& file, bool bigEndian, bool wordAligned, bool expectsForm, uint64_t start = 0,
                uint64_t end = 0);
    // A walker over the rest of the parent's current chunk body, with the
    // parent's flags; with readFormType the first four bytes are taken as the
    // form type. The parent does not move. The walk ends at the chunk's
    // clipped end rather than at the parent's whole area, so a child can
    // never run past its LIST; SetEnd (from base() = the parent's pos) can
    // still widen it.
    ChunkReader(const ChunkReader& parent, bool readFormType);

    // Moves to the next chunk and leaves the file at its body, so a caller may
    // read sample data with the file directly. False when no further head
    // fits in the area or the head can not be read.
    bool NextChunk();
    // Replaces the current chunk's remaining size (RF64's ds64 data size) and
    // recomputes the next head with the same padding and clip.
    void SetChunkSize(uint64_t size);
    // Sets the end to base() + size (saturating, and clipped to the file).
    void SetEnd(uint64_t size);
    // Reads n bytes of the current chunk. Fails without moving when n exceeds
    // remaining() (nothing is read then) or when the file read comes short.
    bool Read(void* buffer, uint64_t n);
    // Move forward by at most remaining(), or back by at most pos() - base().
    // Both return the distance moved.
    uint64_t Skip(uint64_t n);
    uint64_t Back(uint64_t n);
    // A memory walker over a copy of the bytes from pos() to end(), with this
    // walker's flags; pos() and next() move to end(). When the copy can not be
    // made (no memory, short read) the result is empty and nothing moves.
    // Meant for small heads and trees of small chunks, not for sample data.
    MemChunkReader ReadRest();
    // Back to the state right after construction: the next NextChunk gives
    // the first chunk again.
    void Rewind();

    uint32_t chunkId() const { return chunkId_; }
    uint32_t formType() const { return formType_; }
    // Bytes left in the current chunk's body; 0 before the first NextChunk.
    uint64_t remaining() const { return remaining_; }
    uint64_t pos() const { return pos_; }
    uint64_t next() const { return next_; }
    uint64_t end() const { return end_; }
    uint64_t base() const { return base_; }
    bool bigEndian() const { return bigEndian_; }
    bool wordAligned() const { return wordAligned_; }
    FileObject& file() const { return file_; }

private:
    bool ReadAt(uint64_t offset, void* buffer, size_t n);
    void PlaceNext(uint64_t length);

    FileObject& file_;
    uint64_t fileSize_;
    uint64_t pos_ = 0;
    uint64_t next_ = 0;
    uint64_t end_ = 0;
    uint64_t base_ = 0;
    uint64_t first_ = 0; // first chunk head, for Rewind
    uint64_t remaining_ = 0;
    uint32_t chunkId_ = 0;
    uint32_t firstId_ = 0; // the id seen by the constructor, for Rewind
    uint32_t formType_ = 0;
    bool bigEndian_;
    bool wordAligned_;
};

// The same walk over a block in memory. The reader does not own the block
// unless it came from ChunkReader::ReadRest; a reader made from a parent
// borrows the parent's block, so the parent must outlive it.
//
// Big-endian lengths are decoded as they are read, never swapped in place,
// so the reader works on const data and one block can be walked any number
// of times.
class MemChunkReader {
public:
    MemChunkReader() = default;
    // Walks [data, data + length). With expectsForm the head at 0 is taken as
    // with ChunkReader: the end becomes the smaller of the chunk's end and the
    // length, and the walk starts behind the form type.
    MemChunkReader(const uint8_t* data, uint64_t length, bool bigEndian, bool wordAligned,
                   bool expectsForm = false);
    // Walks size bytes of the parent's current chunk from its read position
    // (kWholeChunk, or any larger size: all that remains of it). When the
    // parent chunk is a 'LIST', 'RIFF' or 'FORM' and at least four bytes
    // remain, they are the form type and the walk starts behind them.
    static constexpr uint64_t kWholeChunk = ~uint64_t(0);
    MemChunkReader(const MemChunkReader& parent, uint64_t size);
    // Takes over a block (used by ChunkReader::ReadRest).
    MemChunkReader(std::vector<uint8_t>&& block, bool bigEndian, bool wordAligned);

    // Move only: a copy of a reader that owns its block would point into the
    // old block. A moved-from reader is empty.
    MemChunkReader(MemChunkReader&& other) noexcept;
    MemChunkReader& operator=(MemChunkReader&& other) noexcept;
    MemChunkReader(const MemChunkReader&) = delete;
    MemChunkReader& operator=(const MemChunkReader&) = delete;

    bool NextChunk();
    // Reads n bytes of the current chunk; fails without moving when n exceeds
    // remaining().
    bool Read(void* buffer, uint64_t n);
    uint64_t Skip(uint64_t n);
    // Back to the state right after construction.
    void Rewind();

    uint32_t chunkId() const { return chunkId_; }
    uint32_t formType() const { return formType_; }
    // Size of the current body after clipping; 0 before the first NextChunk.
    uint32_t chunkSize() const { return chunkSize_; }
    // First byte of the current body, and the byte at the read position.
    const uint8_t* body() const { return data_ + bodyStart_; }
    const uint8_t* current() const { return data_ + pos_; }
    uint64_t remaining() const { return bodyStart_ + chunkSize_ - pos_; }
    uint64_t pos() const { return pos_; }
    uint64_t next() const { return next_; }
    uint64_t end() const { return end_; }
    const uint8_t* data() const { return data_; }
    bool empty() const { return end_ == 0; }
    bool bigEndian() const { return bigEndian_; }
    bool wordAligned() const { return wordAligned_; }

private:
    void Clear();

    const uint8_t* data_ = nullptr;
    std::vector<uint8_t> owned_;
    uint64_t pos_ = 0;
    uint64_t bodyStart_ = 0;
    uint64_t next_ = 0;
    uint64_t end_ = 0;
    uint64_t first_ = 0;
    uint32_t chunkId_ = 0;
    uint32_t firstId_ = 0;
    uint32_t chunkSize_ = 0;
    uint32_t formType_ = 0;
    bool bigEndian_ = false;
    bool wordAligned_ = true;
};

// Writes chunks straight to a file. With a container id the head is written
// with a placeholder length that Close() patches. There is no destructor
// patch: the caller closes, and a writer abandoned on an error leaves the
// placeholder. Failures return false; LastError is the caller's.
class ChunkWriter {
public:
    // Records the file's current offset as the start; with a non-zero id
    // writes id, a length of 4 and the form type.
    ChunkWriter(FileObject& file, bool bigEndian, bool wordAligned, uint32_t id = 0, uint32_t formType = 0);

    // Writes the head (the length clipped to 32 bits), the data and, when
    // word aligned and n is odd, one zero pad byte. With data null only the
    // head is written; the caller writes the body and then WritePad(n).
    bool WriteChunk(uint32_t id, const void* data, uint64_t n);
    // The pad byte of a body of n bytes, when one is due.
    bool WritePad(uint64_t n);
    // Patches the open head: length = file size - start - 8, clipped to
    // 0xFFFFFFFF; then seeks to the end of the file.
    bool Close();

    bool ok() const { return ok_; }
    uint64_t start() const { return start_; }

private:
    bool WriteHead(uint32_t id, uint64_t n);

    FileObject& file_;
    uint64_t start_;
    bool bigEndian_;
    bool wordAligned_;
    bool headOpen_ = false;
    bool ok_ = true;
};

// Builds a chunk, or a tree of them, in a growing byte vector. With a
// container id the vector starts with the head: id, length (patched by
// Finish, WriteTo, MoveTo and a parent's AddChild) and form type. A form type
// of 0 gives a plain 8-byte head, so a leaf chunk can be built piecewise too.
class MemChunkWriter {
public:
    MemChunkWriter(bool bigEndian, bool wordAligned, size_t capacity = 0, uint32_t id = 0,
                   uint32_t formType = 0);

    // Appends a head and n zero bytes (n + 1 when word aligned and n is odd)
    // and returns the body, or null when memory runs out. The pointer is only
    // good until the next call that grows this writer.
    uint8_t* AddChunk(uint32_t id, uint32_t n);
    // The same with the body copied from data.
    bool AddChunk(uint32_t id, const void* data, uint32_t n);
    // Raw bytes, no head and no pad.
    bool Append(const void* bytes, size_t n);
    // Patches the child's length and appends it whole, with a pad byte when
    // word aligned and the child's body is odd (not counted in its length).
    bool AddChild(MemChunkWriter& child);

    // Patches the length and returns the buffer; null with size 0 after an
    // allocation failure.
    const uint8_t* Finish(size_t* size);
    // Patches and writes the whole buffer at the file's position.
    bool WriteTo(FileObject& file);
    // Patches and hands the buffer over without a copy; this writer is empty
    // afterwards. False (and out left alone) after an allocation failure.
    bool MoveTo(std::vector<uint8_t>& out);

    const std::vector<uint8_t>& bytes() const { return buffer_; }
    size_t size() const { return buffer_.size(); }
    // False once an allocation failed; everything after it was dropped.
    bool ok() const { return ok_; }

private:
    void PatchHead();
    bool Grow(size_t n);

    std::vector<uint8_t> buffer_;
    bool bigEndian_;
    bool wordAligned_;
    bool hasHead_ = false;
    bool ok_ = true;
};

// Adds the INFO text chunks of an item to writer (INAM, IART, ICMT, ICOP,
// IENG, IPRD from the info fields 230-235; only non-empty ones). An item
// without info fields writes its name as INAM. With stamp an ISFT with the
// program's name follows straight after INAM. The caller builds the
// 'LIST' 'INFO' around it. False when memory ran out.
bool AddInfoChunks(MemChunkWriter& writer, const CollectionItem& item, bool stamp);
// Walks the chunks of an INFO list and sets the matching fields of item from
// at most 100,000 bytes each; unknown ids and empty texts are ignored. On an
// item without info fields only INAM is used, as its name. Returns the number
// of fields set.
int ReadInfoChunks(MemChunkReader& reader, CollectionItem& item);

} // namespace vaxel
