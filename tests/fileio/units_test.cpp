// Level and pitch conversions shared by the formats. Expected values were
// worked out by hand or with python3's math module.
#include <gtest/gtest.h>

#include <climits>

#include "fileio/units.h"

namespace vaxel {
namespace {

TEST(UnitsTest, DbToGainExactPointsFloorAndRounding) {
    EXPECT_EQ(DbToGain(0.0), 1.0);
    EXPECT_EQ(DbToGain(6.0), 2.0);
    EXPECT_EQ(DbToGain(12.0), 5.0); // not 3.98: stored so by files in the field
    EXPECT_EQ(DbToGain(-6.0), 0.5);
    EXPECT_EQ(DbToGain(-12.0), 0.25);
    EXPECT_EQ(DbToGain(-96.0), 0.0);
    EXPECT_EQ(DbToGain(-200.0), 0.0);
    // At least 1: three decimals.
    EXPECT_DOUBLE_EQ(DbToGain(3.0), 1.413);  // e^0.345387765 = 1.41253...
    EXPECT_DOUBLE_EQ(DbToGain(0.5), 1.059);  // 1.05925...
    EXPECT_DOUBLE_EQ(DbToGain(20.0), 10.0);  // 10.00000007
    EXPECT_DOUBLE_EQ(DbToGain(40.0), 100.0); // 100.0000014
    // Below 1: as computed.
    EXPECT_NEAR(DbToGain(-3.0), 0.70794578364, 1e-10);
    EXPECT_NEAR(DbToGain(-20.0), 0.0999999993, 1e-10);
    EXPECT_NEAR(DbToGain(-95.9), 1.60324534e-5, 1e-12);
}

TEST(UnitsTest, GainToDbExactPointsFloorAndHundredths) {
    EXPECT_EQ(GainToDb(1.0), 0.0);
    EXPECT_EQ(GainToDb(2.0), 6.0);
    EXPECT_EQ(GainToDb(4.0), 12.0);
    EXPECT_EQ(GainToDb(0.5), -6.0);
    EXPECT_EQ(GainToDb(0.25), -12.0);
    EXPECT_EQ(GainToDb(1.5848933e-5), -96.0);
    EXPECT_EQ(GainToDb(0.0), -96.0);
    EXPECT_EQ(GainToDb(-1.0), -96.0);
    EXPECT_NEAR(GainToDb(10.0), 20.0, 1e-9); // 1999.99985 hundredths
    EXPECT_NEAR(GainToDb(0.1), -20.0, 1e-9);
    EXPECT_NEAR(GainToDb(3.0), 9.54, 1e-9); // 954.2424
    EXPECT_NEAR(GainToDb(1.5), 3.52, 1e-9); // 352.1825
    EXPECT_NEAR(GainToDb(0.001), -60.0, 1e-9);
    // The rounding offset is 0.499, not 0.5: 100.5005 hundredths go down,
    // 100.502 go up, on either side of zero.
    EXPECT_NEAR(GainToDb(1.12266518178041), 1.00, 1e-9);
    EXPECT_NEAR(GainToDb(0.8907375201697463), -1.00, 1e-9);
    EXPECT_NEAR(GainToDb(1.1226671205563106), 1.01, 1e-9);
}

TEST(UnitsTest, NormalizePitchMovesWholeSemitonesOnlyBeyondOneHundredCents) {
    struct Case {
        int key, cents, wantKey, wantCents;
    };
    const Case cases[] = {
        {60, 100, 60, 100}, {60, 99, 60, 99},     {60, -100, 60, -100}, {60, 101, 61, 1},
        {60, 150, 61, 50},  {60, 151, 62, -49},   {60, -101, 59, -1},   {60, -150, 59, -50},
        {60, -151, 58, 49}, {60, 1250, 72, 50},   {127, 300, 127, 0},   {0, -250, 0, -50},
        {-5, 0, 0, 0},      {200, -20, 127, -20},
    };
    for (const Case& c : cases) {
        int key = c.key, cents = c.cents;
        NormalizePitch(key, cents);
        EXPECT_EQ(key, c.wantKey) << c.key << " " << c.cents;
        EXPECT_EQ(cents, c.wantCents) << c.key << " " << c.cents;
    }
    // A wild value from a file ends at once.
    int key = 60, cents = INT_MAX;
    NormalizePitch(key, cents);
    EXPECT_EQ(key, 127);
    EXPECT_LE(cents, 50);
    EXPECT_GE(cents, -50);
    key = 60, cents = INT_MIN;
    NormalizePitch(key, cents);
    EXPECT_EQ(key, 0);
    EXPECT_GE(cents, -50);
}

TEST(UnitsTest, ParseNoteNameWithAnOctaveOffset) {
    // Offset 4: middle C is "C4".
    EXPECT_EQ(ParseNoteName(u"C4", 4), 60);
    EXPECT_EQ(ParseNoteName(u"c#3", 4), 49);
    EXPECT_EQ(ParseNoteName(u"Bb-1", 4), 10);
    EXPECT_EQ(ParseNoteName(u"bb3", 4), 58); // letter b, then the flat
    EXPECT_EQ(ParseNoteName(u"H2", 4), 47);
    EXPECT_EQ(ParseNoteName(u"h2", 4), 47);
    EXPECT_EQ(ParseNoteName(u"A4", 4), 69);
    EXPECT_EQ(ParseNoteName(u"E+3", 4), 52);
    EXPECT_EQ(ParseNoteName(u"G9", 4), 127);
    EXPECT_EQ(ParseNoteName(u"C-1", 4), 0);
    EXPECT_EQ(ParseNoteName(u"C04", 4), 60);
    // Offset 3 ("C3" is middle C) and 5.
    EXPECT_EQ(ParseNoteName(u"C3", 3), 60);
    EXPECT_EQ(ParseNoteName(u"F#2", 3), 54);
    EXPECT_EQ(ParseNoteName(u"C5", 5), 60);
    // Out of range.
    EXPECT_EQ(ParseNoteName(u"G#9", 4), -1);
    EXPECT_EQ(ParseNoteName(u"Cb-1", 4), -1);
    EXPECT_EQ(ParseNoteName(u"C-1", 5), -1);
    // The 8-bit form reads the same.
    EXPECT_EQ(ParseNoteName("c#3", 4), 49);
    EXPECT_EQ(ParseNoteName("Bb-1", 4), 10);
    EXPECT_EQ(ParseNoteName("G#9", 4), -1);
}

TEST(UnitsTest, ParseNoteNameWithTheOctaveAsWritten) {
    EXPECT_EQ(ParseNoteName(u"C0", kOctaveAsWritten), 0);
    EXPECT_EQ(ParseNoteName(u"C4", kOctaveAsWritten), 48);
    EXPECT_EQ(ParseNoteName(u"G10", kOctaveAsWritten), 127);
    EXPECT_EQ(ParseNoteName(u"A10", kOctaveAsWritten), -1);
    // A negative octave counts one higher: C-1 is C0.
    EXPECT_EQ(ParseNoteName(u"C-1", kOctaveAsWritten), 0);
    EXPECT_EQ(ParseNoteName(u"B-1", kOctaveAsWritten), 11);
    EXPECT_EQ(ParseNoteName(u"Db-1", kOctaveAsWritten), 1);
    EXPECT_EQ(ParseNoteName(u"C-2", kOctaveAsWritten), -1);
    EXPECT_EQ(ParseNoteName(u"Cb0", kOctaveAsWritten), -1);
    EXPECT_EQ(ParseNoteName("B#9", kOctaveAsWritten), 120);
}

TEST(UnitsTest, ParseNoteNameRejectsAnythingButOneNote) {
    for (const char16_t* bad : {u"", u"X4", u"C", u"C#", u"Bb", u"C444", u"C4 ", u" C4", u"C##4", u"C-",
                                u"C+-1", u"4C", u"CB4", u"c#x", u"I3", u"-1"}) {
        EXPECT_EQ(ParseNoteName(std::u16string_view(bad), 4), -1) << "offset 4";
        EXPECT_EQ(ParseNoteName(std::u16string_view(bad), kOctaveAsWritten), -1) << "offset 255";
    }
    EXPECT_EQ(ParseNoteName(std::string_view("C4\0", 3), 4), -1);
    // Any offset is safe, however odd.
    EXPECT_EQ(ParseNoteName(u"C4", INT_MIN), -1);
    EXPECT_EQ(ParseNoteName(u"C4", INT_MAX), -1);
}

} // namespace
} // namespace vaxel
