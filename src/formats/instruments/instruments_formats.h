#pragma once
// The instruments format families: each family file binds its routines to its rows.

namespace vaxel {

void InstallInstrumentsFormats();

// One per family file; InstallInstrumentsFormats calls them all.
void InstallAdLibFormats();
void InstallAkaiFormats();
void InstallAkaiMpcFormats();
void InstallDecentSamplerFormats();
void InstallDlsFormats();
void InstallEmuFormats();
void InstallExsFormats();
void InstallGravisFormats();
void InstallKontaktFormats();
void InstallKorgFormats();
void InstallKurzweilFormats();
void InstallRenoiseFormats();
void InstallSfzFormats();
void InstallSoundFontFormats();
void InstallSynthSysExFormats();
void InstallTrackerInstrumentFormats();
void InstallTx16wxFormats();
void InstallVabFormats();
void InstallYamahaFormats();

} // namespace vaxel
