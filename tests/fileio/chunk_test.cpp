// Chunk walkers and builders: the walking rule (clip, pad, raw
// ids) over files and memory in both byte orders, round trips through both
// builders, the INFO chunks, and files made by sox as an outside oracle.
#include "fileio/chunk.h"

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fileio/file_object.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/waveform.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

using Bytes = std::vector<uint8_t>;
using test::TempDir;

// Hand-built chunks, so that the walkers are not tested only against the
// builders of the same file.
void PutLength(Bytes& out, uint32_t n, bool bigEndian) {
    for (int i = 0; i < 4; ++i) out.push_back(uint8_t(n >> (bigEndian ? 24 - 8 * i : 8 * i)));
}

Bytes Chunk(const char* id, const Bytes& body, bool bigEndian = false, bool pad = true) {
    Bytes out(id, id + 4);
    PutLength(out, uint32_t(body.size()), bigEndian);
    out.insert(out.end(), body.begin(), body.end());
    if (pad && (body.size() & 1)) out.push_back(0);
    return out;
}

// A head with a length that need not match the body that follows.
Bytes Head(const char* id, uint32_t length, bool bigEndian = false) {
    Bytes out(id, id + 4);
    PutLength(out, length, bigEndian);
    return out;
}

Bytes Form(const char* id, const char* type, const Bytes& children, bool bigEndian = false) {
    Bytes body(type, type + 4);
    body.insert(body.end(), children.begin(), children.end());
    return Chunk(id, body, bigEndian);
}

Bytes Cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }
// FourCC of an id chosen at run time.
uint32_t Id(const char* id) {
    char text[5] = {id[0], id[1], id[2], id[3], 0};
    return FourCC(text);
}
Bytes Filled(size_t n, uint8_t first = 1) {
    Bytes out(n);
    for (size_t i = 0; i < n; ++i) out[i] = uint8_t(first + i);
    return out;
}

// A file that holds bytes, open for reading.
struct FileOf {
    explicit FileOf(const Bytes& bytes, const char* name = "f.bin") {
        test::WriteFile(dir / name, bytes);
        EXPECT_TRUE(file.Open(dir / name, FileObject::kRead));
    }
    TempDir dir;
    FileObject file;
};

// One walk step, as seen by either reader.
struct Seen {
    std::string id;
    uint64_t size;
    bool operator==(const Seen&) const = default;
};
std::ostream& operator<<(std::ostream& os, const Seen& s) { return os << s.id << ":" << s.size; }

std::vector<Seen> WalkAll(ChunkReader& r) {
    std::vector<Seen> out;
    while (r.NextChunk()) out.push_back({FourCCText(r.chunkId()), r.remaining()});
    return out;
}

std::vector<Seen> WalkAll(MemChunkReader& r) {
    std::vector<Seen> out;
    while (r.NextChunk()) out.push_back({FourCCText(r.chunkId()), r.chunkSize()});
    return out;
}

// RIFF WAVE: fmt (16), LIST INFO {INAM "Piano" (6), ICMT "odd" (4)}, junk
// (3, padded), data (6).
Bytes SampleRiff() {
    Bytes info =
        Form("LIST", "INFO",
             Cat({Chunk("INAM", Text(std::string("Piano", 6))), Chunk("ICMT", Text(std::string("odd", 4)))}));
    return Form("RIFF", "WAVE",
                Cat({Chunk("fmt ", Filled(16)), info, Chunk("junk", Filled(3, 0x70)),
                     Chunk("data", Filled(6, 0x40))}));
}

// --------------------------------------------------------------- FourCC

TEST(FourCC, IsTheStoredBytesAsALittleEndianWord) {
    static_assert(FourCC("RIFF") == 0x46464952u);
    static_assert(FourCC("fmt ") == 0x20746D66u);
    const uint8_t stored[4] = {'F', 'O', 'R', 'M'};
    uint32_t word;
    std::memcpy(&word, stored, 4);
    EXPECT_EQ(FourCC("FORM"), word); // on this little-endian host
    EXPECT_NE(FourCC("list"), FourCC("LIST"));
    EXPECT_EQ(FourCCText(FourCC("(c) ")), "(c) ");
    EXPECT_EQ(FourCCText(0x00014241u), "AB??");
}

// ------------------------------------------------------------ ChunkReader

TEST(ChunkReaderWalk, WalksARiffWithANestedList) {
    FileOf f(SampleRiff());
    ChunkReader r(f.file, false, true, true);
    EXPECT_EQ(r.chunkId(), FourCC("RIFF"));
    EXPECT_EQ(r.formType(), FourCC("WAVE"));
    EXPECT_EQ(r.pos(), 12u);
    EXPECT_EQ(r.base(), 8u);
    EXPECT_EQ(r.end(), f.file.Size());

    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.chunkId(), FourCC("fmt "));
    EXPECT_EQ(r.remaining(), 16u);
    EXPECT_EQ(r.pos(), 20u);
    EXPECT_EQ(r.next(), 36u);
    EXPECT_EQ(f.file.Tell(), 20u); // the file waits at the body
    uint8_t fmt[4];
    ASSERT_TRUE(r.Read(fmt, 4));
    EXPECT_EQ(fmt[0], 1);
    EXPECT_EQ(fmt[3], 4);
    EXPECT_EQ(r.remaining(), 12u);

    ASSERT_TRUE(r.NextChunk()); // the rest of fmt is skipped by next
    ASSERT_EQ(r.chunkId(), FourCC("LIST"));
    {
        ChunkReader list(r, true);
        EXPECT_EQ(list.chunkId(), FourCC("LIST"));
        EXPECT_EQ(list.formType(), FourCC("INFO"));
        EXPECT_EQ(list.end(), r.pos() + r.remaining());
        EXPECT_EQ(WalkAll(list), (std::vector<Seen>{{"INAM", 6}, {"ICMT", 4}}));
        list.Rewind();
        ASSERT_TRUE(list.NextChunk());
        char name[6];
        ASSERT_TRUE(list.Read(name, 6));
        EXPECT_STREQ(name, "Piano");
    }
    // The parent did not move while the child walked.
    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.chunkId(), FourCC("junk"));
    EXPECT_EQ(r.remaining(), 3u);
    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.chunkId(), FourCC("data"));
    uint8_t data[6];
    ASSERT_TRUE(r.Read(data, 6));
    EXPECT_EQ(data[0], 0x40);
    EXPECT_EQ(data[5], 0x45);
    EXPECT_FALSE(r.NextChunk());
    EXPECT_FALSE(r.NextChunk());

    r.Rewind();
    EXPECT_EQ(r.chunkId(), FourCC("RIFF"));
    EXPECT_EQ(WalkAll(r), (std::vector<Seen>{{"fmt ", 16}, {"LIST", 30}, {"junk", 3}, {"data", 6}}));
}

