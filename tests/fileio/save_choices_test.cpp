// The coding and channel lists of the save dialog, and what a choice puts
// into the write options.
#include <gtest/gtest.h>

#include "fileio/format_table.h"
#include "fileio/sample_coding.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/waveform.h"

namespace vaxel {
namespace {

class SaveChoices : public ::testing::Test {
  protected:
    void SetUp() override {
        InstallFormats();
        wavRow = findWriteRowByExtension(u"wav", 1);
        ASSERT_GE(wavRow, 0);
    }
    Waveform* Wave(int coding, int channels) {
        auto* w = new Waveform(c, kNewSerial, u"w");
        w->channels = uint8_t(channels);
        w->frames = 10;
        SetSampleFormat(*w, coding, 0);
        return w;
    }
    Collection c;
    int wavRow = -1;
};

TEST_F(SaveChoices, AutoNamesWhatTheSaveWillUse) {
    Waveform* w = Wave(kPcm24, 2);
    std::u16string label;
    EXPECT_EQ(codingForSave(wavRow, *w, &label), kPcm24);
    EXPECT_EQ(label, u"PCM 24-bit");
    std::vector<SaveChoice> list = dataFormatChoices(wavRow, *w);
    ASSERT_FALSE(list.empty());
    EXPECT_EQ(list[0].position, kAutoCoding);
    EXPECT_EQ(list[0].text, u"Auto <PCM 24-bit>");
    // Every other entry is a coding the row takes, at its own number.
    const uint32_t mask = formatRow(wavRow)->codingMask;
    for (size_t i = 1; i < list.size(); ++i) {
        ASSERT_LT(list[i].position, kAutoCoding);
        EXPECT_TRUE(mask & (1u << list[i].position)) << list[i].position;
        EXPECT_EQ(list[i].text, DataCodingName(list[i].position));
    }

    // A second wave in another coding makes the collection's save mixed.
    Wave(kPcm16, 1);
    EXPECT_EQ(codingForSave(wavRow, c, &label), kMixedCoding);
    EXPECT_EQ(label, u"Mixed");
    EXPECT_EQ(channelFormatChoices(wavRow, c)[0].text, u"Auto <Mixed>");
    EXPECT_EQ(channelFormatChoices(wavRow, *w)[0].text, u"Auto <Stereo>");
}

TEST_F(SaveChoices, AChoiceNarrowsTheOptionsMask) {
    const uint32_t rowMask = formatRow(wavRow)->codingMask;
    WriteOptions options;
    ASSERT_TRUE(applyDataFormatChoice(wavRow, kPcm24, options));
    EXPECT_EQ(options.codingMask & kMaskCodings, 1u << kPcm24);
    EXPECT_EQ(options.codingMask & ~kMaskCodings, rowMask & ~kMaskCodings);
    ASSERT_TRUE(applyDataFormatChoice(wavRow, kAutoCoding, options));
    EXPECT_EQ(options.codingMask, rowMask);

    // A coding the row lacks is refused and leaves no half-made mask behind
    // that a writer could misread.
    EXPECT_FALSE(applyDataFormatChoice(wavRow, kDelta8, options));
    EXPECT_FALSE(applyDataFormatChoice(wavRow, kFirstBitRateChoice + 99, options));
    EXPECT_EQ(options.codingMask, rowMask);

    ASSERT_TRUE(applyChannelChoice(wavRow, 1, options));
    EXPECT_EQ(options.codingMask & (kMaskMono | kMaskStereo | kMaskDualMono), kMaskMono);
    ASSERT_TRUE(applyChannelChoice(wavRow, 0, options));
    EXPECT_EQ(options.codingMask & (kMaskMono | kMaskStereo | kMaskDualMono),
              rowMask & (kMaskMono | kMaskStereo | kMaskDualMono));
}

} // namespace
} // namespace vaxel
