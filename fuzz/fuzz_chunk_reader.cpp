// libFuzzer target for the chunk walkers: the input is walked as RIFF
// (little-endian) and as IFF (big-endian), word aligned and packed, through
// MemChunkReader over the block and through ChunkReader over a memfd holding
// the same bytes, recursing into 'LIST', 'RIFF' and 'FORM' children. Besides
// the sanitizers it checks the walkers' own promises: a chunk never passes
// its area, a failed Read moves nothing, and both walkers agree.
#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "fileio/chunk.h"
#include "fileio/file_object.h"

using namespace vaxel;

namespace {

constexpr int kMaxDepth = 6;
// Caps the steps of one input, so that a tree of many empty chunks stays fast.
constexpr int kMaxSteps = 4096;

void Check(bool condition) {
    if (!condition) std::abort();
}

bool IsContainer(uint32_t id) { return id == FourCC("LIST") || id == FourCC("RIFF") || id == FourCC("FORM"); }

struct Trace {
    std::vector<uint64_t> items; // id, size per chunk, in walk order
    int steps = 0;
};

void WalkMemory(MemChunkReader& r, int depth, Trace& trace) {
    while (trace.steps < kMaxSteps && r.NextChunk()) {
        ++trace.steps;
        Check(r.pos() + r.chunkSize() <= r.end());
        Check(r.next() <= r.end());
        trace.items.push_back(r.chunkId());
        trace.items.push_back(r.chunkSize());
        // Touch every byte of the body, so ASan sees any overrun.
        uint8_t sum = 0;
        for (uint32_t i = 0; i < r.chunkSize(); ++i) sum ^= r.body()[i];
        (void)sum;
        uint8_t buf[16];
        uint64_t before = r.pos();
        if (!r.Read(buf, r.remaining() + 1)) Check(r.pos() == before);
        if (r.Read(buf, r.remaining() < 5 ? r.remaining() : 5)) r.Skip(3);
        if (IsContainer(r.chunkId()) && depth < kMaxDepth) {
            MemChunkReader child(r, MemChunkReader::kWholeChunk);
            WalkMemory(child, depth + 1, trace);
        }
    }
}

void WalkFile(ChunkReader& r, int depth, Trace& trace) {
    while (trace.steps < kMaxSteps && r.NextChunk()) {
        ++trace.steps;
        Check(r.pos() + r.remaining() <= r.end());
        Check(r.next() <= r.end());
        trace.items.push_back(r.chunkId());
        trace.items.push_back(r.remaining());
        uint8_t buf[16];
        uint64_t before = r.pos(), left = r.remaining();
        if (!r.Read(buf, left + 1)) Check(r.pos() == before && r.remaining() == left);
        if (IsContainer(r.chunkId()) && depth < kMaxDepth) {
            ChunkReader child(r, true);
            if (depth & 1) {
                // Every other level goes through memory, as format readers
                // do with trees of small chunks.
                MemChunkReader rest = child.ReadRest();
                Check(child.remaining() == 0);
                Trace ignored;
                WalkMemory(rest, depth + 1, ignored);
                trace.steps += ignored.steps;
            } else {
                WalkFile(child, depth + 1, trace);
            }
        }
        uint64_t size = r.remaining();
        r.Read(buf, size < 9 ? size : 9);
        r.Skip(2);
        r.Back(5);
        r.Skip(~uint64_t(0));
        Check(r.remaining() == 0);
        if (depth == 0 && size > 4) r.SetChunkSize(size - 1);
    }
}

// Both walkers apply the same head, pad and clip rules, so a plain walk of
// the top level must give the same chunks at the same offsets.
void Compare(const uint8_t* data, size_t size, FileObject& file, bool bigEndian, bool aligned, bool form) {
    MemChunkReader mem(data, size, bigEndian, aligned, form);
    ChunkReader onFile(file, bigEndian, aligned, form);
    Check(mem.chunkId() == onFile.chunkId());
    Check(mem.formType() == onFile.formType());
    int steps = 0;
    for (;;) {
        bool a = mem.NextChunk(), b = onFile.NextChunk();
        Check(a == b);
        if (!a || ++steps > kMaxSteps) break;
        Check(mem.chunkId() == onFile.chunkId());
        Check(mem.chunkSize() == onFile.remaining());
        Check(mem.next() == onFile.next());
    }
}

int MakeMemfd(const uint8_t* data, size_t size) {
    int fd = memfd_create("fuzz_chunk", MFD_CLOEXEC);
    if (fd < 0) return -1;
    size_t done = 0;
    while (done < size) {
        ssize_t n = write(fd, data + done, size - done);
        if (n <= 0) {
            close(fd);
            return -1;
        }
        done += size_t(n);
    }
    return fd;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // An exact-size copy, so that ASan catches a read one past the input.
    std::vector<uint8_t> block(data, data + size);
    int fd = MakeMemfd(data, size);
    if (fd < 0) return 0;
    FileObject file(fd); // borrowed: closed below

    for (int mode = 0; mode < 8; ++mode) {
        bool bigEndian = mode & 1, aligned = mode & 2, form = mode & 4;
        Trace memTrace;
        MemChunkReader mem(block.data(), block.size(), bigEndian, aligned, form);
        WalkMemory(mem, 0, memTrace);
        mem.Rewind();
        Trace again;
        WalkMemory(mem, 0, again);
        Check(again.items == memTrace.items); // the block was not changed

        Trace fileTrace;
        ChunkReader onFile(file, bigEndian, aligned, form);
        WalkFile(onFile, 0, fileTrace);
        onFile.Rewind();
        MemChunkReader rest = onFile.ReadRest();
        Trace restTrace;
        WalkMemory(rest, 0, restTrace);

        Compare(block.data(), block.size(), file, bigEndian, aligned, form);
    }

    // A range in the middle of the file, with an end past it.
    if (size > 8) {
        ChunkReader range(file, false, true, false, data[0] % size, size + (data[1] << 8));
        Trace t;
        WalkFile(range, 0, t);
        range.SetEnd(~uint64_t(0));
        Check(range.end() == size);
    }
    close(fd);
    return 0;
}
