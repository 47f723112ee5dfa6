#pragma once
// A tolerant reader and a small writer for the XML-like text that several
// instrument and settings formats use.
//
// XmlReader is not a validating parser. It keeps the whole text as one
// modifiable, NUL-terminated block and cuts it in place: tag names, attribute
// values and inner texts become C strings inside the block, so walking costs
// no allocation per tag. The block can be cut only once: every tag is visited
// a single time, walking forward.
//
// XmlWriter builds a document in memory with indentation and escaping.
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vaxel {

class FileObject;

class XmlReader {
  public:
    XmlReader() = default;
    XmlReader(XmlReader&&) noexcept = default;
    XmlReader& operator=(XmlReader&&) noexcept = default;
    XmlReader(const XmlReader&) = delete;
    XmlReader& operator=(const XmlReader&) = delete;

    // Reads the whole file from offset 0. A UTF-8 byte order mark is skipped;
    // FF FE and FE FF mark UTF-16 (little- and big-endian) text, which is
    // converted to UTF-8. False with LastError set when reading fails.
    bool LoadFile(FileObject& file);
    // The same for text in memory; the text is copied.
    bool LoadText(const char* text, size_t length);

    // A reader over the inner text of the current tag. It borrows this
    // reader's block, so this reader (or the one that owns the block) must
    // outlive it. Empty when the current tag has no inner text.
    XmlReader Inner() const;

    // Moves to the next tag at this level; nested tags are inside the inner
    // text and are reached with Inner(). A comment "<!--...-->" is delivered
    // as a tag named "!--" whose inner text is the comment. For "<?name ...?>"
    // and "<!name ...>" the name is taken behind the mark; they never have
    // inner text. Returns false at the end, or when a tag is not closed
    // (no '>' or no matching end tag); mismatched tags are not reported.
    bool NextTag();
    // Moves to the next attribute of the current tag: a name, '=' with
    // optional blanks, and a value in double (or single) quotes or unquoted
    // up to the next blank. The value's character references are decoded.
    // An attribute without '=' has an empty value.
    bool NextAttribute();
    // The value of the named attribute of the current tag (case-sensitive),
    // or null. It may be called before, after or between NextAttribute calls.
    const char* FindAttribute(std::string_view name);

    const char* TagName() const { return tagName_; }
    bool IsTag(std::string_view name) const { return name == tagName_; }
    bool IsComment() const { return isComment_; }
    const char* AttributeName() const { return attrName_; }
    const char* AttributeValue() const { return attrValue_; }
    // The raw inner text of the current tag, NUL-terminated (the text itself
    // may contain NUL bytes of the file; InnerLength counts them). "" when
    // the tag has none.
    const char* InnerText() const { return innerStart_ ? innerStart_ : ""; }
    size_t InnerLength() const { return size_t(innerEnd_ - innerStart_); }
    bool HasInner() const { return innerStart_ != nullptr; }
    // The inner text with its character references decoded; meant for
    // elements that hold only text.
    std::string DecodedInnerText() const;

    // Decodes &amp; &lt; &gt; &quot; &apos; and numeric references &#NNN;
    // and &#xHH; in place (code points above 127 become UTF-8) and
    // terminates the result. Returns the new length; it never grows. A
    // reference that is malformed, names code point 0, a surrogate or a
    // value beyond U+10FFFF is left as written.
    static size_t DecodeReferences(char* text, size_t length);

  private:
    XmlReader(char* begin, char* end) : cursor_(begin), blockStart_(begin), blockEnd_(end) {}
    bool Adopt(std::unique_ptr<char[]> block, size_t length);
    void ClearTag();
    void ParseAttributes();

    struct Attribute {
        const char* name;
        const char* value;
    };

    char* cursor_ = nullptr;
    const char* tagName_ = "";
    bool isComment_ = false;
    // The attribute area of the current tag, parsed on first use.
    char* attrStart_ = nullptr;
    char* attrEnd_ = nullptr;
    bool attrsParsed_ = false;
    std::vector<Attribute> attrs_;
    size_t attrIndex_ = 0;
    const char* attrName_ = "";
    const char* attrValue_ = "";
    char* innerStart_ = nullptr;
    char* innerEnd_ = nullptr;
    char* blockStart_ = nullptr;
    char* blockEnd_ = nullptr;
    std::unique_ptr<char[]> owned_;
};

class XmlWriter {
  public:
    // With numericReferences every character above 127 is written as a
    // decimal reference "&#NNN;" so that the output is plain ASCII.
    explicit XmlWriter(bool numericReferences = false) : numericReferences_(numericReferences) {}

    // The declaration line "<?xml version="1.0" encoding="UTF-8"?>" and a line break.
    void WriteDeclaration();

    // Starts element `name` (at the current indentation when at the start of
    // a line). AddAttribute calls that follow add to its start tag.
    //  - text null, closeOnSameLine:  <name a="1"/>
    //  - text null, !closeOnSameLine: <name a="1">  and the element stays
    //    open; children follow one level deeper until CloseTag().
    //  - text given, closeOnSameLine: <name a="1">text</name>
    //  - text given, !closeOnSameLine: <name a="1">text  and it stays open.
    // newLine ends the line after what was written.
    void WriteTag(std::string_view name, const char* text = nullptr, bool newLine = true,
                  bool closeOnSameLine = true);
    void WriteTag(std::string_view name, std::u16string_view text, bool newLine = true,
                  bool closeOnSameLine = true);
    // Adds ` name="value"` to the start tag just begun; ignored otherwise.
    void AddAttribute(std::string_view name, std::string_view value);
    void AddAttribute(std::string_view name, std::u16string_view value);
    void AddAttribute(std::string_view name, long long value);
    // Escaped text at the current position: & < > " ' become named
    // references. The 8-bit form passes bytes above 127 unchanged (UTF-8
    // text), or, with numeric references, takes them as Windows-1252 and
    // writes their code points. The wide form writes UTF-8, or with numeric
    // references the code point of every character above 127.
    void WriteText(const char* bytes, size_t length);
    void WriteText(std::u16string_view text);
    // Closes the innermost open element; false when none is open.
    bool CloseTag();
    void CloseAll();
    size_t Depth() const { return open_.size(); }

    // The document so far, with a pending start tag completed.
    const std::string& Buffer();
    // Closes every open element and writes the document to the file at its
    // current position. False with LastError "Writing to file failed".
    bool WriteTo(FileObject& file);

  private:
    enum class Pending { None, Empty, Open, TextClose, TextOpen };
    void FinishStart();
    void Indent();
    void EndLine();
    void AppendEscaped(const char* bytes, size_t length);
    void AppendEscaped(std::u16string_view text);
    void StartTag(std::string_view name);

    std::string out_;
    std::vector<std::string> open_;
    bool numericReferences_;
    bool atLineStart_ = true;
    // A start tag whose '>' is not written yet, so attributes may follow.
    Pending pending_ = Pending::None;
    std::string pendingName_;
    std::string pendingText_;
    bool pendingNewLine_ = false;
};

} // namespace vaxel
