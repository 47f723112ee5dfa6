// FileObject: the open modes, positioning, the split large transfers and the
// text line reader that the text formats share.
#include "fileio/file_object.h"

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace vaxel {
namespace {

using test::ReadFile;
using test::TempDir;
using test::WriteFile;

std::vector<uint8_t> Bytes(const std::string& s) { return std::vector<uint8_t>(s.begin(), s.end()); }

TEST(FileObjectOpen, ReadModeReadsAnExistingFileAndRefusesWrites) {
    TempDir dir;
    WriteFile(dir / "a.bin", std::string("hello"));
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "a.bin", FileObject::kRead));
    EXPECT_TRUE(f.IsOpen());
    char buf[5];
    ASSERT_TRUE(f.Read(buf, 5));
    EXPECT_EQ(std::string(buf, 5), "hello");
    EXPECT_FALSE(f.Write("x", 1));
    f.Close();
    EXPECT_EQ(ReadFile(dir / "a.bin"), Bytes("hello"));
}

TEST(FileObjectOpen, ReadWriteModeKeepsTheContentsAndWritesInPlace) {
    TempDir dir;
    WriteFile(dir / "a.bin", std::string("hello world"));
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "a.bin", FileObject::kReadWrite));
    EXPECT_EQ(f.Size(), 11u);
    ASSERT_TRUE(f.Seek(6));
    ASSERT_TRUE(f.Write("WORLD", 5));
    ASSERT_TRUE(f.Seek(0));
    char buf[5];
    ASSERT_TRUE(f.Read(buf, 5));
    EXPECT_EQ(std::string(buf, 5), "hello");
    f.Close();
    EXPECT_EQ(ReadFile(dir / "a.bin"), Bytes("hello WORLD"));
}

TEST(FileObjectOpen, CreateModeMakesANewFileAndTruncatesAnOldOne) {
    TempDir dir;
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "new.bin", FileObject::kCreate));
    EXPECT_EQ(f.Size(), 0u);
    ASSERT_TRUE(f.Write("abc", 3));
    f.Close();
    EXPECT_EQ(ReadFile(dir / "new.bin"), Bytes("abc"));

    WriteFile(dir / "old.bin", std::string("a much longer old content"));
    ASSERT_TRUE(f.Open(dir / "old.bin", FileObject::kCreate));
    EXPECT_EQ(f.Size(), 0u);
    ASSERT_TRUE(f.Write("xy", 2));
    f.Close();
    EXPECT_EQ(ReadFile(dir / "old.bin"), Bytes("xy"));
}

TEST(FileObjectOpen, ReadModesNeedAnExistingFile) {
    TempDir dir;
    FileObject f;
    EXPECT_FALSE(f.Open(dir / "missing.bin", FileObject::kRead));
    EXPECT_FALSE(f.IsOpen());
    EXPECT_FALSE(f.Open(dir / "missing.bin", FileObject::kReadWrite));
    EXPECT_FALSE(f.IsOpen());
    EXPECT_FALSE(std::filesystem::exists(dir / "missing.bin"));
    // An unknown mode is refused, not taken as one of the others.
    WriteFile(dir / "a.bin", std::string("x"));
    EXPECT_FALSE(f.Open(dir / "a.bin", 3));
}

TEST(FileObjectOpen, ADirectoryIsNotAFileInAnyMode) {
    TempDir dir;
    std::filesystem::create_directory(dir / "sub");
    FileObject f;
    for (int mode : {0, 1, 2}) {
        EXPECT_FALSE(f.Open(dir / "sub", mode)) << "mode " << mode;
        EXPECT_FALSE(f.IsOpen());
        EXPECT_EQ(f.Size(), 0u);
    }
    EXPECT_TRUE(std::filesystem::is_directory(dir / "sub"));
}

TEST(FileObjectOpen, APathThatIsNotUtf8FailsWithoutThrowing) {
    // Folding the path for the second try converts it to UTF-16, which
    // throws for invalid UTF-8; Open has to report a plain failure.
    TempDir dir;
    std::filesystem::path bad = dir.path() / std::string("na\xff\xfeme.wav");
    FileObject f;
    bool opened = true;
    EXPECT_NO_THROW(opened = f.Open(bad, FileObject::kRead));
    EXPECT_FALSE(opened);
}

