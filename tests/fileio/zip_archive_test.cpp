// ZipArchive against archives made by outside tools (Info-ZIP zip and
// Python's zipfile): every entry's bytes are compared with what went in.
// Damaged archives, hostile names and extraction safety are checked too.
#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fileio/file_object.h"
#include "fileio/zip_archive.h"
#include "model/last_error.h"
#include "model/text.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

namespace fs = std::filesystem;
using test::Quote;
using test::TempDir;
using Bytes = std::vector<uint8_t>;

Bytes Noise(size_t n, uint32_t seed) {
    Bytes out(n);
    uint32_t x = seed * 2654435761u + 1;
    for (auto& b : out) {
        x ^= x << 13, x ^= x >> 17, x ^= x << 5;
        b = uint8_t(x >> 24);
    }
    return out;
}

// Compressible, but not a plain run: a repeating ramp with some noise.
Bytes Pattern(size_t n) {
    Bytes noise = Noise(n / 64 + 1, 7);
    Bytes out(n);
    for (size_t i = 0; i < n; ++i) out[i] = uint8_t((i % 251) ^ (i % 64 == 0 ? noise[i / 64] : 0));
    return out;
}

class ZipArchiveTest : public ::testing::Test {
  protected:
    void SetUp() override {
        test::RequireTool("/usr/bin/python3");
        test::RequireTool("zip");
    }

    // Runs a Python script with Debian's interpreter; the arguments follow.
    void Python(const std::string& script, const std::vector<std::string>& args = {}) {
        auto path = dir_ / "script.py";
        test::WriteFile(path, script);
        std::string command = "/usr/bin/python3 " + Quote(path.string());
        for (const auto& a : args) command += " " + Quote(a);
        std::string output;
        ASSERT_EQ(test::Run(command, &output, true), 0) << output;
    }

    // Writes the payload files below dir/in and returns them by relative path.
    std::map<std::string, Bytes> WriteInputs() {
        std::map<std::string, Bytes> files = {
            {"small.txt", Bytes{'h', 'e', 'l', 'l', 'o', '\n'}},
            {"noise.bin", Noise(300000, 1)},
            {"big.raw", Pattern(3500000)}, // inflated in several pieces
            {"sub/dir/Piano.WAV", Noise(1000, 2)},
        };
        for (const auto& [name, bytes] : files) {
            fs::create_directories((in() / name).parent_path());
            test::WriteFile(in() / name, bytes);
        }
        test::WriteFile(in() / "empty.txt", Bytes{});
        return files;
    }

    bool Load(ZipArchive& zip, const fs::path& path) {
        FileObject file;
        EXPECT_TRUE(file.Open(path, FileObject::kRead)) << path;
        return zip.Load(file);
    }

    static std::map<std::string, Bytes> Contents(const ZipArchive& zip) {
        std::map<std::string, Bytes> out;
        for (const auto& e : zip.entries()) out[WideToUtf8(e.path)] = e.data;
        return out;
    }

    static std::string SkipReason(const ZipArchive& zip, std::u16string_view path) {
        for (const auto& s : zip.skipped())
            if (s.path == path) return s.reason;
        return "(not skipped)";
    }

    fs::path in() const { return dir_ / "in"; }

    TempDir dir_;
};

// zipfile script: archive path, then name=method pairs (0 stored, 8 deflated).
const char* kMakeArchive = R"(
import sys, zipfile
with zipfile.ZipFile(sys.argv[1], 'w') as z:
    for entry in sys.argv[3:]:
        name, method = entry.rsplit('=', 1)
        data = open(sys.argv[2] + '/' + name, 'rb').read()
        z.writestr(zipfile.ZipInfo(name), data, compress_type=int(method))
)";

