// libFuzzer target for the generic sample decoder and encoder. The input is
// a 12-byte head and the file's bytes:
//   0  u32 LE  the coding word (any bits: coding, split, unsigned, swapped)
//   4  u32 LE  frames (any value: the decoder must refuse what the file
//              does not hold without allocating it)
//   8  u8      channels
//   9  u8      second-channel offset of split stereo, in units of 3 bytes
//   10 u8      the coding to encode the decoded wave back into (mod 20)
//   11 u8      bits 0-1: channels wanted by the encoder; bits 2-4: the
//              split, unsigned and swapped flags of the encoding
// The bytes go into a memfd that the decoder reads through a FileObject; the
// buffer form of the decoder runs over them as well. Besides the sanitizers
// it checks the decoder's promises: a success leaves a block of the wave's
// size, and a failure names its reason.
#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "fileio/file_object.h"
#include "fileio/sample_coding.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/waveform.h"

using namespace vaxel;

namespace {

void Check(bool condition) {
    if (!condition) std::abort();
}

uint32_t U32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

int Memfd(const char* name) {
    int fd = memfd_create(name, 0);
    Check(fd >= 0);
    return fd;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 12) return 0;
    static const int inFd = Memfd("generic-decode-in");
    static const int outFd = Memfd("generic-decode-out");
    const uint8_t* body = data + 12;
    const size_t bodySize = size - 12;
    Check(ftruncate(inFd, 0) == 0 && ftruncate(outFd, 0) == 0);
    if (bodySize) Check(pwrite(inFd, body, bodySize, 0) == ssize_t(bodySize));

    const uint32_t word = U32(data);
    const int coding = CodingOfWord(word);

    // The buffer form, over as many samples as the bytes hold.
    if (coding >= 0 && DataCodingBits(coding) > 0) {
        const size_t count = bodySize * 8 / size_t(DataCodingBits(coding));
        std::vector<float> out(count);
        DecodeToFloat(body, count, coding, word, out.data());
    }

    Collection collection;
    auto* wave = new Waveform(collection, kNewSerial, u"fuzz");
    wave->dataCodingWord = word;
    wave->frames = U32(data + 4);
    wave->channels = data[8];
    wave->readerWide = uint64_t(data[9]) * 3;
    FileObject in(inFd);
    in.Seek(0);
    if (!GenericDecode(*wave, in, false)) {
        Check(LastError()[0] != 0);
        return 0;
    }
    const SampleBlock* block = wave->samples();
    Check(block && block->frames == wave->frames && block->channels == wave->channels);

    // And back out, in any coding.
    FileObject out(outFd);
    out.Seek(0);
    const uint32_t flags = uint32_t(data[11] >> 2 & 7) << 23;
    const int wanted = data[11] & 3;
    if (GenericEncode(out, *wave, data[10] % 20, wanted == 3 ? 0 : wanted, flags)) {
        const int width = EncodedWidth(data[10] % 20);
        const uint64_t channels = wanted == 1 || wanted == 2 ? uint64_t(wanted) : block->channels;
        Check(out.Size() == uint64_t(width) * block->frames * channels);
    } else {
        Check(LastError()[0] != 0);
    }
    return 0;
}
