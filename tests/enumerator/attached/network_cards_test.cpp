// What identifies a network card.

#include "../HardwareMachine.h"

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using namespace std::string_literals;
using C = CapabilityImp;

TEST(Hardware, AddressesThatACardTakesOnDoNotMoveIt)
{
    MemoryRoot root = machine();
    std::string const card = std::string(kNic) + "/net/eth0";
    root.files(card, {{"addr_assign_type", "3\n"},
                      {"flags", "0x1803\n"},
                      {"bonding_slave/perm_hwaddr", "00:1a:2b:00:00:01\n"}});
    EXPECT_EQ(placeOf(scan(root), "eth0"), "NetworkCard NET:0:26:43:0:0:1 below PCI:2:0:0");
    // A wireless card, seen in a network with an address for this network alone; its second interface is no
    // second card.
    root.link(card + "/phy80211", "../../ieee80211/phy0")
        .file(std::string(kNic) + "/ieee80211/phy0/macaddress", "00:1a:2b:00:00:02\n");
    node(root, "sys/class/net", std::string(kNic) + "/net/p2p0", {{"address", "02:1a:2b:00:00:02\n"}})
        .link(std::string(kNic) + "/net/p2p0/phy80211", "../../ieee80211/phy0");
    RecordingSink const sink = scan(root);
    EXPECT_EQ(placeOf(sink, "eth0"), "NetworkCard NET:0:26:43:0:0:2 below PCI:2:0:0");
    EXPECT_EQ(sink.ofType(C::NetworkCard()).size(), 1u);
    // Another address at each start: the slot says which card it is.
    root.remove(card + "/phy80211")
        .file(card + "/addr_assign_type", "1\n")
        .remove(card + "/bonding_slave/perm_hwaddr");
    EXPECT_EQ(placeOf(scan(root), "eth0"), "NetworkCard PCI:2:0:0 below PCI:2:0:0");
}
