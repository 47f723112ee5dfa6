#pragma once
// Property numbers and their descriptors. One number space covers every
// class of item, so that panels, batch tools and the tree can show and set a
// value without knowing the class that holds it.
#include <cstdint>

namespace vaxel {

// Ranges of the number space.
constexpr int kFirstArticulation = 0;    // 0..207 Instrument, Layer, Region
constexpr int kFirstTrigger = 208;       // 208..222 Layer, Region
constexpr int kFirstMarkerProp = 223;    // 223..229 Waveform: the selected marker
constexpr int kFirstInfoField = 230;     // 230..237 InfoItem
constexpr int kFirstWaveProp = 238;      // 238..243 Waveform
constexpr int kFirstRegionOverride = 244; // 244..248 Region
constexpr int kFirstLocation = 249;      // 249..252 Instrument
constexpr int kFirstChannelEffect = 253; // 253..284 Instrument
constexpr int kPropertyCount = 285;

enum InfoField : int {
    kInfoName = 230,
    kInfoArtist = 231,
    kInfoComments = 232,
    kInfoCopyright = 233,
    kInfoEngineer = 234,
    kInfoProduct = 235,
    kInfoSourceFile = 236,
    kInfoImage = 237,
};
constexpr int kInfoTextCount = 7; // 230..236 are texts, 237 the image

// Precision classes of a descriptor: how a value is rounded when stored and
// shown. Class 0 keeps whole numbers; the others round to their grain.
enum PrecisionClass : uint8_t {
    kPrecisionInteger = 0,
    kPrecisionThousandths = 1,
    kPrecisionHundredths = 2,
    kPrecisionTenths = 3,
};

struct PropertyDescriptor {
    uint16_t number = 0xFFFF;
    uint8_t precision = 0;
    uint8_t unit = 0;
    uint8_t flags = 0;
    uint16_t controlId = 0;
    float defaultValue = 0.0f;
    float minimum = 0.0f;
    float maximum = 0.0f;
    const char16_t* label = u"";
    const char16_t* hint = u"";
};

// The row for a number, or the empty descriptor (number 0xFFFF) when the
// number has none.
const PropertyDescriptor& DescribeProperty(int number);
const PropertyDescriptor& EmptyDescriptor();

} // namespace vaxel
