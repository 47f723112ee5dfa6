#include "formats/instruments/instruments_formats.h"

namespace vaxel {

void InstallInstrumentsFormats() {
    InstallAdLibFormats();
    InstallAkaiFormats();
    InstallAkaiMpcFormats();
    InstallDecentSamplerFormats();
    InstallDlsFormats();
    InstallEmuFormats();
    InstallExsFormats();
    InstallGravisFormats();
    InstallKontaktFormats();
    InstallKorgFormats();
    InstallKurzweilFormats();
    InstallRenoiseFormats();
    InstallSfzFormats();
    InstallSoundFontFormats();
    InstallSynthSysExFormats();
    InstallTrackerInstrumentFormats();
    InstallTx16wxFormats();
    InstallVabFormats();
    InstallYamahaFormats();
}

} // namespace vaxel
