// The XML-like reader and the writer: tag structure, attribute values and
// references, encodings, damaged input, and documents checked against
// Python's ElementTree in both directions.
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fileio/file_object.h"
#include "fileio/xml.h"
#include "model/last_error.h"
#include "model/text.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

using test::Quote;
using test::TempDir;

XmlReader FromText(const std::string& text) {
    XmlReader reader;
    EXPECT_TRUE(reader.LoadText(text.data(), text.size()));
    return reader;
}

// "name[attr=value,...](children)" for every tag, walked recursively; the
// inner text of a leaf is shown as {text}. Comments show as !--{text}.
std::string Outline(XmlReader& reader, int depth = 0) {
    std::string out;
    while (reader.NextTag()) {
        if (!out.empty()) out += ' ';
        out += reader.TagName();
        if (reader.IsComment()) {
            out += "{" + std::string(reader.InnerText()) + "}";
            continue;
        }
        std::string attrs;
        while (reader.NextAttribute())
            attrs += std::string(attrs.empty() ? "" : ",") + reader.AttributeName() + "=" +
                     reader.AttributeValue();
        if (!attrs.empty()) out += "[" + attrs + "]";
        if (!reader.HasInner()) continue;
        XmlReader inner = reader.Inner();
        std::string children = depth < 32 ? Outline(inner, depth + 1) : "";
        out += children.empty() ? "{" + reader.DecodedInnerText() + "}" : "(" + children + ")";
    }
    return out;
}

std::string Outline(const std::string& text) {
    XmlReader reader = FromText(text);
    return Outline(reader);
}

TEST(XmlReader, TagStructure) {
    // A '>' inside a quoted value does not end the tag; single quotes work
    // behind '=' only, so an apostrophe in text is harmless.
    EXPECT_EQ(Outline("<a x=\"1>2\" y='3>4' z = \"q\">t</a>"), "a[x=1>2,y=3>4,z=q]{t}");
    EXPECT_EQ(Outline("<p>don't</p><q/>"), "p{don't} q");
    // Nested tags of the same name are matched by counting; a self-closing
    // one does not count.
    EXPECT_EQ(Outline("<g><g id=\"1\"><g id=\"2\"/></g><g id=\"3\">x</g></g><h/>"),
              "g(g[id=1](g[id=2]) g[id=3]{x}) h");
    // A tag named like the outer one by prefix is not confused with it.
    EXPECT_EQ(Outline("<a><ab>1</ab><a>2</a></a>"), "a(ab{1} a{2})");
    // Unquoted values, attributes without a value, blanks around '='.
    EXPECT_EQ(Outline("<t a=1 b c =  \"v w\" d=x/>"), "t[a=1,b=,c=v w,d=x]");
    // Line breaks behind an end tag are skipped; text between tags is not a tag.
    EXPECT_EQ(Outline("<a>1</a>\r\n\r\nloose text <b>2</b>\n"), "a{1} b{2}");
    // The end tag may carry blanks; a '>' in a quoted value of a nested tag
    // does not disturb the search for the end.
    EXPECT_EQ(Outline("<a><b v=\"</a>\"/></a ><c/>"), "a(b[v=</a>]) c");
}

TEST(XmlReader, DeclarationsAndComments) {
    XmlReader reader = FromText("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE x>\n"
                                "<!-- a <b> comment -->\n<root k=\"v\"><!-- </root> --><c/></root>");
    ASSERT_TRUE(reader.NextTag());
    EXPECT_STREQ(reader.TagName(), "xml");
    EXPECT_FALSE(reader.HasInner());
    EXPECT_STREQ(reader.FindAttribute("encoding"), "UTF-8");
    EXPECT_STREQ(reader.FindAttribute("version"), "1.0");
    EXPECT_EQ(reader.FindAttribute("standalone"), nullptr);
    ASSERT_TRUE(reader.NextTag());
    EXPECT_STREQ(reader.TagName(), "DOCTYPE");
    ASSERT_TRUE(reader.NextTag());
    EXPECT_TRUE(reader.IsComment());
    EXPECT_STREQ(reader.TagName(), "!--");
    EXPECT_STREQ(reader.InnerText(), " a <b> comment ");
    ASSERT_TRUE(reader.NextTag());
    EXPECT_STREQ(reader.TagName(), "root");
    EXPECT_STREQ(reader.FindAttribute("k"), "v");
    // The end tag inside the comment does not close root.
    XmlReader inner = reader.Inner();
    EXPECT_EQ(Outline(inner), "!--{ </root> } c");
    EXPECT_FALSE(reader.NextTag());
}

