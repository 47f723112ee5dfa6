// The process-wide feature mask. Atomic, since the background loader and
// batch threads read it while the user interface thread may change it.
#include "model/feature_mask.h"

#include <atomic>

namespace vaxel {

namespace {
std::atomic<FeatureMask> gFeatureMask{kAllFeatures};
}

FeatureMask CurrentFeatureMask() {
    return gFeatureMask.load(std::memory_order_relaxed);
}
void SetFeatureMask(FeatureMask mask) {
    gFeatureMask.store(mask, std::memory_order_relaxed);
}

} // namespace vaxel
