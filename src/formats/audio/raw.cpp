// The raw sample formats: files that are nothing but sample data, in the
// coding their extension names (signed or unsigned 8, 16 and 32-bit PCM,
// 32 and 64-bit float, G.711 A-law and mu-law, DVD LPCM, audio CD data, the
// Covox 8-bit dump). They carry no header, so no byte can confirm them: their
// detector finds every file plausible and the extension decides.
//
// The rows of the plain codings read and write through the generic decoder
// and encoder. A read gives one mono wave at 22050 Hz whose samples are the
// whole file from offset 0, little-endian unless the row says otherwise; the
// row's parameter holds the flags of the coding word (0x1000000 unsigned,
// 0x2000000 big-endian), for reading and writing alike. The DVD, CD and
// Covox rows are only recognised here.
#include "fileio/format_table.h"
#include "fileio/generic_import.h"
#include "fileio/sample_coding.h"
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"
#include "model/last_error.h"
#include "model/waveform.h"

namespace vaxel {
namespace {

constexpr uint32_t kFlagBits = kCodingSplitStereo | kCodingUnsigned | kCodingSwapped;

int ReadRaw(Collection& collection, FileObject& file, int dataCoding, uint32_t param) {
    return ReadRawWhole(collection, file, dataCoding, param & kFlagBits);
}

int ReadPcm8(Collection& c, FileObject& f, uint32_t param) {
    return ReadRaw(c, f, kPcm8, param);
}
int ReadPcm16(Collection& c, FileObject& f, uint32_t param) {
    return ReadRaw(c, f, kPcm16, param);
}
int ReadPcm32(Collection& c, FileObject& f, uint32_t param) {
    return ReadRaw(c, f, kPcm32, param);
}
int ReadFloat32(Collection& c, FileObject& f, uint32_t param) {
    return ReadRaw(c, f, kFloat32, param);
}
int ReadFloat64(Collection& c, FileObject& f, uint32_t param) {
    return ReadRaw(c, f, kFloat64, param);
}
int ReadALaw(Collection& c, FileObject& f, uint32_t param) {
    return ReadRaw(c, f, kALaw, param);
}
int ReadMuLaw(Collection& c, FileObject& f, uint32_t param) {
    return ReadRaw(c, f, kMuLaw, param);
}

// One writer for every raw row: the coding from the row's mask, the flags
// from its parameter.
int WriteRaw(CollectionItem& item, FileObject& file, const WriteOptions& options) {
    if (item.type() != ItemType::Waveform) {
        SetLastError("The file format can not save this item");
        return 0;
    }
    auto& wave = static_cast<Waveform&>(item);
    float rate = options.bitRate;
    const int coding = ChooseCoding(wave, options.codingMask, &rate);
    return GenericEncode(file, item, coding, ChannelsFor(wave, options.codingMask),
                         options.param & kFlagBits);
}

} // namespace

void InstallRawFormats() {
    using audio::BindDetector;
    using audio::BindRoutines;
    constexpr DetectFn any = &audio::DetectHeaderless;
    BindRoutines(u"alaw", u"G.711 A-law", {ReadALaw, WriteRaw, any, nullptr});
    BindRoutines(u"alw", u"G.711 A-law", {ReadALaw, WriteRaw, any, nullptr});
    BindDetector(u"cdr", u"Audio CD raw data", any);
    BindDetector(u"dvd-16-44", u"LPCM 16-bit 44kHz stereo", any);
    BindDetector(u"dvd-16-48", u"LPCM 16-bit 48kHz stereo", any);
    BindDetector(u"dvd-16-96", u"LPCM 16-bit 96kHz stereo", any);
    BindDetector(u"dvd-16-192", u"LPCM 16-bit 192kHz stereo", any);
    BindDetector(u"dvd-24-44", u"LPCM 24-bit 44kHz stereo", any);
    BindDetector(u"dvd-24-48", u"LPCM 24-bit 48kHz stereo", any);
    BindDetector(u"dvd-24-96", u"LPCM 24-bit 96kHz stereo", any);
    BindDetector(u"dvd-24-192", u"LPCM 24-bit 192kHz stereo", any);
    BindRoutines(u"f32", u"Floating point (32-bit)", {ReadFloat32, WriteRaw, any, nullptr});
    BindRoutines(u"f64", u"Floating point (64-bit)", {ReadFloat64, WriteRaw, any, nullptr});
    BindRoutines(u"raw", u"Signed 8-bit PCM", {ReadPcm8, nullptr, any, nullptr});
    BindRoutines(u"sam", u"Signed 8-bit PCM", {ReadPcm8, nullptr, any, nullptr});
    BindRoutines(u"sb", u"Signed bytes (8-bit)", {ReadPcm8, WriteRaw, any, nullptr});
    BindRoutines(u"sdw", u"Signed dwords (32-bit)", {ReadPcm32, nullptr, any, nullptr});
    BindRoutines(u"snd", u"Unsigned 8-bit PCM", {ReadPcm8, nullptr, any, nullptr});
    BindRoutines(u"sw", u"Signed words (16-bit) - Little Endian", {ReadPcm16, WriteRaw, any, nullptr});
    BindRoutines(u"sw", u"Signed words (16-bit) - Big Endian", {nullptr, WriteRaw, nullptr, nullptr});
    BindDetector(u"u255law", u"Exponential mu-law", any);
    BindRoutines(u"ub", u"Unsigned bytes (8-bit)", {ReadPcm8, WriteRaw, any, nullptr});
    BindRoutines(u"udw", u"Unsigned dwords (32-bit)", {ReadPcm32, nullptr, any, nullptr});
    BindRoutines(u"ulaw", u"G.711 mu-law", {ReadMuLaw, WriteRaw, any, nullptr});
    BindRoutines(u"ulw", u"G.711 mu-law", {ReadMuLaw, WriteRaw, any, nullptr});
    BindRoutines(u"uw", u"Unsigned words (16-bit) - Little Endian", {ReadPcm16, WriteRaw, any, nullptr});
    // "Bit Endian" is the row's own text.
    BindRoutines(u"uw", u"Unsigned words (16-bit) - Bit Endian", {nullptr, WriteRaw, nullptr, nullptr});
    BindDetector(u"v8", u"Covox 8-bit", any);
}

} // namespace vaxel
