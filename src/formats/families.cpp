#include "formats/families.h"

namespace vaxel {

void InstallFormatFamilies() {}

} // namespace vaxel
