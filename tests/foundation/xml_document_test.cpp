#include <zel/foundation/Exception.h>
#include <zel/foundation/XmlDocument.h>

#include <gtest/gtest.h>

using zel::XmlDocument;
using zel::XmlElement;

namespace {

std::string failure(std::string_view text, XmlDocument::Limits const& limits = {})
{
    try {
        XmlDocument::parse(text, limits);
    } catch (zel::ParseException const& exception) {
        return exception.what();
    }
    return "";
}

std::string nested(std::size_t depth)
{
    std::string text;
    for (std::size_t i = 0; i < depth; ++i)
        text += "<a>";
    for (std::size_t i = 0; i < depth; ++i)
        text += "</a>";
    return text;
}

} // namespace

TEST(XmlDocument, readsElementsAttributesAndText)
{
    XmlElement const root = XmlDocument::parse("\xEF\xBB\xBF<?xml version=\"1.0\"?><!-- <x> & -->\n"
                                               "<a one='1 &lt; 2' two=\"&#xe9;&#0009;>/\">  text <b/> &amp; "
                                               "<![CDATA[<raw> & ]]><b><c/>inner</b></a>\n<!-- end -->");
    EXPECT_EQ(root.name, "a");
    EXPECT_EQ(*root.attribute("one"), "1 < 2");
    EXPECT_EQ(*root.attribute("two"), "\xC3\xA9\t>/");
    EXPECT_EQ(root.attribute("three"), nullptr);
    EXPECT_EQ(root.text, "text  & <raw> &");
    ASSERT_EQ(root.children.size(), 2u);
    EXPECT_EQ(root.child("b"), &root.children[0]);
    EXPECT_EQ(root.children[1].text, "inner");
    EXPECT_EQ(root.child("c"), nullptr);
    EXPECT_EQ(XmlDocument::parse("<a>&#x20;]] >&#xD7FF;&#xE000;&#xFFFD;&#x10000;&#x10FFFF;&#13;|</a>").text,
              "]] >\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\r|");
    for (char const* start :
         {"<?xml version=\"1.0\" encoding=\"utf-8\"?>", "<?xml encoding='US-ASCII'?>",
          "<?xml-encoding 'utf-16'?>", " \t\r\n", "<?xml version='1.0'?><?pi encoding='x'?>"})
        EXPECT_EQ(failure(start + std::string("<a/>")), "");
}