TEST(ChunkReaderWalk, WalksARangeOfAFileWithoutAForm) {
    Bytes before = Filled(10);
    Bytes chunks = Cat({Chunk("abcd", Filled(4)), Chunk("efgh", Filled(2))});
    Bytes after = Chunk("zzzz", Filled(8));
    FileOf f(Cat({before, chunks, after}));
    ChunkReader r(f.file, false, true, false, 10, 10 + chunks.size());
    EXPECT_EQ(r.chunkId(), 0u);
    EXPECT_EQ(r.base(), 10u);
    EXPECT_EQ(WalkAll(r), (std::vector<Seen>{{"abcd", 4}, {"efgh", 2}}));
    // SetEnd counts from base: widening it reaches the chunk behind.
    r.SetEnd(chunks.size() + after.size());
    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.chunkId(), FourCC("zzzz"));
}

TEST(ChunkReaderWalk, ATruncatedLastChunkIsClippedAndStillDelivered) {
    // The RIFF claims 4000 bytes and data claims 1000; the file ends 10
    // bytes into data.
    Bytes file =
        Cat({Head("RIFF", 4000), Text("WAVE"), Chunk("fmt ", Filled(16)), Head("data", 1000), Filled(10)});
    FileOf f(file);
    ChunkReader r(f.file, false, true, true);
    EXPECT_EQ(r.end(), file.size());
    ASSERT_TRUE(r.NextChunk());
    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.chunkId(), FourCC("data"));
    EXPECT_EQ(r.remaining(), 10u);
    EXPECT_EQ(r.next(), file.size());
    Bytes got(10);
    EXPECT_TRUE(r.Read(got.data(), 10));
    EXPECT_EQ(got, Filled(10));
    EXPECT_FALSE(r.NextChunk());
    EXPECT_EQ(LastError(), std::u16string());

    // The same through memory.
    MemChunkReader m(file.data(), file.size(), false, true, true);
    EXPECT_EQ(WalkAll(m), (std::vector<Seen>{{"fmt ", 16}, {"data", 10}}));
}

TEST(ChunkReaderWalk, ARiffLengthShortOfTheFileEndsTheWalkAtTheForm) {
    Bytes inner = Cat({Text("WAVE"), Chunk("fmt ", Filled(16))});
    Bytes file = Cat({Head("RIFF", uint32_t(inner.size())), inner, Chunk("tail", Filled(4))});
    FileOf f(file);
    ChunkReader r(f.file, false, true, true);
    EXPECT_EQ(WalkAll(r), (std::vector<Seen>{{"fmt ", 16}}));
    // A reader that knows better (a WAV 'atem') widens the end to the file.
    r.SetEnd(f.file.Size() - r.base());
    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.chunkId(), FourCC("tail"));
}

TEST(ChunkReaderWalk, AHeadCutShortEndsTheWalk) {
    Bytes file = Cat({Chunk("abcd", Filled(4)), Text("efgh"), Bytes{1, 0}});
    FileOf f(file);
    ChunkReader r(f.file, false, true, false);
    ASSERT_TRUE(r.NextChunk());
    EXPECT_FALSE(r.NextChunk());
    EXPECT_EQ(r.chunkId(), FourCC("abcd"));
}

TEST(ChunkReaderWalk, OddLengthsArePaddedOnlyWhenWordAligned) {
    Bytes aligned = Cat({Chunk("odd1", Filled(3)), Chunk("next", Filled(2))});
    FileOf a(aligned);
    ChunkReader ra(a.file, false, true, false);
    ASSERT_TRUE(ra.NextChunk());
    EXPECT_EQ(ra.remaining(), 3u); // the pad byte is not counted
    EXPECT_EQ(ra.next(), 12u);
    EXPECT_EQ(WalkAll(ra), (std::vector<Seen>{{"next", 2}}));

    Bytes packed = Cat({Chunk("odd1", Filled(3), false, false), Chunk("next", Filled(2), false, false)});
    FileOf p(packed);
    ChunkReader rp(p.file, false, false, false);
    ASSERT_TRUE(rp.NextChunk());
    EXPECT_EQ(rp.next(), 11u);
    EXPECT_EQ(WalkAll(rp), (std::vector<Seen>{{"next", 2}}));

    // Read word aligned, the packed file loses the first byte of the next
    // head to the pad: the walk goes astray but stays inside the file.
    ChunkReader wrong(p.file, false, true, false);
    EXPECT_EQ(WalkAll(wrong), (std::vector<Seen>{{"odd1", 3}, {"ext?", 1}}));

    // An odd chunk at the very end whose pad byte is missing is fine.
    Bytes noPad = Chunk("last", Filled(5), false, false);
    FileOf n(noPad);
    ChunkReader rn(n.file, false, true, false);
    EXPECT_EQ(WalkAll(rn), (std::vector<Seen>{{"last", 5}}));
}

