// Binds the song, module and container families to their rows.

#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {

namespace songs {

void BindDetector(const char16_t* extension, const char16_t* description, DetectFn fn) {
    BindDetectorOrDie("song", extension, description, fn);
}

} // namespace songs

void InstallSongsFormats() {
    using namespace songs;
    InstallMidiFormats();
    InstallXmidiFormats();
    InstallZipFormats();
    InstallModFormats();
    InstallFastTrackerFormats();
    InstallImpulseFormats();
    InstallScreamTrackerFormats();
    InstallComposer669Formats();
    InstallAmsFormats();
    InstallXTrackerFormats();
    InstallDsikFormats();
    InstallDigiTrekkerFormats();
    InstallDcmFormats();
    InstallFarandoleFormats();
    InstallFunkTrackerFormats();
    InstallGdmFormats();
    InstallDigitrakkerFormats();
    InstallOctaMedFormats();
    InstallMadTrackerFormats();
    InstallMultiTrackerFormats();
    InstallOktalyzerFormats();
    InstallDisorderTrackerFormats();
    InstallPsmFormats();
    InstallPolyTrackerFormats();
    InstallUltraTrackerFormats();
    InstallUniModFormats();
    InstallUnrealFormats();
    InstallCreativeMusicFormats();
    InstallAdLibRolFormats();
    InstallIdMusicFormats();
    InstallDosBoxDroFormats();
    InstallRdosRawFormats();
    InstallDoomMusFormats();
    InstallSmafFormats();
    InstallMfiFormats();
    InstallPlayStationSeqFormats();
    InstallSceiFormats();
    InstallCakewalkFormats();
    InstallKonamiKdtFormats();
    InstallMelodyTextFormats();
    InstallNokringFormats();
}

} // namespace vaxel
