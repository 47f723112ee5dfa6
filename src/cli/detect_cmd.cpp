// vaxel detect: names the format of each file with the table's confidence.
#include <cstdio>
#include <string>

#include "cli/cli.h"
#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "model/last_error.h"
#include "model/text.h"

namespace vaxel::cli {

int Detect(const Args& args) {
    bool json = false;
    Args files;
    bool optionsDone = false;
    for (const std::string& a : args) {
        if (!optionsDone && a == "--") {
            optionsDone = true;
        } else if (!optionsDone && a == "--json") {
            json = true;
        } else if (!optionsDone && a.size() > 1 && a[0] == '-') {
            std::fprintf(stderr, "vaxel detect: unknown option '%s'\n", a.c_str());
            return kExitUsage;
        } else {
            files.push_back(a);
        }
    }
    if (files.empty()) {
        std::fprintf(stderr, "vaxel detect: no files given\n");
        return kExitUsage;
    }

    int status = kExitOk;
    bool firstJson = true;
    if (json) std::printf("[");
    // One buffered stream for the results; errors go to stderr as they come.
    for (const std::string& name : files) {
        FileObject file;
        int confidence = 0;
        int row = -1;
        if (!file.Open(name, FileObject::kRead)) {
            SetLastError(u"Could not open file");
        } else {
            row = detectFormat(name, file, &confidence);
        }
        if (row < 0) {
            std::fprintf(stderr, "vaxel: %s: %s\n", name.c_str(), LastErrorUtf8().c_str());
            status = kExitFailed;
            continue;
        }
        std::string ext = WideToUtf8(extensionOf(row));
        std::string desc = WideToUtf8(descriptionOf(row));
        if (json) {
            std::printf("%s\n  {\"file\": %s, \"row\": %d, \"extension\": %s, \"description\": %s, "
                        "\"confidence\": %d}",
                        firstJson ? "" : ",", JsonString(name).c_str(), row, JsonString(ext).c_str(),
                        JsonString(desc).c_str(), confidence);
            firstJson = false;
        } else {
            std::printf("%s: %d %s %s (%d%%)\n", name.c_str(), row, ext.c_str(), desc.c_str(), confidence);
        }
    }
    if (json) std::printf("%s]\n", firstJson ? "" : "\n");
    return status;
}

} // namespace vaxel::cli
