// ZIP archive reader: a central-directory walk after PKWARE's APPNOTE.TXT
// (6.3.x), with zlib for raw deflate.
//
// Layout relied on (all little-endian):
//   end of central directory (22 bytes + comment), at most 65535+22 bytes
//   before the end of the file:
//     0 signature 0x06054B50, 4 this disk (2), 6 directory's disk (2),
//     8 entries on this disk (2), 10 entries (2), 12 directory size (4),
//     16 directory offset (4), 20 comment length (2)
//   ZIP64 locator (20 bytes) right before it: 0 signature 0x07064B50,
//     4 disk (4), 8 offset of the ZIP64 end record (8), 16 disks (4)
//   ZIP64 end record: 0 signature 0x06064B50, 4 record size (8), 12 versions,
//     16 this disk (4), 20 directory's disk (4), 24 entries on this disk (8),
//     32 entries (8), 40 directory size (8), 48 directory offset (8)
//   central header (46 bytes + name + extra + comment): 0 signature
//     0x02014B50, 8 flags (2), 10 method (2), 16 CRC-32 (4), 20 compressed
//     size (4), 24 uncompressed size (4), 28 name length (2), 30 extra length
//     (2), 32 comment length (2), 34 disk (2), 42 local header offset (4)
//   local header (30 bytes + name + extra): 0 signature 0x04034B50,
//     26 name length (2), 28 extra length (2); the data follows. Sizes are
//     taken from the central header, which is right also when the local one
//     defers them to a data descriptor (flag bit 3).
//   extra fields: id (2), size (2), data. 0x0001 holds the 64-bit values of
//     the fields that read 0xFFFFFFFF, in the order uncompressed size,
//     compressed size, local header offset. 0x7075 (Info-ZIP Unicode path):
//     version 1, CRC-32 of the stored name (4), the name in UTF-8.
//
// Names are UTF-8 when flag bit 11 is set, when a Unicode path field matches
// the stored name, or when the stored bytes are valid multi-byte UTF-8;
// otherwise they are code page 437, decoded through its table.
#include "fileio/zip_archive.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <map>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include "fileio/file_object.h"
#include "fileio/path_util.h"
#include "model/last_error.h"
#include "model/text.h"

