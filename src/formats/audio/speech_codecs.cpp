// Headerless ADPCM and speech codec streams: ITU G.721/G.723/G.726 at 2 to 5
// bits a sample, Rockwell modem ADPCM, Dialogic (OKI) VOX, the OKI MSM6376
// stream, Yamaha 4-bit ADPCM, and GSM 06.10 in its raw and US Robotics forms.
//
// None of these has a header; the extension decides. The one exception is
// plain GSM 06.10: every 33-byte frame starts with the signature nibble 0xD
// (the four bits in front of the 260-bit frame, as libgsm packs it), so a file
// whose size is a whole number of frames and whose frames all show the nibble
// is taken with more confidence than its headerless siblings.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

constexpr size_t kGsmFrameBytes = 33;

int DetectRawGsm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    probe::Bytes b{buffer, bytes};
    if (fileSize < kGsmFrameBytes || fileSize % kGsmFrameBytes != 0) return audio::kPlausible;
    for (size_t at = 0; b.has(at, 1); at += kGsmFrameBytes)
        if ((b.u8(at) & 0xF0) != 0xD0) return audio::kPlausible;
    return audio::kWeakMagic;
}

} // namespace

void InstallSpeechCodecFormats() {
    using audio::BindDetector;
    constexpr DetectFn any = &audio::DetectHeaderless;
    BindDetector(u"g721", u"G.721 ADPCM", any);
    BindDetector(u"g721-4", u"G.721 4-bit ADPCM", any);
    BindDetector(u"g722", u"G.726 ADPCM", any);
    BindDetector(u"g722-6", u"G.726 48 kbit/s ADPCM", any);
    BindDetector(u"g722-7", u"G.726 56 kbit/s ADPCM", any);
    BindDetector(u"g722-8", u"G.726 64 kbit/ ADPCM", any);
    BindDetector(u"g723", u"G.723 ADPCM", any);
    BindDetector(u"g723-3", u"G.723 3-bit ADPCM", any);
    BindDetector(u"g723-5", u"G.723 5-bit ADPCM", any);
    BindDetector(u"g726", u"G.726 ADPCM", any);
    BindDetector(u"g726-2", u"G.726 2-bit ADPCM", any);
    BindDetector(u"g726-3", u"G.726 3-bit ADPCM", any);
    BindDetector(u"g726-4", u"G.726 4-bit ADPCM", any);
    BindDetector(u"g726-5", u"G.726 5-bit ADPCM", any);
    BindDetector(u"rockwell", u"Rockwell ADPCM", any);
    BindDetector(u"rockwell-2", u"Rockwell 2-bit ADPCM", any);
    BindDetector(u"rockwell-3", u"Rockwell 3-bit ADPCM", any);
    BindDetector(u"rockwell-4", u"Rockwell 4-bit ADPCM", any);
    BindDetector(u"vox", u"Dialogic 4-bit ADPCM", any);
    BindDetector(u"vox-6k", u"Dialogic 4-bit ADPCM (6000 Hz)", any);
    BindDetector(u"vox-8k", u"Dialogic 4-bit ADPCM (8000 Hz)", any);
    BindDetector(u"yadpcm", u"Raw Yamaha 4-bit ADPCM", any);
    BindDetector(u"pcm", u"OKI MSM6376 PCM", any);
    BindDetector(u"gsm", u"Raw GSM 06.10", &DetectRawGsm);
    BindDetector(u"gsm", u"Raw GSM 06.10 'byte aligned'", any);
    BindDetector(u"gsm", u"USR GSM without header", any);
    BindDetector(u"gsm", u"USR GSM with header", any);
}

} // namespace vaxel
