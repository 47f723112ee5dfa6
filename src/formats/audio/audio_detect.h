#pragma once
// What the audio family files share for detection: the shape of a detect
// routine, a binding helper that fails loudly, the score scale, the routine
// of the headerless rows, and the skip over ID3v2 tags that MPEG, AAC, FLAC
// and Monkey's Audio files may start with. Kept free of the format table's
// header so that the many small family files compile quickly.
#include <cstddef>
#include <cstdint>

#include "formats/detect_bind.h"
#include "formats/probe.h"

namespace vaxel {
struct FormatRoutines;
}

namespace vaxel::audio {

// Binds fn as the detect routine of the row with this extension and
// description (exact text), and records the row for AudioDetectorRows(). A
// refused bind is a programming error: it prints the row and aborts.
void BindDetector(const char16_t* extension, const char16_t* description, DetectFn fn);
// The same for a row whose family also reads or writes it: one bind carries
// all of the row's routines (a row can be bound only once).
void BindRoutines(const char16_t* extension, const char16_t* description, const FormatRoutines& routines);

using namespace detect; // the score scale

// The routine of the headerless rows (raw PCM, G.711, headerless ADPCM and
// speech codec streams): any file is plausible, so the extension decides.
// With it the row scores 5 and beats "Unrecognized"; without it, it never wins.
int DetectHeaderless(const uint8_t* buffer, uint32_t param, size_t bufferBytes, uint64_t fileSize, int row);

// Where the audio starts behind the ID3v2 tags at the head of a file (and any
// zero padding after them). hidden is set when the tags fill the buffer, so
// that what follows them cannot be seen (a big cover picture, or a file cut
// short); detectors then judge by the tag alone.
struct AudioStart {
    size_t offset;
    bool hidden;
};
AudioStart SkipId3v2(const probe::Bytes& b);

// A RIFF (or RF64) head whose form type at offset 8 is the four bytes of form.
bool IsRiffForm(const probe::Bytes& b, const char* form);

} // namespace vaxel::audio