namespace vaxel {

namespace {

constexpr uint32_t kLocalSignature = 0x04034B50;
constexpr uint32_t kCentralSignature = 0x02014B50;
constexpr uint32_t kEndSignature = 0x06054B50;
constexpr uint32_t kZip64EndSignature = 0x06064B50;
constexpr uint32_t kZip64LocatorSignature = 0x07064B50;
constexpr uint32_t kSpannedSignature = 0x08074B50;

constexpr size_t kEndSize = 22;
constexpr size_t kLocatorSize = 20;
constexpr size_t kZip64EndSize = 56;
constexpr size_t kCentralSize = 46;
constexpr size_t kLocalSize = 30;
constexpr size_t kMaxComment = 65535;
constexpr size_t kPiece = 1048576;
// Deflate can not shrink data by more than about 1032:1 (a 258-byte match
// in two bits); a larger declared ratio is a lie.
constexpr uint64_t kMaxDeflateRatio = 1040;

constexpr uint16_t kFlagEncrypted = 1 << 0;
constexpr uint16_t kFlagUtf8 = 1 << 11;

// Code page 437, 0x80..0xFF.
const char16_t kCp437High[128] = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE,
    0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, 0x00FF, 0x00D6,
    0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192, 0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA,
    0x00BA, 0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, 0x2591, 0x2592, 0x2593, 0x2502,
    0x2524, 0x2561, 0x2562, 0x2556, 0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510, 0x2514,
    0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F, 0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550,
    0x256C, 0x2567, 0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B, 0x256A, 0x2518, 0x250C,
    0x2588, 0x2584, 0x258C, 0x2590, 0x2580, 0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4,
    0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229, 0x2261, 0x00B1, 0x2265, 0x2264, 0x2320,
    0x2321, 0x00F7, 0x2248, 0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0,
};

uint16_t Le16(const uint8_t* p) {
    return uint16_t(p[0] | p[1] << 8);
}
uint32_t Le32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
uint64_t Le64(const uint8_t* p) {
    return uint64_t(Le32(p)) | uint64_t(Le32(p + 4)) << 32;
}

// Strict UTF-8 with at least one multi-byte sequence: no overlong forms, no
// surrogates, nothing above U+10FFFF.
bool IsMultiByteUtf8(const uint8_t* s, size_t n) {
    bool multi = false;
    for (size_t i = 0; i < n;) {
        uint8_t c = s[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        size_t extra;
        uint32_t cp;
        if (c >= 0xC2 && c <= 0xDF)
            extra = 1, cp = c & 0x1F;
        else if (c >= 0xE0 && c <= 0xEF)
            extra = 2, cp = c & 0x0F;
        else if (c >= 0xF0 && c <= 0xF4)
            extra = 3, cp = c & 0x07;
        else
            return false;
        if (n - i <= extra) return false;
        for (size_t k = 1; k <= extra; ++k) {
            if ((s[i + k] & 0xC0) != 0x80) return false;
            cp = cp << 6 | (s[i + k] & 0x3F);
        }
        if ((extra == 2 && (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF))) ||
            (extra == 3 && (cp < 0x10000 || cp > 0x10FFFF)))
            return false;
        multi = true;
        i += extra + 1;
    }
    return multi;
}

std::u16string Cp437ToWide(const uint8_t* s, size_t n) {
    std::u16string out;
    out.reserve(n);
    for (size_t i = 0; i < n && s[i]; ++i) out += s[i] < 0x80 ? char16_t(s[i]) : kCp437High[s[i] - 0x80];
    return out;
}

uint32_t Crc32(const uint8_t* data, size_t n) {
    uLong crc = crc32(0L, Z_NULL, 0);
    while (n) {
        size_t piece = std::min(n, kPiece);
        crc = crc32(crc, data, uInt(piece));
        data += piece;
        n -= piece;
    }
    return uint32_t(crc);
}

bool ReadExact(const FileObject& file, uint64_t offset, void* buffer, size_t count) {
    return file.ReadAt(offset, buffer, count) == count;
}

struct Directory {
    uint64_t offset = 0; // of the first central header, bias included
    uint64_t size = 0;
    uint64_t bias = 0; // bytes in front of the archive (a self-extractor stub)
};

// Finds the central directory. Returns false with LastError set.
bool FindDirectory(const FileObject& file, uint64_t fileSize, Directory& dir) {
    if (fileSize < kEndSize) {
        SetLastError("Not a valid ZIP archive");
        return false;
    }
    size_t tail = size_t(std::min<uint64_t>(fileSize, kMaxComment + kEndSize));
    uint64_t tailStart = fileSize - tail;
    std::vector<uint8_t> buffer(tail);
    if (!ReadExact(file, tailStart, buffer.data(), tail)) {
        SetLastError("Reading from file failed");
        return false;
    }
    // The last signature whose comment ends exactly at the end of the file;
    // failing that, the last signature at all (some writers get the comment
    // length wrong, or junk follows the archive).
    size_t found = SIZE_MAX;
    for (size_t i = tail - kEndSize + 1; i-- > 0;) {
        if (Le32(&buffer[i]) != kEndSignature) continue;
        if (found == SIZE_MAX) found = i;
        if (i + kEndSize + Le16(&buffer[i + 20]) == tail) {
            found = i;
            break;
        }
    }
    if (found == SIZE_MAX) {
        SetLastError("Not a valid ZIP archive");
        return false;
    }
    const uint8_t* end = &buffer[found];
    uint64_t endPos = tailStart + found;
    uint32_t disk = Le16(end + 4), dirDisk = Le16(end + 6);
    uint64_t size = Le32(end + 12), offset = Le32(end + 16);
    uint64_t dirEnd = endPos; // where the directory is expected to end

    uint8_t locator[kLocatorSize];
    if (endPos >= kLocatorSize && ReadExact(file, endPos - kLocatorSize, locator, kLocatorSize) &&
        Le32(locator) == kZip64LocatorSignature) {
        uint8_t record[kZip64EndSize];
        uint64_t recordPos = Le64(locator + 8);
        uint64_t expectedPos =
            endPos - kLocatorSize >= kZip64EndSize ? endPos - kLocatorSize - kZip64EndSize : 0;
        bool ok = recordPos <= endPos && ReadExact(file, recordPos, record, kZip64EndSize) &&
                  Le32(record) == kZip64EndSignature;
        if (!ok) {
            // With data in front of the archive the stored offset is short by
            // the bias; the record normally sits right before the locator.
            recordPos = expectedPos;
            ok = ReadExact(file, recordPos, record, kZip64EndSize) && Le32(record) == kZip64EndSignature;
        }
        if (!ok) {
            SetLastError("Not a valid ZIP archive");
            return false;
        }
        disk = Le32(record + 16);
        dirDisk = Le32(record + 20);
        size = Le64(record + 40);
        offset = Le64(record + 48);
        dirEnd = recordPos;
    }
    if (disk != 0 || dirDisk != 0) {
        SetLastError("Archives split into several parts are not supported");
        return false;
    }
    if (size > dirEnd) {
        SetLastError("Not a valid ZIP archive");
        return false;
    }
    dir.size = size;
    if (size > fileSize) {
        SetLastError("Not a valid ZIP archive");
        return false;
    }
    if (size == 0) {
        dir.offset = dirEnd;
        return true;
    }
    // The directory is where the record says, or, with data in front of
    // the archive, that far before the record.
    uint8_t sig[4];
    if (offset <= fileSize - size && size >= 4 && ReadExact(file, offset, sig, 4) &&
        Le32(sig) == kCentralSignature) {
        dir.offset = offset;
        return true;
    }
    uint64_t start = dirEnd - size;
    if (start > offset && size >= 4 && ReadExact(file, start, sig, 4) && Le32(sig) == kCentralSignature) {
        dir.offset = start;
        dir.bias = start - offset;
        return true;
    }
    SetLastError("Not a valid ZIP archive");
    return false;
}

struct CentralEntry {
    uint16_t flags = 0;
    uint16_t method = 0;
    uint32_t crc = 0;
    uint64_t compressedSize = 0;
    uint64_t size = 0;
    uint64_t localOffset = 0;
    std::u16string path;
};

// Parses one central header at p (avail bytes, at least kCentralSize) and
// returns its length, or 0 when it does not fit.
size_t ParseCentral(const uint8_t* p, size_t avail, CentralEntry& e) {
    size_t nameLength = Le16(p + 28), extraLength = Le16(p + 30), commentLength = Le16(p + 32);
    size_t total = kCentralSize + nameLength + extraLength + commentLength;
    if (total > avail) return 0;
    e.flags = Le16(p + 8);
    e.method = Le16(p + 10);
    e.crc = Le32(p + 16);
    e.compressedSize = Le32(p + 20);
    e.size = Le32(p + 24);
    e.localOffset = Le32(p + 42);
    const uint8_t* name = p + kCentralSize;
    const uint8_t* extra = name + nameLength;
    const uint8_t* extraEnd = extra + extraLength;
    bool wantSize = e.size == 0xFFFFFFFF, wantCompressed = e.compressedSize == 0xFFFFFFFF;
    bool wantOffset = e.localOffset == 0xFFFFFFFF;
    std::string unicodeName;
    bool haveUnicodeName = false;
    while (extraEnd - extra >= 4) {
        uint16_t id = Le16(extra);
        size_t n = Le16(extra + 2);
        const uint8_t* data = extra + 4;
        if (n > size_t(extraEnd - data)) break;
        if (id == 0x0001) {
            const uint8_t* q = data;
            const uint8_t* qEnd = data + n;
            if (wantSize && qEnd - q >= 8) e.size = Le64(q), q += 8;
            if (wantCompressed && qEnd - q >= 8) e.compressedSize = Le64(q), q += 8;
            if (wantOffset && qEnd - q >= 8) e.localOffset = Le64(q), q += 8;
        } else if (id == 0x7075 && n >= 5 && data[0] == 1 && Le32(data + 1) == Crc32(name, nameLength)) {
            unicodeName.assign(reinterpret_cast<const char*>(data + 5), n - 5);
            haveUnicodeName = true;
        }
        extra = data + n;
    }
    // Zip tools on Unix store names in the locale's encoding, today UTF-8,
    // without setting the flag; a real code page 437 name is practically
    // never valid multi-byte UTF-8, so such a name is taken as UTF-8 too.
    if (haveUnicodeName)
        e.path = Utf8ToWide(unicodeName);
    else if ((e.flags & kFlagUtf8) || IsMultiByteUtf8(name, nameLength))
        e.path = Utf8ToWide(std::string_view(reinterpret_cast<const char*>(name), nameLength));
    else
        e.path = Cp437ToWide(name, nameLength);
    return total;
}

// Ends a zlib stream on every way out.
struct InflateStream {
    z_stream z{};
    bool open = false;
    ~InflateStream() {
        if (open) inflateEnd(&z);
    }
};

// Reads or inflates one entry's data; returns an empty reason on success.
std::string ReadEntryData(const FileObject& file, uint64_t fileSize, uint64_t dataStart,
                          const CentralEntry& e, std::vector<uint8_t>& out) {
    if (dataStart > fileSize || e.compressedSize > fileSize - dataStart)
        return "its data lies beyond the end of the archive";
    if (e.method == 0) {
        if (e.compressedSize != e.size) return "stored sizes disagree";
        out.resize(size_t(e.size));
        for (uint64_t done = 0; done < e.size;) {
            size_t piece = size_t(std::min<uint64_t>(e.size - done, kPiece));
            if (!ReadExact(file, dataStart + done, out.data() + done, piece)) return "reading failed";
            done += piece;
        }
        return {};
    }
    InflateStream s;
    if (inflateInit2(&s.z, -MAX_WBITS) != Z_OK) return "the decompressor could not start";
    s.open = true;
    std::vector<uint8_t> in(size_t(std::min<uint64_t>(e.compressedSize, kPiece)));
    uint64_t inLeft = e.compressedSize, inPos = dataStart;
    // One byte of room beyond the declared size shows a stream that is
    // longer than it claims.
    uint64_t limit = e.size + 1, produced = 0;
    out.clear();
    for (;;) {
        if (s.z.avail_in == 0 && inLeft) {
            size_t piece = size_t(std::min<uint64_t>(inLeft, kPiece));
            if (!ReadExact(file, inPos, in.data(), piece)) return "reading failed";
            inPos += piece;
            inLeft -= piece;
            s.z.next_in = in.data();
            s.z.avail_in = uInt(piece);
        }
        if (produced == out.size()) {
            if (out.size() >= limit) return "it inflates to more than its declared size";
            out.resize(size_t(std::min<uint64_t>(limit, produced + kPiece)));
        }
        uInt room = uInt(std::min<uint64_t>(out.size() - produced, kPiece));
        s.z.next_out = out.data() + produced;
        s.z.avail_out = room;
        uInt inBefore = s.z.avail_in;
        int ret = inflate(&s.z, Z_NO_FLUSH);
        produced += room - s.z.avail_out;
        if (ret == Z_STREAM_END) break;
        if (ret == Z_BUF_ERROR || (ret == Z_OK && s.z.avail_in == inBefore && s.z.avail_out == room)) {
            // No progress: the input ran out before the end of the stream.
            if (s.z.avail_in == 0 && inLeft == 0) return "its compressed data is truncated";
            if (s.z.avail_in == inBefore && s.z.avail_out == room) return "its compressed data is damaged";
            continue;
        }
        if (ret != Z_OK) return "its compressed data is damaged";
    }
    if (produced != e.size) return "it inflates to a size other than the declared one";
    out.resize(size_t(produced));
    return {};
}

// Splits an entry path into components that are safe below a folder, or
// returns false.
bool SafeComponents(std::u16string_view path, std::vector<std::string>& parts) {
    parts.clear();
    if (path.empty() || path[0] == u'/' || path[0] == u'\\') return false;
    // A drive letter ("C:", "C:\x") or a drive-relative path.
    if (path.size() >= 2 && path[1] == u':') return false;
    if (path.back() == u'/' || path.back() == u'\\') return false; // a folder, not a file
    size_t start = 0;
    while (start <= path.size()) {
        size_t stop = path.find_first_of(u"/\\", start);
        if (stop == std::u16string_view::npos) stop = path.size();
        std::u16string_view part = path.substr(start, stop - start);
        start = stop + 1;
        if (part.empty() || part == u".") continue;
        if (part == u"..") return false;
        if (part.find(u'\0') != std::u16string_view::npos) return false;
        parts.push_back(WideToUtf8(part));
    }
    return !parts.empty();
}

struct Descriptor {
    int fd = -1;
    ~Descriptor() {
        if (fd >= 0) ::close(fd);
    }
    void reset(int next) {
        if (fd >= 0) ::close(fd);
        fd = next;
    }
};

} // namespace