TEST(ChunkReaderWalk, WalksABigEndianForm) {
    Bytes comm = {0, 1, 0, 0, 0x03, 0x20, 0, 16, 0x40, 0x0B, 0xFA, 0, 0, 0, 0, 0, 0, 0};
    Bytes file = Form("FORM", "AIFF",
                      Cat({Chunk("COMM", comm, true), Chunk("NAME", Text("Oboe!"), true),
                           Chunk("SSND", Filled(8 + 6), true)}),
                      true);
    FileOf f(file);
    ChunkReader r(f.file, true, true, true);
    EXPECT_EQ(r.chunkId(), FourCC("FORM"));
    EXPECT_EQ(r.formType(), FourCC("AIFF"));
    EXPECT_EQ(r.end(), file.size());
    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.chunkId(), FourCC("COMM"));
    EXPECT_EQ(r.remaining(), 18u);
    Bytes got(18);
    ASSERT_TRUE(r.Read(got.data(), 18));
    EXPECT_EQ(got, comm);
    EXPECT_EQ(WalkAll(r), (std::vector<Seen>{{"NAME", 5}, {"SSND", 14}}));

    // Read with the wrong byte order, the first length is huge and is clipped
    // to the form: one chunk, and the walk ends without harm.
    ChunkReader le(f.file, false, true, true);
    EXPECT_EQ(le.end(), file.size()); // the FORM length, taken little-endian, passes the file
    EXPECT_EQ(WalkAll(le), (std::vector<Seen>{{"COMM", file.size() - 20}}));

    // The memory walker agrees and can walk the same block twice: the
    // lengths are not swapped in place.
    const Bytes copy = file;
    MemChunkReader m(copy.data(), copy.size(), true, true, true);
    EXPECT_EQ(m.formType(), FourCC("AIFF"));
    auto first = WalkAll(m);
    m.Rewind();
    EXPECT_EQ(WalkAll(m), first);
    EXPECT_EQ(first, (std::vector<Seen>{{"COMM", 18}, {"NAME", 5}, {"SSND", 14}}));
    EXPECT_EQ(copy, file);
}

TEST(ChunkReaderMove, ReadPastRemainingFailsAndKeepsThePosition) {
    FileOf f(Cat({Chunk("abcd", Filled(6)), Chunk("efgh", Filled(2))}));
    ChunkReader r(f.file, false, true, false);
    ASSERT_TRUE(r.NextChunk());
    uint8_t buf[8] = {};
    ASSERT_TRUE(r.Read(buf, 2));
    uint64_t pos = r.pos(), fileAt = f.file.Tell();
    EXPECT_FALSE(r.Read(buf, 5));
    EXPECT_EQ(r.pos(), pos);
    EXPECT_EQ(r.remaining(), 4u);
    EXPECT_EQ(f.file.Tell(), fileAt);
    EXPECT_EQ(buf[2], 0); // nothing was read
    EXPECT_TRUE(r.Read(buf, 0));
    ASSERT_TRUE(r.Read(buf, 4));
    EXPECT_EQ(buf[0], 3);
    EXPECT_EQ(buf[3], 6);
    EXPECT_FALSE(r.Read(buf, 1));

    // Read seeks for itself: the file may have been moved meanwhile.
    r.Back(2);
    f.file.Seek(0);
    ASSERT_TRUE(r.Read(buf, 1));
    EXPECT_EQ(buf[0], 5);
}

TEST(ChunkReaderMove, SkipAndBackStayInsideTheChunkAndTheArea) {
    FileOf f(Cat({Chunk("abcd", Filled(6)), Chunk("efgh", Filled(2))}));
    ChunkReader r(f.file, false, true, false);
    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.Skip(4), 4u);
    EXPECT_EQ(r.remaining(), 2u);
    EXPECT_EQ(r.Skip(100), 2u);
    EXPECT_EQ(r.remaining(), 0u);
    EXPECT_EQ(r.pos(), 14u);
    // Back reaches as far as the area's base, into the head.
    EXPECT_EQ(r.Back(3), 3u);
    EXPECT_EQ(r.remaining(), 3u);
    EXPECT_EQ(r.Back(1000), 11u);
    EXPECT_EQ(r.pos(), 0u);
    EXPECT_EQ(r.remaining(), 14u);
    uint8_t head[4];
    ASSERT_TRUE(r.Read(head, 4));
    EXPECT_EQ(std::memcmp(head, "abcd", 4), 0);
    // The next head is where it was.
    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.chunkId(), FourCC("efgh"));
}

TEST(ChunkReaderMove, SetChunkSizeRecomputesTheNextHeadWithPadAndClip) {
    Bytes file = Cat({Head("data", 0xFFFFFFFFu), Filled(5), Bytes{0}, Chunk("tail", Filled(2))});
    FileOf f(file);
    ChunkReader r(f.file, false, true, false);
    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.remaining(), file.size() - 8); // clipped to the file
    EXPECT_FALSE(r.NextChunk());
    r.Rewind();
    ASSERT_TRUE(r.NextChunk());
    r.SetChunkSize(5); // as a ds64 would tell
    EXPECT_EQ(r.remaining(), 5u);
    EXPECT_EQ(r.next(), 14u);
    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.chunkId(), FourCC("tail"));
    // A 64-bit size near 2^64 clips, it does not wrap.
    r.SetChunkSize(~uint64_t(0));
    EXPECT_EQ(r.remaining(), 2u);
    EXPECT_EQ(r.next(), file.size());
    r.SetChunkSize(~uint64_t(0) - 1);
    EXPECT_EQ(r.remaining(), 2u);
}