TEST_F(ZipArchiveTest, StoredAndDeflatedFromPython) {
    auto files = WriteInputs();
    auto archive = dir_ / "mixed.zip";
    Python(kMakeArchive, {archive.string(), in().string(), "small.txt=0", "noise.bin=8", "big.raw=8",
                          "sub/dir/Piano.WAV=0", "empty.txt=8"});
    ZipArchive zip;
    ASSERT_TRUE(Load(zip, archive)) << LastErrorUtf8();
    EXPECT_EQ(Contents(zip), files); // the empty entry is left out
    EXPECT_TRUE(zip.skipped().empty());
    // Entries keep the archive's order.
    ASSERT_EQ(zip.size(), 4u);
    EXPECT_EQ(zip.entries()[0].path, u"small.txt");
    EXPECT_EQ(zip.entries()[3].path, u"sub/dir/Piano.WAV");
    EXPECT_EQ(zip.entries()[3].name(), u"Piano.WAV");
    EXPECT_EQ(zip.entries()[3].nameLength, 5);

    // Lookup: whole path exactly; by file name ignoring case only when asked.
    EXPECT_EQ(zip.Find(u"sub/dir/Piano.WAV", false), &zip.entries()[3]);
    EXPECT_EQ(zip.Find(u"sub/dir/piano.wav", false), nullptr);
    EXPECT_EQ(zip.Find(u"PIANO.wav", true), &zip.entries()[3]);
    EXPECT_EQ(zip.Find(u"C:\\Samples\\piano.wav", true), &zip.entries()[3]);
    EXPECT_EQ(zip.Find(u"dir/", true), nullptr);
    EXPECT_EQ(zip.Find(u"", false), &zip.entries()[0]);
    EXPECT_EQ(zip.Find(u"missing.wav", true), nullptr);

    // Behind a stub whose offsets were not adjusted (a self-extractor) the
    // archive still opens.
    Bytes whole(500, 'S');
    Bytes body = test::ReadFile(archive);
    whole.insert(whole.end(), body.begin(), body.end());
    test::WriteFile(archive, whole);
    ASSERT_TRUE(Load(zip, archive)) << LastErrorUtf8();
    EXPECT_EQ(Contents(zip), files);

    // A second load replaces everything.
    auto other = dir_ / "other.zip";
    Python(kMakeArchive, {other.string(), in().string(), "small.txt=8"});
    ASSERT_TRUE(Load(zip, other));
    EXPECT_EQ(Contents(zip), (std::map<std::string, Bytes>{{"small.txt", files["small.txt"]}}));
}

TEST_F(ZipArchiveTest, ZipCommandArchives) {
    auto files = WriteInputs();
    Bytes flute = Noise(777, 3);
    test::WriteFile(in() / "Fl\xC3\xB6te.wav", flute);
    files["Fl\xC3\xB6te.wav"] = flute;
    for (const char* level : {"-0", "-6", "-9"}) {
        SCOPED_TRACE(level);
        auto archive = dir_ / (std::string("cmd") + level + ".zip");
        std::string output;
        ASSERT_EQ(test::Run("cd " + Quote(in().string()) + " && zip -q -r " + level + " " +
                                Quote(archive.string()) + " .",
                            &output, true),
                  0)
            << output;
        ZipArchive zip;
        ASSERT_TRUE(Load(zip, archive)) << LastErrorUtf8();
        // zip stores the UTF-8 name without the UTF-8 flag; it still reads as UTF-8.
        EXPECT_EQ(Contents(zip), files);
        ASSERT_NE(zip.Find(u"fl\u00F6te.WAV", true), nullptr);
    }
}

TEST_F(ZipArchiveTest, Zip64) {
    auto files = WriteInputs();
    // With zipfile's limits lowered every size and offset above 16 goes to
    // the ZIP64 extra field (the 32-bit fields read 0xFFFFFFFF), and the
    // ZIP64 end record and locator are written.
    auto archive = dir_ / "z64.zip";
    Python(R"(
import sys, zipfile, struct
zipfile.ZIP64_LIMIT = 16
zipfile.ZIP_FILECOUNT_LIMIT = 1
with zipfile.ZipFile(sys.argv[1], 'w', zipfile.ZIP_DEFLATED) as z:
    for name in sys.argv[3:]:
        with z.open(name, 'w', force_zip64=True) as f:
            f.write(open(sys.argv[2] + '/' + name, 'rb').read())
data = open(sys.argv[1], 'rb').read()
assert data.find(b'PK\x06\x06') > 0 and data.find(b'PK\x06\x07') > 0
cd = data.find(b'PK\x01\x02')
assert struct.unpack_from('<I', data, cd + 24)[0] == 0xFFFFFFFF
)",
           {archive.string(), in().string(), "noise.bin", "small.txt", "big.raw", "sub/dir/Piano.WAV"});
    ZipArchive zip;
    ASSERT_TRUE(Load(zip, archive)) << LastErrorUtf8();
    EXPECT_EQ(Contents(zip), files);

    // The same archive behind a stub (a self-extractor) whose offsets were
    // not adjusted still opens.
    Bytes stub = Noise(1234, 9);
    Bytes whole = stub;
    Bytes body = test::ReadFile(archive);
    whole.insert(whole.end(), body.begin(), body.end());
    auto sfx = dir_ / "sfx.zip";
    test::WriteFile(sfx, whole);
    ZipArchive shifted;
    ASSERT_TRUE(Load(shifted, sfx)) << LastErrorUtf8();
    EXPECT_EQ(Contents(shifted), files);
}

