// What identifies a network card.

#include "../HardwareMachine.h"

#include <zel/enumerator/attached/InternetAddresses.h>

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
         {std::pair{address, address},
          {"80:00:02:08:FE:80:00:00:00:00:00:00:F4:52:14:03:00:7B:CB:A1", address},
          {"00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:09",
           "00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:09"},
          {"00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00", "-"},
          {address + ":00", "-"s},
          {address.substr(3), "-"s},
          {address.substr(0, 57) + "g1", "-"},
          {address.substr(0, 56) + "-a1", "-"},
          {"80:00", "-"}}) {
        MemoryRoot root = machine();
        root.files(kNic + "/net/eth0"s, {{"type", "32\n"}, {"address", content + "\n"}});
        RecordingSink const sink = scan(root);
        EXPECT_EQ(RecordingSink::property(known(sink, "eth0"), "MacAddress"), wanted);
        EXPECT_EQ(placeOf(sink, "eth0"), "NetworkCard PCI:2:0:0 below PCI:2:0:0");
    }
}

TEST(Hardware, FirmwareOfANetworkCardIsWhatItsDriverSays)
{
    for (auto const& [said, wanted] : {std::pair{"14.32.1010 (MT_0000000359)", "14.32.1010 (MT_0000000359)"},
                                       {" 3.1 \n", "3.1"},
                                       {"N/A", "-"},
                                       {"", "-"}}) {
        MemoryRoot root = machine();
        EXPECT_EQ(
            RecordingSink::property(known(scan(root.firmwareOf("eth0", said)), "eth0"), "FirmwareVersion"),
            wanted);
        EXPECT_EQ(RecordingSink::property(known(scan(machine()), "eth0"), "FirmwareVersion"), "-")
            << "nobody was asked";
    }
}

TEST(Hardware, StateAndKindOfNetworkCards)
{
    struct Case
    {
        char const *what, *file, *content, *key, *wanted;
    } const cases[] = {
        {"as it is", "mtu", "1500\n", "DataRate", "1 Gbit/s"},
        {"speed not known", "speed", "-1\n", "DataRate", "-"},
        {"no speed", "speed", "0\n", "DataRate", "-"},
        {"the fastest", "speed", "100000000\n", "DataRate", "100 Tbit/s"},
        {"too fast", "speed", "100000001\n", "DataRate", "-"},
        {"speed that does not answer", "speed", "", "DataRate", "-"},
        {"duplex", "mtu", "1500\n", "Duplex", "full"},
        {"duplex not known", "duplex", "unknown\n", "Duplex", "-"},
        {"no cable", "carrier", "0\n", "LinkDetected", "false"},
        {"no cable, no rate", "carrier", "0\n", "DataRate", "-"},
        {"down", "flags", "0x1002\n", "LinkDetected", "-"},
        {"driver of the function", "mtu", "1500\n", "Driver", "drv"},
        {"no other address", "mtu", "1500\n", "PermanentMacAddress", "-"},
    };
    for (Case const& c : cases) {
        MemoryRoot root = machine();
        root.file(kNic + "/net/eth0/"s + c.file, c.content);
        RecordingSink const sink = scan(root);
        EXPECT_EQ(RecordingSink::property(known(sink, "eth0"), c.key), c.wanted) << c.what;
    }
    struct Kind
    {
        char const *content, *description;
        bool isEthernet;
    } const kinds[] = {{"INTERFACE=eth0\n", "Network card", true},
                       {"DEVTYPE=wlan\n", "Wireless network card", false},
                       {"DEVTYPE=wwan\n", "Wireless network card", false},
                       {"DEVTYPE=vlan\n", nullptr, false}};
    for (Kind const& kind : kinds) {
        MemoryRoot root = machine();
        node(root, "sys/class/net", "sys/devices/virtual/net/tap0", {{"address", "00:1a:2b:3c:4d:78\n"}});
        // Between function and interface stands a device with a driver of its own.
        std::string const device = kNic + "/virtio0"s;
        node(root, "sys/class/net", device + "/net/eth1",
             {{"address", "00:1a:2b:3c:4d:77\n"}, {"uevent", kind.content}});
        root.link(device + "/driver", "../../bus/virtio/drivers/virtio_net");
        RecordingSink const sink = scan(root);
        EXPECT_FALSE(known(sink, "tap0")) << "no hardware";
        DeviceDescription const* const card = known(sink, "eth1");
        ASSERT_EQ(card != nullptr, kind.description != nullptr) << kind.content;
        if (!card)
            continue;
        EXPECT_EQ(card->description, String(kind.description));
        EXPECT_EQ(card->capabilities.isCapable(C::Ethernet()), kind.isEthernet);
        EXPECT_EQ(card->capabilities.isCapable(C::Wireless()), !kind.isEthernet);
        EXPECT_EQ(RecordingSink::property(card, "Driver"), "virtio_net");
    }
}

