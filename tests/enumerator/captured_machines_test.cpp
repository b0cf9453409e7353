// Facts about captured machines: all classes together, then system, processors, memory.

#include "CapturedMachine.h"
#include "HardwareMachine.h"

#include <zel/enumerator/firmware/SmbiosTables.h>
#include <zel/enumerator/root/Text.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <map>
#include <set>

using namespace zel;
using namespace zel::test;

namespace {

using C = CapabilityImp;

std::string described(DeviceDescription const& device)
{
    std::string text = device.type.toString().toUtf8() + "|" + device.hwLocator.toUtf8() + "|" +
                       device.osLocator.toUtf8() + "|" + device.name.toUtf8() + "|" +
                       device.description.toUtf8() + "|" + device.capabilities.toString().toUtf8();
    for (auto const& [key, value] : device.properties)
        text += std::string("|") + key + "=" + value.toString().toUtf8();
    return text;
}

std::string orDash(std::optional<std::string> const& text) { return text::meaningful(text).value_or("-"); }

/// A line of the facts about firmware tables that tells of the machine as a whole: which text stands where.
struct TableRow
{
    char const* begin;
    char const* key;
    char const* location;
    char const* property;
} const kTableRows[] = {
    {"type0:", "Vendor", "SMBIOS:0", "Manufacturer"},
    {"type0:", "Version", "SMBIOS:0", "FirmwareVersion"},
    {"type0:", "Release Date", "SMBIOS:0", "ReleaseDate"},
    {"type1:", "Manufacturer", "System", "Manufacturer"},
    {"type1:", "Product Name", "System", "Model"},
    {"type1:", "Version", "System", "Version"},
    {"type1:", "Serial Number", "System", "SerialNumber"},
    {"type1:", "UUID", "System", "Uuid"},
    {"type1:", "SKU Number", "System", "SkuNumber"},
    {"type1:", "Family", "System", "ProductFamily"},
    {"type2:", "Manufacturer", "SMBIOS:2", "Manufacturer"},
    {"type2:", "Product Name", "SMBIOS:2", "Model"},
    {"type2:", "Serial Number", "SMBIOS:2", "SerialNumber"},
    {"type3:", "Type", "SMBIOS:3", "ChassisType"},
};

/// Number of facts that the line holds.
std::size_t expectMachineFacts(CapturedMachine const& machine, std::string const& line)
{
    std::size_t checked = 0;
    for (TableRow const& row : kTableRows) {
        auto const text = line.rfind(row.begin, 0) == 0 ? word(line, row.key, '\'') : std::nullopt;
        if (!text)
            continue;
        DeviceDescription const* device = nullptr;
        for (C const& type : {C::System(), C::BIOS(), C::SystemBoard(), C::Chassis()})
            device = device ? device : machine.byLocation(type, row.location);
        EXPECT_EQ(propertyText(device, row.property), orDash(text)) << line;
        ++checked;
    }
    return checked;
}

void expectProcessorSocket(DeviceDescription const* chip, std::string const& line)
{
    for (auto const& [key, property] :
         {std::pair{"Socket Designation", "Socket"}, std::pair{"Manufacturer", "Manufacturer"},
          std::pair{"Version", "Model"}, std::pair{"Core Count", "CoreCount"},
          std::pair{"Thread Count", "ThreadCount"}})
        EXPECT_EQ(propertyText(chip, property), orDash(word(line, key, '\''))) << line;
    EXPECT_EQ("Populated, " + propertyText(chip, "Status"), *word(line, "Status", '\'')) << line;
    EXPECT_EQ(count(chip, "StartClock"),
              std::strtoull(word(line, "Current Speed", '\'')->c_str(), nullptr, 10) * 1'000'000);
}

void expectMemoryModule(DeviceDescription const* chip, std::string const& line)
{
    for (auto const& [key, property] :
         {std::pair{"Locator", "Locator"}, std::pair{"Bank Locator", "BankLocator"},
          std::pair{"Type", "MemoryType"}, std::pair{"Manufacturer", "Manufacturer"},
          std::pair{"Serial Number", "SerialNumber"}, std::pair{"Part Number", "PartNumber"},
          std::pair{"Form Factor", "FormFactor"}})
        EXPECT_EQ(propertyText(chip, property), orDash(word(line, key, '\''))) << line;
    EXPECT_EQ(count(chip, "Size"), std::strtoull(word(line, "Size", '\'')->c_str(), nullptr, 10) << 30)
        << line;
    EXPECT_EQ(propertyText(chip, "Speed"), *word(line, "Speed", '\'')) << line;
}

} // namespace