TEST_F(ZipArchiveTest, NameEncodings) {
    // zipfile sets the UTF-8 flag for non-ASCII names. The code page 437
    // name is made by patching a placeholder byte in both headers: 0x82 is
    // e-acute there and not valid UTF-8 on its own.
    auto archive = dir_ / "names.zip";
    Python(R"(
import sys, zipfile
with zipfile.ZipFile(sys.argv[1], 'w') as z:
    z.writestr('Kl\u00e4nge/Fl\u00f6te \u20ac.wav', b'utf8')
    z.writestr('cafX.txt', b'cp437')
data = open(sys.argv[1], 'rb').read().replace(b'cafX', b'caf\x82')
open(sys.argv[1], 'wb').write(data)
)",
           {archive.string()});
    ZipArchive zip;
    ASSERT_TRUE(Load(zip, archive)) << LastErrorUtf8();
    ASSERT_EQ(zip.size(), 2u);
    const ZipEntry& utf8 = zip.entries()[0];
    EXPECT_EQ(utf8.path, u"Kl\u00E4nge/Fl\u00F6te \u20AC.wav");
    EXPECT_EQ(utf8.nameOffset, 7);
    EXPECT_EQ(utf8.name(), u"Fl\u00F6te \u20AC.wav");
    EXPECT_EQ(utf8.nameLength, 7);
    EXPECT_EQ(zip.entries()[1].path, u"caf\u00E9.txt");
    EXPECT_EQ(zip.entries()[1].data, (Bytes{'c', 'p', '4', '3', '7'}));
}

TEST_F(ZipArchiveTest, ExtractionStaysInsideTheFolder) {
    auto archive = dir_ / "hostile.zip";
    Python(R"(
import sys, zipfile
with zipfile.ZipFile(sys.argv[1], 'w') as z:
    for name in ['../evil.txt', '/abs.txt', 'a/../../x', '..\\back.txt', 'C:/drive.txt', 'c:drive2.txt',
                 'ok/./deep/file.txt', 'link/through.txt', 'leaf', 'dir/']:
        z.writestr(zipfile.ZipInfo(name), b'payload of ' + name.encode())
)",
           {archive.string()});
    ZipArchive zip;
    ASSERT_TRUE(Load(zip, archive)) << LastErrorUtf8();
    ASSERT_EQ(zip.size(), 10u);

    fs::path target = dir_ / "target" / "inside";
    fs::path outside = dir_ / "outside";
    fs::create_directories(target);
    fs::create_directories(outside);
    test::WriteFile(outside / "keep.txt", std::string("untouched"));
    // Links planted in the target: one to a folder outside, one to a file.
    fs::create_directory_symlink(outside, target / "link");
    fs::create_symlink(outside / "keep.txt", target / "leaf");

    std::map<std::u16string, bool> allowed;
    for (size_t i = 0; i < zip.size(); ++i) {
        const std::u16string& path = zip.entries()[i].path;
        SCOPED_TRACE(WideToUtf8(path));
        fs::path written;
        bool ok = zip.ExtractTo(target, i, &written);
        allowed[path] = ok;
        if (ok) {
            EXPECT_EQ(test::ReadFile(written), zip.entries()[i].data);
        } else {
            EXPECT_FALSE(LastErrorUtf8().empty());
        }
    }
    EXPECT_TRUE(allowed[u"ok/./deep/file.txt"]);
    for (const char16_t* refused : {u"../evil.txt", u"/abs.txt", u"a/../../x", u"..\\back.txt",
                                    u"C:/drive.txt", u"c:drive2.txt", u"link/through.txt", u"leaf", u"dir/"})
        EXPECT_FALSE(allowed[refused]) << WideToUtf8(refused);
    EXPECT_EQ(test::ReadFile(target / "ok" / "deep" / "file.txt"), zip.entries()[6].data);

    // Nothing appeared anywhere but in the target's own tree.
    std::vector<std::string> found;
    for (const auto& e : fs::recursive_directory_iterator(dir_.path()))
        if (e.is_regular_file() && !e.is_symlink())
            found.push_back(fs::relative(e.path(), dir_.path()).string());
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (std::vector<std::string>{"hostile.zip", "outside/keep.txt", "script.py",
                                               "target/inside/ok/deep/file.txt"}));
    EXPECT_EQ(test::ReadFile(outside / "keep.txt"), (Bytes{'u', 'n', 't', 'o', 'u', 'c', 'h', 'e', 'd'}));
    EXPECT_TRUE(fs::is_symlink(target / "leaf"));

    // Extracting again replaces the file, and an unknown index fails.
    ASSERT_TRUE(zip.ExtractTo(target, 6));
    EXPECT_FALSE(zip.ExtractTo(target, 99));
}