TEST(XmlDocument, refusesWithReasonAndOffset)
{
    struct
    {
        std::string text;
        char const* message;
    } const cases[] = {
        {"", "XML: no element at byte 0"},
        {"  ", "XML: no element at byte 2"},
        {"text", "XML: text outside the document's element at byte 0"},
        {"<a/>x", "XML: text outside the document's element at byte 4"},
        {"<a/><b/>", "XML: more than one element at the top at byte 4"},
        {"<a>", "XML: element not closed at byte 3"},
        {"</a>", "XML: closing tag without an element at byte 0"},
        {"<a></b>", "XML: "},
        {"<a b=\"1></a>", "XML: \"<\" inside an attribute at byte 8"},
        {"<a b=\"1", "XML: attribute not closed at byte 5"},
        {"<a b=1/>", "XML: "},
        {"<a", "XML: tag not closed at byte 0"},
        {"<", "XML: tag not closed at byte 0"},
        {"<a><", "XML: tag not closed at byte 3"},
        {"< a/>", "XML: "},
        {"<a/><!-- ", "XML: comment not closed at byte 4"},
        {"<a><![CDATA[ ]]</a>", "XML: CDATA section not closed at byte 3"},
        {"<?xml ", "XML: processing instruction not closed at byte 0"},
        {"<!DOCTYPE a [<!ENTITY x \"y\">]><a>&x;</a>", "XML: document types are refused at byte 0"},
        {"<a><!DOCTYPE a></a>", "XML: document types are refused at byte 3"},
        {"<a>&x;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a b=\"&x;\"/>", "XML: unknown entity or character reference at byte 6"},
        {"<a>&</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a>&#0;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a>&#xD800;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a>&#x110000;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a>&#4294967361;</a>", "XML: unknown entity or character reference at byte 3"},
        {std::string("<a>\0</a>", 8), "XML: control character at byte 3"},
        {"<a b=\"\x01\"/>", "XML: control character at byte 6"},
        {"\xFF\xFE<\x00", "XML: no UTF-8 at byte 0"},
        {"<a>\xC3\x28</a>", "XML: no UTF-8 at byte 3"},
        {"<a b='\xED\xA0\x80'/>", "XML: no UTF-8 at byte 6"},
        {"<!--\xC0\x80--><a/>", "XML: no UTF-8 at byte 4"},
        {"<a>\xEF\xBF\xBE</a>", "XML: a character that XML excludes at byte 3"},
        {"<a b='\xEF\xBF\xBF'/>", "XML: a character that XML excludes at byte 6"},
        {"<!--\x1F--><a/>", "XML: control character at byte 4"},
        {"<a>&#;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a>&#x;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a>&;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a>&#65 ;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a>&#0000000000000065;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a>&#31;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a>&#xDFFF;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a>&#xFFFE;</a>", "XML: unknown entity or character reference at byte 3"},
        {"<a><!-- a -- b --></a>", "XML: \"--\" inside a comment at byte 10"},
        {"<a><!-- a ---></a>", "XML: \"--\" inside a comment at byte 10"},
        {"<a>x]]>y</a>", "XML: \"]]>\" outside a CDATA section at byte 4"},
        {"<a/><![CDATA[x]]>", "XML: document types are refused at byte 4"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><a/>", "XML: another encoding than UTF-8 at byte 0"},
        {"\xEF\xBB\xBF<?xml\tencoding = \"utf-16\"?><a/>", "XML: another encoding than UTF-8 at byte 3"},
        {"<?xml encoding='utf-8?><a/>", "XML: another encoding than UTF-8 at byte 0"},
    };
    for (auto const& c : cases)
        EXPECT_TRUE(failure(c.text).starts_with(c.message)) << c.text << "\n" << failure(c.text);
}

TEST(XmlDocument, holdsItsLimits)
{
    XmlDocument::Limits limits;
    limits.depth = 5;
    limits.elements = 6;
    limits.bytes = 60;
    EXPECT_EQ(failure(nested(5), limits), "");
    EXPECT_EQ(failure("<a>" + std::string(53, ' ') + "</a>", limits), "");
    EXPECT_EQ(failure(nested(6), limits), "XML: elements nested deeper than allowed at byte 15");
    EXPECT_EQ(failure("<a><b/><b/><b/><b/><b/></a>", limits), "");
    EXPECT_EQ(failure("<a><b/><b/><b/><b/><b/><b/></a>", limits),
              "XML: more elements than allowed at byte 23");
    EXPECT_EQ(failure("<a>" + std::string(57, ' ') + "</a>", limits),
              "XML: document larger than allowed at byte 60");
    EXPECT_NE(failure(nested(1'000'000)), "");
}

// Every prefix of a document, and the document with each byte replaced in turn: an answer or an exception.
TEST(XmlDocument, survivesDamagedText)
{
    std::string const text =
        "<?xml version=\"1.0\"?><a b=\"1\" c='&lt;'><!-- x --><d>t&#65;<![CDATA[y]]></d><e/></a>";
    std::size_t refused = 0;
    for (std::size_t length = 0; length < text.size(); ++length)
        refused += failure(text.substr(0, length)).empty() ? 0u : 1u;
    EXPECT_EQ(refused, text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (char damage : {'<', '>', '&', '"', '\0', '\xFF', '/', ' '}) {
            std::string damaged = text;
            damaged[at] = damage;
            EXPECT_NO_FATAL_FAILURE(failure(damaged));
        }
    }
}

TEST(XmlDocument, printsWhatItReadsBack)
{
    XmlElement root{"root", {{"key", "a\"<>&'\n\t\r"}}, "", {}};
    root.children.push_back({"child", {}, "1 < 2 & \xF0\x9F\x98\x80 \r\n x", {}});
    root.children.push_back({"empty", {}, "", {}});
    root.children.push_back({"steering",
                             {},
                             "\x7F\xC2\x9B"
                             "2J\xE2\x80\xAE\xC3\xBC",
                             {}});
    std::string const text = XmlDocument::print(root);
    EXPECT_EQ(text, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<root key=\"a&quot;&lt;&gt;&amp;'&#10;&#9;&#13;\">\n"
                    "  <child>1 &lt; 2 &amp; \xF0\x9F\x98\x80 &#13;\n x</child>\n"
                    "  <empty/>\n"
                    "  <steering>&#x7f;&#x9b;2J&#x202e;\xC3\xBC</steering>\n"
                    "</root>\n");
    XmlElement const back = XmlDocument::parse(text);
    EXPECT_EQ(back.attributes, root.attributes);
    EXPECT_EQ(back.children[2].text, root.children[2].text)
        << "a terminal is not steered, a reader loses nothing";
    EXPECT_EQ(back.children[0].text, root.children[0].text);
}

TEST(XmlDocument, printsReplacementsForWhatXmlCannotCarry)
{
    XmlElement const root{
        "a", {{"b", std::string("\0", 1)}}, "\x1B\xC3(\xEF\xBF\xBE\xED\xA0\x80 \xEF\xBF\xBC", {}};
    std::string const r = "\xEF\xBF\xBD";
    EXPECT_EQ(XmlDocument::print(root), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a b=\"" + r + "\">" +
                                            r + r + "(" + r + r + r + r + " \xEF\xBF\xBC</a>\n");
    EXPECT_EQ(XmlDocument::parse(XmlDocument::print({"a", {}, "x\xEF\xBF\xBF", {}})).text, "x" + r);
    for (char const* name : {"a", "z", "A", "Z", "_", ":", "a0.9-", "\xC4\x80", "a\xC4\x80-"})
        EXPECT_EQ(XmlDocument::parse(XmlDocument::print({name, {{name, ""}}, "", {}})).name, name);
    for (char const* name : {"", "a b", "1a", "a<", "-"}) {
        EXPECT_THROW(XmlDocument::print({name, {}, "", {}}), zel::InvalidArgumentException) << name;
        EXPECT_THROW(XmlDocument::print({"a", {{name, ""}}, "", {}}), zel::InvalidArgumentException) << name;
    }
}