TEST(CapturedMachines, EveryDeviceIsWhole)
{
    SKIP_WITHOUT_MACHINES();
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        EXPECT_FALSE(machine.devices().empty());
        for (TableDamage const& damage : machine.damages())
            ADD_FAILURE() << damage.what.toUtf8();
        for (DeviceDescription const& device : machine.devices()) {
            EXPECT_FALSE(device.name.empty()) << described(device);
            EXPECT_FALSE(device.description.empty()) << described(device);
            EXPECT_FALSE(device.hwLocator.empty()) << described(device);
            EXPECT_EQ(device.type.primitiveCapabilityCount(), 1u) << described(device);
        }
        HardwareTree tree(machine.root(), HardwareNames::none());
        for (Discoverer const& discoverer : discoverers())
            expectCapabilitiesListed(discoverer, tree);
        StateManager state;
        DeviceRecords records(C::ALL());
        for (DeviceDescription const& device : machine.devices())
            records.add(device);
        records.fill(state);
        EXPECT_EQ(state.deviceCount(), machine.devices().size());
    }
}

TEST(CapturedMachines, AChildIsNotCalledAsItsParent)
{
    SKIP_WITHOUT_MACHINES();
    std::size_t checked = 0;
    for (CapturedMachine const& machine : capturedMachines())
        for (DeviceDescription const& device : machine.devices()) {
            auto const* const parent = machine.byLocation(device.parentType, device.parentLocator.toUtf8());
            if (!parent || device.type == parent->type) // one bridge may look like the next
                continue;
            EXPECT_NE(device.name, parent->name) << machine.name() << ": " << described(device);
            ++checked;
        }
    EXPECT_GT(checked, 0u);
}

TEST(CapturedMachines, LocationsAreUniqueAndScansAgree)
{
    SKIP_WITHOUT_MACHINES();
    struct Recorder : DeviceSink
    {
        void add(DeviceDescription device) override
        {
            lines.push_back(described(device)),
                places.insert(device.type.toString().toUtf8() + "|" + device.hwLocator.toUtf8());
        }
        std::vector<std::string> lines;
        std::multiset<std::string> places;
    };
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        Recorder first;
        Recorder second;
        discover(machine.root(), C::ALL(), first);
        discover(machine.root(), C::ALL(), second);
        EXPECT_EQ(first.lines, second.lines);
        for (std::string const& place : first.places)
            EXPECT_EQ(first.places.count(place), 1u) << place;
    }
}

TEST(CapturedMachines, Processors)
{
    SKIP_WITHOUT_MACHINES();
    std::size_t checked = 0;
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        if (auto const online = machine.fact("cpu", "online_count"); online && ++checked) {
            EXPECT_EQ(std::to_string(machine.ofType(C::CPUThread()).size()), *online);
        }
        if (auto const cores = machine.asserted("cpu", "cores_by_source"); cores && ++checked) {
            EXPECT_EQ(machine.ofType(C::CPUCore()).size(), *cores);
        }
        if (auto const packages = machine.asserted("cpu", "packages_by_source"); packages && ++checked) {
            EXPECT_EQ(machine.ofType(C::CPU()).size(), *packages);
        }
        auto const packages = machine.ofType(C::CPU());
        if (packages.empty())
            continue;
        if (auto const model = machine.fact("cpu", "cpuinfo model name"); model && ++checked) {
            EXPECT_EQ(propertyText(packages[0], "Model"), orDash(model));
        }
        for (auto const& [fact, property] :
             {std::pair{"cpuinfo vendor_id", "Manufacturer"}, std::pair{"cpuinfo cpu family", "CpuFamily"},
              std::pair{"cpuinfo model", "CpuModel"}, std::pair{"cpuinfo stepping", "Stepping"},
              std::pair{"cpuinfo microcode", "Microcode"}}) {
            auto const text = machine.fact("cpu", fact);
            if (text && machine.fact("cpu", "cpuinfo vendor_id")) {
                EXPECT_EQ(propertyText(packages[0], property), *text) << fact;
            }
        }
    }
    EXPECT_GT(checked, 0u);
}

