#include <zel/foundation/Spelling.h>

#include <gtest/gtest.h>

#include <vector>

using zel::String;
using Words = std::vector<String>;

TEST(Spelling, countsTheFewestSlips)
{
    struct
    {
        char const *a, *b;
        std::size_t slips;
    } const cases[] = {
        {"", "", 0},         {"", "abc", 3},       {"abc", "", 3},
        {"abc", "abc", 0},   {"abc", "abd", 1},    {"abc", "acb", 2},
        {"ab", "aabb", 2},   {"aabb", "ab", 2},    {"kitten", "sitting", 3},
        {"flaw", "lawn", 2}, {"xabcd", "abcd", 1}, {"sunday", "saturday", 3},
    };
    for (auto const& c : cases)
        EXPECT_EQ(zel::editDistance(c.a, c.b), c.slips) << c.a << " " << c.b;
}

TEST(Spelling, offersWhatIsNearest)
{
    String const longest(std::string(256, 'x'));
    struct
    {
        char const* why;
        String word;
        Words known, nearest;
    } const cases[] = {
        {"whatever the case", "enabel", {"size", "Enable"}, {"Enable"}},
        {"all that are equally near, sorted",
         "disk",
         {"disk3", "floppy", "disk1", "desk!"},
         {"disk1", "disk3"}},
        {"a nearer one later", "sise", {"side2", "side", "size", "seize"}, {"side", "size"}},
        {"what is too far does not end the search", "size", {"elephants", "tree", "size1"}, {"size1"}},
        {"what it is the beginning of", "Size", {"SecondsPerCore", "SizeMiB"}, {"SizeMiB"}},
        {"the beginning with a slip", "--dri", {"--destructive", "--device", "--dry-run"}, {"--dry-run"}},
        {"a beginning is one slip",
         "list",
         {"lists", "listening", "lisp", "loss"},
         {"lisp", "listening", "lists"}},
        {"no beginning", "st", {"standard"}, {}},
        {"half of a short word, longer", "abcd", {"abcdef"}, {"abcdef"}},
        {"three slips, shorter", "abcdef", {"abc"}, {"abc"}},
        {"more than half of a short word", "abcd", {"abxyefg", "wxyd"}, {}},
        {"four slips", "abcdefghij", {"abcdef", "abcdefwxyz"}, {}},
        {"one letter", "x", {"y"}, {"y"}},
        {"the longest that is looked at", longest, {longest + "x"}, {longest + "x"}},
        {"longer than anybody types", longest + "x", {longest}, {}},
    };
    for (auto const& c : cases)
        EXPECT_EQ(zel::nearestSpellings(c.word, c.known), c.nearest) << c.why;
}
