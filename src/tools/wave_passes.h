#pragma once
// Passes over all the waves of a collection: stereo waves split into dual
// mono pairs and back, duplicates folded into one, unused waves dropped. The
// menu commands run them under an undo step; the open, merge and save flows
// run them through their hooks (InstallWavePasses) with no step of their own.
//
// Every pass returns how many waves it changed (split, made, removed), or -1
// when it could not go on (LastError says why; what was done stays done).
#include <cstdint>

namespace vaxel {

class Collection;
class CollectionItem;

// ---------------------------------------------------------------- commands
// Each takes one step in the installed UndoStore first (none when no store is
// installed) and drops it again when the pass changed nothing.

// "Interleaved stereo -> Dual mono": every stereo wave of the collection.
int stereoToDualMono(Collection& collection);
// "Dual mono -> Interleaved stereo".
int dualMonoToStereo(Collection& collection);
// "Delete unused waveforms".
int deleteUnusedWaveforms(Collection& collection);
// "Delete duplicate waveforms".
int deleteDuplicateWaveforms(Collection& collection);

// ---------------------------------------------------------------- passes

// Splits each stereo wave with ToMono mode 3 into "<name> -L" (the wave
// itself, now the left channel) and a new wave "<name> -R". A layer with
// regions on such waves gets a twin layer just behind it, holding copies of
// those regions on the right halves: the originals are panned full left, the
// copies full right, and each pair shares a phase group with the left one as
// its master. scope limits the waves to those an Instrument uses (null or a
// Collection: all); regions anywhere that use a split wave follow it.
int SplitStereoWaves(Collection& collection, CollectionItem* scope = nullptr);

// Joins pairs of mono waves into stereo waves (ToStereo mode 3, the left wave
// first). A pair is two mono waves of equal rate and length that either
//  - two regions of one instrument play over the same keys and velocities,
//    the first panned left of the second (pan below 0 and above 0), or
//  - have names that differ only in a left/right mark at the end: " -L"/" -R",
//    "-L"/"-R", "_L"/"_R", " L"/" R", "(L)"/"(R)", "Left"/"Right", with case
//    ignored; the stereo wave takes the name without the mark.
// Such region pairs become one region: the phase master of the two (else the
// first) stays, plays the stereo wave and gets the mean of the two pans. A
// pair whose waves are also used alone by other regions keeps its mono waves
// and gets a new stereo wave; a pair found by name alone is joined only when
// nothing uses either wave on its own. Layers left without regions go.
int MergeDualMonoWaves(Collection& collection);

// Keeps the first of each set of equal waves and points every region and
// synthesis model of the others at it. Waves are equal when their names
// match (case ignored, and a number that unique naming added at the end
// ignored too: "Piano" and "Piano 1") and their channels, rate, length, root
// key, fine tune, main loop and every sample are the same.
int RemoveDuplicateWaves(Collection& collection);

// Deletes the waves that no region or synthesis model refers to.
int RemoveUnusedWaves(Collection& collection);

// The stereo step of the "On Load" options (Collection::update, step 5):
// load.bAutoSplitStereo splits, or else load.bAutoMergeStereo merges when the
// collection's source format can not hold stereo waves itself.
void RunStereoLoadOptions(Collection& collection);

// Installs the passes where the flows look for them: the On Load step of
// Collection::update and the FlowHooks splitStereoToDualMono and
// removeDuplicateWaves. Idempotent; InstallTools calls it.
void InstallWavePasses();

} // namespace vaxel