TEST(XmlReader, References) {
    XmlReader reader = FromText(
        "<e v=\"&lt;&amp;&gt;&quot;&apos;&#65;&#x42;&#233;&#x20AC;&#x1F600;|&bogus;&#0;&#xD800;&#65\">"
        "a &amp;amp; b &#x41;</e>");
    ASSERT_TRUE(reader.NextTag());
    ASSERT_TRUE(reader.NextAttribute());
    EXPECT_STREQ(reader.AttributeName(), "v");
    EXPECT_EQ(std::string(reader.AttributeValue()),
              "<&>\"'AB\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80|&bogus;&#0;&#xD800;&#65");
    EXPECT_FALSE(reader.NextAttribute());
    // Inner text stays raw; the decoded form decodes once.
    EXPECT_STREQ(reader.InnerText(), "a &amp;amp; b &#x41;");
    EXPECT_EQ(reader.DecodedInnerText(), "a &amp; b A");
    // Over-long numbers are not references.
    char text[] = "&#123456789;&#x110000;";
    EXPECT_EQ(XmlReader::DecodeReferences(text, std::strlen(text)), std::strlen("&#123456789;&#x110000;"));
}

std::string Utf16Bytes(const std::u16string& text, bool bigEndian) {
    std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (char16_t c : text) {
        char hi = char(c >> 8), lo = char(c & 0xFF);
        bytes += bigEndian ? hi : lo;
        bytes += bigEndian ? lo : hi;
    }
    return bytes;
}