int ZipDetect(const uint8_t* head, size_t n) {
    if (!head || n < 4) return 0;
    uint32_t word = Le32(head);
    return word == kLocalSignature || word == kEndSignature || word == kSpannedSignature ? 6 : 0;
}

void ZipArchive::Clear() {
    entries_.clear();
    entries_.shrink_to_fit();
    skipped_.clear();
}

bool ZipArchive::Load(FileObject& file) {
    Clear();
    try {
        if (!file.IsOpen()) {
            SetLastError("Reading from file failed");
            return false;
        }
        uint64_t fileSize = file.Size();
        Directory dir;
        if (!FindDirectory(file, fileSize, dir)) return false;
        std::vector<uint8_t> central(size_t(dir.size));
        if (!ReadExact(file, dir.offset, central.data(), central.size())) {
            SetLastError("Reading from file failed");
            return false;
        }
        uint64_t total = 0;
        std::map<uint64_t, uint64_t> ranges; // local header to data end of each entry tried
        size_t pos = 0;
        while (central.size() - pos >= kCentralSize && Le32(&central[pos]) == kCentralSignature) {
            CentralEntry e;
            size_t used = ParseCentral(&central[pos], central.size() - pos, e);
            if (!used) break; // a truncated last header
            pos += used;
            if (e.size == 0) continue;
            auto skip = [&](std::string reason) { skipped_.push_back({e.path, std::move(reason)}); };
            if (e.path.empty()) {
                skip("it has no name");
                continue;
            }
            if (e.flags & kFlagEncrypted) {
                skip("it is encrypted");
                continue;
            }
            if (e.method != 0 && e.method != 8) {
                skip("its compression method " + std::to_string(e.method) + " is not supported");
                continue;
            }
            if (e.size > kMaxEntrySize ||
                (e.method == 8 && e.size / kMaxDeflateRatio > e.compressedSize + 16)) {
                skip("its declared size is too large");
                continue;
            }
            if (total + e.size > kMaxTotalSize) {
                skip("the entries are too large in total");
                continue;
            }
            uint8_t local[kLocalSize];
            uint64_t localPos = e.localOffset + dir.bias;
            if (localPos < e.localOffset || !ReadExact(file, localPos, local, kLocalSize) ||
                Le32(local) != kLocalSignature) {
                skip("its local header is missing");
                continue;
            }
            uint64_t dataStart = localPos + kLocalSize + Le16(local + 26) + Le16(local + 28);
            if (dataStart > fileSize || e.compressedSize > fileSize - dataStart) {
                skip("its data lies beyond the end of the archive");
                continue;
            }
            // Entries that share or overlap their data are the trick of the
            // overlapping zip bomb: a small file that inflates many times.
            uint64_t dataEnd = dataStart + e.compressedSize;
            auto next = ranges.lower_bound(localPos);
            bool overlaps = (next != ranges.end() && next->first < dataEnd) ||
                            (next != ranges.begin() && std::prev(next)->second > localPos);
            if (overlaps) {
                skip("its data overlaps that of another entry");
                continue;
            }
            // Every attempt is recorded, so that the work spent on entries,
            // read or not, stays bounded by the size of the file.
            ranges.emplace(localPos, dataEnd);
            ZipEntry entry;
            std::string reason = ReadEntryData(file, fileSize, dataStart, e, entry.data);
            if (reason.empty() && Crc32(entry.data.data(), entry.data.size()) != e.crc)
                reason = "its CRC-32 does not match";
            if (!reason.empty()) {
                skip(std::move(reason));
                continue;
            }
            total += e.size;
            entry.path = std::move(e.path);
            size_t nameOffset = FileNamePart(entry.path);
            std::u16string_view name = std::u16string_view(entry.path).substr(nameOffset);
            entry.nameOffset = uint16_t(std::min<size_t>(nameOffset, 0xFFFF));
            entry.nameLength = uint16_t(std::min<size_t>(ExtensionPart(name), 0xFFFF));
            entries_.push_back(std::move(entry));
        }
        return true;
    } catch (const std::bad_alloc&) {
        Clear();
        SetLastError("Out of memory");
        return false;
    } catch (const std::length_error&) {
        Clear();
        SetLastError("Out of memory");
        return false;
    }
}

