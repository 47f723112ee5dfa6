// Option values of the tools: defaults from the record, the values each tool
// last ran with, and reading values from text the way the edit boxes, the
// command line and batch jobs give them.
#include "tools/tool_options.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "model/last_error.h"
#include "model/text.h"

namespace vaxel {

namespace {

// Process-wide: each tool keeps what it last ran with until the program ends.
std::map<const ToolSpec*, ToolValues>& Remembered() {
    static std::map<const ToolSpec*, ToolValues> values;
    return values;
}

std::string_view Trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
    return s;
}

bool HasRange(const ToolOption& o) {
    return o.minimum <= o.maximum;
}

std::string FormatNumber(const char* format, double v) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, format ? format : "%g", v);
    return buffer;
}

std::string Lower(std::string_view s) {
    std::string out(s);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return out;
}

} // namespace

ToolValues ToolValues::Defaults(const ToolSpec& spec) {
    ToolValues v;
    v.spec = &spec;
    v.values.resize(spec.options.size());
    for (size_t i = 0; i < spec.options.size(); ++i) {
        const ToolOption& o = spec.options[i];
        if (o.type == OptionType::Text)
            v.values[i].text = o.defaultText ? o.defaultText : u"";
        else
            v.values[i].number = o.defaultValue;
    }
    return v;
}

int ToolValues::find(std::string_view key) const {
    if (!spec) return -1;
    for (size_t i = 0; i < spec->options.size() && i < values.size(); ++i)
        if (spec->options[i].key && key == spec->options[i].key) return int(i);
    return -1;
}

double ToolValues::number(std::string_view key) const {
    const int i = find(key);
    return i < 0 ? 0.0 : values[size_t(i)].number;
}

int ToolValues::integer(std::string_view key) const {
    return int(std::lround(number(key)));
}

const std::u16string& ToolValues::text(std::string_view key) const {
    static const std::u16string empty;
    const int i = find(key);
    return i < 0 ? empty : values[size_t(i)].text;
}

void ToolValues::setNumber(std::string_view key, double value) {
    const int i = find(key);
    if (i >= 0) values[size_t(i)].number = value;
}

const ToolValues& RememberedValues(const ToolSpec& spec) {
    auto& map = Remembered();
    auto it = map.find(&spec);
    if (it == map.end()) it = map.emplace(&spec, ToolValues::Defaults(spec)).first;
    return it->second;
}

void RememberValues(const ToolValues& values) {
    if (values.spec && values.values.size() == values.spec->options.size())
        Remembered()[values.spec] = values;
}

void ForgetRememberedValues() {
    Remembered().clear();
}

bool ParseDecimal(std::string_view text, double& value) {
    std::string s(Trim(text));
    if (s.empty() || s.size() > 64) return false;
    for (char& c : s)
        if (c == ',') c = '.';
    // strtod alone would take "nan", "inf" and hexadecimal: an edit box
    // takes digits, one point, an exponent and a sign.
    for (char c : s)
        if (!((c >= '0' && c <= '9') || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E'))
            return false;
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(s.c_str(), &end);
    if (end != s.c_str() + s.size() || errno == ERANGE || !std::isfinite(v)) return false;
    value = v;
    return true;
}

bool SetOptionFromText(ToolValues& values, std::string_view key, std::string_view text) {
    const int index = values.find(key);
    if (index < 0) {
        std::string known;
        if (values.spec)
            for (const ToolOption& o : values.spec->options)
                if (o.key) known += (known.empty() ? "" : ", ") + std::string(o.key);
        SetLastErrorF("Unknown option '%.*s'; this tool takes: %s", int(key.size()), key.data(),
                      known.empty() ? "no options" : known.c_str());
        return false;
    }
    const ToolOption& o = values.spec->options[size_t(index)];
    ToolValue& target = values.values[size_t(index)];
    const std::string_view t = Trim(text);
    const int keyLength = int(key.size());
    switch (o.type) {
    case OptionType::Text:
        target.text = Utf8ToWide(text);
        return true;
    case OptionType::Check: {
        const std::string l = Lower(t);
        if (l == "1" || l == "on" || l == "yes" || l == "true") {
            target.number = 1.0;
            return true;
        }
        if (l == "0" || l == "off" || l == "no" || l == "false") {
            target.number = 0.0;
            return true;
        }
        SetLastErrorF("Option '%.*s' is on or off, not '%.*s'", keyLength, key.data(), int(text.size()),
                      text.data());
        return false;
    }
    case OptionType::Choice: {
        double v;
        if (ParseDecimal(t, v) && v == std::floor(v)) {
            if (v >= 0 && v < double(o.choices.size())) {
                target.number = v;
                return true;
            }
        } else {
            const std::u16string wide = Utf8ToWide(t);
            for (size_t i = 0; i < o.choices.size(); ++i)
                if (EqualsIgnoreCase(wide, o.choices[i])) {
                    target.number = double(i);
                    return true;
                }
        }
        SetLastErrorF("Option '%.*s' does not offer '%.*s'; it takes %s", keyLength, key.data(),
                      int(text.size()), text.data(), OptionRangeText(o).c_str());
        return false;
    }
    case OptionType::Number:
    case OptionType::Integer: {
        double v;
        if (!ParseDecimal(t, v) || (o.type == OptionType::Integer && v != std::floor(v))) {
            SetLastErrorF("Option '%.*s' needs %s, not '%.*s'", keyLength, key.data(),
                          o.type == OptionType::Integer ? "a whole number" : "a number", int(text.size()),
                          text.data());
            return false;
        }
        if (HasRange(o) && (v < o.minimum || v > o.maximum)) {
            SetLastErrorF("Option '%.*s' is out of range: %.*s is not within %s", keyLength, key.data(),
                          int(text.size()), text.data(), OptionRangeText(o).c_str());
            return false;
        }
        target.number = v;
        return true;
    }
    }
    return false;
}

std::string OptionValueText(const ToolOption& option, const ToolValue& value) {
    switch (option.type) {
    case OptionType::Text:
        return "\"" + WideToUtf8(value.text) + "\"";
    case OptionType::Check:
        return value.number != 0.0 ? "on" : "off";
    case OptionType::Choice: {
        const size_t i = size_t(value.number);
        if (value.number >= 0 && i < option.choices.size()) return WideToUtf8(option.choices[i]);
        return FormatNumber("%g", value.number);
    }
    case OptionType::Integer:
        return FormatNumber("%.0f", value.number);
    case OptionType::Number:
        return FormatNumber(option.format, value.number);
    }
    return {};
}

std::string OptionRangeText(const ToolOption& option) {
    const std::string unit = option.unit && *option.unit ? " " + WideToUtf8(option.unit) : "";
    switch (option.type) {
    case OptionType::Text:
        return "text";
    case OptionType::Check:
        return "on|off";
    case OptionType::Choice: {
        std::string out;
        for (size_t i = 0; i < option.choices.size(); ++i)
            out += (i ? ", " : "") + std::to_string(i) + "=" + WideToUtf8(option.choices[i]);
        return out;
    }
    case OptionType::Integer:
    case OptionType::Number: {
        const char* kind = option.type == OptionType::Integer ? "a whole number" : "a number";
        if (!HasRange(option)) return kind + unit;
        return FormatNumber("%g", option.minimum) + ".." + FormatNumber("%g", option.maximum) + unit;
    }
    }
    return {};
}

} // namespace vaxel
