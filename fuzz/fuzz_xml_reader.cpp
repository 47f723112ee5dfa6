// Fuzz target: the XML-like reader on arbitrary text. Every tag at every
// level (down to a fixed depth) is visited with all its attributes.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fileio/xml.h"

namespace {

size_t Walk(vaxel::XmlReader& reader, int depth) {
    size_t sum = 0;
    while (reader.NextTag()) {
        sum += std::char_traits<char>::length(reader.TagName());
        while (reader.NextAttribute()) {
            sum += std::char_traits<char>::length(reader.AttributeName());
            sum += std::char_traits<char>::length(reader.AttributeValue());
        }
        if (reader.FindAttribute("id")) ++sum;
        if (!reader.HasInner()) continue;
        sum += reader.InnerLength();
        if (depth < 48) {
            vaxel::XmlReader inner = reader.Inner();
            size_t below = Walk(inner, depth + 1);
            if (below == 0) sum += reader.DecodedInnerText().size();
            sum += below;
        }
    }
    return sum;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vaxel::XmlReader reader;
    if (!reader.LoadText(reinterpret_cast<const char*>(data), size)) return 0;
    volatile size_t sink = Walk(reader, 0);
    (void)sink;
    return 0;
}
