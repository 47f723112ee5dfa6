// The command line of vaxel-studio; see command_line.h.
#include "app/command_line.h"

#include <strings.h>

namespace vaxel::app {

namespace {

bool SameText(const std::string& a, const char* b) {
    return strcasecmp(a.c_str(), b) == 0;
}

} // namespace

CommandLine ParseCommandLine(const std::vector<std::string>& tokens) {
    CommandLine line;
    for (size_t i = 0; i < tokens.size(); ++i) {
        const std::string& token = tokens[i];
        if (token.empty()) continue;
        const std::string rest = token.substr(1);
        const bool dashSwitch = token[0] == '-';
        const bool slashSwitch = token[0] == '/' && (SameText(rest, "BATCH") || SameText(rest, "NOMSG"));
        if (dashSwitch || slashSwitch) {
            if (SameText(rest, "BATCH")) {
                line.batch = true;
                line.batchJob.assign(tokens.begin() + long(i) + 1, tokens.end());
                break;
            }
            if (SameText(rest, "NOMSG")) line.noMessages = true;
            continue;
        }
        if (token.find(".exe") != std::string::npos) continue;
        line.paths.push_back(token);
    }
    return line;
}

} // namespace vaxel::app
