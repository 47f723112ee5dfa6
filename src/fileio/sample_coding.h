#pragma once
// Sample codings: how samples lie in a file, and what a save will write.
#include <cstdint>

namespace vaxel {

class Waveform;

// The channels a save writes for a wave under a coding mask: a mono wave
// stays mono if the format holds mono, else goes to stereo; a stereo wave
// stays stereo if the format holds stereo, else goes to mono. A format that
// keeps stereo as two mono waves (bit 22) counts as holding stereo.
int ChannelsFor(const Waveform& wave, uint32_t mask);
int ChannelsFor(int channels, uint32_t mask);

} // namespace vaxel
