#include "Listings.h"

#include <listing/forms/Listing.h>
#include <listing/machine/Mask.h>

#include <zel/model/state/StateManager.h>
#include <zel/model/wire/Serializable.h>

#include <ctime>
#include <gtest/gtest.h>

namespace listing::test {

namespace {

std::string masked(std::string const& devices)
{
    Machine one = machine(devices);
    Mask().apply(one);
    EXPECT_TRUE(one.origin.isMasked);
    return listing::text(one) + json(one);
}

std::string list(std::string const& key, std::string const& elements)
{
    return "\"" + key + "\": {\"type\": \"STRINGARRAY\", \"value\": [" + elements + "]}";
}

} // namespace

// Whatever the property is called that lets a secret out, and however it is spelled there.
TEST(Mask, NothingOfAMarkedValueIsLeftAnywhere)
{
    struct Case
    {
        std::string property;                   ///< that holds the secret
        std::vector<std::string> appearances;   ///< elsewhere: descriptions of other devices
        std::vector<std::string> mustNotAppear; ///< in any form
        std::string expected;
    };
    std::vector<Case> const cases = {
        {text("SerialNumber", "S4EW/NX0.1"), {"disk S4EW/NX0.1, ok"}, {"S4EW"}, "disk [Serial number 1], ok"},
        {text("HostName", "amsel"), {"/mnt/amsel/data"}, {"amsel"}, "/mnt/[Host name 1]/data"},
        {text("MacAddress", "00:16:41:e2:8d:ff"),
         {"enx001641e28dff", "00-16-41-E2-8D-FF!", "NET:0:22:65:226:141:255:2", "key 001641E28DFF"},
         {"1641", "8dff", "8DFF", "226", "E2-8D"},
         "NET:[Hardware address 1]:2"},
        {text("Uuid", "82161681-492E-11CB-BCCA-A7FDE26F414B"),
         {"/dev/disk/82161681-492e-11cb-bcca-a7fde26f414b"},
         {"492E", "492e"},
         "/dev/disk/[Universal unique id 1]"},
        {text("WorldWideId", "naa.5000c500a1b2c3d4"),
         {"wwn-0x5000c500a1b2c3d4"},
         {"a1b2c3d4"},
         "wwn-0x[World-wide identifier 1]"},
        {list("Ipv6Addresses", R"("fe80::fc:ff:fe00:1/64", "fd00::2/64")"),
         {"route via fe80::fc:ff:fe00:1"},
         {"fe80", "fd00"},
         "[IPv6 addresses 2]/64"},
        {text("Model", "x"), // no property tells of it
         {"9a3c0b12-0000-4000-8000-00c04fd430c8", "BLUETOOTH:aa:bb:cc:dd:ee:ff", "wlxaabbccddeeff"},
         {"9a3c0b12", "aa:bb", "aabbcc"},
         "BLUETOOTH:[Hardware address 1]"},
    };
    for (Case const& one : cases) {
        std::string devices = device("System", "S", properties(one.property));
        for (std::size_t i = 0; i < one.appearances.size(); ++i)
            devices += ", " + device("X", one.appearances[i],
                                     properties(text("Locator", one.appearances[i])) + R"(, "osLocator": ")" +
                                         one.appearances[i] + "\"");
        std::string const text = masked(devices);
        for (std::string const& secret : one.mustNotAppear)
            EXPECT_EQ(text.find(secret), std::string::npos) << secret << " in\n" << text;
        EXPECT_NE(text.find(one.expected), std::string::npos) << one.expected << " in\n" << text;
    }
}

TEST(Mask, OfSecretsThatBeginOneAnotherTheLongestIsTaken)
{
    std::string devices;
    for (char const* secret : {"ABC", "ABCDE", "ABCDE-7", "ABCDE-7X9"})
        devices += device("Disk", secret, properties(text("SerialNumber", secret))) + ", ";
    std::string const text = masked(devices + device("X", "ABCDE-7X9/ABCDE-7 ABCDE-7Z ABCDEF ABC"));
    std::string const expected =
        "[Serial number 4]/[Serial number 3] [Serial number 2]-7Z ABCDEF ABC"; // a short one stays inside others
    EXPECT_NE(text.find(expected), std::string::npos) << expected << " in\n" << text;
}

