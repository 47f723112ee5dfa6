// ID3v2 tags: text frames in the four encodings of versions 2.2 to 2.4,
// unsynchronisation at tag and frame level, comments and pictures; a tag
// made by ffmpeg; damaged sizes that must not read past the buffer.
#include "formats/audio/id3.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "model/collection.h"
#include "model/property.h"
#include "model/waveform.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

std::vector<uint8_t> Tag(int major, uint8_t flags, const std::vector<uint8_t>& body) {
    std::vector<uint8_t> t{'I', 'D', '3', uint8_t(major), 0, flags};
    size_t n = body.size();
    for (int shift : {21, 14, 7, 0}) t.push_back(uint8_t((n >> shift) & 0x7F));
    t.insert(t.end(), body.begin(), body.end());
    return t;
}

std::vector<uint8_t> Frame(int major, const std::string& id, const std::vector<uint8_t>& data,
                           uint8_t format = 0) {
    std::vector<uint8_t> f(id.begin(), id.end());
    size_t n = data.size();
    if (major == 2) {
        for (int shift : {16, 8, 0}) f.push_back(uint8_t(n >> shift));
    } else {
        for (int shift : {21, 14, 7, 0})
            f.push_back(major == 4 ? uint8_t((n >> shift) & 0x7F) : uint8_t(n >> (shift / 7 * 8)));
        f.push_back(0);
        f.push_back(format);
    }
    f.insert(f.end(), data.begin(), data.end());
    return f;
}

std::vector<uint8_t> Bytes(std::initializer_list<std::vector<uint8_t>> parts) {
    std::vector<uint8_t> out;
    for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

std::vector<uint8_t> Latin1(const std::string& s, uint8_t encoding = 0) {
    std::vector<uint8_t> out;
    out.reserve(s.size() + 1);
    out.push_back(encoding);
    for (char ch : s) out.push_back(uint8_t(ch));
    return out;
}

const uint8_t kPng[] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13, 0xFF, 0x00, 0xFF};

TEST(Id3, Version23TextCommentPictureAndUnsynchronisation) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"w");
    std::vector<uint8_t> comment{0, 'e', 'n', 'g', 'd', 'e', 's', 'c', 0, 'W', 'i', 't', 'h', 0};
    std::vector<uint8_t> comment2{0, 'e', 'n', 'g', 0, 'P', 'l', 'a', 'i', 'n'};
    std::vector<uint8_t> apic{0, 'i', 'm', 'a', 'g', 'e', '/', 'p', 'n', 'g', 0, 3, 0};
    apic.insert(apic.end(), std::begin(kPng), std::end(kPng));
    // UTF-16 with a byte order mark, little-endian: "Ünïcode".
    std::vector<uint8_t> utf16{1, 0xFF, 0xFE, 0xDC, 0, 'n', 0, 0xEF, 0, 'c', 0, 'o', 0, 'd', 0, 'e', 0};
    std::vector<uint8_t> body =
        Bytes({Frame(3, "TIT2", Latin1("Title \xE9")), Frame(3, "TPE1", utf16), Frame(3, "COMM", comment),
               Frame(3, "COMM", comment2), Frame(3, "APIC", apic), Frame(3, "TXXX", Latin1("ignored")),
               std::vector<uint8_t>(16, 0)});
    // Unsynchronise the whole tag: a zero behind every 0xFF.
    std::vector<uint8_t> unsynced;
    for (uint8_t b : body) {
        unsynced.push_back(b);
        if (b == 0xFF) unsynced.push_back(0);
    }
    std::vector<uint8_t> tag = Tag(3, 0x80, unsynced);
    EXPECT_EQ(Id3v2Size(tag.data(), tag.size()), tag.size());
    EXPECT_EQ(ReadId3v2(tag.data(), tag.size(), *w), 4);
    EXPECT_EQ(std::u16string(w->name()), u"Title \u00E9");
    EXPECT_EQ(std::u16string(w->text(kInfoArtist)), u"\u00DCn\u00EFcode");
    EXPECT_EQ(std::u16string(w->text(kInfoComments)), u"Plain"); // the one without a description
    ASSERT_EQ(w->image().size(), sizeof kPng);
    EXPECT_EQ(std::vector<uint8_t>(w->image()), std::vector<uint8_t>(std::begin(kPng), std::end(kPng)));
    EXPECT_STREQ(imageMimeType(w->image().data(), w->image().size()), "image/png");
}