TEST_F(ZipArchiveTest, DamagedArchivesFailCleanly) {
    auto files = WriteInputs();
    auto good = dir_ / "good.zip";
    Python(kMakeArchive, {good.string(), in().string(), "small.txt=0", "noise.bin=8", "sub/dir/Piano.WAV=0"});
    Bytes body = test::ReadFile(good);

    // Truncated anywhere before the end record: not an archive any more.
    for (size_t keep :
         {size_t(0), size_t(3), size_t(30), body.size() / 2, body.size() - 23, body.size() - 1}) {
        SCOPED_TRACE(keep);
        auto path = dir_ / "cut.zip";
        test::WriteFile(path, Bytes(body.begin(), body.begin() + long(keep)));
        ZipArchive zip;
        EXPECT_FALSE(Load(zip, path));
        EXPECT_EQ(LastErrorUtf8(), "Not a valid ZIP archive");
        EXPECT_EQ(zip.size(), 0u);
    }
    {
        auto path = dir_ / "noise.zip";
        test::WriteFile(path, Noise(5000, 4));
        ZipArchive zip;
        EXPECT_FALSE(Load(zip, path));
        EXPECT_EQ(LastErrorUtf8(), "Not a valid ZIP archive");
        FileObject closed;
        EXPECT_FALSE(zip.Load(closed));
        EXPECT_EQ(LastErrorUtf8(), "Reading from file failed");
    }

    // A flipped data byte in a stored entry and in a deflated one: those
    // entries are left out with their reason, the rest loads.
    auto bad = dir_ / "bad.zip";
    ASSERT_TRUE(fs::copy_file(good, bad));
    Python(R"(
import sys, zipfile, struct
data = bytearray(open(sys.argv[1], 'rb').read())
z = zipfile.ZipFile(sys.argv[1])
for name, at in (('small.txt', 2), ('noise.bin', 1000)):
    off = z.getinfo(name).header_offset
    n, e = struct.unpack_from('<HH', data, off + 26)
    data[off + 30 + n + e + at] ^= 0x55
open(sys.argv[1], 'wb').write(data)
)",
           {bad.string()});
    ZipArchive zip;
    ASSERT_TRUE(Load(zip, bad));
    EXPECT_EQ(Contents(zip),
              (std::map<std::string, Bytes>{{"sub/dir/Piano.WAV", files["sub/dir/Piano.WAV"]}}));
    EXPECT_EQ(SkipReason(zip, u"small.txt"), "its CRC-32 does not match");
    EXPECT_NE(SkipReason(zip, u"noise.bin"), "(not skipped)");
}