TEST(ChunkReaderMove, EndsAndStartsOutsideTheFileAreClipped) {
    Bytes file = Chunk("abcd", Filled(4));
    FileOf f(file);
    ChunkReader past(f.file, false, true, false, 0, 1u << 30);
    EXPECT_EQ(past.end(), file.size());
    ChunkReader late(f.file, false, true, true, ~uint64_t(0) - 3, 0);
    EXPECT_EQ(late.chunkId(), 0u);
    EXPECT_FALSE(late.NextChunk());
    EXPECT_FALSE(late.ReadRest().data());
    ChunkReader r(f.file, false, true, false, 2, 0);
    r.SetEnd(~uint64_t(0));
    EXPECT_EQ(r.end(), file.size());
    r.SetEnd(~uint64_t(0) - 1);
    EXPECT_EQ(r.end(), file.size());
}

TEST(ChunkReaderMove, AFormTooShortForItsTypeStillNamesIt) {
    // Streaming writers leave the RIFF length at 0.
    Bytes file = Cat({Head("RIFF", 0), Text("WAVE"), Chunk("fmt ", Filled(16))});
    FileOf f(file);
    ChunkReader r(f.file, false, true, true);
    EXPECT_EQ(r.formType(), FourCC("WAVE"));
    EXPECT_FALSE(r.NextChunk());
    EXPECT_EQ(r.remaining(), 0u);
    r.SetEnd(f.file.Size() - r.base());
    ASSERT_TRUE(r.NextChunk());
    EXPECT_EQ(r.chunkId(), FourCC("fmt "));

    // Fewer than 12 bytes in all: the id, no type, no walk.
    FileOf g(Cat({Head("RIFF", 4), Text("WA")}));
    ChunkReader s(g.file, false, true, true);
    EXPECT_EQ(s.chunkId(), FourCC("RIFF"));
    EXPECT_EQ(s.formType(), 0u);
    EXPECT_FALSE(s.NextChunk());
}

TEST(ChunkReaderRest, CopiesTheRestIntoAMemoryWalker) {
    FileOf f(SampleRiff());
    ChunkReader r(f.file, false, true, true);
    ASSERT_TRUE(r.NextChunk());
    ASSERT_TRUE(r.NextChunk());
    ASSERT_EQ(r.chunkId(), FourCC("LIST"));
    ChunkReader list(r, true);
    MemChunkReader rest = list.ReadRest();
    EXPECT_EQ(list.pos(), list.end());
    EXPECT_EQ(list.remaining(), 0u);
    EXPECT_FALSE(list.NextChunk());
    EXPECT_EQ(rest.end(), 26u);
    EXPECT_EQ(WalkAll(rest), (std::vector<Seen>{{"INAM", 6}, {"ICMT", 4}}));
    // A second ReadRest has nothing left.
    EXPECT_TRUE(list.ReadRest().empty());

    // The reader owns its copy: it survives a move and the file's close.
    MemChunkReader moved = std::move(rest);
    f.file.Close();
    moved.Rewind();
    ASSERT_TRUE(moved.NextChunk());
    EXPECT_STREQ(reinterpret_cast<const char*>(moved.body()), "Piano");
    EXPECT_TRUE(rest.empty());
}

// --------------------------------------------------------- MemChunkReader

TEST(MemChunkReaderWalk, WalksANestedListThroughAChildReader) {
    const Bytes file = SampleRiff();
    MemChunkReader m(file.data(), file.size(), false, true, true);
    EXPECT_EQ(m.chunkId(), FourCC("RIFF"));
    EXPECT_EQ(m.formType(), FourCC("WAVE"));
    std::vector<Seen> inner;
    while (m.NextChunk()) {
        if (m.chunkId() != FourCC("LIST")) continue;
        MemChunkReader list(m, MemChunkReader::kWholeChunk);
        EXPECT_EQ(list.formType(), FourCC("INFO"));
        inner = WalkAll(list);
    }
    EXPECT_EQ(inner, (std::vector<Seen>{{"INAM", 6}, {"ICMT", 4}}));
}

TEST(MemChunkReaderWalk, AChildReaderTakesAFormTypeOnlyFromContainers) {
    const Bytes file =
        Cat({Chunk("LIST", Text("adtlXY")), Chunk("list", Text("adtlXY")), Chunk("LIST", Text("ab"))});
    MemChunkReader m(file.data(), file.size(), false, true);
    ASSERT_TRUE(m.NextChunk());
    MemChunkReader upper(m, MemChunkReader::kWholeChunk);
    EXPECT_EQ(upper.formType(), FourCC("adtl"));
    EXPECT_EQ(upper.end(), 6u);
    EXPECT_EQ(upper.pos(), 4u);
    MemChunkReader sized(m, 5); // a given size
    EXPECT_EQ(sized.end(), 5u);
    ASSERT_TRUE(m.NextChunk());
    MemChunkReader lower(m, MemChunkReader::kWholeChunk); // ids are not case-folded
    EXPECT_EQ(lower.formType(), 0u);
    EXPECT_EQ(lower.pos(), 0u);
    ASSERT_TRUE(m.NextChunk());
    MemChunkReader shortList(m, MemChunkReader::kWholeChunk);
    EXPECT_EQ(shortList.formType(), 0u);
    EXPECT_EQ(shortList.end(), 2u);
}

