// Yamaha workstation and sampler files: detection of the YSFC files of the
// Motif XS, Motif XF, MOXF, Montage, MODX and Montage M (all, voices,
// waves, library and user files), and of TX16W waves.
//  - YSFC: the text "YAMAHA-YSFC" padded with NULs to 16 bytes, a version
//    text at 16, then a big-endian catalogue size at 32 and the catalogue of
//    four-letter block tags. The head does not name the machine or the kind
//    of file, so every row takes it with 4 and the extension picks the row.
//  - TX16W wave: the text "LM8953" at 0, the loop mode at 22 and the
//    sample rate code at 23.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

int DetectYsfc(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    instruments::Bytes b = instruments::View(buffer, bytes);
    return b.equals(0, "YAMAHA-YSFC") && b.u8(11) == 0 ? 4 : 0;
}

int DetectTx16wWave(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return instruments::View(buffer, bytes).equals(0, "LM8953") ? 6 : 0;
}

} // namespace

void InstallYamahaFormats() {
    using instruments::BindDetector;
    BindDetector(u"w01", u"Yamaha TX16W wave", &DetectTx16wWave);
    static const char16_t* const kYsfcRows[][2] = {
        {u"X0A", u"Yamaha Motif XS all"},      {u"X0V", u"Yamaha Motif XS voices"},
        {u"X0W", u"Yamaha Motif XS waves"},    {u"X3A", u"Yamaha Motif XF all"},
        {u"X3V", u"Yamaha Motif XF voices"},   {u"X3W", u"Yamaha Motif XF waves"},
        {u"X6A", u"Yamaha MOXF all"},          {u"X6V", u"Yamaha MOXF voices"},
        {u"X6W", u"Yamaha MOXF waves"},        {u"X7A", u"Yamaha Montage all"},
        {u"X7L", u"Yamaha Montage library"},   {u"X7U", u"Yamaha Montage user"},
        {u"X8A", u"Yamaha MODX all"},          {u"X8L", u"Yamaha MODX library"},
        {u"X8U", u"Yamaha MODX user"},         {u"Y2A", u"Yamaha Montage M all"},
        {u"Y2L", u"Yamaha Montage M library"}, {u"Y2U", u"Yamaha Montage M user"},
    };
    for (const auto& row : kYsfcRows) BindDetector(row[0], row[1], &DetectYsfc);
}

} // namespace vaxel