TEST_F(ZipArchiveTest, DeclaredSizesAreChecked) {
    // Patches a central header field of the named entry.
    const char* patch = R"(
import sys, struct
data = bytearray(open(sys.argv[1], 'rb').read())
pos = 0
while True:
    pos = data.index(b'PK\x01\x02', pos)
    n = struct.unpack_from('<H', data, pos + 28)[0]
    if data[pos + 46:pos + 46 + n] == sys.argv[2].encode():
        break
    pos += 4
struct.pack_into('<I', data, pos + {'csize': 20, 'usize': 24, 'offset': 42}[sys.argv[3]], int(sys.argv[4]))
open(sys.argv[1], 'wb').write(data)
)";
    // 8 MB of zeros deflate to about 8 KB.
    fs::create_directories(in());
    test::WriteFile(in() / "zeros", Bytes(8 << 20, 0));
    test::WriteFile(in() / "x", Bytes{'x'});
    auto make = [&](const fs::path& path) {
        Python(kMakeArchive, {path.string(), in().string(), "zeros=8", "x=0"});
    };
    struct Case {
        const char* field;
        uint32_t value;
        const char* reason;
    } cases[] = {
        // Claims less than the stream holds: inflating stops at the claim.
        {"usize", 1000, "it inflates to more than its declared size"},
        // Claims more than deflate could ever give from its compressed size.
        {"usize", 0x3FFFFFFF, "its declared size is too large"},
        {"usize", 0xF0000000, "its declared size is too large"},
        // Claims more than the stream holds.
        {"usize", (8 << 20) + 1, "it inflates to a size other than the declared one"},
        // Compressed data said to run past the end of the file.
        {"csize", 0x7FFFFFFF, "its data lies beyond the end of the archive"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.field) + " " + std::to_string(c.value));
        auto path = dir_ / "patched.zip";
        make(path);
        Python(patch, {path.string(), "zeros", c.field, std::to_string(c.value)});
        ZipArchive zip;
        ASSERT_TRUE(Load(zip, path));
        EXPECT_EQ(SkipReason(zip, u"zeros"), c.reason);
        ASSERT_NE(zip.Find(u"x", false), nullptr);
    }
    // Two directory entries for one local entry (the overlapping bomb's
    // trick): the second is left out.
    auto path = dir_ / "overlap.zip";
    make(path);
    Python(patch, {path.string(), "x", "offset", "0"});
    ZipArchive zip;
    ASSERT_TRUE(Load(zip, path));
    EXPECT_EQ(zip.size(), 1u);
    EXPECT_EQ(SkipReason(zip, u"x"), "its data overlaps that of another entry");
}

TEST_F(ZipArchiveTest, UnsupportedEntriesAreSkipped) {
    auto files = WriteInputs();
    auto archive = dir_ / "methods.zip";
    Python(kMakeArchive, {archive.string(), in().string(), "small.txt=12", "noise.bin=8"}); // 12: bzip2
    ZipArchive zip;
    ASSERT_TRUE(Load(zip, archive));
    EXPECT_EQ(Contents(zip), (std::map<std::string, Bytes>{{"noise.bin", files["noise.bin"]}}));
    EXPECT_EQ(SkipReason(zip, u"small.txt"), "its compression method 12 is not supported");

    auto encrypted = dir_ / "enc.zip";
    std::string output;
    ASSERT_EQ(test::Run("cd " + Quote(in().string()) + " && zip -q -P secret " + Quote(encrypted.string()) +
                            " small.txt",
                        &output, true),
              0)
        << output;
    ASSERT_TRUE(Load(zip, encrypted));
    EXPECT_EQ(zip.size(), 0u);
    EXPECT_EQ(SkipReason(zip, u"small.txt"), "it is encrypted");

    // An archive with no entries is valid and empty.
    auto empty = dir_ / "empty.zip";
    Python("import sys, zipfile\nzipfile.ZipFile(sys.argv[1], 'w').close()\n", {empty.string()});
    ASSERT_TRUE(Load(zip, empty));
    EXPECT_EQ(zip.size(), 0u);
    EXPECT_TRUE(zip.skipped().empty());
}

TEST(ZipDetect, FirstWord) {
    const uint8_t local[] = {'P', 'K', 3, 4, 20, 0};
    const uint8_t end[] = {'P', 'K', 5, 6};
    const uint8_t spanned[] = {'P', 'K', 7, 8};
    const uint8_t central[] = {'P', 'K', 1, 2};
    EXPECT_EQ(ZipDetect(local, sizeof local), 6);
    EXPECT_EQ(ZipDetect(end, sizeof end), 6);
    EXPECT_EQ(ZipDetect(spanned, sizeof spanned), 6);
    EXPECT_EQ(ZipDetect(central, sizeof central), 0);
    EXPECT_EQ(ZipDetect(local, 3), 0);
}

} // namespace
} // namespace vaxel
