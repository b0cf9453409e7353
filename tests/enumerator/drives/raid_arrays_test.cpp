// Arrays of drives.

#include "../MemoryRoot.h"

#include <zel/enumerator/drives/discover.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

TEST(RaidArrays, LevelStateAndMembers)
{
    std::string const array = "sys/devices/virtual/block/md127";
    MemoryRoot root;
    root.link("sys/block/md127", "../devices/virtual/block/md127")
        .files(array, {{"size", "2048\n"},
                       {"md/level", "raid1\n"},
                       {"md/array_state", "clean\n"},
                       {"md/raid_disks", "3\n"},
                       {"md/degraded", "1\n"},
                       {"md/sync_action", "recover\n"},
                       {"md/mismatch_cnt", "128\n"},
                       {"md/dev-sda1/state", "in_sync\n"},
                       {"md/dev-sdb1/state", "faulty\n"},
                       {"md/rd0/state", "in_sync\n"}})
        .files("sys/block/md_d0", {{"size", "0\n"},
                                   {"md/level", "\n"},
                                   {"md/array_state", "inactive\n"},
                                   {"md/raid_disks", "many\n"},
                                   {"md/degraded", "-1\n"}})
        .files("sys/block/md1", {{"md/level", "\n"}, {"md/array_state", "clear\n"}})
        .files("sys/block/mdx", {{"size", "8\n"}});
    RecordingSink sink;
    discoverRaidArrays(root, sink);
    ASSERT_EQ(sink.devices.size(), 2u);
    struct Case
    {
        char const *key, *first, *second;
    } const cases[] = {{"RaidLevel", "raid1", "-"},    {"Status", "clean", "inactive"},
                       {"Size", "1 MiB", "-"},         {"RaidMembers", "3", "-"},
                       {"MissingMembers", "1", "-"},   {"MemberStates", "sda1: in_sync, sdb1: faulty", "-"},
                       {"SyncAction", "recover", "-"}, {"MismatchCount", "128", "-"}};
    for (Case const& c : cases) {
        EXPECT_EQ(RecordingSink::property(sink.at("MD:md127"), c.key), c.first) << c.key;
        EXPECT_EQ(RecordingSink::property(sink.at("MD:md_d0"), c.key), c.second) << c.key;
    }
    EXPECT_EQ(sink.at("MD:md127")->name, String("Array md127 (raid1)"));
    EXPECT_TRUE(sink.at("MD:md127")->state == DeviceStateImp::FUNCTIONAL());
    EXPECT_TRUE(sink.at("MD:md_d0")->state == DeviceStateImp::OTHER()) << "it does not run";
}
