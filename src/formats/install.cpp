#include "formats/install.h"

#include <mutex>

#include "fileio/wave_loader.h"
#include "formats/families.h"

namespace vaxel {

void InstallFormats() {
    static std::once_flag once;
    std::call_once(once, [] {
        InstallWaveLoader();
        InstallFormatFamilies();
    });
}

} // namespace vaxel
