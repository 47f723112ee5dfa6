#include "formats/install.h"

#include <mutex>

#include "formats/families.h"

namespace vaxel {

void InstallFormats() {
    static std::once_flag once;
    std::call_once(once, [] { InstallFormatFamilies(); });
}

} // namespace vaxel