TEST(XmlReader, Encodings) {
    TempDir dir;
    const std::u16string doc = u"<a n=\"\u00E9\u20AC\U0001F600\">x\u00FC</a>";
    const std::string expected = WideToUtf8(std::u16string(u"\u00E9\u20AC\U0001F600"));
    struct Case {
        const char* label;
        std::string bytes;
    } cases[] = {
        {"utf-16le", Utf16Bytes(doc, false)},
        {"utf-16be", Utf16Bytes(doc, true)},
        {"utf-8 bom", "\xEF\xBB\xBF" + WideToUtf8(doc)},
        {"utf-8", WideToUtf8(doc)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        auto path = dir / "doc.xml";
        test::WriteFile(path, c.bytes);
        FileObject file;
        ASSERT_TRUE(file.Open(path, FileObject::kRead));
        XmlReader reader;
        ASSERT_TRUE(reader.LoadFile(file));
        ASSERT_TRUE(reader.NextTag());
        EXPECT_STREQ(reader.TagName(), "a");
        EXPECT_EQ(std::string(reader.FindAttribute("n")), expected);
        EXPECT_EQ(std::string(reader.InnerText()), "x\xC3\xBC");
        EXPECT_FALSE(reader.NextTag());
    }
    // An unpaired surrogate becomes U+FFFD; an odd last byte is dropped.
    XmlReader reader = FromText(Utf16Bytes(u"<a>\xD800z</a>", false) + "!");
    ASSERT_TRUE(reader.NextTag());
    EXPECT_EQ(std::string(reader.InnerText()), "\xEF\xBF\xBDz");
    // A closed file is a read failure with the shared words.
    FileObject closed;
    EXPECT_FALSE(reader.LoadFile(closed));
    EXPECT_EQ(LastErrorUtf8(), "Reading from file failed");
}

// Counts tags reached by walking every level; the walk must end.
size_t WalkAll(XmlReader& reader, int depth) {
    size_t n = 0;
    while (reader.NextTag()) {
        ++n;
        while (reader.NextAttribute()) {
        }
        if (reader.HasInner() && depth < 64) {
            XmlReader inner = reader.Inner();
            n += WalkAll(inner, depth + 1);
        }
    }
    EXPECT_FALSE(reader.NextTag()); // stays at the end
    return n;
}

TEST(XmlReader, DamagedInputEnds) {
    // Unclosed tags, quotes and comments at the end of the block end the walk
    // (after whatever came before them).
    const struct {
        const char* text;
        const char* outline;
    } cases[] = {
        {"", ""},
        {"<", ""},
        {"<a", ""},
        {"<a x=\"1>", ""},
        {"<a/><b x=\"unterminated/>", "a"},
        {"<a>text", ""},
        {"<a><a></a>", ""},
        {"</a></b><c/>", "c"},
        {"<!--", "!--{}"},
        {"<!-- open <a/>", "!--{ open <a/>}"},
        {"<<<<>>>>", ""},
        {"<a b='x>", ""},
        {"<a =\"1\" ==  'q'/>", "a[1=,q=]"},
        {"<a></a><b></c>", "a{}"},
        {"<?xml", ""},
        {"< a/>< /b>", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Outline(c.text), c.outline);
    }
    // Random bytes drawn from the characters that matter, with NULs.
    std::mt19937 rng(12345);
    const char alphabet[] = "<>/?!-=\"' ab\n&#;x\0";
    for (int round = 0; round < 2000; ++round) {
        std::string text(rng() % 200, ' ');
        for (char& ch : text) ch = alphabet[rng() % (sizeof alphabet - 1)];
        XmlReader reader = FromText(text);
        EXPECT_LE(WalkAll(reader, 0), text.size());
    }
}

TEST(XmlWriter, LayoutAndEscaping) {
    XmlWriter w;
    w.WriteDeclaration();
    w.WriteTag("root", nullptr, true, false);
    w.AddAttribute("name", "a<b>&\"c'");
    w.AddAttribute("n", 42);
    w.WriteTag("leaf", "x & y");
    w.WriteTag("empty");
    w.AddAttribute("w", std::u16string_view(u"\u00E9"));
    w.WriteTag("open", nullptr, true, false);
    w.WriteTag("inline", "1", false);
    w.WriteTag("inline", "2", true);
    w.CloseAll();
    EXPECT_EQ(w.Depth(), 0u);
    EXPECT_FALSE(w.CloseTag());
    EXPECT_EQ(w.Buffer(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                          "<root name=\"a&lt;b&gt;&amp;&quot;c&apos;\" n=\"42\">\n"
                          "  <leaf>x &amp; y</leaf>\n"
                          "  <empty w=\"\xC3\xA9\"/>\n"
                          "  <open>\n"
                          "    <inline>1</inline><inline>2</inline>\n"
                          "  </open>\n"
                          "</root>\n");
}

TEST(XmlWriter, NumericReferences) {
    XmlWriter w(true);
    // 8-bit text is Windows-1252: 0x80 is the euro sign.
    const char ansi[] = "\xE9\x80<";
    w.WriteTag("a", ansi);
    w.WriteTag("b", std::u16string_view(u"\u00FC\u20AC\U0001F600&"));
    EXPECT_EQ(w.Buffer(), "<a>&#233;&#8364;&lt;</a>\n<b>&#252;&#8364;&#128512;&amp;</b>\n");
    // Read back, the references give UTF-8.
    XmlReader reader = FromText(w.Buffer());
    ASSERT_TRUE(reader.NextTag());
    EXPECT_EQ(reader.DecodedInnerText(), "\xC3\xA9\xE2\x82\xAC<");
    ASSERT_TRUE(reader.NextTag());
    EXPECT_EQ(reader.DecodedInnerText(), WideToUtf8(std::u16string(u"\u00FC\u20AC\U0001F600&")));
}

// Writes a document with awkward values, reads it back with our reader and
// with Python's ElementTree, and checks that both see the same values.
TEST(XmlWriter, RoundTripAndElementTree) {
    test::RequireTool("/usr/bin/python3");
    const std::vector<std::u16string> values = {
        u"plain", u"<tag> & \"quoted\" 'single'", u"", u"\u00E9\u00FC\u20AC \U0001F3B9", u"a>b>c", u"&amp;",
    };
    for (bool numeric : {false, true}) {
        SCOPED_TRACE(numeric ? "numeric references" : "utf-8");
        XmlWriter w(numeric);
        w.WriteDeclaration();
        w.WriteTag("set", nullptr, true, false);
        for (const auto& v : values) {
            w.WriteTag("item", v);
            w.AddAttribute("value", v);
        }
        TempDir dir;
        auto path = dir / "out.xml";
        {
            FileObject file;
            ASSERT_TRUE(file.Open(path, FileObject::kCreate));
            ASSERT_TRUE(w.WriteTo(file));
        }
        FileObject file;
        ASSERT_TRUE(file.Open(path, FileObject::kRead));
        XmlReader reader;
        ASSERT_TRUE(reader.LoadFile(file));
        ASSERT_TRUE(reader.NextTag());
        EXPECT_STREQ(reader.TagName(), "xml");
        ASSERT_TRUE(reader.NextTag());
        EXPECT_STREQ(reader.TagName(), "set");
        XmlReader items = reader.Inner();
        for (const auto& v : values) {
            ASSERT_TRUE(items.NextTag());
            EXPECT_EQ(std::string(items.FindAttribute("value")), WideToUtf8(v));
            EXPECT_EQ(items.DecodedInnerText(), WideToUtf8(v));
        }
        EXPECT_FALSE(items.NextTag());

        std::string output;
        std::string script = "import sys, xml.etree.ElementTree as ET\n"
                             "for e in ET.parse(sys.argv[1]).getroot():\n"
                             "    sys.stdout.buffer.write((e.get('value') + '|' + (e.text or '') + '\\n')"
                             ".encode('utf-8'))\n";
        ASSERT_EQ(
            test::Run("/usr/bin/python3 -c " + Quote(script) + " " + Quote(path.string()), &output, true), 0)
            << output;
        std::string expected;
        for (const auto& v : values) expected += WideToUtf8(v) + "|" + WideToUtf8(v) + "\n";
        EXPECT_EQ(output, expected);
    }
}

// A document written by ElementTree, with its escaping and nesting, read by
// our reader.
TEST(XmlReader, ReadsElementTreeOutput) {
    test::RequireTool("/usr/bin/python3");
    TempDir dir;
    auto path = dir / "in.xml";
    std::string script = "import sys, xml.etree.ElementTree as ET\n"
                         "root = ET.Element('bank', name='A & B <1>', q='say \"hi\"')\n"
                         "for i in range(3):\n"
                         "    r = ET.SubElement(root, 'bank', id=str(i))\n"
                         "    ET.SubElement(r, 'key', lo=str(i * 12)).text = 'k<%d>&\\u00e9' % i\n"
                         "ET.ElementTree(root).write(sys.argv[1], encoding='utf-8', xml_declaration=True)\n";
    ASSERT_EQ(test::Run("/usr/bin/python3 -c " + Quote(script) + " " + Quote(path.string())), 0);
    FileObject file;
    ASSERT_TRUE(file.Open(path, FileObject::kRead));
    XmlReader reader;
    ASSERT_TRUE(reader.LoadFile(file));
    ASSERT_TRUE(reader.NextTag());
    EXPECT_STREQ(reader.TagName(), "xml");
    ASSERT_TRUE(reader.NextTag());
    EXPECT_STREQ(reader.TagName(), "bank");
    EXPECT_STREQ(reader.FindAttribute("name"), "A & B <1>");
    EXPECT_STREQ(reader.FindAttribute("q"), "say \"hi\"");
    XmlReader inner = reader.Inner();
    EXPECT_EQ(Outline(inner), "bank[id=0](key[lo=0]{k<0>&\xC3\xA9}) bank[id=1](key[lo=12]{k<1>&\xC3\xA9}) "
                              "bank[id=2](key[lo=24]{k<2>&\xC3\xA9})");
    EXPECT_FALSE(reader.NextTag());
}

} // namespace
} // namespace vaxel
