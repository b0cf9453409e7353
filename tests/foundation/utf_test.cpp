#include <zel/foundation/String.h>

#include <gtest/gtest.h>

#include <vector>

using zel::String;
using Units = std::vector<zel::utf::Unit>;

namespace {

// A buffer of exactly the given size, so that a sanitizer sees a read or write beyond it.
Units decode(std::string const& bytes)
{
    std::vector<char> const exact(bytes.begin(), bytes.end());
    Units units(bytes.size());
    units.resize(zel::utf::decodeUtf8(exact.data(), exact.size(), units.data()));
    return units;
}

constexpr zel::utf::Unit X = 0xFFFD;

struct Case
{
    char const* name;
    std::string bytes;
    Units units;
};

} // namespace

TEST(Utf, decodesWellFormedTextAndReturnsItUnchanged)
{
    Case const cases[] = {
        {"empty", "", {}},
        {"embedded zero", std::string("a\0b", 3), {'a', 0, 'b'}},
        {"two bytes, ends of range", "\xC2\x80\xDF\xBF", {0x80, 0x7FF}},
        {"three bytes, ends of range", "\xE0\xA0\x80\xEF\xBF\xBF", {0x800, 0xFFFF}},
        {"around the surrogates", "\xED\x9F\xBF\xEE\x80\x80", {0xD7FF, 0xE000}},
        {"four bytes, ends of range", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", {0xD800, 0xDC00, 0xDBFF, 0xDFFF}},
        {"byte order mark is text", "\xEF\xBB\xBF", {0xFEFF}},
    };
    for (Case const& c : cases) {
        EXPECT_EQ(decode(c.bytes), c.units) << c.name;
        std::string back;
        zel::utf::encodeUtf8(c.units.data(), c.units.size(), back);
        EXPECT_EQ(back, c.bytes) << c.name;
    }
}

// Replacement counts follow "maximal subpart", Unicode Standard 3.9, tables 3-8 to 3-11.
TEST(Utf, replacesEveryClassOfMalformedText)
{
    Case const cases[] = {
        {"lone continuation", "\x80\xBF", {X, X}},
        {"never valid bytes", "\xC0\xC1\xF5\xFE\xFF", {X, X, X, X, X}},
        {"overlong slash, two bytes", "\xC0\xAF", {X, X}},
        {"overlong, three bytes", "\xE0\x80\xAF", {X, X, X}},
        {"overlong, four bytes", "\xF0\x80\x80\xAF", {X, X, X, X}},
        {"encoded surrogate", "\xED\xA0\x80", {X, X, X}},
        {"above U+10FFFF", "\xF4\x90\x80\x80", {X, X, X, X}},
        {"cut at the end: two bytes", "a\xC3", {'a', X}},
        {"cut at the end: three bytes", "\xE4\xB8", {X}},
        {"cut at the end: four bytes", "\xF0\x9F\x98", {X}},
        {"cut by ASCII",
         "\xE4\xB8"
         "a\xF0\x9F"
         "b\xC3"
         "c",
         {X, 'a', X, 'b', X, 'c'}},
        {"cut by another lead", "\xE4\xB8\xE4\xB8\xAD", {X, 0x4E2D}},
        {"table 3-8", "\xF4\x80\x83\x92\xF1\x80\xE1\x80\xC2\x62\x80", {0xDBC0, 0xDCD2, X, X, X, 'b', X}},
    };
    for (Case const& c : cases)
        EXPECT_EQ(decode(c.bytes), c.units) << c.name;
}

// Blocks of the fast paths start and end at every offset of the text around them.
TEST(Utf, agreesWithItselfAtEveryAlignment)
{
    std::string const samples[] = {"\xC3\xA9", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80", "\xE4\xB8", "\xFF", "z"};
    for (std::string const& sample : samples) {
        Units const single = decode(sample);
        for (std::size_t before = 0; before < 40; ++before) {
            for (std::size_t count = 1; count < 12; ++count) {
                std::string text(before, 'a');
                Units expected(before, 'a');
                for (std::size_t i = 0; i < count; ++i) {
                    text += sample;
                    expected.insert(expected.end(), single.begin(), single.end());
                }
                text += "tail of plain text";
                for (char c : std::string("tail of plain text"))
                    expected.push_back(static_cast<zel::utf::Unit>(c));
                ASSERT_EQ(decode(text), expected) << before << " " << count;
            }
        }
    }
}

// What stands behind the end would complete the sequence.
TEST(Utf, takesNothingFromBehindTheEnd)
{
    std::string const whole[] = {"\xC3\xA9", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80"};
    for (std::string const& bytes : whole) {
        EXPECT_EQ(zel::utf::sequenceLength(bytes.data(), bytes.size()), bytes.size());
        for (std::size_t length = 1; length < bytes.size(); ++length) {
            Units units(length);
            EXPECT_EQ(zel::utf::decodeUtf8(bytes.data(), length, units.data()), 1u) << length;
            EXPECT_EQ(units[0], X);
            EXPECT_EQ(zel::utf::sequenceLength(bytes.data(), length), 0u) << length;
        }
    }
    Units const pair = {0xD83D, 0xDE00};
    char out[3];
    EXPECT_EQ(std::string(out, zel::utf::encodeUtf8(pair.data(), 1, out)), "\xEF\xBF\xBD");
}

TEST(Utf, tellsAWrittenReplacementFromAMalformedSequence)
{
    struct
    {
        std::string bytes;
        std::size_t length;
    } const cases[] = {
        {"\xEF\xBF\xBD", 3}, {"\xEF\xBF ", 0}, {"\xF0\x9F\x98 ", 0}, {"\x80", 0},
        {"\xEF\xBF\xBC", 3}, {"ab", 1},        {"\xED\xA0\x80", 0},  {"\xF4\x8F\xBF\xBF", 4},
    };
    for (auto const& c : cases)
        EXPECT_EQ(zel::utf::sequenceLength(c.bytes.data(), c.bytes.size()), c.length) << c.bytes;
}

TEST(Utf, encodesLoneSurrogatesAsReplacement)
{
    struct
    {
        Units units;
        std::string bytes;
    } const cases[] = {
        {{0xD800}, "\xEF\xBF\xBD"},
        {{0xDC00, 'a'},
         "\xEF\xBF\xBD"
         "a"},
        {{0xD800, 'a'},
         "\xEF\xBF\xBD"
         "a"},
        {{0xD800, 0xD83D, 0xDE00}, "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
    };
    for (auto const& c : cases) {
        std::string out = "kept";
        zel::utf::encodeUtf8(c.units.data(), c.units.size(), out);
        EXPECT_EQ(out, "kept" + c.bytes);
    }
}