TEST(MemChunkReaderWalk, LengthsNearTwoToThe32ClipToTheBlock) {
    for (uint32_t length : {0xFFFFFFFFu, 0xFFFFFFFEu, 0x80000000u, 0xFFFFFFF8u}) {
        for (bool be : {false, true}) {
            Bytes file = Cat({Head("abcd", length, be), Filled(7)});
            MemChunkReader m(file.data(), file.size(), be, true);
            ASSERT_TRUE(m.NextChunk());
            EXPECT_EQ(m.chunkSize(), 7u);
            EXPECT_EQ(m.next(), file.size());
            EXPECT_FALSE(m.NextChunk());
            MemChunkReader form(file.data(), file.size(), be, true, true);
            EXPECT_EQ(form.end(), file.size());
            EXPECT_EQ(form.formType(), 0x04030201u);
            EXPECT_FALSE(form.NextChunk());
        }
    }
}

TEST(MemChunkReaderWalk, ReadAndSkipStayInsideTheChunk) {
    const Bytes file = Cat({Chunk("abcd", Filled(5)), Chunk("efgh", Filled(2))});
    MemChunkReader m(file.data(), file.size(), false, true);
    uint8_t buf[8] = {};
    EXPECT_FALSE(m.Read(buf, 1)); // no chunk yet
    ASSERT_TRUE(m.NextChunk());
    EXPECT_EQ(m.remaining(), 5u);
    ASSERT_TRUE(m.Read(buf, 2));
    EXPECT_EQ(m.current(), m.body() + 2);
    EXPECT_FALSE(m.Read(buf, 4));
    EXPECT_EQ(m.remaining(), 3u);
    EXPECT_EQ(m.Skip(10), 3u);
    EXPECT_EQ(m.remaining(), 0u);
    EXPECT_EQ(m.chunkSize(), 5u);
    ASSERT_TRUE(m.NextChunk());
    EXPECT_EQ(m.chunkId(), FourCC("efgh"));

    MemChunkReader none(nullptr, 100, false, true, true);
    EXPECT_TRUE(none.empty());
    EXPECT_FALSE(none.NextChunk());
}

// ------------------------------------------------------------- Writers

// Writes the same tree with both builders: a form with an odd chunk, a LIST
// with one child and an empty chunk.
void CheckTree(const Bytes& bytes, bool be, const char* form, const char* type) {
    MemChunkReader m(bytes.data(), bytes.size(), be, true, true);
    EXPECT_EQ(m.chunkId(), Id(form));
    EXPECT_EQ(m.formType(), Id(type));
    EXPECT_EQ(m.end(), bytes.size()) << "the form length counts everything behind its head";
    ASSERT_TRUE(m.NextChunk());
    EXPECT_EQ(m.chunkId(), FourCC("odd "));
    ASSERT_EQ(m.chunkSize(), 5u);
    EXPECT_EQ(Bytes(m.body(), m.body() + 5), Filled(5));
    EXPECT_EQ(m.body()[5], 0); // the pad
    ASSERT_TRUE(m.NextChunk());
    EXPECT_EQ(m.chunkId(), FourCC("LIST"));
    MemChunkReader list(m, MemChunkReader::kWholeChunk);
    EXPECT_EQ(list.formType(), FourCC("subs"));
    EXPECT_EQ(WalkAll(list), (std::vector<Seen>{{"kid ", 3}}));
    ASSERT_TRUE(m.NextChunk());
    EXPECT_EQ(m.chunkId(), FourCC("none"));
    EXPECT_EQ(m.chunkSize(), 0u);
    EXPECT_FALSE(m.NextChunk());
    EXPECT_EQ(bytes.size() % 2, 0u);
}

TEST(MemChunkWriterRoundTrip, BuildsATreeInBothByteOrders) {
    for (bool be : {false, true}) {
        const char* form = be ? "FORM" : "RIFF";
        MemChunkWriter w(be, true, 16, Id(form), FourCC("TEST"));
        uint8_t* body = w.AddChunk(FourCC("odd "), 5);
        ASSERT_NE(body, nullptr);
        for (int i = 0; i < 5; ++i) body[i] = uint8_t(i + 1);
        MemChunkWriter list(be, true, 0, FourCC("LIST"), FourCC("subs"));
        ASSERT_TRUE(list.AddChunk(FourCC("kid "), "abc", 3));
        ASSERT_TRUE(w.AddChild(list));
        ASSERT_TRUE(w.AddChunk(FourCC("none"), nullptr, 0));
        size_t size = 0;
        const uint8_t* data = w.Finish(&size);
        ASSERT_NE(data, nullptr);
        Bytes bytes(data, data + size);
        SCOPED_TRACE(form);
        CheckTree(bytes, be, form, "TEST");
        // The head is in the asked byte order.
        uint32_t length = uint32_t(size - 8);
        Bytes expect;
        PutLength(expect, length, be);
        EXPECT_EQ(Bytes(bytes.begin() + 4, bytes.begin() + 8), expect);

        // WriteTo and MoveTo give the same bytes.
        TempDir dir;
        FileObject f;
        ASSERT_TRUE(f.Open(dir / "w.bin", FileObject::kCreate));
        ASSERT_TRUE(w.WriteTo(f));
        f.Close();
        EXPECT_EQ(test::ReadFile(dir / "w.bin"), bytes);
        std::vector<uint8_t> moved;
        ASSERT_TRUE(w.MoveTo(moved));
        EXPECT_EQ(moved, bytes);
        EXPECT_EQ(w.size(), 0u);
    }
}

