// vaxel formats: the rows of the format table, for people and for scripts.
#include <cstdio>

#include "cli/cli.h"
#include "fileio/format_table.h"
#include "model/text.h"

namespace vaxel::cli {

std::string JsonString(const std::string& utf8) {
    std::string out = "\"";
    for (unsigned char c : utf8) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            if (c < 0x20) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\u%04x", c);
                out += buf;
            } else {
                out += char(c);
            }
        }
    }
    return out + "\"";
}

int Formats(const Args& args) {
    bool json = false;
    for (const std::string& a : args) {
        if (a == "--json") {
            json = true;
        } else {
            std::fprintf(stderr, "vaxel formats: unknown option '%s'\n", a.c_str());
            return kExitUsage;
        }
    }
    if (json) std::printf("[\n");
    for (int row = 0; row < formatCount; ++row) {
        const FormatEntry* e = formatRow(row);
        std::string ext = WideToUtf8(e->extension);
        std::string desc = WideToUtf8(e->description);
        if (json) {
            std::printf("  {\"row\": %d, \"extension\": %s, \"read\": %s, \"write\": %s, \"detect\": %s, "
                        "\"description\": %s, \"itemMask\": %u, \"codingMask\": %u, \"param\": %u}%s\n",
                        row, JsonString(ext).c_str(), e->read ? "true" : "false", e->write ? "true" : "false",
                        e->detect ? "true" : "false", JsonString(desc).c_str(), unsigned(e->itemMask),
                        unsigned(e->codingMask), unsigned(e->param), row + 1 < formatCount ? "," : "");
        } else {
            std::printf("%3d  %-10s %c%c  %s\n", row, ext.c_str(), e->read ? 'r' : '-', e->write ? 'w' : '-',
                        desc.c_str());
        }
    }
    if (json)
        std::printf("]\n");
    else
        std::printf("%d formats: %d with a reader, %d with a writer\n", formatCount, readerCount(),
                    writerCount());
    return kExitOk;
}

} // namespace vaxel::cli
