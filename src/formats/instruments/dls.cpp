// Downloadable Sounds collections and GigaStudio instruments: detection of
// dls, dlp (DirectMusic Producer's DLS collections), gig, gi! (the split
// form of gig) and mss (a Miles Sound System XMIDI song joined with a DLS
// collection).
//
// A collection is a little-endian, word-aligned RIFF form "DLS " (Miles'
// compressed collections use "MLS " and read the same way). GigaStudio
// writes the same form with chunks of its own whose identifiers are a '3'
// and three lower-case letters: "3gri", "3gnl", "3ewg", "3ewa", "3lnk",
// "3prg", "3ewl", "3crc"... A form in which such a chunk (or list type) is
// met is a gig. The instrument list comes before the wave pool, so the
// per-instrument "3ewg" chunks normally lie in the first bytes; the walk
// enters every LIST and stops where the buffer ends.
//
// An mss file is the two IFF roots of an XMIDI file (FORM XDIR, CAT XMID,
// or a lone FORM XMID) followed by a RIFF DLS form, or the other way round.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

using instruments::Bytes;
using instruments::View;

bool IsDlsForm(const Bytes& b, size_t at = 0) {
    return b.equals(at, "RIFF") && (b.equals(at + 8, "DLS ") || b.equals(at + 8, "MLS "));
}

bool IsGigaId(const Bytes& b, size_t at) {
    if (!b.has(at, 4) || b.u8(at) != '3') return false;
    for (size_t i = 1; i < 4; ++i)
        if (b.u8(at + i) < 'a' || b.u8(at + i) > 'z') return false;
    return true;
}

struct DlsLook {
    bool giga = false;      // a GigaStudio chunk was met
    bool wholeForm = false; // the walk reached the end of the form inside the buffer
};

// Walks the chunks of the form at 0 in file order, entering every list:
// a list's body is a run of chunks, so stepping into it and on from chunk to
// chunk visits the whole tree. Each step advances at least 8 bytes.
DlsLook LookAtDls(const Bytes& b) {
    DlsLook look;
    const uint64_t formEnd = 8 + uint64_t(b.le32(4));
    uint64_t p = 12;
    for (int steps = 0; steps < 8192; ++steps) {
        if (p >= formEnd) {
            look.wholeForm = formEnd <= b.size;
            return look;
        }
        if (p + 8 > b.size) return look;
        const size_t at = size_t(p);
        if (IsGigaId(b, at)) {
            look.giga = true;
            return look;
        }
        if (b.equals(at, "LIST")) {
            if (IsGigaId(b, at + 8)) {
                look.giga = true;
                return look;
            }
            p += 12;
            continue;
        }
        const uint64_t size = b.le32(at + 4);
        p += 8 + size + (size & 1);
    }
    return look;
}

// The collection reader's own rows: a plain DLS form is the collection;
// a gig only plausibly so.
int DetectDls(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    if (!IsDlsForm(b)) return 0;
    return LookAtDls(b).giga ? 2 : 6;
}

// Producer's collections are the same form; the extension tells them from
// a .dls.
int DetectDlp(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    if (!IsDlsForm(b)) return 0;
    return LookAtDls(b).giga ? 0 : 4;
}

// A DLS form with GigaStudio chunks. When the buffer ended before the form
// did and none was met yet, the form may still be a gig: 4 lets the
// extension decide; a form seen whole without one is only plausible.
int DetectGig(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    if (!IsDlsForm(b)) return 0;
    DlsLook look = LookAtDls(b);
    if (look.giga) return 6;
    return look.wholeForm ? 2 : 4;
}

bool IsXmidiRoot(const Bytes& b, size_t at) {
    return (b.equals(at, "FORM") && (b.equals(at + 8, "XDIR") || b.equals(at + 8, "XMID"))) ||
           (b.equals(at, "CAT ") && b.equals(at + 8, "XMID"));
}

int DetectMss(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    Bytes b = View(buffer, bytes);
    if (IsDlsForm(b)) {
        // The collection first, the song behind it.
        uint64_t size = b.le32(4);
        uint64_t end = 8 + size + (size & 1);
        return end < b.size && IsXmidiRoot(b, size_t(end)) ? 6 : 0;
    }
    if (!IsXmidiRoot(b, 0)) return 0;
    // Step over the XMIDI roots (big-endian IFF lengths, word aligned).
    uint64_t p = 0;
    for (int roots = 0; roots < 4 && p + 12 <= b.size && IsXmidiRoot(b, size_t(p)); ++roots) {
        uint64_t size = b.be32(size_t(p) + 4);
        p += 8 + size + (size & 1);
    }
    if (p + 12 <= b.size) return IsDlsForm(b, size_t(p)) ? 6 : 0;
    // The collection, if any, starts beyond what was read.
    return p < fileSize ? 2 : 0;
}

} // namespace

void InstallDlsFormats() {
    using instruments::BindDetector;
    BindDetector(u"dlp", u"DirectMusic Producer", &DetectDlp);
    BindDetector(u"dls", u"DownLoadable Sounds", &DetectDls);
    BindDetector(u"gig", u"GigaStudio/GigaSampler", &DetectGig);
    BindDetector(u"gi!", u"GigaStudio/GSImport split", &DetectGig);
    BindDetector(u"mss", u"MSS DLS 1 + XMI", &DetectMss);
}

} // namespace vaxel