TEST(MemChunkWriterRoundTrip, AnOddChildIsPaddedInItsParent) {
    MemChunkWriter parent(false, true, 0, FourCC("RIFF"), FourCC("TEST"));
    MemChunkWriter child(false, true, 0, FourCC("LIST"), FourCC("abcd"));
    ASSERT_TRUE(child.Append("xyz", 3)); // raw bytes make the child's body odd
    ASSERT_TRUE(parent.AddChild(child));
    ASSERT_TRUE(parent.AddChunk(FourCC("next"), "", 0));
    size_t size;
    const uint8_t* data = parent.Finish(&size);
    MemChunkReader m(data, size, false, true, true);
    EXPECT_EQ(WalkAll(m), (std::vector<Seen>{{"LIST", 7}, {"next", 0}}));

    // A form type of 0 gives a plain 8-byte head, for leaves built piecewise.
    MemChunkWriter leaf(true, true, 0, FourCC("NAME"));
    ASSERT_TRUE(leaf.Append("Oboe", 4));
    data = leaf.Finish(&size);
    EXPECT_EQ(Bytes(data, data + size), Chunk("NAME", Text("Oboe"), true));
}

TEST(ChunkWriterRoundTrip, WritesAndPatchesInBothByteOrders) {
    for (bool be : {false, true}) {
        const char* form = be ? "FORM" : "RIFF";
        SCOPED_TRACE(form);
        TempDir dir;
        FileObject f;
        ASSERT_TRUE(f.Open(dir / "c.bin", FileObject::kCreate));
        ASSERT_TRUE(f.Write("pre", 3)); // the writer starts where the file is
        ChunkWriter w(f, be, true, Id(form), FourCC("TEST"));
        EXPECT_EQ(w.start(), 3u);
        const uint8_t odd[5] = {1, 2, 3, 4, 5};
        ASSERT_TRUE(w.WriteChunk(FourCC("odd "), odd, 5));
        // The list is the last thing in the file, so its own Close sees its end.
        ChunkWriter list(f, be, true, FourCC("LIST"), FourCC("subs"));
        // Head only: the caller streams the body and then the pad.
        ASSERT_TRUE(list.WriteChunk(FourCC("kid "), nullptr, 3));
        ASSERT_TRUE(f.Write("abc", 3));
        ASSERT_TRUE(list.WritePad(3));
        ASSERT_TRUE(list.Close());
        ASSERT_TRUE(w.WriteChunk(FourCC("none"), nullptr, 0));
        EXPECT_EQ(w.ok(), true);
        ASSERT_TRUE(w.Close());
        EXPECT_EQ(f.Tell(), f.Size()); // Close seeks back to the end
        EXPECT_TRUE(w.Close());        // nothing left to patch
        f.Close();

        Bytes bytes = test::ReadFile(dir / "c.bin");
        ASSERT_GT(bytes.size(), 3u);
        EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 3), Text("pre"));
        CheckTree(Bytes(bytes.begin() + 3, bytes.end()), be, form, "TEST");

        // And through the file walker over the range behind "pre".
        ASSERT_TRUE(f.Open(dir / "c.bin", FileObject::kRead));
        ChunkReader r(f, be, true, true, 3);
        EXPECT_EQ(r.formType(), FourCC("TEST"));
        EXPECT_EQ(WalkAll(r), (std::vector<Seen>{{"odd ", 5}, {"LIST", 16}, {"none", 0}}));
    }
}

TEST(ChunkWriterRoundTrip, ClosePatchesThePlaceholderLength) {
    TempDir dir;
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "c.bin", FileObject::kCreate));
    ChunkWriter w(f, false, true, FourCC("RIFF"), FourCC("WAVE"));
    // Before Close the length says 4: just the form type.
    Bytes head = test::ReadFile(dir / "c.bin");
    ASSERT_EQ(head.size(), 12u);
    EXPECT_EQ(Bytes(head.begin() + 4, head.begin() + 8), (Bytes{4, 0, 0, 0}));
    std::vector<uint8_t> data(1001, 0x55);
    ASSERT_TRUE(w.WriteChunk(FourCC("data"), data.data(), data.size()));
    // Something moved the file elsewhere; Close still patches and returns.
    f.Seek(0);
    ASSERT_TRUE(w.Close());
    EXPECT_EQ(f.Tell(), 12u + 8 + 1002);
    f.Close();
    Bytes bytes = test::ReadFile(dir / "c.bin");
    ASSERT_EQ(bytes.size(), 12u + 8 + 1002);
    uint32_t length = bytes[4] | bytes[5] << 8 | bytes[6] << 16 | uint32_t(bytes[7]) << 24;
    EXPECT_EQ(length, bytes.size() - 8);
    EXPECT_EQ(bytes[20 + 1001], 0); // pad

    // Without an id nothing is written up front and Close has nothing to do.
    ASSERT_TRUE(f.Open(dir / "d.bin", FileObject::kCreate));
    ChunkWriter plain(f, true, false);
    ASSERT_TRUE(plain.WriteChunk(FourCC("ABCD"), "xyz", 3));
    ASSERT_TRUE(plain.Close());
    f.Close();
    EXPECT_EQ(test::ReadFile(dir / "d.bin"), Chunk("ABCD", Text("xyz"), true, false));
}

TEST(ChunkWriterRoundTrip, FailsOnAFileOpenForReading) {
    TempDir dir;
    test::WriteFile(dir / "r.bin", Bytes(4, 0));
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "r.bin", FileObject::kRead));
    ClearLastError();
    ChunkWriter w(f, false, true, FourCC("RIFF"), FourCC("WAVE"));
    EXPECT_FALSE(w.ok());
    EXPECT_FALSE(w.WriteChunk(FourCC("data"), "ab", 2));
    EXPECT_FALSE(w.Close());
    EXPECT_EQ(LastError(), std::u16string()); // the format writer says what failed
}

// ------------------------------------------------------------ INFO chunks

