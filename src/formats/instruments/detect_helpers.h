#pragma once
// Small shared looks for the instrument-format detectors: container heads
// (RIFF forms, ZIP local entries), the root element of an XML document and
// loud binding of a detector to its row. All of it works on the bytes handed
// to a detector, bounded, and allocates nothing.
#include <cstddef>
#include <cstdint>

#include "fileio/format_table.h"
#include "formats/detect_bind.h"
#include "formats/probe.h"

namespace vaxel::instruments {

using probe::Bytes;

inline Bytes View(const uint8_t* buffer, size_t bytes) {
    return Bytes{buffer, buffer ? bytes : 0};
}

// Binds a detector to the row named by extension and description. A refused
// bind is a programming error (a misspelt row, or a row bound twice): it is
// reported on stderr and the program stops.
void BindDetector(const char16_t* extension, const char16_t* description, DetectRoutine detect);

// "RIFF" at 0 with the four-byte form type at 8.
bool IsRiffForm(const Bytes& b, const char* form);

// Skips a byte order mark, blanks, the XML declaration, comments and a
// document type within the first window bytes, and tells whether the first
// element is named name (compared exactly, followed by a blank, '>' or '/').
bool XmlRootIs(const Bytes& b, const char* name, size_t window = 4096);

// A ZIP archive: a local file header at 0.
bool IsZip(const Bytes& b);

// Walks the local file headers found in the buffer, in order, and asks match
// about each entry's name (not terminated; length given). Stops at the first
// entry whose data size is unknown (a data descriptor follows it) or that
// runs past the buffer.
bool ZipHasEntry(const Bytes& b, bool (*match)(const char* name, size_t length));

// Case-insensitive comparison of the last bytes of a name with a suffix.
bool EndsWithIgnoreCase(const char* name, size_t length, const char* suffix);

// Every one of the n bytes at offset is printable ASCII (blank to '~') or,
// where allowPadding is set, a NUL that only NULs follow.
bool IsPrintableName(const Bytes& b, size_t offset, size_t n, bool allowPadding);

} // namespace vaxel::instruments
