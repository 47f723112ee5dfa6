// Folding of wide text into 8-bit fields: the letter tables of Latin
// Extended-A, Greek and Cyrillic, the punctuation look-alikes, and the
// Windows-1252 round trip of everything up to 255.
#include <gtest/gtest.h>

#include <string>

#include "model/text.h"
#include "model/text_fold.h"

namespace vaxel {
namespace {

TEST(TextFoldTest, TypographicPunctuationBecomesItsAsciiLookAlike) {
    // The usual suspects of names typed in a word processor.
    EXPECT_EQ(WideToAnsi(u"Rock\u2019n\u2018Roll\u201A"), "Rock'n'Roll'");
    EXPECT_EQ(WideToAnsi(u"\u201CHi\u201D\u201E"), "\"Hi\"\"");
    EXPECT_EQ(WideToAnsi(u"\u20AC 5"), "E 5");
    EXPECT_EQ(WideToAnsi(u"\u2022 x\u2026"), "* x.");
    EXPECT_EQ(WideToAnsi(u"\u2039a\u203A\u02C6"), "<a>^");
    // Anything else above 255 has no stand-in, Windows-1252 dashes included.
    EXPECT_EQ(WideToAnsi(u"a\u2013b\u2014c\u4E2D\uFFFD"), "a?b?c??");
}

TEST(TextFoldTest, LatinExtendedLettersLoseTheirMarks) {
    EXPECT_EQ(WideToAnsi(u"\u0100\u0101\u0141ukasz \u0142\u00F3d\u017A"), "AaLukasz l\xF3"
                                                                          "dz");
    EXPECT_EQ(WideToAnsi(u"Dvo\u0159\u00E1k"), "Dvor\xE1k");
    // Ligatures and letters without a decomposition still give one letter.
    EXPECT_EQ(WideToAnsi(u"\u0152uvre \u0153"), "Ouvre o");
    EXPECT_EQ(WideToAnsi(u"\u0131\u0130\u0138\u014A\u014B\u017F\u0149\u0110\u0111\u0126"), "iIkNnsnDdH");
    EXPECT_EQ(WideToAnsi(u"\u0132\u0133\u013F\u0140"), "IiLl");
    // Every code point of the block is a letter and folds to one.
    for (char16_t c = 0x100; c < 0x180; ++c) {
        char folded = FoldToAscii(c);
        EXPECT_TRUE((folded >= 'A' && folded <= 'Z') || (folded >= 'a' && folded <= 'z'))
            << "U+" << std::hex << int(c) << " gave " << folded;
    }
}

TEST(TextFoldTest, GreekAndCyrillicAreTransliteratedOneLetterEach) {
    EXPECT_EQ(WideToAnsi(u"\u0395\u03BB\u03BB\u03B7\u03BD\u03B9\u03BA\u03AC"), "Ellenika"); // Ελληνικά
    EXPECT_EQ(WideToAnsi(u"\u03B1\u03B2\u03B3 \u03A9\u03C3\u03C2"), "abg Oss");
    EXPECT_EQ(WideToAnsi(u"\u0398\u03A6\u03A7\u03A8\u03BE\u03C5"), "TPCPxy"); // first letters of th ph ch ps
    EXPECT_EQ(WideToAnsi(u"\u041F\u0440\u0438\u0432\u0435\u0442 \u043C\u0438\u0440"), "Privet mir");
    EXPECT_EQ(WideToAnsi(u"\u0416\u0425\u0426\u0427\u0428\u0429\u042E\u042F\u0419"), "ZXCCSSJJJ");
    EXPECT_EQ(WideToAnsi(u"\u0401\u0451\u0407\u0454\u0408\u0409\u045F"), "EeIjJLd");
    // The hard and soft signs are written with primes in transliteration.
    EXPECT_EQ(WideToAnsi(u"\u043E\u0431\u044A\u0435\u043C \u0441\u043E\u043B\u044C"), "ob'em sol'");
    // Greek punctuation and accents on their own are no letters.
    EXPECT_EQ(WideToAnsi(u"\u037E\u0387\u0384\u0378\u03F6"), "?????");
}

TEST(TextFoldTest, TextUpTo255RoundTripsThroughWindows1252) {
    for (char16_t c = 1; c < 256; ++c) {
        std::u16string one(1, c);
        std::u16string back = AnsiToWide(WideToAnsi(one));
        if (c >= 0x80 && c <= 0x9F) {
            // These bytes are the code page's specials, so their own code
            // points (C1 controls) come back as the special characters.
            EXPECT_EQ(back.size(), 1u);
            continue;
        }
        EXPECT_EQ(back, one) << "U+" << std::hex << int(c);
    }
    EXPECT_EQ(AnsiToWide(WideToAnsi(u"Fl\u00F6te \u00C9t\u00E9 \u00FF")), u"Fl\u00F6te \u00C9t\u00E9 \u00FF");
}

} // namespace
} // namespace vaxel