TEST(InfoChunks, RoundTripWithTheStampBehindTheName) {
    Collection c;
    auto* wave = new Waveform(c, kNewSerial, u"Caf\u00e9"); // 4 bytes + 0 = odd
    wave->setText(kInfoArtist, u"Ann");
    wave->setText(kInfoComments, u"Hi");
    wave->setText(kInfoProduct, u"Demo disk");
    MemChunkWriter info(false, true, 0, FourCC("LIST"), FourCC("INFO"));
    ASSERT_TRUE(AddInfoChunks(info, *wave, true));
    size_t size;
    const uint8_t* data = info.Finish(&size);
    Bytes bytes(data, data + size);

    // The exact layout: INAM, ISFT straight after it, then the others in
    // table order; empty fields are left out; odd bodies are padded.
    Bytes expect =
        Form("LIST", "INFO",
             Cat({Chunk("INAM", Bytes{'C', 'a', 'f', 0xE9, 0}),
                  Chunk("ISFT", Text(std::string("Vaxel Studio v12.13", 20))),
                  Chunk("IART", Text(std::string("Ann", 4))), Chunk("ICMT", Text(std::string("Hi", 3))),
                  Chunk("IPRD", Text(std::string("Demo disk", 10)))}));
    EXPECT_EQ(bytes, expect);

    auto* back = new Waveform(c, kNewSerial, u"other");
    MemChunkReader list(bytes.data(), bytes.size(), false, true, true);
    EXPECT_EQ(list.formType(), FourCC("INFO"));
    EXPECT_EQ(ReadInfoChunks(list, *back), 4); // ISFT is not a field
    for (int field : {kInfoName, kInfoArtist, kInfoComments, kInfoCopyright, kInfoEngineer, kInfoProduct})
        EXPECT_EQ(std::u16string(back->text(field)), std::u16string(wave->text(field))) << field;

    // Without the stamp there is no ISFT.
    MemChunkWriter plain(false, true);
    ASSERT_TRUE(AddInfoChunks(plain, *wave, false));
    MemChunkReader walk(plain.bytes().data(), plain.size(), false, true);
    EXPECT_EQ(WalkAll(walk), (std::vector<Seen>{{"INAM", 5}, {"IART", 4}, {"ICMT", 3}, {"IPRD", 10}}));
}

TEST(InfoChunks, AnItemWithoutInfoFieldsUsesItsName) {
    Collection c;
    auto* layer = new Layer(c, kNewSerial);
    layer->setName(u"Soft \u2019Pad\u2019");
    MemChunkWriter w(false, true);
    ASSERT_TRUE(AddInfoChunks(w, *layer, true));
    MemChunkReader walk(w.bytes().data(), w.size(), false, true);
    ASSERT_TRUE(walk.NextChunk());
    EXPECT_EQ(walk.chunkId(), FourCC("INAM"));
    EXPECT_STREQ(reinterpret_cast<const char*>(walk.body()), "Soft 'Pad'"); // folded to 8 bits
    EXPECT_EQ(WalkAll(walk), (std::vector<Seen>{{"ISFT", 20}}));

    // Read back: only INAM can land, as the name.
    const Bytes list =
        Cat({Chunk("IART", Text(std::string("Ann", 4))), Chunk("INAM", Text(std::string("Lead", 5)))});
    auto* other = new Layer(c, kNewSerial);
    MemChunkReader r(list.data(), list.size(), false, true);
    EXPECT_EQ(ReadInfoChunks(r, *other), 1);
    EXPECT_EQ(std::u16string(other->name()), u"Lead");
}

TEST(InfoChunks, ReadingSkipsUnknownAndEmptyTextsAndCutsLongOnes) {
    Collection c;
    auto* wave = new Waveform(c, kNewSerial, u"keep");
    wave->setText(kInfoArtist, u"keep too");
    Bytes huge(150000, 'x');
    const Bytes list = Cat({
        Chunk("INAM", Bytes{}),                          // empty: ignored
        Chunk("IART", Bytes{0, 'a', 'b'}),               // starts with zero: ignored
        Chunk("inam", Text(std::string("lower", 6))),    // ids are not case-folded
        Chunk("IXYZ", Text(std::string("unknown", 8))),  //
        Chunk("ICOP", Text("no zero")),                  // text runs to the body's end
        Chunk("IENG", Text(std::string("a\0b", 3))),     // stops at the zero
        Chunk("ICMT", huge),                             // cut to 100,000
    });
    MemChunkReader r(list.data(), list.size(), false, true);
    EXPECT_EQ(ReadInfoChunks(r, *wave), 3);
    EXPECT_EQ(std::u16string(wave->name()), u"keep");
    EXPECT_EQ(std::u16string(wave->text(kInfoArtist)), u"keep too");
    EXPECT_EQ(std::u16string(wave->text(kInfoCopyright)), u"no zero");
    EXPECT_EQ(std::u16string(wave->text(kInfoEngineer)), u"a");
    EXPECT_EQ(std::u16string(wave->text(kInfoComments)).size(), 100000u);
}

TEST(InfoChunks, ATruncatedInfoListKeepsWhatFits) {
    Collection c;
    auto* wave = new Waveform(c, kNewSerial, u"w");
    Bytes list = Cat({Chunk("IART", Text(std::string("Ann", 4))), Head("ICMT", 100), Text("cut sh")});
    MemChunkReader r(list.data(), list.size(), false, true);
    ClearLastError();
    EXPECT_EQ(ReadInfoChunks(r, *wave), 2);
    EXPECT_EQ(std::u16string(wave->text(kInfoComments)), u"cut sh");
    EXPECT_EQ(LastError(), std::u16string());
}

// ------------------------------------------------------ Outside oracles

uint64_t SoxSamples(const std::filesystem::path& path) {
    std::string out;
    EXPECT_EQ(test::Run("soxi -s " + test::Quote(path.string()), &out), 0);
    return std::stoull(out);
}