TEST(Id3, Version24Utf8FrameUnsyncAndDataLengthAndVersion22) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"w");
    std::vector<uint8_t> album = Latin1("Alb\xC3\xBCm", 3); // UTF-8
    // A frame with its own unsynchronisation and a data length indicator.
    std::vector<uint8_t> copyright{0, 0, 0, 5, 0, 'C', 0xFF, 0x00, 0xE0};
    std::vector<uint8_t> utf16be{2, 0x00, 'B', 0x00, 'E'};
    std::vector<uint8_t> tag = Tag(
        4, 0, Bytes({Frame(4, "TALB", album), Frame(4, "TCOP", copyright, 0x03), Frame(4, "TENC", utf16be)}));
    EXPECT_EQ(ReadId3v2(tag.data(), tag.size(), *w), 3);
    EXPECT_EQ(std::u16string(w->text(kInfoProduct)), u"Alb\u00FCm");
    EXPECT_EQ(std::u16string(w->text(kInfoCopyright)), u"C\u00FF\u00E0");
    EXPECT_EQ(std::u16string(w->text(kInfoEngineer)), u"BE");

    std::vector<uint8_t> pic{0, 'P', 'N', 'G', 3, 0};
    pic.insert(pic.end(), std::begin(kPng), std::end(kPng));
    std::vector<uint8_t> v22 = Tag(2, 0, Bytes({Frame(2, "TT2", Latin1("Old")), Frame(2, "PIC", pic)}));
    auto* w2 = new Waveform(c, kNewSerial, u"w2");
    EXPECT_EQ(ReadId3v2(v22.data(), v22.size(), *w2), 2);
    EXPECT_EQ(std::u16string(w2->name()), u"Old");
    EXPECT_EQ(w2->image().size(), sizeof kPng);
}

TEST(Id3, DamagedTagsStopWithoutReadingPastTheBuffer) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"keep");
    std::vector<uint8_t> good = Tag(3, 0, Frame(3, "TIT2", Latin1("Fine")));
    // Cut anywhere: never more than the bytes given are looked at (the
    // sanitizer build checks), and a cut frame is not taken.
    for (size_t n = 0; n < good.size(); ++n) {
        std::vector<uint8_t> cut(good.begin(), good.begin() + ptrdiff_t(n));
        EXPECT_EQ(ReadId3v2(cut.data(), cut.size(), *w), 0) << n;
    }
    EXPECT_EQ(std::u16string(w->name()), u"keep");
    std::vector<uint8_t> lying = good;
    lying[10 + 7] = 0x7F; // frame size far past the tag
    EXPECT_EQ(ReadId3v2(lying.data(), lying.size(), *w), 0);
    std::vector<uint8_t> notTag{'I', 'D', '3', 0xFF, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(Id3v2Size(notTag.data(), notTag.size()), 0u);
    EXPECT_EQ(ReadId3v2(nullptr, 0, *w), 0);
}

TEST(Id3, TagWrittenByFfmpeg) {
    test::RequireTool("ffmpeg");
    test::TempDir dir;
    auto path = dir / "tagged.mp3";
    // ffmpeg puts an ID3v2.4 tag at the head of an MP3 file.
    ASSERT_EQ(
        test::Run(
            "ffmpeg -v error -y -f lavfi -i anullsrc=r=8000:cl=mono -t 0.1 -metadata title='Zw\xC3\xB6lf' "
            "-metadata artist=Someone -metadata album=Record -c:a libmp3lame -f mp3 " +
            test::Quote(path.string()) + " 2>&1"),
        0);
    std::vector<uint8_t> bytes = test::ReadFile(path);
    size_t size = Id3v2Size(bytes.data(), bytes.size());
    ASSERT_GT(size, 10u);
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"w");
    EXPECT_EQ(ReadId3v2(bytes.data(), size, *w), 3);
    EXPECT_EQ(std::u16string(w->name()), u"Zw\u00F6lf");
    EXPECT_EQ(std::u16string(w->text(kInfoArtist)), u"Someone");
    EXPECT_EQ(std::u16string(w->text(kInfoProduct)), u"Record");
}

} // namespace
} // namespace vaxel
