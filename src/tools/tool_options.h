#pragma once
// What a tool is, apart from any window: a record of its options (name,
// type, default, range and texts of each) and an execute function over the
// selection. The desktop program builds its options page from the record,
// the command line its --set flags, the batch engine its job keys; each tool
// keeps the values last used for as long as the program runs.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vaxel {

class ToolSession;

enum class OptionType : uint8_t {
    Check,   // a check box: 0 or 1
    Choice,  // a drop-down: the index into choices
    Number,  // an edit box holding a decimal number
    Integer, // an edit box holding a whole number
    Text,    // an edit box holding text
};

struct ToolValues;

// One row of a tool's options page, top to bottom.
struct ToolOption {
    // The name on the command line and in batch jobs: lower case, words
    // joined by '-' ("gain", "fade-curve").
    const char* key = nullptr;
    OptionType type = OptionType::Number;
    // The leading label, or the check box's text.
    const char16_t* label = u"";
    // The trailing label ("dB", "%").
    const char16_t* unit = u"";
    // Number, Integer, Check, Choice: the value at program start.
    double defaultValue = 0.0;
    // Number and Integer: the accepted range, both ends included. With
    // minimum above maximum any value is accepted.
    double minimum = 1.0;
    double maximum = 0.0;
    // Number: how the edit box prints the value ("%.2lf").
    const char* format = "%g";
    // Text: the value at program start.
    const char16_t* defaultText = u"";
    // Choice: the rows of the drop-down.
    std::vector<const char16_t*> choices = {};
    // The tool tip, if any.
    const char16_t* tip = nullptr;
    // When set and false, the row is hidden (the page) and ignored (its
    // value is still kept). Asked with the values the page shows.
    bool (*shown)(const ToolSession& session, const ToolValues& values) = nullptr;
};

// A tool: its options record and its work.
struct ToolSpec {
    // The text at the head of the options page, if any.
    const char16_t* description = nullptr;
    std::vector<ToolOption> options = {};
    // Works through session.items, skips what it cannot use, and calls
    // session.modified() once for each item really changed. values holds one
    // entry for each option, in the order of options. On a failure with one
    // item the tool calls session.reportError() and goes on with the next.
    void (*execute)(ToolSession& session, const ToolValues& values) = nullptr;
    // A tool that adds or removes whole items: the runner takes a state of
    // the whole collection in place of one of the selected items.
    bool changesItems = false;
};

// The values of one run of a tool, one for each option in the record's order.
struct ToolValue {
    double number = 0.0;
    std::u16string text;
};

struct ToolValues {
    const ToolSpec* spec = nullptr;
    std::vector<ToolValue> values;

    // The defaults of the record.
    static ToolValues Defaults(const ToolSpec& spec);
    // Index of the option with that key, or -1.
    int find(std::string_view key) const;
    // By key; a key the record lacks gives 0 / an empty text.
    double number(std::string_view key) const;
    int integer(std::string_view key) const;
    bool check(std::string_view key) const { return number(key) != 0.0; }
    const std::u16string& text(std::string_view key) const;
    void setNumber(std::string_view key, double value);
};

// The values the tool last ran with in this process, or its defaults.
const ToolValues& RememberedValues(const ToolSpec& spec);
void RememberValues(const ToolValues& values);
// Forgets every remembered value (tests).
void ForgetRememberedValues();

// Reads a decimal number as the edit boxes do: a comma counts as the decimal
// point; leading and trailing blanks are ignored. False when the text is not
// a number (the caller keeps the old value).
bool ParseDecimal(std::string_view text, double& value);

// Sets one option from text, as given on the command line or in a batch job
// (key=value). Checks take 0/1, on/off, yes/no, true/false; choices take the
// index or the row text (case ignored); numbers and integers must lie in the
// range. False with LastError set to a sentence naming the option, the value
// and what is accepted.
bool SetOptionFromText(ToolValues& values, std::string_view key, std::string_view text);

// The value as text, as --list and the page show it.
std::string OptionValueText(const ToolOption& option, const ToolValue& value);
// A one-line summary of what an option accepts ("-96..96 dB", "on|off",
// "0=Fade in, 1=Fade out").
std::string OptionRangeText(const ToolOption& option);

} // namespace vaxel
