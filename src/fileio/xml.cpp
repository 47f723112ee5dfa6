// The tolerant XML-like reader and the XML writer.
//
// The reader scans with explicit end pointers everywhere: the block may hold
// NUL bytes of its own, and a cut (a NUL written into the block) is only ever
// made at a position that has been fully scanned already, or at the first
// byte of a matching end tag, which the walking reader has just stepped over.
#include "fileio/xml.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "fileio/file_object.h"
#include "model/last_error.h"
#include "model/text.h"

namespace vaxel {

namespace {

bool IsNameChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == ':' || c == '_';
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool StartsWith(const char* p, const char* end, const char* text) {
    size_t n = std::strlen(text);
    return size_t(end - p) >= n && std::memcmp(p, text, n) == 0;
}

const char* FindText(const char* p, const char* end, const char* text) {
    size_t n = std::strlen(text);
    while (size_t(end - p) >= n) {
        const void* hit = std::memchr(p, text[0], size_t(end - p) - n + 1);
        if (!hit) return nullptr;
        p = static_cast<const char*>(hit);
        if (std::memcmp(p, text, n) == 0) return p;
        ++p;
    }
    return nullptr;
}

// The '>' that ends a tag whose attribute area starts at p, or null. A '>'
// inside a double-quoted value does not count; a single quote opens a value
// only right behind '=' (and blanks), so that an apostrophe in an unquoted
// word does not swallow the rest of the file.
char* FindTagEnd(char* p, char* end) {
    char quote = 0;
    char previous = 0; // last non-blank character outside quotes
    for (; p < end; ++p) {
        char c = *p;
        if (quote) {
            if (c == quote) {
                quote = 0;
                previous = c;
            }
            continue;
        }
        if (c == '>') return p;
        if (c == '"' || (c == '\'' && previous == '=')) {
            quote = c;
            continue;
        }
        if (!IsBlank(c)) previous = c;
    }
    return nullptr;
}

char* SkipLineBreaks(char* p, char* end) {
    while (p < end && (*p == '\r' || *p == '\n')) ++p;
    return p;
}

// Searches [p, end) for the end tag that matches a start tag `name` whose
// inner text begins at p. Nested start and end tags of the same name are
// counted; comments and the attribute areas of all tags are stepped over.
// On success returns the '<' of the end tag and sets after behind its '>'.
char* FindMatchingEnd(const char* name, size_t nameLength, char* p, char* end, char** after) {
    size_t depth = 1;
    while (p < end) {
        char* lt = static_cast<char*>(std::memchr(p, '<', size_t(end - p)));
        if (!lt) return nullptr;
        char* q = lt + 1;
        if (StartsWith(q, end, "!--")) {
            const char* close = FindText(q + 3, end, "-->");
            if (!close) return nullptr;
            p = const_cast<char*>(close) + 3;
            continue;
        }
        bool closing = q < end && *q == '/';
        if (closing) ++q;
        char* nameEnd = q;
        while (nameEnd < end && IsNameChar(*nameEnd)) ++nameEnd;
        if (nameEnd == q) {
            p = lt + 1; // a lone '<' in text
            continue;
        }
        char* gt = FindTagEnd(nameEnd, end);
        if (!gt) return nullptr;
        bool same = size_t(nameEnd - q) == nameLength && std::memcmp(q, name, nameLength) == 0;
        if (same) {
            if (closing) {
                if (--depth == 0) {
                    *after = gt + 1;
                    return lt;
                }
            } else if (gt[-1] != '/') {
                ++depth;
            }
        }
        p = gt + 1;
    }
    return nullptr;
}

// Appends the UTF-8 form of a code point (no surrogates, at most U+10FFFF).
size_t EncodeUtf8(unsigned long cp, char* out) {
    if (cp < 0x80) {
        out[0] = char(cp);
        return 1;
    }
    if (cp < 0x800) {
        out[0] = char(0xC0 | (cp >> 6));
        out[1] = char(0x80 | (cp & 0x3F));
        return 2;
    }
    if (cp < 0x10000) {
        out[0] = char(0xE0 | (cp >> 12));
        out[1] = char(0x80 | ((cp >> 6) & 0x3F));
        out[2] = char(0x80 | (cp & 0x3F));
        return 3;
    }
    out[0] = char(0xF0 | (cp >> 18));
    out[1] = char(0x80 | ((cp >> 12) & 0x3F));
    out[2] = char(0x80 | ((cp >> 6) & 0x3F));
    out[3] = char(0x80 | (cp & 0x3F));
    return 4;
}

// Decodes one reference at text[i] (text[i] == '&'). Writes the result to
// out and returns the number of source bytes used, or 0 to keep the '&'.
size_t DecodeOne(const char* text, size_t length, size_t i, char* out, size_t* outLength) {
    static const struct {
        const char* name;
        char value;
    } kNamed[] = {{"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
    const char* p = text + i;
    const char* end = text + length;
    for (const auto& named : kNamed) {
        if (StartsWith(p, end, named.name)) {
            out[0] = named.value;
            *outLength = 1;
            return std::strlen(named.name);
        }
    }
    if (!StartsWith(p, end, "&#")) return 0;
    const char* q = p + 2;
    bool hex = q < end && (*q == 'x' || *q == 'X');
    if (hex) ++q;
    unsigned long cp = 0;
    size_t digits = 0;
    for (; q < end && digits < 8; ++q, ++digits) {
        char c = *q;
        int v;
        if (c >= '0' && c <= '9')
            v = c - '0';
        else if (hex && c >= 'a' && c <= 'f')
            v = c - 'a' + 10;
        else if (hex && c >= 'A' && c <= 'F')
            v = c - 'A' + 10;
        else
            break;
        cp = cp * (hex ? 16 : 10) + unsigned(v);
    }
    if (digits == 0 || q >= end || *q != ';') return 0;
    if (cp == 0 || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    *outLength = EncodeUtf8(cp, out);
    // The shortest reference for each UTF-8 length is longer than the
    // encoding ("&#1;" 4 > 1, "&#128;" 6 > 2, "&#x800;" 7 > 3, "&#x10000;"
    // 9 > 4), so decoding in place never overtakes the reading position.
    return size_t(q + 1 - p);
}

} // namespace

size_t XmlReader::DecodeReferences(char* text, size_t length) {
    size_t r = 0, w = 0;
    while (r < length) {
        if (text[r] == '&') {
            char bytes[4];
            size_t count = 0;
            size_t used = DecodeOne(text, length, r, bytes, &count);
            if (used) {
                std::memcpy(text + w, bytes, count);
                w += count;
                r += used;
                continue;
            }
        }
        text[w++] = text[r++];
    }
    text[w] = 0;
    return w;
}

bool XmlReader::Adopt(std::unique_ptr<char[]> block, size_t length) {
    block[length] = 0;
    const auto* b = reinterpret_cast<const unsigned char*>(block.get());
    size_t start = 0;
    if (length >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF) {
        start = 3;
    } else if (length >= 2 && ((b[0] == 0xFF && b[1] == 0xFE) || (b[0] == 0xFE && b[1] == 0xFF))) {
        // UTF-16 to UTF-8: each unit becomes at most three bytes (a surrogate
        // pair, two units, becomes four).
        bool bigEndian = b[0] == 0xFE;
        size_t units = (length - 2) / 2;
        std::unique_ptr<char[]> utf8(new (std::nothrow) char[units * 3 + 1]);
        if (!utf8) {
            SetLastError("Out of memory");
            return false;
        }
        auto unit = [&](size_t k) -> unsigned {
            const unsigned char* u = b + 2 + 2 * k;
            return bigEndian ? (unsigned(u[0]) << 8 | u[1]) : (unsigned(u[1]) << 8 | u[0]);
        };
        size_t n = 0;
        for (size_t k = 0; k < units; ++k) {
            unsigned long cp = unit(k);
            if (cp >= 0xD800 && cp <= 0xDBFF && k + 1 < units && unit(k + 1) >= 0xDC00 &&
                unit(k + 1) <= 0xDFFF) {
                cp = 0x10000 + ((cp - 0xD800) << 10) + (unit(k + 1) - 0xDC00);
                ++k;
            } else if (cp >= 0xD800 && cp <= 0xDFFF) {
                cp = 0xFFFD; // an unpaired surrogate
            }
            n += EncodeUtf8(cp, utf8.get() + n);
        }
        utf8[n] = 0;
        block = std::move(utf8);
        length = n;
    }
    owned_ = std::move(block);
    blockStart_ = owned_.get() + start;
    blockEnd_ = owned_.get() + length;
    cursor_ = blockStart_;
    ClearTag();
    return true;
}

bool XmlReader::LoadFile(FileObject& file) {
    *this = XmlReader();
    uint64_t size = file.Size();
    if (!file.IsOpen() || !file.Seek(0)) {
        SetLastError("Reading from file failed");
        return false;
    }
    if (size >= uint64_t(SIZE_MAX / 2)) {
        SetLastError("Out of memory");
        return false;
    }
    std::unique_ptr<char[]> block(new (std::nothrow) char[size_t(size) + 1]);
    if (!block) {
        SetLastError("Out of memory");
        return false;
    }
    if (!file.ReadBig(block.get(), size)) {
        SetLastError("Reading from file failed");
        return false;
    }
    return Adopt(std::move(block), size_t(size));
}

bool XmlReader::LoadText(const char* text, size_t length) {
    *this = XmlReader();
    std::unique_ptr<char[]> block(new (std::nothrow) char[length + 1]);
    if (!block) {
        SetLastError("Out of memory");
        return false;
    }
    if (length) std::memcpy(block.get(), text, length);
    return Adopt(std::move(block), length);
}

XmlReader XmlReader::Inner() const {
    if (!innerStart_) return XmlReader();
    return XmlReader(innerStart_, innerEnd_);
}

void XmlReader::ClearTag() {
    tagName_ = "";
    isComment_ = false;
    attrStart_ = attrEnd_ = nullptr;
    attrsParsed_ = false;
    attrs_.clear();
    attrIndex_ = 0;
    attrName_ = attrValue_ = "";
    innerStart_ = innerEnd_ = nullptr;
}

bool XmlReader::NextTag() {
    ClearTag();
    char* end = blockEnd_;
    while (cursor_ && cursor_ < end) {
        char* lt = static_cast<char*>(std::memchr(cursor_, '<', size_t(end - cursor_)));
        if (!lt || lt + 1 >= end) break;
        char* q = lt + 1;
        if (StartsWith(q, end, "!--")) {
            char* body = q + 3;
            char* close = const_cast<char*>(FindText(body, end, "-->"));
            tagName_ = "!--";
            isComment_ = true;
            innerStart_ = body;
            innerEnd_ = close ? close : end;
            cursor_ = close ? SkipLineBreaks(close + 3, end) : end;
            if (close) *close = 0; // an unterminated comment runs to the block's end, already NUL
            return true;
        }
        bool declaration = *q == '?' || *q == '!';
        if (declaration) ++q;
        if (!declaration && *q == '/') {
            // A stray end tag at this level: step over it.
            char* gt = FindTagEnd(q, end);
            if (!gt) break;
            cursor_ = gt + 1;
            continue;
        }
        char* nameEnd = q;
        while (nameEnd < end && IsNameChar(*nameEnd)) ++nameEnd;
        if (nameEnd == q) {
            cursor_ = lt + 1; // '<' in text, or "<!" of something that is not a tag
            continue;
        }
        char* gt = FindTagEnd(nameEnd, end);
        if (!gt) break;
        char* areaEnd = gt;
        bool empty = declaration;
        if (gt > nameEnd && (gt[-1] == '/' || (declaration && gt[-1] == '?'))) {
            areaEnd = gt - 1;
            empty = true;
        }
        if (empty) {
            cursor_ = SkipLineBreaks(gt + 1, end);
        } else {
            char* after = nullptr;
            char* close = FindMatchingEnd(q, size_t(nameEnd - q), gt + 1, end, &after);
            if (!close) break;
            innerStart_ = gt + 1;
            innerEnd_ = close;
            *close = 0;
            cursor_ = SkipLineBreaks(after, end);
        }
        // The name is cut last: its terminator may overwrite the '/' or '>'
        // that was looked at above. The attribute area starts behind it.
        attrStart_ = nameEnd < areaEnd ? nameEnd + 1 : areaEnd;
        attrEnd_ = areaEnd;
        *nameEnd = 0;
        tagName_ = q;
        return true;
    }
    cursor_ = end;
    return false;
}

void XmlReader::ParseAttributes() {
    attrsParsed_ = true;
    char* p = attrStart_;
    char* end = attrEnd_;
    if (!p) return;
    while (p < end) {
        // Anything that cannot start a name (blanks, stray characters) is
        // stepped over, so junk in a tag can not stall the walk.
        while (p < end && !IsNameChar(*p)) ++p;
        if (p >= end) break;
        char* name = p;
        while (p < end && IsNameChar(*p)) ++p;
        char* nameEnd = p;
        while (p < end && IsBlank(*p)) ++p;
        char* value = nameEnd; // empty value: points at the name's terminator
        size_t valueLength = 0;
        if (p < end && *p == '=') {
            ++p;
            while (p < end && IsBlank(*p)) ++p;
            if (p < end && (*p == '"' || *p == '\'')) {
                char quote = *p++;
                value = p;
                while (p < end && *p != quote) ++p;
                valueLength = size_t(p - value);
            } else {
                value = p;
                while (p < end && !IsBlank(*p)) ++p;
                valueLength = size_t(p - value);
            }
            // p is at the closing quote, a blank or the area's end: the value
            // is cut there, and the walk resumes behind it.
            char* cut = p;
            if (p < end) ++p;
            *cut = 0;
            DecodeReferences(value, valueLength);
        } else {
            p = nameEnd < end ? nameEnd + 1 : end;
        }
        *nameEnd = 0;
        attrs_.push_back({name, value});
    }
}

bool XmlReader::NextAttribute() {
    if (!attrsParsed_) ParseAttributes();
    if (attrIndex_ >= attrs_.size()) {
        attrName_ = attrValue_ = "";
        return false;
    }
    attrName_ = attrs_[attrIndex_].name;
    attrValue_ = attrs_[attrIndex_].value;
    ++attrIndex_;
    return true;
}

const char* XmlReader::FindAttribute(std::string_view name) {
    if (!attrsParsed_) ParseAttributes();
    for (const auto& a : attrs_)
        if (name == a.name) return a.value;
    return nullptr;
}

std::string XmlReader::DecodedInnerText() const {
    std::string text(InnerText(), InnerLength());
    text.resize(DecodeReferences(text.data(), text.size()));
    return text;
}

// ---------------------------------------------------------------------------

namespace {
constexpr const char* kIndentUnit = "  ";
}

void XmlWriter::Indent() {
    if (!atLineStart_) return;
    for (size_t i = 0; i < open_.size(); ++i) out_ += kIndentUnit;
    atLineStart_ = false;
}

void XmlWriter::EndLine() {
    out_ += '\n';
    atLineStart_ = true;
}

void XmlWriter::WriteDeclaration() {
    FinishStart();
    if (!atLineStart_) EndLine();
    out_ += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    EndLine();
}

void XmlWriter::AppendEscaped(const char* bytes, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        auto c = static_cast<unsigned char>(bytes[i]);
        switch (c) {
        case '&':
            out_ += "&amp;";
            break;
        case '<':
            out_ += "&lt;";
            break;
        case '>':
            out_ += "&gt;";
            break;
        case '"':
            out_ += "&quot;";
            break;
        case '\'':
            out_ += "&apos;";
            break;
        default:
            if (c > 127 && numericReferences_) {
                char ref[16];
                std::snprintf(ref, sizeof ref, "&#%d;", int(AnsiCharToWide(c)));
                out_ += ref;
            } else {
                out_ += char(c);
            }
        }
    }
}

void XmlWriter::AppendEscaped(std::u16string_view text) {
    if (!numericReferences_) {
        std::string utf8 = WideToUtf8(text);
        AppendEscaped(utf8.data(), utf8.size());
        return;
    }
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned long cp = text[i];
        if (cp == 0) break;
        if (cp < 128) {
            char c = char(cp);
            AppendEscaped(&c, 1);
            continue;
        }
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = 0xFFFD;
        }
        char ref[16];
        std::snprintf(ref, sizeof ref, "&#%lu;", cp);
        out_ += ref;
    }
}

void XmlWriter::StartTag(std::string_view name) {
    FinishStart();
    Indent();
    out_ += '<';
    out_ += name;
    pendingName_.assign(name);
}

void XmlWriter::WriteTag(std::string_view name, const char* text, bool newLine, bool closeOnSameLine) {
    StartTag(name);
    pendingText_.clear();
    if (text) {
        std::swap(out_, pendingText_);
        AppendEscaped(text, std::strlen(text));
        std::swap(out_, pendingText_);
        pending_ = closeOnSameLine ? Pending::TextClose : Pending::TextOpen;
    } else {
        pending_ = closeOnSameLine ? Pending::Empty : Pending::Open;
    }
    pendingNewLine_ = newLine;
}

void XmlWriter::WriteTag(std::string_view name, std::u16string_view text, bool newLine,
                         bool closeOnSameLine) {
    StartTag(name);
    pendingText_.clear();
    std::swap(out_, pendingText_);
    AppendEscaped(text);
    std::swap(out_, pendingText_);
    pending_ = closeOnSameLine ? Pending::TextClose : Pending::TextOpen;
    pendingNewLine_ = newLine;
}

void XmlWriter::AddAttribute(std::string_view name, std::string_view value) {
    if (pending_ == Pending::None) return;
    out_ += ' ';
    out_ += name;
    out_ += "=\"";
    AppendEscaped(value.data(), value.size());
    out_ += '"';
}

void XmlWriter::AddAttribute(std::string_view name, std::u16string_view value) {
    if (pending_ == Pending::None) return;
    out_ += ' ';
    out_ += name;
    out_ += "=\"";
    AppendEscaped(value);
    out_ += '"';
}

void XmlWriter::AddAttribute(std::string_view name, long long value) {
    AddAttribute(name, std::string_view(std::to_string(value)));
}

void XmlWriter::FinishStart() {
    Pending mode = pending_;
    if (mode == Pending::None) return;
    pending_ = Pending::None;
    switch (mode) {
    case Pending::Empty:
        out_ += "/>";
        break;
    case Pending::Open:
        out_ += '>';
        open_.push_back(pendingName_);
        break;
    case Pending::TextClose:
        out_ += '>';
        out_ += pendingText_;
        out_ += "</";
        out_ += pendingName_;
        out_ += '>';
        break;
    case Pending::TextOpen:
        out_ += '>';
        out_ += pendingText_;
        open_.push_back(pendingName_);
        break;
    case Pending::None:
        break;
    }
    if (pendingNewLine_) EndLine();
}

void XmlWriter::WriteText(const char* bytes, size_t length) {
    FinishStart();
    Indent();
    AppendEscaped(bytes, length);
}

void XmlWriter::WriteText(std::u16string_view text) {
    FinishStart();
    Indent();
    AppendEscaped(text);
}

bool XmlWriter::CloseTag() {
    FinishStart();
    if (open_.empty()) return false;
    std::string name = std::move(open_.back());
    open_.pop_back();
    Indent();
    out_ += "</";
    out_ += name;
    out_ += '>';
    EndLine();
    return true;
}

void XmlWriter::CloseAll() {
    while (CloseTag()) {
    }
}

const std::string& XmlWriter::Buffer() {
    FinishStart();
    return out_;
}

bool XmlWriter::WriteTo(FileObject& file) {
    CloseAll();
    if (!file.WriteBig(out_.data(), out_.size())) {
        SetLastError("Writing to file failed");
        return false;
    }
    return true;
}

} // namespace vaxel
