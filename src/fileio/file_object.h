#pragma once
// FileObject: the file that every reader and writer receives. A thin layer
// over POSIX descriptors with 64-bit offsets; there is no buffering, small
// reads go straight to the system.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace vaxel {

class FileObject {
public:
    enum Mode : int {
        kRead = 0,      // read an existing file
        kReadWrite = 1, // read and write an existing file
        kCreate = 2,    // create or truncate for writing
    };

    FileObject() = default;
    // Wraps a descriptor that somebody else owns; Close() will not close it.
    explicit FileObject(int borrowedDescriptor);
    FileObject(const FileObject&) = delete;
    FileObject& operator=(const FileObject&) = delete;
    ~FileObject();

    // Closes any earlier file first. When the open fails and folding the path
    // (CleanUnicodePath) changes it, the folded path is tried once more.
    bool Open(const std::filesystem::path& path, int mode);
    void Close();
    bool IsOpen() const { return fd_ >= 0; }
    // The size of the open file; 0 when closed or on failure.
    uint64_t Size() const;
    bool Seek(uint64_t offset);
    uint64_t Tell() const;

    // Plain transfers of at most 2^32-1 bytes; true when all bytes moved.
    bool Read(void* buffer, size_t count);
    bool Write(const void* buffer, size_t count);
    // Reads up to count bytes; returns how many came (short at the end).
    size_t ReadSome(void* buffer, size_t count);
    // Reads at an offset without moving the position.
    size_t ReadAt(uint64_t offset, void* buffer, size_t count) const;

    // Large transfers, split into pieces of at most 0x10000000 bytes; they
    // stop at the first failure or short transfer. A count of 0 succeeds.
    bool ReadBig(void* buffer, uint64_t count, uint64_t* done = nullptr);
    bool WriteBig(const void* buffer, uint64_t count, uint64_t* done = nullptr);

    // Reads a text line byte by byte into buffer (capacity - 1 characters at
    // most). Byte 10 or 0 ends the line and is not stored; bytes below 32
    // are dropped. Returns true when at least one byte was stored.
    bool ReadTextLine(char* buffer, size_t capacity);

    bool Truncate(uint64_t size);
    bool Flush();

    // The path last opened; it stays after Close().
    const std::filesystem::path& path() const { return path_; }
    int descriptor() const { return fd_; }

private:
    bool OpenOnce(const std::filesystem::path& path, int mode);

    int fd_ = -1;
    bool ownsHandle_ = false;
    uint64_t position_ = 0;
    std::filesystem::path path_;
};

} // namespace vaxel
