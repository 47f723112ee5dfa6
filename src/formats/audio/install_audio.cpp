#include "formats/audio/audio_formats.h"

namespace vaxel {

void InstallAudioFormats() {
    InstallRawFormats();
    InstallSpeechCodecFormats();
    InstallWavFormats();
    InstallAiffFormats();
    InstallMpegFormats();
    InstallAacFormats();
    InstallFlacFormats();
    InstallOggFormats();
    InstallWavPackFormats();
    InstallApeFormats();
    InstallShortenFormats();
    InstallIsoMediaFormats();
    InstallAsfFormats();
    InstallAmrFormats();
    InstallCafFormats();
    InstallMatroskaFormats();
    InstallAviFormats();
    InstallCdaFormats();
    InstallAuFormats();
    InstallVocFormats();
    InstallAvrFormats();
    InstallNistFormats();
    InstallIrcamFormats();
    InstallSoundDesigner2Formats();
    InstallPafFormats();
    InstallMidiSdsFormats();
    InstallHcomFormats();
    InstallDiamondWareFormats();
    InstallSoundToolFormats();
    InstallTextAudioFormats();
    InstallPlayStationFormats();
    InstallPsionFormats();
    InstallSampleVisionFormats();
    InstallMatlabFormats();
    InstallEspsFormats();
    InstallInrsFormats();
    InstallUnrealFormats();
}

} // namespace vaxel
