#include "model/property.h"

namespace vaxel {

namespace {

// Rows are added here as the item classes that hold them come into being.
const PropertyDescriptor kDescriptors[] = {
    // Waveform: the selected marker.
    {223, kPrecisionInteger, 0, 0, 0, 0, 0, 2, u"Marker type", u"Position | Section | Loop"},
    {224, 0, 0, 0, 0, 0, 0, 0, u"Marker name", u""},
    {225, kPrecisionHundredths, 0, 0, 0, 0, 0, 1e20f, u"Start point", u"First wavesample in the section range"},
    {226, kPrecisionHundredths, 0, 0, 0, 1, 1, 1e20f, u"End point",
     u"First wavesample *after* the section range"},
    {227, kPrecisionInteger, 0, 0, 0, 0, 0, 3, u"Loop type",
     u"Off/One-shot | Forward/Normal | Reverse/Backwards | Alternating/Ping-Pong/Bi-directional"},
    {228, kPrecisionInteger, 0, 0, 0, 0, 0, 255, u"Loop count", u"Loop infinitely, or Loop until key release"},
    {229, kPrecisionHundredths, 0, 0, 0, 0, -12, 12, u"Pitch adjustment during loop playback", u""},
    {kInfoName, 0, 0, 0, 0, 0, 0, 0, u"Name", u""},
    {kInfoArtist, 0, 0, 0, 0, 0, 0, 0, u"Artist", u""},
    {kInfoComments, 0, 0, 0, 0, 0, 0, 0, u"Comments", u""},
    {kInfoCopyright, 0, 0, 0, 0, 0, 0, 0, u"Copyright", u""},
    {kInfoEngineer, 0, 0, 0, 0, 0, 0, 0, u"Engineer", u""},
    {kInfoProduct, 0, 0, 0, 0, 0, 0, 0, u"Product", u"Album name"},
    {kInfoSourceFile, 0, 0, 0, 0, 0, 0, 0, u"Source file on disk", u""},
    {kInfoImage, 0, 0, 0, 0, 0, 0, 0, u"Image", u"Album cover"},
    // Waveform: the wave itself.
    {238, kPrecisionInteger, 0, 0, 0, 22050, 1, 768000, u"Waveform sample rate", u""},
    {239, kPrecisionInteger, 0, 0, 0, 60, 0, 127, u"Root key", u"Key number that plays at the original pitch"},
    {240, kPrecisionInteger, 0, 0, 0, 0, -100, 100, u"Playback Pitch adjustment",
     u"In steps of 1/100th of a semitone"},
    {241, kPrecisionHundredths, 0, 0, 0, 0, -96, 96, u"Playback Volume adjustment", u""},
    {242, kPrecisionInteger, 0, 0, 0, 1, 0, 21, u"Preferred data format for saving",
     u"To create files with mixed data types use \"Auto\" as data format when saving"},
    {243, kPrecisionInteger, 0, 0, 0, 0, 0, 8388607, u"Select which loop to edit", u""},
};

const PropertyDescriptor kEmpty{};

} // namespace

const PropertyDescriptor& EmptyDescriptor() { return kEmpty; }

const PropertyDescriptor& DescribeProperty(int number) {
    for (const auto& row : kDescriptors)
        if (row.number == number) return row;
    return kEmpty;
}

} // namespace vaxel
