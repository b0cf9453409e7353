#include <zel/foundation/Array.h>
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
    EXPECT_EQ(String::number(0.1).toUtf8(), "0.1");
    EXPECT_EQ(String::number(std::nan("")).toUtf8(), "nan");
    EXPECT_EQ(String::number(-INFINITY).toUtf8(), "-inf");
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
    EXPECT_TRUE(text.endsWith("more") && !text.endsWith("x more"));
    EXPECT_EQ(text.substr(12), String("= more"));
    EXPECT_EQ(text.substr(99), String());
    EXPECT_EQ(text.replaced("=", "=="), String("key == value == more"));
    EXPECT_EQ(text.replaced("", "x"), text);
    EXPECT_EQ(String(" \t x y\r\n").trimmed(), String("x y"));
    EXPECT_EQ(String("MyMod \xC3\x84\xC3\x97 \xD0\x96\xD0\x81 \xCE\xA9").lowered(),
              String("mymod \xC3\xA4\xC3\x97 \xD0\xB6\xD1\x91 \xCF\x89"));
    EXPECT_EQ(String("a,,b,").split(',').size(), 4u);
    EXPECT_EQ(String().split(',').size(), 1u);
    EXPECT_LT(String("abc"), String("abd"));
    EXPECT_LT(String("ab"), String("abc"));
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
