// Fitting names into fixed-length fields (8, 10, 12 or 16 characters in the
// sampler formats). A plain cut would turn "Flute C#3 L" and "Flute C#3 R"
// into the same "Flute C#", so the parts that tell samples apart are taken
// off the end first and the stem gives way.
#include "fileio/names.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "fileio/units.h"
#include "model/text.h"

namespace vaxel {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsNoteLetter(char c) {
    return (c >= 'A' && c <= 'G') || (c >= 'a' && c <= 'g');
}

// Removes trailing blanks; tells whether there were any.
bool TrimBlanks(std::string_view& s) {
    size_t before = s.size();
    while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
    return s.size() != before;
}

// Whether the digits that start at index first belong to a note name: a
// letter A to G with an optional '#' or 'b' and an optional '-', preceded by
// a blank ("Flute C#3", "Bass Bb-1"). A 'b' may be the letter or the flat, so
// both readings are tried.
bool DigitsEndNote(std::string_view s, size_t first) {
    size_t q = first;
    if (q > 0 && s[q - 1] == '-') --q;
    // Letter directly before.
    if (q >= 2 && IsNoteLetter(s[q - 1]) && s[q - 2] == ' ') return true;
    // Letter and accidental.
    return q >= 3 && (s[q - 1] == '#' || s[q - 1] == 'b') && IsNoteLetter(s[q - 2]) && s[q - 3] == ' ';
}

// Length of a note name of two to four characters at the end of s, or 0.
size_t NoteAtEnd(std::string_view s) {
    for (size_t len = 4; len >= 2; --len)
        if (s.size() >= len && ParseNoteName(s.substr(s.size() - len), kOctaveAsWritten) >= 0) return len;
    return 0;
}

struct Part {
    std::string_view text;
    bool blankBefore;
};

} // namespace

size_t FitNameToField(char* dest, size_t capacity, const char* source, int length, bool stripSuffix,
                      int padWith, bool terminate) {
    if (!dest || capacity == 0) return 0;
    size_t room = terminate ? capacity - 1 : capacity;

    size_t n = 0;
    if (source) {
        if (length < 0) {
            n = std::strlen(source);
        } else {
            const void* nul = std::memchr(source, 0, size_t(length));
            n = nul ? size_t(static_cast<const char*>(nul) - source) : size_t(length);
        }
    }
    std::string_view name(source ? source : "", n);

    // 1. Trailing blanks.
    TrimBlanks(name);

    // 2. The channel letter of a stereo pair: "Pad L", "Pad-R".
    char channel = 0;
    if (stripSuffix && name.size() >= 2) {
        char c = name.back(), before = name[name.size() - 2];
        if ((c == 'L' || c == 'R' || c == 'l' || c == 'r') && (before == ' ' || before == '-')) {
            channel = c;
            name.remove_suffix(2);
            TrimBlanks(name);
        }
    }

    // 3. Up to three trailing digits, unless they are the octave of a note
    //    ("Cello A440" is no note, so its digits are kept as digits).
    Part digits{{}, false};
    size_t run = 0;
    while (run < name.size() && IsDigit(name[name.size() - 1 - run])) ++run;
    if (run > 0 && !(DigitsEndNote(name, name.size() - run) && NoteAtEnd(name) > 0)) {
        size_t take = run < 3 ? run : 3;
        digits.text = name.substr(name.size() - take);
        name.remove_suffix(take);
        digits.blankBefore = TrimBlanks(name);
    }

    // 4. A note name of two to four characters at the end.
    Part note{{}, false};
    if (size_t len = NoteAtEnd(name)) {
        note.text = name.substr(name.size() - len);
        name.remove_suffix(len);
        note.blankBefore = TrimBlanks(name);
    }

    // 5. The stem gets what the kept parts leave.
    size_t channelLength = channel ? 2 : 0;
    size_t reserved = digits.text.size() + note.text.size() + channelLength;
    size_t stemLength = room > reserved ? room - reserved : 0;
    std::string_view stem = name.substr(0, stemLength < name.size() ? stemLength : name.size());
    TrimBlanks(stem);

    // 6. Stem, then the kept parts in the order they stood (a note taken in
    //    step 4 stood before any digits of step 3), then the channel.
    std::string out(stem);
    const Part parts[2] = {note, digits};
    for (size_t i = 0; i < 2; ++i) {
        if (parts[i].text.empty()) continue;
        size_t after = channelLength + (i == 0 ? digits.text.size() : 0);
        if (parts[i].blankBefore && !out.empty() && out.size() + 1 + parts[i].text.size() + after <= room)
            out += ' ';
        out += parts[i].text;
    }
    std::string suffix;
    if (channel) suffix = std::string("-") + channel;
    if (padWith == kPadBlanks) {
        // The channel letter goes to the very end of the field.
        size_t body = room >= suffix.size() ? room - suffix.size() : 0;
        out.resize(body, ' ');
        out += suffix;
    } else {
        out += suffix;
        if (padWith == kPadZeros) out.resize(room, '\0');
    }
    if (out.size() > room) out.resize(room);

    std::memcpy(dest, out.data(), out.size());
    if (terminate) dest[out.size()] = 0;
    return out.size();
}

size_t FitNameToField(char* dest, size_t capacity, const char16_t* source, int length, bool stripSuffix,
                      int padWith, bool terminate) {
    size_t n = 0;
    if (source) {
        if (length < 0) length = INT32_MAX;
        while (n < size_t(length) && source[n]) ++n;
    }
    std::u16string_view wide(source, n);
    std::string ansi = WideToAnsi(wide);
    return FitNameToField(dest, capacity, ansi.c_str(), int(ansi.size()), stripSuffix, padWith, terminate);
}

} // namespace vaxel
