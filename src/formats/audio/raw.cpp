// The raw sample formats: files that are nothing but sample data, in the
// coding their extension names (signed or unsigned 8, 16 and 32-bit PCM,
// 32 and 64-bit float, G.711 A-law and mu-law, DVD LPCM, audio CD data, the
// Covox 8-bit dump). They carry no header, so no byte can confirm them: their
// detector finds every file plausible and the extension decides.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {

void InstallRawFormats() {
    using audio::BindDetector;
    constexpr DetectFn any = &audio::DetectHeaderless;
    BindDetector(u"alaw", u"G.711 A-law", any);
    BindDetector(u"alw", u"G.711 A-law", any);
    BindDetector(u"cdr", u"Audio CD raw data", any);
    BindDetector(u"dvd-16-44", u"LPCM 16-bit 44kHz stereo", any);
    BindDetector(u"dvd-16-48", u"LPCM 16-bit 48kHz stereo", any);
    BindDetector(u"dvd-16-96", u"LPCM 16-bit 96kHz stereo", any);
    BindDetector(u"dvd-16-192", u"LPCM 16-bit 192kHz stereo", any);
    BindDetector(u"dvd-24-44", u"LPCM 24-bit 44kHz stereo", any);
    BindDetector(u"dvd-24-48", u"LPCM 24-bit 48kHz stereo", any);
    BindDetector(u"dvd-24-96", u"LPCM 24-bit 96kHz stereo", any);
    BindDetector(u"dvd-24-192", u"LPCM 24-bit 192kHz stereo", any);
    BindDetector(u"f32", u"Floating point (32-bit)", any);
    BindDetector(u"f64", u"Floating point (64-bit)", any);
    BindDetector(u"raw", u"Signed 8-bit PCM", any);
    BindDetector(u"sam", u"Signed 8-bit PCM", any);
    BindDetector(u"sb", u"Signed bytes (8-bit)", any);
    BindDetector(u"sdw", u"Signed dwords (32-bit)", any);
    BindDetector(u"snd", u"Unsigned 8-bit PCM", any);
    BindDetector(u"sw", u"Signed words (16-bit) - Little Endian", any);
    BindDetector(u"u255law", u"Exponential mu-law", any);
    BindDetector(u"ub", u"Unsigned bytes (8-bit)", any);
    BindDetector(u"udw", u"Unsigned dwords (32-bit)", any);
    BindDetector(u"ulaw", u"G.711 mu-law", any);
    BindDetector(u"ulw", u"G.711 mu-law", any);
    BindDetector(u"uw", u"Unsigned words (16-bit) - Little Endian", any);
    BindDetector(u"v8", u"Covox 8-bit", any);
}

} // namespace vaxel
