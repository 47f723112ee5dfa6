#include "formats/detect_bind.h"

#include <cstdio>
#include <cstdlib>

#include "fileio/format_table.h"
#include "model/text.h"

namespace vaxel {

int BindDetectorOrDie(const char* family, const char16_t* extension, const char16_t* description,
                      DetectFn fn) {
    if (bindFormat(extension, description, FormatRoutines{nullptr, nullptr, fn, nullptr}))
        return findFormatRow(extension, description);
    std::fprintf(stderr, "vaxel: %s formats: cannot bind the detector of %s \"%s\"\n", family,
                 WideToUtf8(extension).c_str(), WideToUtf8(description).c_str());
    std::abort();
}

} // namespace vaxel
