#pragma once
// Reading samples from their source: the deferred read of one wave, the
// read of everything behind an item before a save or a play, and the one
// background loader of the process.
#include <cstddef>

namespace vaxel {

class Collection;
class CollectionItem;
class Waveform;

// Installs readSamples as the model's deferred read. Idempotent; the format
// families' start-up calls it.
void InstallWaveLoader();

// The deferred read of one wave. Fails with "No wave data import procedure"
// without a routine, "Could not open file" when the source can't be opened.
bool readSamples(Waveform& wave, bool silent);
// Reads every wave behind an item (a wave, a region's wave, ... a whole
// collection), stopping the background loader first. Null succeeds.
bool ensureSamples(CollectionItem* item);

// The one background loader of the process: decodes queued waves while the
// user interface thread does other things.
namespace BackgroundLoader {
// Queues the waves of the collection that are described but not present and
// have at most 25000000 frames, and starts the thread.
void QueueCollection(Collection& collection);
// Raises the abort flag and waits for the thread to end.
void Stop();
bool IsRunning();
size_t QueuedCount();
} // namespace BackgroundLoader

} // namespace vaxel
