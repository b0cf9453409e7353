// The tables of events and texts of every shipped module stand in this one unit, so that it does not compile when two
// modules mean different things by one name. That the text files agree with them is seen where the modules describe
// themselves.

#include <board/Events.h>
#include <board/Texts.h>
#include <common/evidence/Events.h>
#include <cpu/Events.h>
#include <cpu/Texts.h>
#include <memory/Events.h>
#include <memory/Texts.h>
#include <network/Events.h>
#include <network/Texts.h>
#include <pcie/Events.h>
#include <pcie/Texts.h>
#include <storage/Events.h>
#include <storage/Texts.h>

#include <common/TestHost.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace krel5::modules::test {
namespace {

// Whoever writes a key where a fault is raised, past the table, is told by the compiler.
static_assert(!std::is_constructible_v<Report, char const*, TextValues>);
static_assert(!std::is_constructible_v<Report, std::string, TextValues>);
static_assert(std::is_constructible_v<Report, EventKey, TextValues>);

TEST(ModuleTables, AreThoseOfEveryModule)
{
    std::set<std::string> there;
    for (auto const& folder : std::filesystem::directory_iterator(MODULES_FOLDER))
        if (std::filesystem::exists(folder.path() / "main.cpp"))
            there.insert(folder.path().filename());
    EXPECT_EQ(there, (std::set<std::string>{"board", "cpu", "inventory", "memory", "network", "pcie",
                                            "sensors", "storage"}))
        << "inventory and sensors have none";
}

} // namespace
} // namespace krel5::modules::test
