// Fuzz target: ZipArchive::Load on arbitrary bytes, read through a memory
// file, then a few lookups over whatever entries came out.
#include <cstddef>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

#include "fileio/file_object.h"
#include "fileio/zip_archive.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vaxel::ZipDetect(data, size);
    int fd = memfd_create("fuzz_zip", MFD_CLOEXEC);
    if (fd < 0) return 0;
    size_t done = 0;
    while (done < size) {
        ssize_t n = write(fd, data + done, size - done);
        if (n <= 0) break;
        done += size_t(n);
    }
    {
        vaxel::FileObject file(fd);
        file.Seek(0);
        vaxel::ZipArchive zip;
        if (zip.Load(file)) {
            zip.Find(u"", false);
            zip.Find(u"a.txt", true);
            zip.Find(u"../A.TXT", true);
            for (const auto& e : zip.entries()) {
                if (zip.Find(e.path, false) == nullptr) __builtin_trap();
                if (e.nameOffset > e.path.size() || e.data.empty()) __builtin_trap();
            }
        }
    }
    close(fd);
    return 0;
}
