#pragma once
// The audio (wave) format families: each family file binds its routines to
// its rows of the format table.
#include <span>

namespace vaxel {

void InstallAudioFormats();

// The rows the audio families bound, in binding order (for the tests).
std::span<const int> AudioDetectorRows();

// One per family file, called by InstallAudioFormats.
void InstallRawFormats();         // raw.cpp: f32, f64, raw, sam, sb, sw, ub, uw, ..., G.711, dvd-*, cdr, v8
void InstallSpeechCodecFormats(); // speech_codecs.cpp: g72x, rockwell, vox, gsm, yadpcm, OKI pcm
void InstallWavFormats();         // wav.cpp: wav, bwf, rif, w64
void InstallAiffFormats();        // aiff.cpp: aif, aiff, afc, aifc, c01, iff, svx, maud
void InstallMpegFormats();        // mpeg.cpp: mp1, mp2, mp3, mpa, mpg, mpeg, mus
void InstallAacFormats();         // aac.cpp: aac
void InstallFlacFormats();        // flac.cpp: flac
void InstallOggFormats();         // ogg.cpp: ogg, opus
void InstallWavPackFormats();     // wavpack.cpp: wv
void InstallApeFormats();         // ape.cpp: ape
void InstallShortenFormats();     // shorten.cpp: shn
void InstallIsoMediaFormats();    // iso_media.cpp: 3g2, 3gp, m4a, m4r, mov, mp4
void InstallAsfFormats();         // asf.cpp: asf, wma, wmv
void InstallAmrFormats();         // amr.cpp: amr, cod
void InstallCafFormats();         // caf.cpp: caf, caff
void InstallMatroskaFormats();    // matroska.cpp: mka, mkv
void InstallAviFormats();         // avi.cpp: avi
void InstallCdaFormats();         // cda.cpp: cda
void InstallAuFormats();          // au.cpp: au
void InstallVocFormats();         // voc.cpp: voc
void InstallAvrFormats();         // avr.cpp: avr
void InstallNistFormats();        // nist.cpp: nist
void InstallIrcamFormats();       // ircam.cpp: sf
void InstallSoundDesigner2Formats(); // sound_designer2.cpp: sd2 (data, flat)
void InstallPafFormats();            // paf.cpp: paf
void InstallMidiSdsFormats();        // midi_sds.cpp: sds
void InstallHcomFormats();           // hcom.cpp: hcom
void InstallDiamondWareFormats();    // diamondware.cpp: dwd
void InstallSoundToolFormats();      // sound_tool.cpp: sndt, sndr
void InstallTextAudioFormats();      // text_audio.cpp: txt
void InstallPlayStationFormats();    // playstation.cpp: vag, ads, ss2
void InstallPsionFormats();          // psion.cpp: psion
void InstallSampleVisionFormats();   // samplevision.cpp: smp
void InstallMatlabFormats();         // matlab.cpp: mat
void InstallEspsFormats();           // esps.cpp: esps
void InstallInrsFormats();           // inrs.cpp: inrs
void InstallUnrealFormats();         // unreal.cpp: uax, uasset

} // namespace vaxel
