#pragma once
// ZipArchive: every entry of a ZIP archive, inflated, in memory. Formats that
// come zipped (and the open flow, for archives of samples) read their members
// from here.
//
// Only single-part archives are read; stored (method 0) and deflated
// (method 8) entries are supported, encrypted ones are not. ZIP64 sizes and
// offsets are understood. Entry paths are data from the archive: Find never
// touches the file system, and ExtractTo refuses any path that could lead
// outside its target folder.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vaxel {

class FileObject;

struct ZipEntry {
    std::u16string path;     // as stored, '/' or '\' separated
    uint16_t nameOffset = 0; // where the file-name part starts within path
    uint16_t nameLength = 0; // length of the file name without its extension
    std::vector<uint8_t> data;

    std::u16string_view name() const { return std::u16string_view(path).substr(nameOffset); }
};

// An entry that Load left out, with the reason in plain words.
struct ZipSkippedEntry {
    std::u16string path;
    std::string reason;
};

class ZipArchive {
  public:
    // Largest entry and largest sum of entries that Load inflates; entries
    // beyond them are skipped, so a crafted archive can not exhaust memory.
    static constexpr uint64_t kMaxEntrySize = uint64_t(1) << 30;
    static constexpr uint64_t kMaxTotalSize = uint64_t(1) << 32;

    // Discards the old entries and reads every entry with data. False with
    // LastError when the archive's directory can not be read ("Not a valid
    // ZIP archive", "Reading from file failed", "Out of memory"). An entry
    // that can not be read (unsupported method, encrypted, damaged data, CRC
    // mismatch, too large) is left out and listed in skipped(); entries of
    // size 0 (folders among them) are left out silently.
    bool Load(FileObject& file);
    void Clear();

    const std::vector<ZipEntry>& entries() const { return entries_; }
    const std::vector<ZipSkippedEntry>& skipped() const { return skipped_; }
    size_t size() const { return entries_.size(); }

    // Looks an entry up by its whole path (exact comparison); failing that,
    // with nameOnly, by the file-name parts of both, ignoring case. An empty
    // name matches the first entry. Null when nothing matches.
    const ZipEntry* Find(std::u16string_view name, bool nameOnly) const;

    // Writes entry `index` below folder (which must exist), creating
    // sub-folders as its path says. Refuses (false, LastError set) absolute paths, drive letters,
    // '..' components and any path that would pass through or end on a
    // symbolic link inside the folder. The file is written under a temporary
    // name and renamed into place. written receives the path of the file.
    bool ExtractTo(const std::filesystem::path& folder, size_t index,
                   std::filesystem::path* written = nullptr) const;

  private:
    std::vector<ZipEntry> entries_;
    std::vector<ZipSkippedEntry> skipped_;
};

// Detection on the first bytes of a file: 6 when the first 32-bit
// little-endian word is a local header, an end of central directory or the
// spanned-archive marker, else 0.
int ZipDetect(const uint8_t* head, size_t n);

} // namespace vaxel