TEST(InternetAddresses, BelongToTheInterfaceThatReachesTheirNetwork)
{
    struct Case
    {
        char const *what, *routes, *address,
            *wanted; ///< routes: interface, network, flags, mask; each ends with ';'
    } const cases[] = {
        {"ends of an octet", "a 0AFF0000 1 FFFF0000;", "10.255.0.0", "a 10.255.0.0/16"},
        {"the longest prefix, whatever the order", "a 0A010000 1 FFFF0000;b 0A000000 1 FF000000;", "10.1.0.9",
         "a 10.1.0.9/16"},
        {"one interface twice", "a 0A010000 1 FFFF0000;a 0A010000 1 FFFF0000;", "10.1.0.9", "a 10.1.0.9/16"},
        {"two of a shorter one", "a 0A000000 1 FF000000;b 0A000000 1 FF000000;c 0A010000 1 FFFF0000;",
         "10.1.0.9", "c 10.1.0.9/16"},
        {"a network of one", "a 0900010A 1 FFFFFFFF;", "10.1.0.9", "a 10.1.0.9/32"},
        {"the rest of the world is no network", "ppp0 00000000 1 00000000;", "10.1.0.9", ""},
        {"another network", "a 0A020000 1 FFFF0000;", "10.1.0.9", ""},
        {"down", "a 0A010000 0 FFFF0000;", "10.1.0.9", ""},
        {"rejected", "a 0A010000 201 FFFF0000;", "10.1.0.9", ""},
        {"flags that are none, then a good line", "a 0A010000 x FFFF0000;b 0A010000 1 FFFF0000;", "10.1.0.9",
         "b 10.1.0.9/16"},
        {"a mask with holes", "a 0A010000 1 FF00FF00;", "10.1.0.9", ""},
        {"a mask of 33 bits", "a 0A010000 1 1FFFF0000;b 0A010000 1 FFFF0000;", "10.1.0.9", "b 10.1.0.9/16"},
        {"loopback", "lo 7F000000 1 FF000000;", "127.0.0.1", ""},
        {"three numbers", "a 0A010000 1 FFFF0000;", "10.1.9", ""},
    };
    for (Case const& c : cases) {
        std::string routes = "Iface Destination Gateway Flags RefCnt Use Metric Mask MTU Window IRTT\n";
        for (std::string_view const route : text::split(std::string_view(c.routes), ';')) {
            auto const words = text::split(route, ' ');
            if (words.size() == 4)
                routes += std::string(words[0]) + "\t" + std::string(words[1]) + "\t00000000\t" +
                          std::string(words[2]) + "\t0\t0\t0\t" + std::string(words[3]) + "\n";
        }
        MemoryRoot root;
        root.file("proc/net/route", routes)
            .file("proc/net/fib_trie", "Local:\n  |-- "s + c.address + "\n     /32 host LOCAL\n");
        std::string found;
        for (auto const& [name, addresses] : internetAddresses(root))
            for (std::string const& address : addresses.version4)
                found += name + " " + address;
        EXPECT_EQ(found, c.wanted) << c.what;
    }
    MemoryRoot root;
    std::string lines = "00000000000000000000000000000001 01 80 10 80 lo\n";
    for (int i = 0; i < 300; ++i)
        lines += "fe80000000000000021a2bfffe3c4d5e 02 40 20 80 eth0\n";
    root.file("proc/net/if_inet6", lines);
    auto const found = internetAddresses(root);
    EXPECT_EQ(found.at("lo").version6, std::vector<std::string>{"::1/128"});
    EXPECT_EQ(found.at("eth0").version6.size(), 256u) << "the rest is left out";
    EXPECT_EQ(version6Text("20010db8000000010001000100010001"), "2001:db8:0:1:1:1:1:1")
        << "one group of zeros";
    EXPECT_EQ(version6Text("20010db80000000000010000000000001"), std::nullopt);
    EXPECT_EQ(version6Text("20010db800000000000100000000zzzz"), std::nullopt);
    EXPECT_EQ(version6Text("20010db8000000000001000000000001"), "2001:db8::1:0:0:1") << "the first of two";
}
