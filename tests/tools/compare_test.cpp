#include "Listings.h"

#include <listing/saved/Compare.h>

#include <gtest/gtest.h>

namespace listing::test {

namespace {

std::string const kDrive = "HardDrive", kSystem = "System";

struct Case
{
    char const* what;
    std::string before, after;
    bool all;
    /// The comparison's text without the two lines of origin and the last line.
    char const* expected;
};

std::string below(std::string const& devices) { return ", \"children\": [" + devices + "]"; }

std::string guid(std::string const& value) { return ", \"guid\": \"" + value + "\""; }

std::string drive(std::string const& place, std::string const& serial, std::string const& more = {})
{
    return device(kDrive, place, properties(text("SerialNumber", serial) + ", " + text("Model", "X") + more));
}

std::vector<Case> const kCases = {
    {"the same", drive("A", "1"), drive("A", "1"), true, ""},
    {"in another order", drive("A", "1") + ", " + drive("B", "2"), drive("B", "2") + ", " + drive("A", "1"),
     true, ""},
    {"added, with what is below it", "", device(kDrive, "A", below(device("DrivePartition", "A:P1"))), false,
     "Added\n"
     "  HardDrive at A  [HardDrive]  A\n"
     "    DrivePartition at A:P1  [DrivePartition]  A:P1\n"},
    {"removed below one that stays", device(kSystem, "S", below(device(kDrive, "A"))), device(kSystem, "S"),
     false,
     "Removed\n"
     "  HardDrive at A  [HardDrive]  A\n"},
    {"another one in the same place", drive("A", "1"), drive("A", "2"), false,
     "Changed\n"
     "  HardDrive at A  [HardDrive]  A\n"
     "      Serial number (SerialNumber): 1 -> 2\n"},
    {"the same one in another place", drive("A", "1"), drive("B", "1"), false,
     "Changed\n"
     "  HardDrive at B  [HardDrive]  B\n"
     "      Name: HardDrive at A -> HardDrive at B\n"
     "      Place: A -> B\n"},
    {"two that no serial number tells apart are not the same", drive("A", "1") + ", " + drive("B", "1"),
     drive("C", "1"), false,
     "Removed\n"
     "  HardDrive at A  [HardDrive]  A: Model: X\n"
     "  HardDrive at B  [HardDrive]  B: Model: X\n"
     "\n"
     "Added\n"
     "  HardDrive at C  [HardDrive]  C: Model: X\n"},
    {"two without a place are told apart by their guids",
     device("Monitor", "", guid("a") + properties(bytes("Width", "1"))) + ", " +
         device("Monitor", "", guid("b") + properties(bytes("Width", "2"))),
     device("Monitor", "", guid("b") + properties(bytes("Width", "2"))) + ", " +
         device("Monitor", "", guid("a") + properties(text("Driver", "i915"))),
     false,
     "Changed\n"
     "  Monitor at   [Monitor]\n"
     "      Width: no longer 1 B\n"
     "      Driver: now i915\n"},
    {"properties come and go", device(kDrive, "A", properties(bytes("Size", "4096"))),
     device(kDrive, "A", properties(text("Driver", "ahci"))), false,
     "Changed\n"
     "  HardDrive at A  [HardDrive]  A\n"
     "      Size: no longer 4 KiB\n"
     "      Driver: now ahci\n"},
    {"sizes that read alike", device(kDrive, "A", properties(bytes("Size", "1000000000001"))),
     device(kDrive, "A", properties(bytes("Size", "1000000000002"))), false,
     "Changed\n"
     "  HardDrive at A  [HardDrive]  A\n"
     "      Size: 1000000000001 B -> 1000000000002 B\n"},
    {"lists tell what came and went",
     device("CPU", "A", properties(R"("Flags": {"type": "STRINGARRAY", "value": ["fpu", "mpx", "sse"]})")),
     device("CPU", "A", properties(R"("Flags": {"type": "STRINGARRAY", "value": ["fpu", "sse", "avx"]})")),
     false,
     "Changed\n"
     "  CPU at A  [CPU]  A\n"
     "      Feature flags (Flags): no longer mpx; now avx\n"},
    {"another type of the same number",
     device("X", "A", properties(R"("N": {"type": "UINT32", "value": 1})")),
     device("X", "A", properties(R"("N": {"type": "UINT64", "value": 1})")), false,
     "Changed\n"
     "  X at A  [X]  A\n"
     "      N: 1 (UINT32) -> 1 (UINT64)\n"},
    {"decimals worth showing are no difference",
     device(
         "X", "A",
         properties(R"("N": {"type": "NONDISCRETEMEASUREMENT", "value": {"value": 1.5, "unit": "VOLTS"}})")),
     device("X", "A", properties(R"("N": {"type": "NONDISCRETEMEASUREMENT",
                                "value": {"value": 1.5, "unit": "VOLTS", "precision": 1}})")),
     true, ""},
    {"what changes by itself", device("TempSensor", "A", properties(text("Temperature", "40"))),
     device("TempSensor", "A", properties(text("Temperature", "41"))), false, ""},
    {"what changes by itself, asked for", device("TempSensor", "A", properties(text("Temperature", "40"))),
     device("TempSensor", "A", properties(text("Temperature", "41"))), true,
     "Changed\n"
     "  TempSensor at A  [TempSensor]  A\n"
     "      Temperature: 40 -> 41\n"},
    {"the system's names", device(kDrive, "A", R"(, "osLocator": "/dev/sda")"),
     device(kDrive, "A", R"(, "osLocator": "/dev/sdb")"), false, ""},
    {"the system's names, asked for", device(kDrive, "A", R"(, "osLocator": "/dev/sda")"),
     device(kDrive, "A", R"(, "osLocator": "/dev/sdb")"), true,
     "Changed\n"
     "  HardDrive at A  [HardDrive]  A  /dev/sdb\n"
     "      Name in the system: /dev/sda -> /dev/sdb\n"},
    {"state", device(kDrive, "A"), device(kDrive, "A", R"(, "state": "DISABLED")"), false,
     "Changed\n"
     "  HardDrive at A  [HardDrive]  A\n"
     "      State: FUNCTIONAL -> DISABLED\n"},
    {"moved below another one", device("HUB", "H") + ", " + device("HUB", "I", below(device(kDrive, "A"))),
     device("HUB", "H", below(device(kDrive, "A"))) + ", " + device("HUB", "I"), false,
     "Changed\n"
     "  HardDrive at A  [HardDrive]  A\n"
     "      Below: HUB at I (I) -> HUB at H (H)\n"},
    {"a text cannot forge a line", device(kDrive, "A", properties(text("Driver", "x"))),
     device(kDrive, "A", properties(text("Driver", R"(\nNo differences.\u001b[2J)"))), false,
     "Changed\n"
     "  HardDrive at A  [HardDrive]  A\n"
     "      Driver: x -> \\x0aNo differences.\\x1b[2J\n"},
};

std::string withoutFrame(std::string text)
{
    text.erase(0, text.find("\n\n") + 2); // origin
    std::size_t const counts = std::min(text.find("No differences.\n"), text.find("Devices: "));
    text.erase(counts);
    if (text.ends_with("\n\n"))
        text.pop_back();
    return text;
}

} // namespace

TEST(Compare, SaysWhatDiffers)
{
    for (Case const& one : kCases) {
        SCOPED_TRACE(one.what);
        Machine const before = machine(one.before), after = machine(one.after);
        Comparison const found = compare(before, after, one.all);
        EXPECT_EQ(withoutFrame(text(found, before, "before", after, "after")), one.expected);
        EXPECT_EQ(found.isSame(), std::string(one.expected).empty());
    }
}

TEST(Compare, TellsWhatItLeftOut)
{
    Machine before = machine(device("TempSensor", "A", properties(text("Temperature", "40"))));
    Machine after = machine(device("TempSensor", "A", properties(text("Temperature", "41"))),
                            R"("gaps": ["cannot read the directory \"sys/block\""], )");
    std::string const said = text(compare(before, after, false), before, "a", after, "b");
    EXPECT_NE(said.find("--all"), std::string::npos) << said;
    EXPECT_NE(said.find("Note: b: cannot read the directory \"sys/block\"\n"), std::string::npos) << said;
    EXPECT_EQ(text(compare(before, after, true), before, "a", after, "b").find("--all"), std::string::npos);
}

TEST(Compare, MaskedListingsAreComparedAsFarAsTheyCanBe)
{
    Machine before = machine(drive("A", "S3RIAL-1"));
    Machine after = machine(drive("A", "[Serial number 1]"), R"("masked": true, )");
    align(before, after);
    Comparison const found = compare(before, after, true);
    EXPECT_TRUE(found.isSame()) << text(found, before, "a", after, "b");
    EXPECT_TRUE(found.leftOutIdentifying);
    EXPECT_EQ(text(found, before, "a", after, "b").find("S3RIAL"), std::string::npos);
}

TEST(Compare, OfAListingOfOneClassOnlyThatClassIsCompared)
{
    Machine whole = machine(device(kSystem, "S", below(drive("A", "1") + ", " + device("Fan", "F"))));
    Machine part = whole;
    selectClasses(part, {zel::CapabilityImp::HardDrive()});
    EXPECT_FALSE(compare(whole, part, false).isSame()) << "as they stand, a fan is missing";
    align(whole, part);
    EXPECT_TRUE(compare(whole, part, false).isSame());
}

} // namespace listing::test
