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
    EXPECT_EQ(XmlDocument::parse("<a>1\r\n<b/>\r\n \t<b/>2\r3<![CDATA[\r\n&lt;\r]]> <b/>4</a>").text,
              "1\n2\n3\n&lt;\n4");
    XmlElement const escaped = XmlDocument::parse("<a b='x\r\ny\n\tz\r&#13;' c='\\u0041\\x \\\\ &apos;'/>");
    EXPECT_EQ(*escaped.attribute("b"), "x y  z \r");
    EXPECT_EQ(*escaped.attribute("c"), "\\u0041\\x \\\\ '") << "a backslash is one in a document of people";
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
        {"", "XML: no element, line 1, byte 0"},
        {"  ", "XML: no element, line 1, byte 2"},
        {"text", "XML: no element, line 1, byte 0"},
        {"<a/>x", "XML: text behind the end, line 1, byte 4"},
        {"<a/><b/>", "XML: text behind the end, line 1, byte 4"},
        {"<a>", "XML: cut off at /a, line 1, byte 3"},
        {"</a>", "XML: no name, line 1, byte 1"},
        {"<a></b>", "XML: \"a\" ends as \"b\" at /a, line 1, byte 3"},
        {"<a>\n\r\n</b>", "XML: \"a\" ends as \"b\" at /a, line 3, byte 6"},
        {"<a b=\"1></a>", "XML: \"<\" in an attribute at /a, line 1, byte 8"},
        {"<a b=\"1", "XML: cut off at /a, line 1, byte 7"},
        {"<a b=1/>", "XML: no quote at /a, line 1, byte 5"},
        {"<a b='1' b=\"2\"/>", "XML: attribute \"b\" twice at /a, line 1, byte 9"},
        {"<a =\"1\"/>", "XML: no name at /a, line 1, byte 3"},
        {"<a", "XML: cut off at /a, line 1, byte 2"},
        {"<", "XML: cut off, line 1, byte 1"},
        {"<a><", "XML: cut off at /a, line 1, byte 4"},
        {"< a/>", "XML: no name, line 1, byte 1"},
        {"<a/><!-- ", "XML: cut off, line 1, byte 4"},
        {"<a><![CDATA[ ]]</a>", "XML: cut off at /a, line 1, byte 3"},
        {"<?xml ", "XML: cut off, line 1, byte 5"},
        {"<? pi?><a/>", "XML: no name, line 1, byte 2"},
        {"<!DOCTYPE a [<!ENTITY x \"y\">]><a>&x;</a>", "XML: a document type, line 1, byte 0"},
        {"<a><!DOCTYPE a></a>", "XML: a document type at /a, line 1, byte 3"},
        {"<a b=\"&x;\"/>", "XML: a reference to no character that is known here at /a, line 1, byte 6"},
        {std::string("<a>\0</a>", 8), "XML: a character that XML excludes at /a, line 1, byte 3"},
        {"<a b=\"\x01\"/>", "XML: a character that XML excludes at /a, line 1, byte 6"},
        {"\xFF\xFE<\x00", "XML: no element, line 1, byte 0"},
        {"<a>\xC3\x28</a>", "XML: no UTF-8 at /a, line 1, byte 3"},
        {"<a b='\xED\xA0\x80'/>", "XML: no UTF-8 at /a, line 1, byte 6"},
        {"<!--\xC0\x80--><a/>", "XML: no UTF-8, line 1, byte 4"},
        {"<a>\xEF\xBF\xBE</a>", "XML: a character that XML excludes at /a, line 1, byte 3"},
        {"<a b='\xEF\xBF\xBF'/>", "XML: a character that XML excludes at /a, line 1, byte 6"},
        {"<!--\x1F--><a/>", "XML: a character that XML excludes, line 1, byte 4"},
        {"<a><!-- a -- b --></a>", "XML: no \">\" at /a, line 1, byte 12"},
        {"<a><!-- a ---></a>", "XML: no \">\" at /a, line 1, byte 12"},
        {"<a>x]]>y</a>", "XML: \"]]>\" outside a CDATA section at /a, line 1, byte 4"},
        {"<a/><![CDATA[x]]>", "XML: text behind the end, line 1, byte 4"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><a/>",
         "XML: the encoding \"ISO-8859-1\", not UTF-8, line 1, byte 0"},
        {"\xEF\xBB\xBF<?xml\tencoding = \"utf-16\"?><a/>",
         "XML: the encoding \"utf-16\", not UTF-8, line 1, byte 3"},
        {"<?xml encoding='utf-8?><a/>", "XML: the encoding \"encoding='utf-8\", not UTF-8, line 1, byte 0"},
    };
    for (auto const& c : cases)
        EXPECT_EQ(failure(c.text), c.message) << c.text;
    for (char const* reference :
         {"&x;", "&", "&#0;", "&#xD800;", "&#x110000;", "&#4294967361;", "&#;", "&#x;", "&;", "&#65 ;",
          "&#0000000000000065;", "&#31;", "&#xDFFF;", "&#xFFFE;"})
        EXPECT_EQ(failure("<a>" + std::string(reference) + "</a>"),
                  "XML: a reference to no character that is known here at /a, line 1, byte 3")
            << reference;
}

TEST(XmlDocument, holdsItsLimits)
{
    XmlDocument::Limits limits;
    limits.depth = 5;
    limits.elements = 6;
    limits.bytes = 60;
    EXPECT_EQ(failure(nested(5), limits), "");
    EXPECT_EQ(failure("<a>" + std::string(53, ' ') + "</a>", limits), "");
    EXPECT_EQ(failure(nested(6), limits), "XML: more than 5 elements deep at /a/a/a/a/a, line 1, byte 15");
    EXPECT_EQ(failure("<a><b/><b/><b/><b/><b/></a>", limits), "");
    EXPECT_EQ(failure("<a><b/><b/><b/><b/><b/><b/></a>", limits),
              "XML: more than 6 elements at /a, line 1, byte 23");
    EXPECT_EQ(failure("<a>" + std::string(57, ' ') + "</a>", limits),
              "XML: more than 60 bytes, line 1, byte 0");
    limits.attributes = 2;
    EXPECT_EQ(failure("<a b='' c=\"\"/>", limits), "");
    EXPECT_EQ(failure("<a b='' c='' d=\"\"/>", limits), "XML: more than 2 attributes at /a, line 1, byte 13");
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
