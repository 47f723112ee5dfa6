// libFuzzer target for the SoundFont readers: the input, held in a memfd, is
// read as a version 2 and as a version 1 bank, every wave that comes out is
// decoded through its own routine, and every region must name a wave of the
// collection and a key and velocity rectangle that is not upside down.
#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "formats/install.h"
#include "formats/instruments/sf2.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/waveform.h"

using namespace vaxel;

namespace {

constexpr size_t kMaxDecodedSamples = 1u << 22;

void ReadAndCheck(FileObject& file, int (*reader)(Collection&, FileObject&, uint32_t)) {
    Collection collection;
    file.Seek(0);
    if (!reader(collection, file, 0)) {
        if (collection.count(ItemType::Waveform) != 0 || collection.count(ItemType::Instrument) != 0)
            std::abort(); // a failed read leaves nothing
        return;
    }
    bool allDecoded = true;
    for (Waveform* wave : ItemsOf<Waveform>(collection)) {
        if (wave->channels != 1) std::abort();
        if (!wave->decodeRoutine || wave->frames > kMaxDecodedSamples || !file.Seek(wave->sourceOffset)) {
            allDecoded = false;
            continue;
        }
        if (wave->decodeRoutine(*wave, file, false)) {
            const SampleBlock* block = wave->samples();
            if (!block || block->frames != wave->frames) std::abort();
        } else {
            allDecoded = false;
        }
        if (const LoopRecord* loop = wave->mainLoop())
            if (loop->end > wave->frames || loop->start >= loop->end) std::abort();
    }
    for (Region* region : ItemsOf<Region>(collection)) {
        const TriggerBlock& t = region->trigger;
        if (t.keyLow > t.keyHigh || t.velocityLow > t.velocityHigh || t.keyHigh > 127 || t.velocityHigh > 127)
            std::abort();
        if (!region->waveform()) std::abort();
    }

    // Whatever was read can be written, and what was written reads again
    // with as many instruments.
    if (!allDecoded) return;
    int out = memfd_create("fuzz-sf2-out", 0);
    if (out < 0) return;
    {
        FileObject written(out);
        if (WriteSf2(collection, written, WriteOptions{})) {
            Collection back;
            written.Seek(0);
            if (!ReadSf2(back, written, 0)) std::abort();
            if (back.count(ItemType::Instrument) != collection.count(ItemType::Instrument)) std::abort();
        }
    }
    ::close(out);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool installed = (InstallFormats(), true);
    (void)installed;
    int fd = memfd_create("fuzz-sf2", 0);
    if (fd < 0) return 0;
    if (size && ::write(fd, data, size) != ssize_t(size)) {
        ::close(fd);
        return 0;
    }
    {
        FileObject file(fd);
        ReadAndCheck(file, &ReadSf2);
        ReadAndCheck(file, &ReadSbk);
    }
    ::close(fd);
    return 0;
}
