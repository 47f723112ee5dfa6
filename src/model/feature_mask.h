#pragma once
// The feature mask: which parts of the synthesizer architecture the user
// keeps. A clear bit takes the feature out of the model at the next update
// and out of the panels. One mask for the process, all bits on until the
// settings or the user change it.
#include <cstdint>

namespace vaxel {

using FeatureMask = uint64_t;

// The bits that the waves ask for.
enum FeatureBit : int {
    kFeatureCompressedFormats = 5, // "Waves: Compressed data formats"
    kFeatureFractionalLoops = 7,   // "Waves: Fractional loop-points"
    kFeatureReverseLoops = 8,      // "Waves: Reverse and bi-directional loops"
    kFeatureSampledRelease = 9,    // "Waves: Sampled release (key-up breaks loop)"
    kFeatureLoopPitch = 11,        // "Waves: Tuning of loop pitch"
};

constexpr FeatureMask kAllFeatures = ~FeatureMask(0);

FeatureMask CurrentFeatureMask();
void SetFeatureMask(FeatureMask mask);
inline bool HasFeature(int bit) {
    return (CurrentFeatureMask() >> bit) & 1;
}

} // namespace vaxel
