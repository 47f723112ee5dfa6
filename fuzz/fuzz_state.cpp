// State files come from disk: "Last session" may be days old, and anything
// may have been put under its name. Reading one must refuse what is damaged
// without touching the collection, and whatever it accepts must write back
// and restore in place over itself and over a collection of other items.
//
// The version hash at offset 4 is replaced by this build's, so the seeds (the
// states of small collections) stay useful when the hash changes and the
// mutations reach the images behind the head.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fileio/undo_store.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/song.h"
#include "model/waveform.h"

namespace {

// A few items whose ids the state may or may not share.
void Populate(vaxel::Collection& c) {
    using namespace vaxel;
    auto* wave = new Waveform(c, 1, u"w");
    wave->frames = 4;
    if (float* data = wave->allocateSamples()) std::memset(data, 0, 4 * sizeof(float));
    auto* inst = new Instrument(c, 1, u"i");
    addRegion(*inst, wave->id, 0xFFFF, 0xFFFF, -1);
    auto* song = new Song(c, 1, u"s");
    auto* track = new Track(c, 1, u"t");
    song->addChild(*track);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace vaxel;
    std::vector<uint8_t> bytes(data, data + size);
    if (bytes.size() >= 8 && std::memcmp(bytes.data(), "VxSt", 4) == 0) {
        const uint32_t hash = StateVersionHash();
        std::memcpy(&bytes[4], &hash, 4);
    }

    Collection loaded;
    Populate(loaded);
    std::vector<uint8_t> before;
    if (!WriteStateImage(loaded, before)) std::abort();
    if (!ReadStateImage(loaded, bytes.data(), bytes.size())) {
        // Refused: the collection must be as it was.
        std::vector<uint8_t> after;
        if (!WriteStateImage(loaded, after) || after != before) std::abort();
        return 0;
    }

    // Accepted: it writes back whole, reads back from that, and restores in
    // place over itself and over other items.
    std::vector<uint8_t> again;
    if (!WriteStateImage(loaded, again)) std::abort();
    Collection copy;
    if (!ReadStateImage(copy, again.data(), again.size())) std::abort();
    if (!RestoreStateInPlace(loaded, bytes.data(), bytes.size())) std::abort();
    Collection other;
    Populate(other);
    if (!RestoreStateInPlace(other, bytes.data(), bytes.size())) std::abort();
    if (other.size() != copy.size()) std::abort();
    return 0;
}
