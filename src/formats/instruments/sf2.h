#pragma once
// SoundFont banks: the readers of version 2 (sf2) and version 1 (sbk) banks.
#include <cstdint>

namespace vaxel {

class Collection;
class CollectionItem;
class FileObject;
class Waveform;
struct WriteOptions;

// Reads a RIFF sfbk bank of major version 2 or 3 (the plain samples of a
// version 3 bank are read; compressed ones are skipped).
int ReadSf2(Collection& collection, FileObject& file, uint32_t flags);
// The same walk for a version 1 bank.
int ReadSbk(Collection& collection, FileObject& file, uint32_t flags);
// Writes a Collection's Instruments, or one Instrument, as a version 2.1
// bank of 16-bit samples.
int WriteSf2(CollectionItem& item, FileObject& file, const WriteOptions& options);
// The decode routine of 24-bit samples: 16-bit words in smpl and the low
// bytes in sm24 (the wave's readerWide holds their offset).
int Sf2Decode24(Waveform& wave, FileObject& file, bool showProgress);

} // namespace vaxel