TEST(FileObjectOpen, ThePathStaysAfterCloseAndAFailedOpen) {
    TempDir dir;
    WriteFile(dir / "a.bin", std::string("x"));
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "a.bin", FileObject::kRead));
    f.Close();
    EXPECT_FALSE(f.IsOpen());
    EXPECT_EQ(f.path(), dir / "a.bin");
    EXPECT_EQ(f.Size(), 0u);
    EXPECT_EQ(f.Tell(), 0u);
    // The path names what was asked for, also when that failed.
    EXPECT_FALSE(f.Open(dir / "b.bin", FileObject::kRead));
    EXPECT_EQ(f.path(), dir / "b.bin");
}

TEST(FileObjectOpen, OpeningAgainClosesTheEarlierFile) {
    TempDir dir;
    WriteFile(dir / "a.bin", std::string("aaaa"));
    WriteFile(dir / "b.bin", std::string("bb"));
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "a.bin", FileObject::kRead));
    int first = f.descriptor();
    ASSERT_TRUE(f.Seek(3));
    ASSERT_TRUE(f.Open(dir / "b.bin", FileObject::kRead));
    EXPECT_EQ(f.Size(), 2u);
    EXPECT_EQ(f.Tell(), 0u);
    // The first descriptor was released (and so may be reused).
    if (f.descriptor() != first) {
        EXPECT_EQ(::fcntl(first, F_GETFD), -1);
    }
}

TEST(FileObjectOpen, ABorrowedDescriptorIsNotClosed) {
    TempDir dir;
    WriteFile(dir / "a.bin", std::string("abc"));
    int fd = ::open((dir / "a.bin").c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    {
        FileObject f(fd);
        EXPECT_TRUE(f.IsOpen());
        EXPECT_EQ(f.Size(), 3u);
        f.Close();
        EXPECT_FALSE(f.IsOpen());
    }
    char c;
    EXPECT_EQ(::pread(fd, &c, 1, 0), 1);
    EXPECT_EQ(c, 'a');
    ::close(fd);
}

TEST(FileObjectPosition, SeekTellAndSizeFollowTheTransfers) {
    TempDir dir;
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "a.bin", FileObject::kCreate));
    EXPECT_EQ(f.Tell(), 0u);
    ASSERT_TRUE(f.Write("0123456789", 10));
    EXPECT_EQ(f.Tell(), 10u);
    EXPECT_EQ(f.Size(), 10u);
    ASSERT_TRUE(f.Seek(4));
    EXPECT_EQ(f.Tell(), 4u);
    char buf[3];
    ASSERT_TRUE(f.Read(buf, 3));
    EXPECT_EQ(std::string(buf, 3), "456");
    EXPECT_EQ(f.Tell(), 7u);
    // A read past the end is short and moves only by what came.
    char tail[8];
    EXPECT_FALSE(f.Read(tail, 8));
    EXPECT_EQ(f.Tell(), 10u);
    EXPECT_EQ(f.ReadSome(tail, 8), 0u);
    // Writing behind the end leaves a hole of zeros.
    ASSERT_TRUE(f.Seek(12));
    ASSERT_TRUE(f.Write("x", 1));
    EXPECT_EQ(f.Size(), 13u);
    EXPECT_EQ(f.ReadAt(10, buf, 3), 3u);
    EXPECT_EQ(std::memcmp(buf, "\0\0x", 3), 0);
    EXPECT_EQ(f.Tell(), 13u); // ReadAt does not move
    // Offsets that do not fit a signed 64-bit file offset are refused.
    EXPECT_FALSE(f.Seek(~uint64_t(0)));
    EXPECT_EQ(f.Tell(), 13u);
}

TEST(FileObjectPosition, AClosedFileRefusesEverything) {
    FileObject f;
    char c = 0;
    EXPECT_FALSE(f.Seek(0));
    EXPECT_FALSE(f.Read(&c, 1));
    EXPECT_FALSE(f.Read(&c, 0));
    EXPECT_FALSE(f.Write(&c, 1));
    EXPECT_EQ(f.Size(), 0u);
    EXPECT_FALSE(f.ReadTextLine(&c, 1));
}

