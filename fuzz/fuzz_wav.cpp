// libFuzzer target for the WAV family: the input, held in a memfd, is read
// as RIFF WAVE (and RF64) and as Wave-64 through the real readers, and the
// samples of every wave that comes out are decoded through its own routine.
// A wave's ID3 chunk reaches the ID3v2 reader on the way. Waves of more than
// a few million samples are not decoded, so that an input stating a huge
// (but file-backed) length doesn't spend the run on allocation.
#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

#include "fileio/file_object.h"
#include "formats/audio/id3.h"
#include "formats/audio/wav.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/waveform.h"

using namespace vaxel;

namespace {

constexpr size_t kMaxDecodedSamples = 1u << 22;

void ReadAndDecode(FileObject& file, int (*reader)(Collection&, FileObject&, uint32_t)) {
    Collection collection;
    file.Seek(0);
    if (!reader(collection, file, 0)) {
        if (collection.count(ItemType::Waveform) != 0) std::abort(); // a failed read leaves nothing
        return;
    }
    for (Waveform* wave : ItemsOf<Waveform>(collection)) {
        if (wave->channels == 0 || wave->channels > 2) std::abort();
        if (!wave->decodeRoutine || size_t(wave->frames) * wave->channels > kMaxDecodedSamples) continue;
        if (!file.Seek(wave->sourceOffset)) continue;
        if (wave->decodeRoutine(*wave, file, false)) {
            const SampleBlock* block = wave->samples();
            if (!block || block->frames != wave->frames || block->channels != wave->channels) std::abort();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool installed = (InstallFormats(), true);
    (void)installed;
    int fd = memfd_create("fuzz-wav", 0);
    if (fd < 0) return 0;
    if (size && ::write(fd, data, size) != ssize_t(size)) {
        ::close(fd);
        return 0;
    }
    {
        FileObject file(fd);
        ReadAndDecode(file, &ReadWav);
        ReadAndDecode(file, &ReadWave64);
    }
    ::close(fd);
    // The tag reader on the raw bytes too, for inputs that start with "ID3".
    Collection collection;
    auto* wave = new Waveform(collection, kNewSerial, u"tag");
    ReadId3v2(data, size, *wave);
    return 0;
}
