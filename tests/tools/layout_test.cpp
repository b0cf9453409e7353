#include "Listings.h"

#include <listing/forms/Columns.h>
#include <listing/forms/Listing.h>
#include <listing/machine/ClassWords.h>

#include <zel/foundation/Exception.h>

#include <gtest/gtest.h>

namespace listing::test {

namespace {

std::string below(std::string const& devices) { return ", \"children\": [" + devices + "]"; }

Machine server()
{
    std::string const address = text("PciAddress", "0000:05:00.0");
    return machine(device(
        "System", "System",
        below(
            device("CPU", "CPU:0",
                   properties(R"("CoreCount": {"type": "UINT32", "value": 6},
                                   "MaximumClock": {"type": "DISCRETEMEASUREMENT",
                                                    "value": {"value": 3200000000, "unit": "HERTZ"}})") +
                       below(device("CPUCore", "CPU:0:CORE:0", below(device("CPUCache", "CPU:0:L1:0"))) +
                             ", " + device("CPUCore", "CPU:0:CORE:1", R"(, "state": "DISABLED")"))) +
            ", " +
            // a card, of which a driver makes one interface, and one of which it makes two
            R"({"type": "CommunicationsController", "name": "Fast", "hwLocator": "PCI:5:0:0")" +
            properties(address + ", " + text("LinkSpeed", "8 GT/s")) +
            below(
                R"j({"type": "NetworkCard", "name": "Fast (Network card)", "hwLocator": "NET:1", "osLocator": "eth0")j" +
                properties(address + ", " + text("Driver", "ixgbe")) + below(device("TempSensor", "T")) +
                "}") +
            "}, " +
            device("CommunicationsController", "PCI:6:0:0",
                   below(device("NetworkCard", "PCI:6:0:0") + ", " + device("SoundCard", "PCI:6:0:0"))))));
}

} // namespace

TEST(Layout, OneLineADeviceInColumns)
{
    EXPECT_EQ(tree(server(), 0),
              "System at System                         System\n"
              "  CPU at CPU:0                           CPU                 CPU:0         6 x 3.2 GHz\n"
              "    CPUCore at CPU:0:CORE:1              CPUCore             CPU:0:CORE:1  state DISABLED\n"
              "  Fast (Network card)                    NetworkCard         eth0          8 GT/s, ixgbe\n"
              "    TempSensor at T                      TempSensor          T\n"
              "  CommunicationsController at PCI:6:0:0  CommunicationsCo..  PCI:6:0:0\n"
              "    NetworkCard at PCI:6:0:0             NetworkCard         PCI:6:0:0\n"
              "    SoundCard at PCI:6:0:0               SoundCard           PCI:6:0:0\n"
              "(2 cores, threads and caches of processors are not shown: -v)\n");
}

TEST(Layout, LongLinesBreakAtWords)
{
    struct
    {
        std::string line;
        std::size_t columns;
        char const* text;
    } const cases[] = {
        {"one two three", 13, "one two three\n"},
        {"one two three", 12, "one two\n  three\n"},
        {"one two three", 1, "one\ntwo\nthree\n"},
        {"    margin  wide  gap", 14, "    margin\n  wide  gap\n"},
        {"a /a/path/that/is/longer b c", 10, "a\n  /a/path/that/is/longer\n  b c\n"},
        {"\u00e4\u00e4 \u6f22\u5b57 x", 7, "\u00e4\u00e4 \u6f22\u5b57\n  x\n"},
        {"", 10, "\n"},
        {"   ", 10, "   \n"},
    };
    for (auto const& one : cases)
        EXPECT_EQ(wrapped(one.line, 2, one.columns), one.text) << one.line;
}

TEST(Layout, LinesFitTheTerminal)
{
    for (std::size_t const width : {20u, 50u, 80u, 120u}) {
        std::string const text = tree(server(), width);
        std::size_t begin = 0;
        for (std::size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
            EXPECT_TRUE(text[begin] == '(' || end - begin <= width) << text;
        EXPECT_NE(text.find("CPU"), std::string::npos);
    }
}

TEST(Layout, SelectedClassesComeWithTheirParents)
{
    Machine caches = server();
    selectClasses(caches, {zel::CapabilityImp::CPUCache(), zel::CapabilityImp::TempSensor()});
    EXPECT_EQ(text(caches), "System at System  [System]  System\n"
                            "  CPU at CPU:0  [CPU]  CPU:0\n"
                            "    CPUCore at CPU:0:CORE:0  [CPUCore]  CPU:0:CORE:0\n"
                            "      CPUCache at CPU:0:L1:0  [CPUCache]  CPU:0:L1:0\n"
                            "  Fast  [CommunicationsController]  PCI:5:0:0\n"
                            "    Fast (Network card)  [NetworkCard]  NET:1  eth0\n"
                            "      TempSensor at T  [TempSensor]  T\n")
        << "parents without their properties";
    EXPECT_NE(tree(caches, 0).find("CPUCache"), std::string::npos) << "who asks for a cache sees it";
    for (std::size_t i = 0; i < caches.devices.size(); ++i)
        EXPECT_TRUE(caches.devices[i].parent == Device::kNone || caches.devices[i].parent < i);
    Machine none = server();
    selectClasses(none, {zel::CapabilityImp::Monitor()});
    EXPECT_EQ(tree(none, 0), "No devices found.\n");
}

TEST(Layout, ClassesAreNamedInAnyCase)
{
    EXPECT_EQ(classNamed("harddrive"), zel::CapabilityImp::HardDrive());
    EXPECT_EQ(classNamed("POWERSENSOR").toString(), "PowerSensor");
    EXPECT_TRUE(classNamed("all").isAll());
    for (auto const& [word, reason] :
         {std::pair("hardrive", "there is no class \"hardrive\"; did you mean \"HardDrive\"?"),
          std::pair("Quetzalcoatlus", "there is no class \"Quetzalcoatlus\""),
          std::pair("INVALID", "there is no class \"INVALID\""), std::pair("", "there is no class \"\"")})
        try {
            ADD_FAILURE() << classNamed(word).toString().toUtf8();
        } catch (zel::InvalidArgumentException const& error) {
            EXPECT_EQ(error.getMessage().toUtf8().substr(0, std::string(reason).size()), reason);
        }
}

TEST(Layout, NoTextBecomesMarkup)
{
    std::string const evil = R"(<script>alert('x')</script>\" onload=\"y&amp;\u0007)";
    std::string const page = html(
        machine("{\"type\": \"<b>\", \"name\": \"" + evil + "\", \"hwLocator\": \"" + evil +
                    "\", \"osLocator\": \"" + evil + "x\", \"description\": \"" + evil + "\", \"state\": \"" +
                    evil + "\"" + properties(text(evil, evil) + ", " + text("Driver", evil)) + "}",
                "\"program\": \"" + evil + "\", \"date\": \"" + evil + "\", \"classes\": [\"" + evil +
                    "\"], \"gaps\": [\"" + evil + "\"], "));
    EXPECT_EQ(page.find("<script"), std::string::npos) << page;
    EXPECT_EQ(page.find("<b>"), std::string::npos) << page;
    EXPECT_EQ(page.find("\" onload"), std::string::npos) << page;
    EXPECT_EQ(page.find('\a'), std::string::npos);
    EXPECT_NE(page.find("&lt;script&gt;alert(&#39;x&#39;)&lt;/script&gt;&quot; onload=&quot;y&amp;amp;\\x07"),
              std::string::npos)
        << page;
}

} // namespace listing::test
