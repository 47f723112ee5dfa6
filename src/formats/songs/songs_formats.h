#pragma once
// The songs format families (songs, sequences, tracker modules and the ZIP
// container): each family file binds its routines to its rows.

namespace vaxel {

void InstallSongsFormats();

// One per family file, called by InstallSongsFormats. They live in their own
// namespace: the other groups have families of the same names (Unreal
// packages, PlayStation, AdLib) with install functions of their own.
namespace songs {

void InstallMidiFormats();          // smf.cpp: mid, rmi
void InstallXmidiFormats();         // xmidi.cpp: xmi
void InstallZipFormats();           // zip.cpp: zip
void InstallModFormats();           // mod.cpp: mod
void InstallFastTrackerFormats();   // fasttracker.cpp: xm
void InstallImpulseFormats();       // impulse.cpp: it
void InstallScreamTrackerFormats(); // screamtracker.cpp: s3m, stm
void InstallComposer669Formats();   // composer669.cpp: 669
void InstallAmsFormats();           // ams.cpp: ams (two rows)
void InstallXTrackerFormats();      // xtracker.cpp: dmf
void InstallDsikFormats();          // dsik.cpp: dsm
void InstallDigiTrekkerFormats();   // digitrekker.cpp: dtm
void InstallDcmFormats();           // dcm.cpp: dcm
void InstallFarandoleFormats();     // farandole.cpp: far, f2r, f3r
void InstallFunkTrackerFormats();   // funktracker.cpp: fnk
void InstallGdmFormats();           // gdm.cpp: gdm
void InstallDigitrakkerFormats();   // digitrakker.cpp: mdl
void InstallOctaMedFormats();       // octamed.cpp: med
void InstallMadTrackerFormats();    // madtracker.cpp: mt2
void InstallMultiTrackerFormats();  // multitracker.cpp: mtm
void InstallOktalyzerFormats();     // oktalyzer.cpp: okt
void InstallDisorderTrackerFormats(); // disordertracker.cpp: plm
void InstallPsmFormats();           // psm.cpp: psm
void InstallPolyTrackerFormats();   // polytracker.cpp: ptm
void InstallUltraTrackerFormats();  // ultratracker.cpp: ult
void InstallUniModFormats();        // unimod.cpp: uni
void InstallUnrealFormats();        // unreal.cpp: umx
void InstallCreativeMusicFormats(); // creative_music.cpp: cmf
void InstallAdLibRolFormats();      // adlib_rol.cpp: rol
void InstallIdMusicFormats();       // id_music.cpp: imf, wlf
void InstallDosBoxDroFormats();     // dosbox_dro.cpp: dro
void InstallRdosRawFormats();       // rdos_raw.cpp: raw (OPL capture)
void InstallDoomMusFormats();       // doom_mus.cpp: mus (Doom/Heretic)
void InstallSmafFormats();          // smaf.cpp: mmf
void InstallMfiFormats();           // mfi.cpp: mld
void InstallPlayStationSeqFormats(); // playstation_seq.cpp: seq
void InstallSceiFormats();          // scei.cpp: sq, hd
void InstallCakewalkFormats();      // cakewalk.cpp: wrk
void InstallKonamiKdtFormats();     // konami_kdt.cpp: kdt
void InstallMelodyTextFormats();    // melody_text.cpp: emy, imy
void InstallNokringFormats();       // nokring.cpp: txt (Nokring ring-tone)

} // namespace songs
} // namespace vaxel
