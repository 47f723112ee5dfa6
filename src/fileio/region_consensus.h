#pragma once
// After a reader has built its instruments: a Waveform whose regions all
// agree on a root key and a loop takes them as its own, so that the wave
// carries them also when it is saved on its own.
namespace vaxel {

class Collection;

// Compares, for every Waveform that Regions use, the root key each region
// plays it with (its override, or the wave's own when it has none) and the
// loop it plays (its loop section, or the wave's main loop). A wave whose
// regions agree takes the root key (with setRootKey) and the loop as its main
// loop (with setLoop, when the wave has a marker of that id). Without
// applyToWave nothing is changed: the agreement is left in each wave's
// scratch fields (scratchSeen for a used wave; scratchRoot -1 and
// scratchLoop -100 where the regions differ) for the caller to read.
// Returns the number of waves that changed.
int RegionConsensus(Collection& collection, bool setRootKey, bool setLoop, bool applyToWave);

} // namespace vaxel
