// Fitting names into fixed-length fields: the stem gives way to the channel
// letter, the digits and the note name that tell samples apart.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "fileio/names.h"

namespace vaxel {
namespace {

// Fits into a field of the given capacity inside a larger buffer filled with
// '#', checks that nothing beyond the field was touched and that the count
// matches, and returns the field's written characters.
std::string Fit(const char* name, size_t capacity, bool strip = true, int pad = kPadNone,
                bool terminate = false) {
    char buffer[64];
    std::memset(buffer, '#', sizeof buffer);
    size_t n = FitNameToField(buffer, capacity, name, -1, strip, pad, terminate);
    EXPECT_LE(n + (terminate ? 1 : 0), capacity);
    for (size_t i = capacity; i < sizeof buffer; ++i) EXPECT_EQ(buffer[i], '#') << "wrote past the field";
    if (terminate) {
        EXPECT_EQ(buffer[n], '\0');
    }
    return std::string(buffer, n);
}

TEST(NamesTest, TheStemShrinksFirstSoNoteAndChannelStay) {
    EXPECT_EQ(Fit("Flute C#3 L", 8), "FluC#3-L");
    EXPECT_EQ(Fit("Flute C#3 R", 8), "FluC#3-R");
    EXPECT_EQ(Fit("Flute C#3 L", 16), "Flute C#3-L");
    // The blank before the note comes back as soon as there is room for it.
    EXPECT_EQ(Fit("Flute C#3 L", 11), "Flute C#3-L");
    EXPECT_EQ(Fit("Flute C#3 L", 10), "FluteC#3-L");
    EXPECT_EQ(Fit("Bass Bb-1", 8), "BassBb-1");
    EXPECT_EQ(Fit("Bass Bb-1", 9), "Bass Bb-1");
    EXPECT_EQ(Fit("Vibraphone E2", 8), "VibrapE2");
    // The channel only counts behind a blank or '-', and only when asked.
    EXPECT_EQ(Fit("Strings-L", 8), "String-L");
    EXPECT_EQ(Fit("Strings-L", 8, false), "Strings-");
    EXPECT_EQ(Fit("Snare R", 16, false), "Snare R");
    EXPECT_EQ(Fit("FullR", 16), "FullR");
}

TEST(NamesTest, DigitsAreKeptUpToThreeAndAreToldFromNoteNames) {
    EXPECT_EQ(Fit("Piano 123", 8), "Piano123");
    EXPECT_EQ(Fit("Piano 123", 9), "Piano 123");
    EXPECT_EQ(Fit("Strings 042 R", 10), "Strin042-R");
    // Of four digits the last three stay.
    EXPECT_EQ(Fit("Sample 1234", 8), "Sampl234");
    // "A440" is no note name, so its digits are plain digits.
    EXPECT_EQ(Fit("Cello A440", 8), "Cello440");
    // 'H' is no note letter here, so the digit goes alone.
    EXPECT_EQ(Fit("Orchestra H3", 8), "Orchest3");
    // A note and digits behind it: both kept in the order they stood.
    EXPECT_EQ(Fit("Flute C#3 12", 8), "FluC#312");
    EXPECT_EQ(Fit("Pad C2", 16), "Pad C2");
    EXPECT_EQ(Fit("Kit 808", 16), "Kit 808");
}

TEST(NamesTest, PaddingTerminationAndSourceLength) {
    EXPECT_EQ(Fit("Snare R", 10, true, kPadBlanks), "Snare   -R");
    EXPECT_EQ(Fit("Flute C#3 L", 12, true, kPadBlanks), "Flute C#3 -L");
    EXPECT_EQ(Fit("Kick", 8, true, kPadBlanks), "Kick    ");
    EXPECT_EQ(Fit("Kick", 8, true, kPadZeros), std::string("Kick\0\0\0\0", 8));
    EXPECT_EQ(Fit("Kick", 8, true, kPadZeros, true), std::string("Kick\0\0\0", 7));
    EXPECT_EQ(Fit("Grand Piano", 8, true, kPadNone, true), "Grand P");
    EXPECT_EQ(Fit("Pad   ", 16), "Pad");
    EXPECT_EQ(Fit("", 8, true, kPadBlanks), "        ");
    EXPECT_EQ(Fit("Flute C#3 L", 2), "C#");

    char field[8];
    EXPECT_EQ(FitNameToField(field, sizeof field, "Organ Lead", 5, true, kPadNone, false), 5u);
    EXPECT_EQ(std::string(field, 5), "Organ");
    EXPECT_EQ(FitNameToField(field, 0, "Organ", -1, true, kPadBlanks, true), 0u);
    EXPECT_EQ(
        FitNameToField(field, sizeof field, static_cast<const char*>(nullptr), -1, true, kPadNone, true), 0u);
    EXPECT_EQ(field[0], '\0');

    // A wide name is folded to 8 bits first.
    EXPECT_EQ(FitNameToField(field, sizeof field, u"\u03A9mega 2 L", -1, true, kPadNone, false), 8u);
    EXPECT_EQ(std::string(field, 8), "Omega2-L");
}

} // namespace
} // namespace vaxel