TEST(CapturedMachines, CachesOfTheFirstProcessor)
{
    SKIP_WITHOUT_MACHINES();
    std::size_t checked = 0;
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        for (int index = 0; auto const line = machine.fact("cpu", "cpu0_index" + std::to_string(index));
             ++index) {
            unsigned level = 0;
            char type[32] = "";
            char size[32] = "";
            ASSERT_EQ(std::sscanf(line->c_str(), "level %u type %31s size %31s", &level, type, size), 3)
                << *line;
            std::string const kind = type == std::string("Data")          ? "d"
                                     : type == std::string("Instruction") ? "i"
                                                                          : "";
            DeviceDescription const* found = nullptr;
            for (DeviceDescription const* cache : machine.ofType(C::CPUCache())) {
                std::string const end = ":L" + std::to_string(level) + kind + ":0";
                if (cache->hwLocator.endsWith(String(end)))
                    found = cache;
            }
            ASSERT_NE(found, nullptr) << *line;
            EXPECT_EQ(count(found, "Size"), text::toByteCount(size)) << *line;
            ++checked;
        }
    }
    EXPECT_GT(checked, 0u);
}

TEST(CapturedMachines, Memory)
{
    SKIP_WITHOUT_MACHINES();
    std::size_t checked = 0;
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        auto const total = machine.fact("memory", "meminfo MemTotal");
        bool const hasBlocks = machine.root().exists("sys/devices/system/memory/memory0");
        auto const found = machine.ofType(C::Memory());
        EXPECT_EQ(found.size(), total || hasBlocks || machine.fact("smbios", "type17_total") ? 1u : 0u);
        if (!total)
            continue;
        ASSERT_EQ(found.size(), 1u);
        std::uint64_t const usable = std::strtoull(total->c_str(), nullptr, 10) * 1024;
        EXPECT_EQ(count(found[0], "UsableMemory"), usable);
        EXPECT_GE(count(found[0], "Size"), usable);
        ++checked;
    }
    EXPECT_GT(checked, 0u);
}

TEST(CapturedMachines, MemoryBuiltIn)
{
    SKIP_WITHOUT_MACHINES();
    struct Case
    {
        char const *machine, *key, *text;
    } const cases[] = {
        {"desktop-ryzen5-1600", "Size", "32 GiB"}, // 256 blocks of 128 MiB
        {"vm-q35-virtio", "Size", "2 GiB"},
        {"smbios-server-supermicro-x9dbl", "Size", "48 GiB"}, // of six modules
        {"smbios-server-supermicro-x9dbl", "MaximumMemory", "96 GiB"},
        {"smbios-server-supermicro-x9dbl", "MemorySlots", "6"},
        {"smbios-server-supermicro-x9dbl", "ErrorCorrection", "Multi-bit ECC"},
        {"smbios-laptop-asus-ux307la", "Size", "8 GiB"},
        {"smbios-laptop-asus-ux307la", "MaximumMemory", "16 GiB"},
        {"derived-laptop-latitude-5580", "Size", "-"}, // the size of its blocks was not captured
        {"derived-laptop-latitude-5580", "MemoryBlocks", "64"},
    };
    for (Case const& c : cases) {
        auto const memory = machineCalled(c.machine).ofType(C::Memory());
        ASSERT_EQ(memory.size(), 1u);
        EXPECT_EQ(propertyText(memory[0], c.key), c.text) << c.machine << " " << c.key;
    }
}

TEST(CapturedMachines, FirmwareTables)
{
    SKIP_WITHOUT_MACHINES();
    std::size_t checked = 0;
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        auto const sockets = machine.ofType(C::CPU()), chips = machine.ofType(C::MemoryChip());
        std::size_t modules = 0, processors = 0;
        for (std::string const& line : machine.section("smbios")) {
            checked += expectMachineFacts(machine, line);
            if (line.rfind("type4:", 0) == 0) {
                ASSERT_LT(processors, sockets.size()) << line;
                expectProcessorSocket(sockets[processors++], line);
            } else if (line.rfind("type17:", 0) == 0) {
                ASSERT_LT(modules, chips.size());
                expectMemoryModule(chips[modules++], line);
            }
        }
        if (auto const total = machine.fact("smbios", "type17_total")) {
            EXPECT_EQ(std::to_string(modules), *total);
        }
    }
    EXPECT_GT(checked, 0u);
}