uint32_t BE32(const uint8_t* p) { return uint32_t(p[0]) << 24 | p[1] << 16 | p[2] << 8 | p[3]; }

TEST(ChunkOracle, WalksAWavMadeBySox) {
    test::RequireTool("sox");
    TempDir dir;
    auto path = dir / "x.wav";
    ASSERT_EQ(test::Run("sox -n -r 8000 -c 1 -b 16 " + test::Quote(path.string()) + " synth 0.1 sine 440"),
              0);
    uint64_t samples = SoxSamples(path);
    EXPECT_EQ(samples, 800u);

    FileObject f;
    ASSERT_TRUE(f.Open(path, FileObject::kRead));
    ChunkReader r(f, false, true, true);
    EXPECT_EQ(r.chunkId(), FourCC("RIFF"));
    EXPECT_EQ(r.formType(), FourCC("WAVE"));
    EXPECT_EQ(r.end(), f.Size());
    bool sawFmt = false, sawData = false;
    while (r.NextChunk()) {
        if (r.chunkId() == FourCC("fmt ")) {
            sawFmt = true;
            ASSERT_GE(r.remaining(), 16u);
            uint8_t fmt[16];
            ASSERT_TRUE(r.Read(fmt, 16));
            EXPECT_EQ(fmt[0] | fmt[1] << 8, 1);                                 // PCM
            EXPECT_EQ(fmt[2] | fmt[3] << 8, 1);                                 // channels
            EXPECT_EQ(fmt[4] | fmt[5] << 8 | fmt[6] << 16 | fmt[7] << 24, 8000); // rate
            EXPECT_EQ(fmt[14] | fmt[15] << 8, 16);                              // bits
        } else if (r.chunkId() == FourCC("data")) {
            sawData = true;
            EXPECT_EQ(r.remaining(), samples * 2);
            EXPECT_EQ(r.pos() + r.remaining(), f.Size());
        }
    }
    EXPECT_TRUE(sawFmt);
    EXPECT_TRUE(sawData);

    // The memory walker over ReadRest sees the same chunks.
    ChunkReader again(f, false, true, true);
    MemChunkReader m = again.ReadRest();
    std::vector<Seen> mem = WalkAll(m);
    again.Rewind();
    EXPECT_EQ(WalkAll(again), mem);
}

TEST(ChunkOracle, WalksAnAiffMadeBySoxBigEndian) {
    test::RequireTool("sox");
    TempDir dir;
    auto path = dir / "x.aiff";
    ASSERT_EQ(test::Run("sox -n -r 8000 -c 1 -b 16 " + test::Quote(path.string()) + " synth 0.1 sine 440"),
              0);
    uint64_t samples = SoxSamples(path);

    FileObject f;
    ASSERT_TRUE(f.Open(path, FileObject::kRead));
    ChunkReader r(f, true, true, true);
    EXPECT_EQ(r.chunkId(), FourCC("FORM"));
    EXPECT_EQ(r.formType(), FourCC("AIFF"));
    EXPECT_EQ(r.end(), f.Size());
    bool sawComm = false, sawSsnd = false;
    while (r.NextChunk()) {
        if (r.chunkId() == FourCC("COMM")) {
            sawComm = true;
            ASSERT_EQ(r.remaining(), 18u);
            uint8_t comm[18];
            ASSERT_TRUE(r.Read(comm, 18));
            EXPECT_EQ(comm[0] << 8 | comm[1], 1);  // channels
            EXPECT_EQ(BE32(comm + 2), samples);    // frames
            EXPECT_EQ(comm[6] << 8 | comm[7], 16); // bits
        } else if (r.chunkId() == FourCC("SSND")) {
            sawSsnd = true;
            EXPECT_EQ(r.remaining(), 8 + samples * 2);
            EXPECT_EQ(r.pos() + r.remaining(), f.Size());
        }
    }
    EXPECT_TRUE(sawComm);
    EXPECT_TRUE(sawSsnd);
}

TEST(ChunkOracle, SoxReadsAWavBuiltByTheWriters) {
    test::RequireTool("sox");
    // 3 frames of 16-bit mono, an odd INFO text, and a LIST behind data.
    MemChunkWriter riff(false, true, 4096, FourCC("RIFF"), FourCC("WAVE"));
    const uint8_t fmt[16] = {1, 0, 1, 0, 0x40, 0x1F, 0, 0, 0x80, 0x3E, 0, 0, 2, 0, 16, 0};
    ASSERT_TRUE(riff.AddChunk(FourCC("fmt "), fmt, 16));
    const int16_t samples[3] = {1000, -1000, 32767};
    ASSERT_TRUE(riff.AddChunk(FourCC("data"), samples, sizeof samples));
    Collection c;
    auto* wave = new Waveform(c, kNewSerial, u"Tone");
    wave->setText(kInfoComments, u"made here");
    MemChunkWriter info(false, true, 0, FourCC("LIST"), FourCC("INFO"));
    ASSERT_TRUE(AddInfoChunks(info, *wave, true));
    ASSERT_TRUE(riff.AddChild(info));

    TempDir dir;
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "w.wav", FileObject::kCreate));
    ASSERT_TRUE(riff.WriteTo(f));
    f.Close();
    EXPECT_EQ(SoxSamples(dir / "w.wav"), 3u);
    std::string out;
    ASSERT_EQ(test::Run("sox " + test::Quote((dir / "w.wav").string()) + " -t s16 -", &out), 0);
    ASSERT_EQ(out.size(), sizeof samples);
    EXPECT_EQ(std::memcmp(out.data(), samples, sizeof samples), 0);
}

} // namespace
} // namespace vaxel
