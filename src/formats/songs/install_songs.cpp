// Binds the song, module and container families to their rows.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fileio/format_table.h"
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {

namespace songs {

void BindDetector(const char16_t* extension, const char16_t* description, DetectFn fn) {
    FormatRoutines routines;
    routines.detect = fn;
    if (bindFormat(extension, description, routines)) return;
    std::string ext, desc;
    for (const char16_t* p = extension; *p; ++p) ext += char(*p < 128 ? *p : '?');
    for (const char16_t* p = description; *p; ++p) desc += char(*p < 128 ? *p : '?');
    std::fprintf(stderr, "songs formats: the detector bind of row '%s' \"%s\" was refused\n", ext.c_str(),
                 desc.c_str());
    std::abort();
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
