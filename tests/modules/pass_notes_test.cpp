// The notes of a repeated test: none is lost of a pass that finds something.

#include <common/PassNotes.h>

#include <gtest/gtest.h>

namespace krel5::modules::test {
namespace {

std::vector<std::string> keysOf(std::vector<Report> const& reports)
{
    std::vector<std::string> keys;
    for (Report const& report : reports)
        keys.push_back(report.m_eventKey.text());
    return keys;
}

using Keys = std::vector<std::string>;

TEST(PassNotes, OfTheFirstPassGoOutAtOnceAndOnlyOnce)
{
    PassNotes notes;
    notes.begin(true);
    EXPECT_TRUE(notes.goesOut({EventKey("Seed"), {}}));
    EXPECT_EQ(keysOf(notes.release()), Keys{});
    EXPECT_TRUE(notes.goesOut({EventKey("Done"), {}}));
}

TEST(PassNotes, OfALaterPassComeInOrderBeforeItsFaultAndAtOnceAfterIt)
{
    PassNotes notes;
    notes.begin(true);
    notes.begin(false);
    EXPECT_FALSE(notes.goesOut({EventKey("Seed"), {}}));
    EXPECT_FALSE(notes.goesOut({EventKey("Region"), {}}));
    EXPECT_EQ(keysOf(notes.release()), (Keys{"Seed", "Region"}));
    EXPECT_EQ(keysOf(notes.release()), Keys{});
    EXPECT_TRUE(notes.goesOut({EventKey("Done"), {}}));
}

TEST(PassNotes, OfAPassThatWentWellAreNotTakenForThoseOfTheNext)
{
    PassNotes notes;
    notes.begin(false);
    EXPECT_FALSE(notes.goesOut({EventKey("SeedOfTheSecond"), {}}));
    notes.begin(false);
    EXPECT_FALSE(notes.goesOut({EventKey("SeedOfTheThird"), {}}));
    EXPECT_EQ(keysOf(notes.release()), Keys{"SeedOfTheThird"});
    notes.begin(false);
    EXPECT_FALSE(notes.goesOut({EventKey("SeedOfTheFourth"), {}}));
}

} // namespace
} // namespace krel5::modules::test
