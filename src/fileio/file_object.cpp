#include "fileio/file_object.h"

#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fileio/path_util.h"

namespace vaxel {

namespace {
constexpr uint64_t kPiece = 0x10000000;
}

FileObject::FileObject(int borrowedDescriptor) : fd_(borrowedDescriptor), ownsHandle_(false) {
    if (fd_ >= 0) {
        off_t pos = ::lseek(fd_, 0, SEEK_CUR);
        position_ = pos < 0 ? 0 : uint64_t(pos);
    }
}

FileObject::~FileObject() { Close(); }

bool FileObject::OpenOnce(const std::filesystem::path& path, int mode) {
    int flags = O_CLOEXEC;
    switch (mode) {
    case kRead: flags |= O_RDONLY; break;
    case kReadWrite: flags |= O_RDWR; break;
    case kCreate: flags |= O_RDWR | O_CREAT | O_TRUNC; break;
    default: return false;
    }
    int fd;
    do {
        fd = ::open(path.c_str(), flags, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return false;
    // A folder opens fine for reading but is not a file.
    struct stat st;
    if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
        ::close(fd);
        errno = EISDIR;
        return false;
    }
    fd_ = fd;
    ownsHandle_ = true;
    position_ = 0;
    return true;
}

bool FileObject::Open(const std::filesystem::path& path, int mode) {
    Close();
    path_ = path;
    if (OpenOnce(path, mode)) return true;
    // A name that is not valid UTF-8 (bytes from a foreign disk image) can
    // not be converted for folding; the conversion throws, and no exception
    // may leave the file layer, so such a path simply fails to open.
    try {
        std::u16string folded = path.u16string();
        if (CleanUnicodePath(folded)) {
            std::filesystem::path retry(folded);
            if (OpenOnce(retry, mode)) {
                path_ = retry;
                return true;
            }
        }
    } catch (const std::exception&) {
    }
    return false;
}

void FileObject::Close() {
    if (fd_ >= 0 && ownsHandle_) ::close(fd_);
    fd_ = -1;
    ownsHandle_ = false;
    position_ = 0;
}

uint64_t FileObject::Size() const {
    struct stat st;
    if (fd_ < 0 || ::fstat(fd_, &st) != 0) return 0;
    return uint64_t(st.st_size);
}

bool FileObject::Seek(uint64_t offset) {
    if (fd_ < 0 || offset > uint64_t(INT64_MAX)) return false;
    position_ = offset;
    return true;
}

uint64_t FileObject::Tell() const { return position_; }

size_t FileObject::ReadAt(uint64_t offset, void* buffer, size_t count) const {
    if (fd_ < 0) return 0;
    size_t done = 0;
    auto* out = static_cast<uint8_t*>(buffer);
    while (done < count) {
        ssize_t n = ::pread(fd_, out + done, count - done, off_t(offset + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += size_t(n);
    }
    return done;
}

size_t FileObject::ReadSome(void* buffer, size_t count) {
    size_t n = ReadAt(position_, buffer, count);
    position_ += n;
    return n;
}

bool FileObject::Read(void* buffer, size_t count) {
    if (count == 0) return fd_ >= 0;
    return ReadSome(buffer, count) == count;
}

bool FileObject::Write(const void* buffer, size_t count) {
    if (fd_ < 0) return false;
    size_t done = 0;
    auto* in = static_cast<const uint8_t*>(buffer);
    while (done < count) {
        ssize_t n = ::pwrite(fd_, in + done, count - done, off_t(position_ + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += size_t(n);
    }
    position_ += done;
    return done == count;
}

bool FileObject::ReadBig(void* buffer, uint64_t count, uint64_t* done) {
    uint64_t total = 0;
    auto* out = static_cast<uint8_t*>(buffer);
    bool ok = true;
    while (total < count) {
        size_t piece = size_t(count - total < kPiece ? count - total : kPiece);
        size_t got = ReadSome(out + total, piece);
        total += got;
        if (got != piece) {
            ok = false;
            break;
        }
    }
    if (done) *done = total;
    return ok;
}

bool FileObject::WriteBig(const void* buffer, uint64_t count, uint64_t* done) {
    uint64_t total = 0;
    auto* in = static_cast<const uint8_t*>(buffer);
    bool ok = true;
    while (total < count) {
        size_t piece = size_t(count - total < kPiece ? count - total : kPiece);
        uint64_t before = position_;
        bool wrote = Write(in + total, piece);
        total += position_ - before;
        if (!wrote) {
            ok = false;
            break;
        }
    }
    if (done) *done = total;
    return ok;
}

bool FileObject::ReadTextLine(char* buffer, size_t capacity) {
    if (!buffer || capacity == 0) return false;
    size_t stored = 0;
    while (stored + 1 < capacity) {
        unsigned char c;
        if (ReadSome(&c, 1) != 1) break;
        if (c == 10 || c == 0) break;
        if (c < 32) continue;
        buffer[stored++] = char(c);
    }
    buffer[stored] = 0;
    return stored > 0;
}

bool FileObject::Truncate(uint64_t size) { return fd_ >= 0 && ::ftruncate(fd_, off_t(size)) == 0; }

bool FileObject::Flush() { return fd_ >= 0 && ::fsync(fd_) == 0; }

} // namespace vaxel
