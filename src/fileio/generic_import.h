#pragma once
// Reading a whole file as raw sample data: the import of row 0 and of the
// raw PCM rows.
#include <cstdint>

namespace vaxel {

class Collection;
class FileObject;

// One Waveform over the whole file, default rate and channels, in the
// coding given; the samples stay on disk until used.
int ReadRawWhole(Collection& collection, FileObject& file, int dataCoding, uint32_t flags);
// Row 0's reader: the coding in the low 5 bits of param, with its flags.
int ReadUnrecognized(Collection& collection, FileObject& file, uint32_t param);

} // namespace vaxel
