// Reading samples from their source: the deferred read of one wave, the
// read of everything behind an item, and the one background loader of the
// process.
//
// The loader never touches the collection's map: waves are queued by id
// together with their address, taken on the thread that queues them. A wave
// leaves the queue in its destructor (SetWaveDestroyHook), and a wave being
// read at that moment is waited for, so the loader never sees a dead wave.
// Everything that reads samples on another thread first pauses the loader,
// so one wave is never decoded by two threads at once.
#include "fileio/wave_loader.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

#include "fileio/file_object.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/status_line.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel {

namespace {

// Waves longer than this are read only when first needed.
constexpr uint32_t kMaxBackgroundFrames = 25000000;
// Waves longer than this report progress while they are read.
constexpr uint32_t kProgressFrames = 250000;
// The loader gives up when it can't get at its queue for this long.
constexpr auto kQueueWait = std::chrono::milliseconds(2500);

struct QueueEntry {
    ItemId id;
    Waveform* wave;
};

struct Loader {
    // Guards queue and current.
    std::mutex queueMutex;
    std::vector<QueueEntry> queue;
    Waveform* current = nullptr; // the wave the thread is reading
    std::atomic<size_t> queued{0};

    // Guards the thread handle, pauses and wantResume: starting, stopping
    // and pausing may come from several threads (batch conversion).
    std::mutex control;
    std::thread thread;
    std::atomic<std::thread::id> threadId{};
    std::atomic<bool> running{false};
    std::atomic<bool> abort{false};
    int pauses = 0;
    bool wantResume = false;

    ~Loader() {
        std::lock_guard lock(control);
        stopLocked();
    }

    bool onLoaderThread() const { return threadId.load() == std::this_thread::get_id(); }

    void stopLocked() {
        if (!thread.joinable()) return;
        if (thread.get_id() == std::this_thread::get_id()) {
            abort = true; // asked from inside: the thread ends at its next wave
            return;
        }
        abort = true;
        thread.join();
        abort = false;
        threadId = std::thread::id();
    }

    void startLocked();

    // Stops the thread and keeps it from starting until resume(); returns
    // whether it was running.
    bool pause() {
        std::lock_guard lock(control);
        ++pauses;
        const bool was = running.load();
        stopLocked();
        return was;
    }

    void resume(bool restart) {
        std::lock_guard lock(control);
        if (pauses > 0) --pauses;
        if (restart) wantResume = true;
        if (pauses == 0 && wantResume) {
            wantResume = false;
            if (queued.load() > 0) startLocked();
        }
    }

