// The generic import of row 0: a file that no format recognises is read as
// raw sample data, whole, in the coding of the row's parameter (signed 8-bit
// mono at the default rate), so that any file can at least be heard and
// looked at, and then saved with the right rate or cut.
#include "fileio/generic_import.h"

#include "fileio/file_object.h"
#include "fileio/sample_coding.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/waveform.h"

namespace vaxel {

int ReadRawWhole(Collection& collection, FileObject& file, int dataCoding, uint32_t flags) {
    const uint64_t size = file.Size();
    const int bits = DataCodingBits(dataCoding);
    if (bits <= 0 || bits % 8 != 0 || (dataCoding >= kGsm && dataCoding <= kAdpcm5)) {
        SetLastError(u"Invalid format for generic import function!");
        return 0;
    }
    const uint64_t frames = size / uint64_t(bits / 8);
    if (frames == 0) {
        SetLastError(u"Zero length");
        return 0;
    }
    if (frames > 0xFFFFFFFFull) {
        SetLastError(u"The file is too large to be read as raw sample data");
        return 0;
    }
    auto* wave = new Waveform(collection, kNewSerial, collection.name());
    SetSampleFormat(*wave, dataCoding, flags);
    wave->frames = uint32_t(frames);
    wave->sourceOffset = 0;
    return 1;
}

int ReadUnrecognized(Collection& collection, FileObject& file, uint32_t param) {
    return ReadRawWhole(collection, file, int(param & 0x1F), param & (kCodingUnsigned | kCodingSwapped));
}

} // namespace vaxel
