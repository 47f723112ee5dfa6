#include "formats/families.h"

#include "formats/audio/audio_formats.h"
#include "formats/instruments/instruments_formats.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {

void InstallFormatFamilies() {
    InstallAudioFormats();
    InstallInstrumentsFormats();
    InstallSongsFormats();
}

} // namespace vaxel