// Another program's reading of the same tables, where one was captured: field by field, by handle.
TEST(CapturedMachines, FieldsOfTheFirmwareTablesAsAnotherProgramReadsThem)
{
    SKIP_WITHOUT_MACHINES();
    static std::map<std::string, std::string> const names{
        {"Vendor", "Maker"},
        {"Manufacturer", "Maker"},
        {"Product Name", "Product"},
        {"Version", "Version"},
        {"Serial Number", "Serial number"},
        {"Asset Tag", "Asset tag"},
        {"SKU Number", "SKU"},
        {"UUID", "UUID"},
        {"Chassis Handle", "Chassis"},
        {"Socket Designation", "Socket"},
        {"External Clock", "External clock"},
        {"Max Speed", "Maximum clock of the socket"},
        {"L1 Cache Handle", "Level 1 cache"},
        {"L3 Cache Handle", "Level 3 cache"},
        {"Core Count", "Cores"},
        {"Core Enabled", "Cores enabled"},
        {"Thread Count", "Threads"},
        {"Part Number", "Part number"},
        {"Internal Reference Designator", "On the board"},
        {"External Reference Designator", "Outside"},
        {"Bus Address", "Address"},
        {"Locator", "Slot"},
        {"Bank Locator", "Bank"},
        {"Total Width", "Total width"},
        {"Data Width", "Data width"},
        {"Rank", "Ranks"},
        {"Speed", "Speed"},
        {"Array Handle", "Array"},
        {"Starting Address", "From"},
        {"Ending Address", "To"},
        {"Physical Array Handle", "Array"},
        {"Physical Device Handle", "Device"},
        {"Reference Designation", "Name"},
        {"Number Of Devices", "Slots"},
        {"Type Instance", "Number"},
    };
    std::size_t checked = 0;
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        auto const theirs = machine.root().read("tools-expected/dmidecode-3.4.txt", 1u << 20);
        if (!theirs)
            continue;
        std::map<std::string, std::string> ours; // by handle
        for (std::string const& line : smbiosLines(readSmbios(machine.root())))
            ours[line.substr(0, 6)] = line + ";";
        std::string mine;
        for (std::string_view const line : text::split(*theirs, '\n')) {
            std::size_t const colon = line.find(": ");
            if (line.starts_with("Handle 0x"))
                mine = ours[text::lowered(line.substr(7, 6))];
            if (!line.starts_with('\t') || line.starts_with("\t\t") || colon == std::string_view::npos)
                continue;
            auto const name = names.find(std::string(line.substr(1, colon - 1)));
            std::string value(text::trimmed(line.substr(colon + 2)));
            if (name == names.end() || value.empty() || value.starts_with("Not ") || value == "Unknown" ||
                value == "None" || value == "No Module Installed")
                continue;
            if (value.starts_with("0x") || name->first == "UUID" || name->first == "Bus Address")
                value = text::lowered(value);
            if (value.ends_with(" bits"))
                value.pop_back();
            std::string const wanted = name->second + ": " + value + ";";
            EXPECT_NE(mine.find(wanted), std::string::npos) << wanted << "\n" << mine;
            ++checked;
        }
    }
    EXPECT_GT(checked, 200u);
}

TEST(CapturedMachines, KernelsCopyOfTheFirmwareTables)
{
    SKIP_WITHOUT_MACHINES();
    std::size_t checked = 0;
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        struct Row
        {
            char const* attribute;
            char const* location;
            C const& type;
            char const* property;
        };
        for (Row const& row : {Row{"bios_vendor", "SMBIOS:0", C::BIOS(), "Manufacturer"},
                               Row{"bios_version", "SMBIOS:0", C::BIOS(), "FirmwareVersion"},
                               Row{"bios_date", "SMBIOS:0", C::BIOS(), "ReleaseDate"},
                               Row{"board_name", "SMBIOS:2", C::SystemBoard(), "Model"},
                               Row{"board_serial", "SMBIOS:2", C::SystemBoard(), "SerialNumber"},
                               Row{"product_name", "System", C::System(), "Model"},
                               Row{"product_serial", "System", C::System(), "SerialNumber"},
                               Row{"product_uuid", "System", C::System(), "Uuid"},
                               Row{"product_version", "System", C::System(), "Version"},
                               Row{"sys_vendor", "System", C::System(), "Manufacturer"}})
            if (auto const text = machine.fact("dmi", row.attribute); text && ++checked) {
                EXPECT_EQ(propertyText(machine.byLocation(row.type, row.location), row.property),
                          orDash(text));
            }
    }
    EXPECT_GT(checked, 0u);
}