const ZipEntry* ZipArchive::Find(std::u16string_view name, bool nameOnly) const {
    if (entries_.empty()) return nullptr;
    if (name.empty()) return &entries_.front();
    for (const auto& e : entries_)
        if (e.path == name) return &e;
    if (!nameOnly) return nullptr;
    std::u16string_view wanted = name.substr(FileNamePart(name));
    if (wanted.empty()) return nullptr;
    for (const auto& e : entries_)
        if (EqualsIgnoreCase(e.name(), wanted)) return &e;
    return nullptr;
}

bool ZipArchive::ExtractTo(const std::filesystem::path& folder, size_t index,
                           std::filesystem::path* written) const {
    if (index >= entries_.size()) {
        SetLastError("No such entry in the ZIP archive");
        return false;
    }
    const ZipEntry& entry = entries_[index];
    std::vector<std::string> parts;
    if (!SafeComponents(entry.path, parts)) {
        SetLastErrorF("Unsafe path in ZIP archive: %s", WideToUtf8(entry.path).c_str());
        return false;
    }
    // Every step goes through a descriptor of the folder reached so far and
    // refuses to follow a symbolic link, so a link planted in the target (or
    // a race with one) can not redirect the write.
    Descriptor dir;
    dir.fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir.fd < 0) {
        SetLastError("Could not create file");
        return false;
    }
    for (size_t i = 0; i + 1 < parts.size(); ++i) {
        if (::mkdirat(dir.fd, parts[i].c_str(), 0777) != 0 && errno != EEXIST) {
            SetLastError("Could not create file");
            return false;
        }
        int next = ::openat(dir.fd, parts[i].c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (next < 0) {
            SetLastErrorF("Unsafe path in ZIP archive: %s", WideToUtf8(entry.path).c_str());
            return false;
        }
        dir.reset(next);
    }
    const std::string& leaf = parts.back();
    struct stat st;
    if (::fstatat(dir.fd, leaf.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && !S_ISREG(st.st_mode)) {
        SetLastErrorF("Unsafe path in ZIP archive: %s", WideToUtf8(entry.path).c_str());
        return false;
    }
    // A temporary file in the same folder, renamed over the target only when
    // complete: a failed write leaves any earlier file untouched.
    std::string temp;
    Descriptor out;
    for (unsigned attempt = 0; attempt < 100 && out.fd < 0; ++attempt) {
        temp = ".vaxel-extract-" + std::to_string(::getpid()) + "-" + std::to_string(attempt);
        out.fd = ::openat(dir.fd, temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (out.fd < 0 && errno != EEXIST) break;
    }
    if (out.fd < 0) {
        SetLastError("Could not create file");
        return false;
    }
    size_t done = 0;
    while (done < entry.data.size()) {
        ssize_t n = ::write(out.fd, entry.data.data() + done, std::min(entry.data.size() - done, kPiece));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += size_t(n);
    }
    bool ok = done == entry.data.size();
    ok = ::close(out.fd) == 0 && ok;
    out.fd = -1;
    if (!ok || ::renameat(dir.fd, temp.c_str(), dir.fd, leaf.c_str()) != 0) {
        ::unlinkat(dir.fd, temp.c_str(), 0);
        SetLastError("Writing to file failed");
        return false;
    }
    if (written) {
        std::filesystem::path result = folder;
        for (const auto& part : parts) result /= part;
        *written = result;
    }
    return true;
}

} // namespace vaxel
