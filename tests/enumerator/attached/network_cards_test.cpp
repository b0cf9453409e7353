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

TEST(Hardware, ErrorCountersOfNetworkCards)
{
    MemoryRoot root = machine();
    root.files(kNic + "/net/eth0/statistics"s, {{"rx_errors", "12\n"},
                                                {"rx_crc_errors", "7\n"},
                                                {"rx_dropped", "0\n"},
                                                {"tx_errors", "-1\n"},
                                                {"collisions", "99999999999999999999\n"}});
    RecordingSink const sink = scan(root);
    for (auto const& [key, wanted] : {std::pair{"ReceiveErrors", "12"},
                                      {"ReceiveCrcErrors", "7"},
                                      {"ReceiveDropped", "0"},
                                      {"TransmitErrors", "-"},
                                      {"TransmitDropped", "-"},
                                      {"Collisions", "-"}})
        EXPECT_EQ(RecordingSink::property(known(sink, "eth0"), key), wanted) << key;
}

TEST(Hardware, InternetAddressesOfNetworkCards)
{
    // As the kernel prints them. eth0 and eth1 share 172.16.0.0/16, so nothing says whose 172.16.0.5 is.
    std::string const trie = "Main:\n  +-- 0.0.0.0/0 3 0 5\n     |-- 192.168.1.10\n        /32 host LOCAL\n"
                             "     |-- 192.168.1.255\n        /32 link BROADCAST\n"
                             "Local:\n     |-- 192.168.1.10\n        /32 host LOCAL\n"
                             "     |-- 127.0.0.1\n        /32 host LOCAL\n"
                             "     |-- 172.16.0.5\n        /32 host LOCAL\n"
                             "     |-- 192.168.1.300\n        /32 host LOCAL\n";
    std::string const version6 =
        "00000000000000000000000000000001 01 80 10 80       lo\n"
        "20010db8000000000001000000000001 02 40 00 00     eth0\n"
        "fe80000000000000021a2bfffe3c4d5e 02 40 20 80     eth0\n"
        "fe80000000000000021a2bfffe3c4d5f 02 81 20 80     eth0\n" // a prefix of 129 bits
        "0xfe000000000000021a2bfffe3c4d5e 02 40 20 80     eth0\nfe80 02 40\n";
    std::string const head =
        "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
    for (auto const& [wider, network, shared, mask, sharedMask] :
         {std::tuple{"000000C0", "0001A8C0", "000010AC", "00FFFFFF", "0000FFFF"},
          {"C0000000", "C0A80100", "AC100000", "FFFFFF00", "FFFF0000"}}) { // either order of bytes
        auto const route = [](std::string const& name, std::string const& to, char const* gateway,
                              std::string const& bits) {
            return name + "\t" + to + "\t" + gateway + "\t0001\t0\t0\t100\t" + bits + "\t0\t0\t0\n";
        };
        MemoryRoot root = machine();
        root.file("proc/net/fib_trie", trie).file("proc/net/if_inet6", version6);
        root.file("proc/net/route",
                  head + route("eth0", "00000000", "0101A8C0", "00000000") +
                      route("tun0", wider, "00000000", mask[0] == '0' ? "000000FF" : "FF000000") +
                      route("eth0", network, "00000000", mask) +
                      route("eth0", shared, "00000000", sharedMask) +
                      route("eth1", shared, "00000000", sharedMask) + "eth0\tx\n");
        RecordingSink const sink = scan(root);
        EXPECT_EQ(RecordingSink::property(known(sink, "eth0"), "Ipv4Addresses"), "192.168.1.10/24");
        EXPECT_EQ(RecordingSink::property(known(sink, "eth0"), "Ipv6Addresses"),
                  "2001:db8::1:0:0:1/64, fe80::21a:2bff:fe3c:4d5e/64");
    }
    EXPECT_EQ(RecordingSink::property(known(scan(machine()), "eth0"), "Ipv4Addresses"), "-");
}

TEST(Hardware, InfinibandCardsShowTheirLongAddress)
{
    std::string const address = "80:00:02:08:fe:80:00:00:00:00:00:00:f4:52:14:03:00:7b:cb:a1";
    for (auto const& [content, wanted] :
         {std::pair{address, address}, {address + ":00", "-"s}, {address.substr(3), "-"s}, {"80:00", "-"}}) {
        MemoryRoot root = machine();
        root.files(kNic + "/net/eth0"s, {{"type", "32\n"}, {"address", content + "\n"}});
        RecordingSink const sink = scan(root);
        EXPECT_EQ(RecordingSink::property(known(sink, "eth0"), "MacAddress"), wanted);
        EXPECT_EQ(placeOf(sink, "eth0"), "NetworkCard PCI:2:0:0 below PCI:2:0:0");
    }
}
