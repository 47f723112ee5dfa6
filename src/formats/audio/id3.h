#pragma once
// ID3v2 tags (versions 2.2, 2.3 and 2.4): the text frames and the attached
// picture, read into an item's info fields and image. Used for the 'ID3 '
// chunk of WAV files and for the tags at the head of MPEG audio streams.
#include <cstddef>
#include <cstdint>

namespace vaxel {

class InfoItem;

// The length of the ID3v2 tag at the head of data (header, body and footer),
// or 0 when data does not start with one.
size_t Id3v2Size(const uint8_t* data, size_t size);

// Reads the tag at the head of data. Frames map to the info fields: title
// (TIT2/TT2) to the name, lead artist (TPE1/TP1) to the artist, the first
// comment (COMM/COM) to the comments, copyright (TCOP/TCR), encoded-by
// (TENC/TEN) to the engineer, album (TALB/TAL) to the product; the first
// picture (APIC/PIC), the front cover when there are several, becomes the
// image. Empty frames leave their field alone. Returns the number of fields
// (and image) set; 0 also for data that is no tag or is damaged.
int ReadId3v2(const uint8_t* data, size_t size, InfoItem& item);

} // namespace vaxel