    void eraseLocked(size_t index) {
        queue[index] = queue.back(); // the last entry fills the gap
        queue.pop_back();
        queued = queue.size();
    }
};

Loader& TheLoader() {
    static Loader loader;
    return loader;
}

void SetDenormalsToZero() {
#if defined(__SSE__)
    // MXCSR bit 15 flushes results to zero, bit 6 treats denormal inputs as zero.
    _mm_setcsr(_mm_getcsr() | 0x8040);
#endif
}

// A lock whose wait is limited. Polled, because the timed lock of the C++
// library goes by a system call that thread checkers don't follow.
bool LockWithin(std::mutex& mutex, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!mutex.try_lock()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

void RunLoader() {
    Loader& l = TheLoader();
    l.threadId = std::this_thread::get_id();
    SetDenormalsToZero();
    while (!l.abort.load()) {
        Waveform* wave = nullptr;
        if (!LockWithin(l.queueMutex, kQueueWait)) break;
        if (!l.queue.empty()) {
            wave = l.queue.back().wave;
            l.queue.pop_back();
            l.queued = l.queue.size();
            l.current = wave;
        }
        l.queueMutex.unlock();
        if (!wave) break;
        // A failure leaves the wave described; it is read again, with its
        // message, when it is needed.
        if (!wave->hasSamples() && wave->decodeRoutine) readSamples(*wave, true);
        std::lock_guard lock(l.queueMutex);
        l.current = nullptr;
    }
    l.running = false;
}

void Loader::startLocked() {
    if (running.load()) return;
    if (thread.joinable()) thread.join(); // a thread that ended by itself
    abort = false;
    running = true;
    thread = std::thread(RunLoader);
    threadId = thread.get_id();
}

// ---------------------------------------------------------------- waves behind an item

struct WaveList {
    std::vector<Waveform*> waves;
    std::unordered_set<const Waveform*> seen;

    void add(CollectionItem* item) {
        auto* wave = static_cast<Waveform*>(item);
        if (!wave || wave->hasSamples() || !wave->decodeRoutine) return;
        if (seen.insert(wave).second) waves.push_back(wave);
    }
};

// Follows child lists only as the child type, so a damaged list can't lead
// to an item of another class.
void CollectWaves(CollectionItem& item, WaveList& out) {
    Collection& c = item.collection();
    switch (item.type()) {
    case ItemType::Waveform:
        out.add(&item);
        break;
    case ItemType::SynthesisModel:
        for (ItemId id : item.ids)
            if (TypeOf(id) == ItemType::Waveform) out.add(c.find(id));
        break;
    case ItemType::Region:
        for (ItemId id : item.ids) {
            if (TypeOf(id) == ItemType::Waveform) {
                out.add(c.find(id));
            } else if (TypeOf(id) == ItemType::SynthesisModel) {
                if (CollectionItem* model = c.find(id)) CollectWaves(*model, out);
            }
        }
        break;
    case ItemType::Layer:
        for (ItemId id : item.ids)
            if (CollectionItem* region = c.find(ItemType::Region, id)) CollectWaves(*region, out);
        break;
    case ItemType::Instrument:
        for (ItemId id : item.ids)
            if (CollectionItem* layer = c.find(ItemType::Layer, id)) CollectWaves(*layer, out);
        break;
    case ItemType::Collection:
        for (Waveform* wave : ItemsOf<Waveform>(c)) out.add(wave);
        break;
    default:
        break; // songs are rendered, not read
    }
}

bool EnsureSamples(CollectionItem* item, bool silent) {
    if (!item) return true;
    Loader& l = TheLoader();
    if (l.onLoaderThread()) {
        // Only a decode routine running on the loader could ask; it must not
        // wait for itself.
        WaveList list;
        CollectWaves(*item, list);
        for (Waveform* wave : list.waves)
            if (!readSamples(*wave, true)) return false;
        return true;
    }

    const bool showWait = !silent && l.running.load();
    if (showWait) Status().status(u"Reading waveform", kStatusProgress);
    const bool wasRunning = l.pause();
    if (showWait) Status().status(u"", kStatusClearProgress);

    WaveList list;
    CollectWaves(*item, list);
    bool ok = true;
    for (Waveform* wave : list.waves) {
        if (!readSamples(*wave, silent)) {
            ok = false;
            break;
        }
    }

    if (wasRunning && ok) {
        std::lock_guard lock(l.queueMutex);
        for (Waveform* wave : list.waves) {
            for (size_t i = 0; i < l.queue.size(); ++i) {
                if (l.queue[i].wave == wave) {
                    l.eraseLocked(i);
                    break;
                }
            }
        }
    }
    l.resume(wasRunning && ok);
    return ok;
}

// The model's deferred read (lockSamples): the same as ensureSamples for one
// wave, so a wave the loader is busy with is never read twice at once.
bool DeferredReadForLock(Waveform& wave, bool silent) {
    if (TheLoader().onLoaderThread()) return readSamples(wave, silent);
    return EnsureSamples(&wave, silent);
}

void OnWaveDestroyed(Waveform& wave) {
    Loader& l = TheLoader();
    if (!l.running.load() && l.queued.load() == 0) return;
    bool reading = false;
    {
        std::lock_guard lock(l.queueMutex);
        for (size_t i = l.queue.size(); i-- > 0;)
            if (l.queue[i].wave == &wave) l.eraseLocked(i);
        reading = l.current == &wave;
    }
    if (reading && !l.onLoaderThread()) {
        // Wait for the read to end, then let the loader go on.
        const bool was = l.pause();
        l.resume(was);
    }
}

void OnCollectionClear(Collection& collection) {
    Loader& l = TheLoader();
    if (!l.running.load() && l.queued.load() == 0) return;
    const bool was = l.pause();
    {
        std::lock_guard lock(l.queueMutex);
        std::erase_if(l.queue, [&](const QueueEntry& e) { return &e.wave->collection() == &collection; });
        l.queued = l.queue.size();
    }
    l.resume(was);
}

} // namespace

void InstallWaveLoader() {
    SetDeferredRead(&DeferredReadForLock);
    SetWaveDestroyHook(&OnWaveDestroyed);
    Collection::hooks().beforeClear = &OnCollectionClear;
}

bool readSamples(Waveform& wave, bool silent) {
    if (wave.hasSamples()) return true;
    if (!wave.decodeRoutine) {
        SetLastError("No wave data import procedure");
        return false;
    }
    bool showProgress = false;
    if (!silent) {
        Status().status(std::u16string(u"Reading: ") + wave.name(), kStatusProgress);
        showProgress = wave.frames > kProgressFrames;
    }

    // A path in angle brackets names a source that is no file (a disc, a
    // device, a buffer); its routine knows where the data is and gets a
    // closed file.
    const std::u16string path = wave.sourceFile();
    FileObject file;
    bool ok = true;
    if (path.empty() || path[0] != u'<') {
        if (!file.Open(std::filesystem::path(WideToUtf8(path)), FileObject::kRead)) {
            SetLastError("Could not open file");
            ok = false;
        } else {
            file.Seek(wave.sourceOffset);
        }
    }
    // Like every read routine, only the low 8 bits of the result count.
    if (ok) ok = (wave.decodeRoutine(wave, file, showProgress) & 0xFF) != 0;

    if (!silent) Status().status(u"", kStatusClearProgress);
    file.Close();
    return ok;
}

bool ensureSamples(CollectionItem* item) {
    return EnsureSamples(item, false);
}

namespace BackgroundLoader {

void QueueCollection(Collection& collection) {
    Loader& l = TheLoader();
    const bool was = l.pause(); // nothing reads while the waves are looked at
    (void)was;
    std::vector<Waveform*> candidates;
    for (Waveform* wave : ItemsOf<Waveform>(collection))
        if (!wave->hasSamples() && wave->decodeRoutine && wave->frames <= kMaxBackgroundFrames)
            candidates.push_back(wave);
    {
        std::lock_guard lock(l.queueMutex);
        std::unordered_set<const Waveform*> queued;
        for (const QueueEntry& e : l.queue) queued.insert(e.wave);
        // Reverse order: the thread takes from the back, so the waves come
        // in the order of the collection.
        for (size_t i = candidates.size(); i-- > 0;)
            if (queued.insert(candidates[i]).second) l.queue.push_back({candidates[i]->id, candidates[i]});
        l.queued = l.queue.size();
    }
    l.resume(true);
}

void Stop() {
    Loader& l = TheLoader();
    std::lock_guard lock(l.control);
    l.wantResume = false;
    l.stopLocked();
}

bool IsRunning() {
    return TheLoader().running.load();
}

size_t QueuedCount() {
    return TheLoader().queued.load();
}

} // namespace BackgroundLoader

} // namespace vaxel