// Whoever saved the listing may have chosen them so that the search takes long.
TEST(Mask, ManySecretsOfManyLengthsTakeNoLonger)
{
    std::string devices;
    for (std::size_t i = 1; i <= 3000; ++i) // 4.5 MB
        devices +=
            device("Disk", std::to_string(i),
                   properties(test::text("SerialNumber", std::to_string(i) + std::string(i, '-') + "s"))) +
            ", ";
    std::string words;
    for (int i = 0; i < 20'000; ++i)
        words += "1- ";
    std::clock_t const start = std::clock();
    std::string const text = masked(devices + device("X", words));
    EXPECT_LT(double(std::clock() - start) / CLOCKS_PER_SEC, 6.0) << "processor seconds";
    EXPECT_NE(text.find("[Serial number 3000]"), std::string::npos);
}

TEST(Mask, LeavesAloneWhatTellsNobodyApart)
{
    std::string const text = masked(
        device("System", "PCI:0:31:2",
               properties(test::text("SerialNumber", "1") + ", " + test::text("Stepping", "1") + ", " +
                          test::text("PciAddress", "0000:00:1f.2") + ", " + test::text("Version", "1.2.3.4") +
                          ", " + test::text("PhysicalPath", "usb-0000:00:1d.2-1/input0") + ", " +
                          test::text("HostName", "pc"))));
    for (char const* expected : {"Serial number: [Serial number 1]", "Stepping: 1\n", "0000:00:1f.2",
                                 "1.2.3.4", "PCI:0:31:2", "usb-0000:00:1d.2-1/input0"})
        EXPECT_NE(text.find(expected), std::string::npos) << expected << " in\n" << text;
}

TEST(Mask, HidesWhatAModuleReportsAndDoesNotMark)
{
    zel::StateManager state;
    zel::Serializable::deserializeUtf8(R"(<StateManager format="zel-state" version="1">
<specification name="Identity" key="Identity" type="STRING" category="SysInfo, Group"/>
<specification name="SerialNumber" key="SerialNumber" type="STRING" category="SysInfo" group="Identity"/>
<specification name="Colour" key="Colour" type="STRING" category="SysInfo"/>
<device guid="a" name="Fan tray" location="TRAY:1" type="Fan" capabilities="Fan" state="FUNCTIONAL">
<property spec="Identity" value=""><member key="SerialNumber"/></property>
<property spec="SerialNumber" value="SN-1001"/><property spec="Colour" value="red"/></device>
</StateManager>)",
                                       state);
    Machine tray = machineOf(state);
    EXPECT_EQ(listing::text(tray), "Fan tray  [Fan]  TRAY:1\n    Serial number: SN-1001\n    Colour: red\n")
        << "the name that everybody's serial numbers have, and no line for a group without a value";
    Mask().apply(tray);
    EXPECT_EQ(listing::text(tray),
              "Fan tray  [Fan]  TRAY:1\n    Serial number: [Serial number 1]\n    Colour: red\n");
}

TEST(Mask, EqualValuesStayEqual)
{
    std::string const first = device("X", "A", properties(text("SerialNumber", "AAAA")));
    std::string const second = device("X", "B", properties(text("SerialNumber", "BBBB")));
    Machine before = machine(first + ", " + second);
    Machine after = machine(second);
    Mask mask;
    mask.apply(before);
    mask.apply(after);
    EXPECT_EQ(before.devices[1].property("SerialNumber")->value.toString(), "[Serial number 2]");
    EXPECT_EQ(after.devices[0].property("SerialNumber")->value.toString(), "[Serial number 2]");
}

TEST(Mask, AGuidFollowsItsMaskedPlace)
{
    std::string const card =
        device("NetworkCard", "NET:0:22:65:226:141:255",
               R"(, "guid": "old")" + properties(text("MacAddress", "00:16:41:e2:8d:ff")));
    Machine one = machine(card + ", " + device("X", "B", R"(, "guid": "kept")"));
    Mask().apply(one);
    EXPECT_NE(one.devices[0].guid, "old") << "the address could be found by trying";
    EXPECT_EQ(one.devices[1].guid, "kept");
}

} // namespace listing::test
