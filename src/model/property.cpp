#include "model/property.h"

namespace vaxel {

namespace {

// Rows are added here as the item classes that hold them come into being.
const PropertyDescriptor kDescriptors[] = {
    {kInfoName, 0, 0, 0, 0, 0, 0, 0, u"Name", u""},
    {kInfoArtist, 0, 0, 0, 0, 0, 0, 0, u"Artist", u""},
    {kInfoComments, 0, 0, 0, 0, 0, 0, 0, u"Comments", u""},
    {kInfoCopyright, 0, 0, 0, 0, 0, 0, 0, u"Copyright", u""},
    {kInfoEngineer, 0, 0, 0, 0, 0, 0, 0, u"Engineer", u""},
    {kInfoProduct, 0, 0, 0, 0, 0, 0, 0, u"Product", u"Album name"},
    {kInfoSourceFile, 0, 0, 0, 0, 0, 0, 0, u"Source file on disk", u""},
    {kInfoImage, 0, 0, 0, 0, 0, 0, 0, u"Image", u"Album cover"},
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
