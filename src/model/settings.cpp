#include "model/settings.h"

namespace vaxel {

Settings& GlobalSettings() {
    static Settings settings;
    return settings;
}

} // namespace vaxel
