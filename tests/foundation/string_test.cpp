#include <zel/foundation/Array.h>
#include <zel/foundation/ControlCharacters.h>
#include <zel/foundation/String.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

using zel::String;

TEST(String, countsCodeUnitsAndIsZeroTerminated)
{
    String const text("a\xF0\x9F\x98\x80");
    EXPECT_EQ(text.size(), 3u);
    EXPECT_EQ(text.ucs2()[3], 0);
    EXPECT_EQ(text.toUtf8(), "a\xF0\x9F\x98\x80");
    EXPECT_EQ(String(text.ucs2()), text);
    EXPECT_EQ(String(static_cast<char const*>(nullptr)), String());
    EXPECT_EQ(String(static_cast<String::Unit const*>(nullptr)), String());
}

TEST(String, formatsNumbers)
{
    EXPECT_EQ(String::number(std::numeric_limits<std::int64_t>::min()).toUtf8(), "-9223372036854775808");
    EXPECT_EQ(String::number(std::numeric_limits<std::uint64_t>::max()).toUtf8(), "18446744073709551615");
    std::pair<double, char const*> const shown[] = {
        {0, "0"},          {0.1, "0.1"},         {100000, "100000"},     {999999999999999, "999999999999999"},
        {1e15, "1e+15"},   {0.00001, "0.00001"}, {0.0000099, "9.9e-06"}, {-0.5, "-0.5"},
        {INFINITY, "inf"}, {-INFINITY, "-inf"},  {std::nan(""), "nan"},
    };
    for (auto const& [value, text] : shown)
        EXPECT_EQ(String::number(value).toUtf8(), text);
    double const awkward[] = {1.0 / 3.0, 5e-324, std::numeric_limits<double>::max()};
    for (double value : awkward)
        EXPECT_EQ(std::strtod(String::number(value).toUtf8().c_str(), nullptr), value);
}

TEST(String, searchesAndCuts)
{
    String const text("key = value = more");
    EXPECT_EQ(text.find("="), 4u);
    EXPECT_EQ(text.find("=", 5), 12u);
    EXPECT_FALSE(text.contains("values"));
    EXPECT_TRUE(text.startsWith("key") && !text.startsWith("key = value = more and more"));
    EXPECT_TRUE(text.endsWith("more") && text.endsWith(text) && !text.endsWith("x more"));
    EXPECT_EQ(text.substr(12), String("= more"));
    EXPECT_EQ(text.substr(99), String());
    EXPECT_EQ(text.substr(text.size()), String());
    EXPECT_EQ(text.replaced("=", "=="), String("key == value == more"));
    EXPECT_EQ(text.replaced("", "x"), text);
    EXPECT_EQ(String(" \t x y\r\n").trimmed(), String("x y"));
    EXPECT_EQ(String(" \n ").trimmed(), String());
    EXPECT_EQ(String("MyMod \xC3\x84\xC3\x97 \xD0\x96\xD0\x81 \xCE\xA9").lowered(),
              String("mymod \xC3\xA4\xC3\x97 \xD0\xB6\xD1\x91 \xCF\x89"));
    EXPECT_EQ(String("@AZ[ \xC2\xBF\xC3\x80\xC3\x9E\xC3\x9F \xCE\x90\xCE\x91\xCE\xA9\xCE\xAA").lowered(),
              String("@az[ \xC2\xBF\xC3\xA0\xC3\xBE\xC3\x9F \xCE\x90\xCE\xB1\xCF\x89\xCE\xAA"));
    EXPECT_EQ(String("\xCF\xBF\xD0\x80\xD0\x8F\xD0\x90\xD0\xAF\xD0\xB0").lowered(),
              String("\xCF\xBF\xD1\x90\xD1\x9F\xD0\xB0\xD1\x8F\xD0\xB0"));
    EXPECT_EQ(String("a,,b,").split(','), (std::vector<String>{"a", "", "b", ""}));
    EXPECT_EQ(String().split(','), std::vector<String>{""});
    EXPECT_LT(String("abc"), String("abd"));
    EXPECT_LT(String("ab"), String("abc"));
    EXPECT_LT(String("b"), String("\xC3\xA9"));
}

TEST(Array, refusesAnIndexBeyondItsEnd)
{
    zel::Array<int> array{1, 2};
    array.append(3);
    EXPECT_EQ(array[2], 3);
    for (std::size_t index : {std::size_t{3}, static_cast<std::size_t>(-1)})
        EXPECT_THROW(array[index], zel::IndexOutOfBoundsException);
    try {
        array.removeAt(7);
        GTEST_FAIL();
    } catch (zel::IndexOutOfBoundsException const& exception) {
        EXPECT_STREQ(exception.what(), "Index 7 is out of bounds [0, 2]");
    }
    EXPECT_EQ(array.size(), 3u);
}

TEST(String, showsControlsAsEscapes)
{
    struct
    {
        char const *text, *shown;
    } const cases[] = {
        {"tab\tline\nfeed", "tab\tline\\x0afeed"},
        {"\x01\x1F \x7F\xC2\x80\xC2\x9F\xC2\xA0", "\\x01\\x1f \\x7f\\x80\\x9f\xC2\xA0"},
        {"\xD8\x9B\xD8\x9C\xD8\x9D", "\xD8\x9B\\u061c\xD8\x9D"},
        {"\xE2\x80\x8D\xE2\x80\x8E\xE2\x80\x8F\xE2\x80\x90", "\xE2\x80\x8D\\u200e\\u200f\xE2\x80\x90"},
        {"\xE2\x80\xA7\xE2\x80\xA8\xE2\x80\xAE\xE2\x80\xAF", "\xE2\x80\xA7\\u2028\\u202e\xE2\x80\xAF"},
        {"\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9\xE2\x81\xAA", "\xE2\x81\xA5\\u2066\\u2069\xE2\x81\xAA"},
        {"\xF0\x9F\x91\xA9\xE2\x80\x8D\xEF\xB8\x8F", "\xF0\x9F\x91\xA9\xE2\x80\x8D\xEF\xB8\x8F"},
    };
    for (auto const& c : cases)
        EXPECT_EQ(String(c.text).withoutControls(false).toUtf8(), c.shown);
    EXPECT_EQ(String("line\nfeed\r\nback\r").withoutControls(true).toUtf8(), "line\nfeed\r\nback\\x0d");
    EXPECT_EQ(zel::controlAt(std::string_view("\xC2\x9B", 1), 0).length, 0u) << "looks behind the end";
}