TEST(FileObjectBig, TransfersMoveEverythingAndReportWhatWasDone) {
    TempDir dir;
    std::vector<uint8_t> data(300000);
    for (size_t i = 0; i < data.size(); ++i) data[i] = uint8_t(i * 7 + (i >> 8));
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "big.bin", FileObject::kCreate));
    uint64_t done = 99;
    EXPECT_TRUE(f.WriteBig(data.data(), 0, &done));
    EXPECT_EQ(done, 0u);
    ASSERT_TRUE(f.WriteBig(data.data(), data.size(), &done));
    EXPECT_EQ(done, data.size());
    f.Close();
    EXPECT_EQ(ReadFile(dir / "big.bin"), data);

    ASSERT_TRUE(f.Open(dir / "big.bin", FileObject::kRead));
    std::vector<uint8_t> back(data.size() + 100, 0xEE);
    EXPECT_TRUE(f.ReadBig(back.data(), 0, &done));
    EXPECT_EQ(done, 0u);
    ASSERT_TRUE(f.Seek(100));
    ASSERT_TRUE(f.ReadBig(back.data(), 1000, &done));
    EXPECT_EQ(done, 1000u);
    EXPECT_TRUE(std::equal(back.begin(), back.begin() + 1000, data.begin() + 100));
    // Asking for more than the file holds ends short and says how much came.
    ASSERT_TRUE(f.Seek(0));
    EXPECT_FALSE(f.ReadBig(back.data(), back.size(), &done));
    EXPECT_EQ(done, data.size());
    EXPECT_TRUE(std::equal(data.begin(), data.end(), back.begin()));
    EXPECT_EQ(back[data.size()], 0xEE);
    // Writing to a file opened for reading fails with nothing done.
    EXPECT_FALSE(f.WriteBig(data.data(), 10, &done));
    EXPECT_EQ(done, 0u);
}

TEST(FileObjectText, LinesDropControlBytesAndEndAtNewlineOrZero) {
    TempDir dir;
    std::string text = std::string("first\tline\r\n") + "\n" + "abc" + std::string(1, '\0') + "after zero\n" +
                       "\x01\x02\r\n" + "0123456789" + "\n" + "last";
    WriteFile(dir / "t.txt", text);
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "t.txt", FileObject::kRead));
    char line[8];
    ASSERT_TRUE(f.ReadTextLine(line, sizeof line));
    // Capacity 8 keeps 7 characters; the tab vanished, the rest stays unread.
    EXPECT_STREQ(line, "firstli");
    char big[64];
    ASSERT_TRUE(f.ReadTextLine(big, sizeof big));
    EXPECT_STREQ(big, "ne"); // the carriage return is dropped
    // An empty line stores nothing and answers false, but is consumed.
    EXPECT_FALSE(f.ReadTextLine(big, sizeof big));
    EXPECT_STREQ(big, "");
    ASSERT_TRUE(f.ReadTextLine(big, sizeof big));
    EXPECT_STREQ(big, "abc");
    ASSERT_TRUE(f.ReadTextLine(big, sizeof big));
    EXPECT_STREQ(big, "after zero");
    // A line of control bytes only stores nothing.
    EXPECT_FALSE(f.ReadTextLine(big, sizeof big));
    ASSERT_TRUE(f.ReadTextLine(big, sizeof big));
    EXPECT_STREQ(big, "0123456789");
    // The last line needs no newline; then the end of the file gives false.
    ASSERT_TRUE(f.ReadTextLine(big, sizeof big));
    EXPECT_STREQ(big, "last");
    EXPECT_FALSE(f.ReadTextLine(big, sizeof big));
    EXPECT_STREQ(big, "");
}

TEST(FileObjectText, BytesAboveAsciiAreKept) {
    TempDir dir;
    WriteFile(dir / "t.txt", std::string("caf\xe9 \xc3\xa9\n"));
    FileObject f;
    ASSERT_TRUE(f.Open(dir / "t.txt", FileObject::kRead));
    char line[32];
    ASSERT_TRUE(f.ReadTextLine(line, sizeof line));
    EXPECT_STREQ(line, "caf\xe9 \xc3\xa9");
}

} // namespace
} // namespace vaxel
