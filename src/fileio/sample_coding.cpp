#include "fileio/sample_coding.h"

#include "fileio/format_table.h"
#include "model/waveform.h"

namespace vaxel {

int ChannelsFor(int channels, uint32_t mask) {
    if (mask & kMaskDualMono) mask |= kMaskStereo;
    if (channels == 1) return (mask & kMaskMono) ? 1 : 2;
    return (mask & kMaskStereo) ? 2 : 1;
}

int ChannelsFor(const Waveform& wave, uint32_t mask) { return ChannelsFor(wave.channels, mask); }

} // namespace vaxel
