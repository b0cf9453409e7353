#include "../SmbiosTable.h"

#include <zel/enumerator/firmware/Smbios.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace zel;
using namespace zel::test;

namespace {

SmbiosTable sampleTable()
{
    return SmbiosTable()
        .add(0, {1, 2, 0, 0xF0, 3, 0x3F}, {"LENOVO", "N2HET47W", "01/02/2020"})
        .add(1, {1, 2, 0, 3}, {"LENOVO", "20L50000GE", "PF000001"})
        .add(17, memoryDevice(8192), {"ChannelA", "BANK 0", "Samsung", "12AB34CD", "M471A1K43CB1"})
        .add(17, memoryDevice(0), {"ChannelB", "BANK 2"})
        .add(4, processorSocket(0x41), {"SOCKET 0", "Intel", "Xeon"})
        .add(16, memoryArray(0x80000000u, 4, 3, 1ull << 42))
        .add(17, memoryDevice(0x7FFF, 65536), {"ChannelC"})
        .add(127, {});
}

/// Everything that can be asked of a table.
void askEverything(Smbios const& smbios)
{
    for (SmbiosStructure const& structure : smbios.structures()) {
        for (std::size_t offset = 0; offset < 260; ++offset) {
            (void)structure.byte(offset);
            (void)structure.word(offset);
            (void)structure.doubleWord(offset);
            (void)structure.text(offset);
        }
        (void)SmbiosMemoryModule::from(structure);
        (void)smbiosUuid(structure, true);
        (void)smbiosRomSize(structure);
    }
    (void)smbiosProcessors(smbios);
    (void)smbiosMemory(smbios);
    (void)smbiosLines(smbios);
    (void)smbiosSlots(smbios);
}

/// A structure of the kinds that a technician reads, and what is said of it.
struct Described
{
    std::uint8_t type;
    std::vector<std::uint8_t> fields; ///< from offset 4 on
    std::vector<std::string> strings;
    char const* said;
};

std::vector<Described> const& describedStructures()
{
    static std::vector<Described> const all{
        {0,
         {1, 2, 0x00, 0xE0, 3, 0xFF, 0x90, 0x88, 0x01, 0, 0, 0, 0, 0, 0x81, 0x08, 5, 12, 1, 7, 0x10, 0},
         {"Maker", "1.0", "01/02/2020"},
         "BIOS (type 0, 26 bytes): Maker: Maker; Version: 1.0; Segment: 0xe000; Date: 01/02/2020; Size: 16 "
         "MiB; "
         "Release: 5.12; Embedded controller: 1.7; Supports: ISA, PCI, update from the system, start from "
         "CD, "
         "choice of start; And: ACPI, smart battery; And: UEFI"},
        {1,
         {1, 2, 0, 3, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 6, 0, 4},
         {"Maker", "Model", "S1", "Family"},
         "System (type 1, 27 bytes): Maker: Maker; Product: Model; Serial number: S1; Switched on by: power "
         "switch; "
         "Family: Family; UUID: 03020100-0504-0706-0809-0a0b0c0d0e0f"},
        {2,
         {1, 2, 0, 3, 0, 9, 0, 3, 0, 0x0A, 0},
         {"Maker", "Board", "S2"},
         "System board (type 2, 15 bytes): Maker: Maker; Product: Board; Serial number: S2; Kind: "
         "motherboard; Is: "
         "hosting, replaceable; Chassis: 0x0003"},
        {3,
         {1, 0x83, 0, 2, 0, 3, 4, 2, 3, 0, 0, 0, 0, 2, 1, 1, 3, 9, 9, 9, 3},
         {"Maker", "S3", "SKU1"},
         "Chassis (type 3, 25 bytes): Maker: Maker; Kind: Desktop; Locked: yes; Serial number: S3; State at "
         "start: safe; "
         "State of the power supplies: warning; Security: none; Height: 2 U; Power cords: 1; SKU: SKU1"},
        {4,
         processorSocket(0x41, 0xFF, 300),
         {"CPU0", "Maker", "Xeon"},
         "Processor (type 4, 48 bytes): Socket: CPU0; Kind: central processor; Family: 0x00; Maker: Maker; "
         "Id: "
         "0x0000000000000000; Version: Xeon; Voltage: 0.9 V; Maximum clock of the socket: 4000 MHz; Clock at "
         "start: 1800 "
         "MHz; Status: Enabled; Level 1 cache: 0x0000; Level 2 cache: 0x0000; Level 3 cache: 0x0000; Cores: "
         "300; "
         "Threads: 8"},
        {7,
         {1, 0x81, 0x01, 0xFF, 0xFF, 0x00, 0x82, 0, 0, 0, 0, 2, 6, 5, 8, 0, 0x20, 0, 0x80, 0, 0, 0, 0},
         {"L2"},
         "Cache (type 7, 27 bytes): Socket: L2; Level: 2; Enabled: yes; Place: internal; Mode: write back; "
         "Maximum size: "
         "512 MiB; Size: 32 MiB; Speed: 2 ns; Error correction: Multi-bit ECC; Holds: instructions and data; "
         "Ways: 16"},
        {8,
         {1, 0, 2, 0x12, 0x10},
         {"J3", "USB 1"},
         "Connector (type 8, 9 bytes): On the board: J3; Outside: USB 1; Connector outside: USB; Port: USB"},
        {9,
         {1, 0xB6, 0x0D, 4, 4, 3, 0, 0x04, 0x03, 0, 0, 1, 0x09},
         {"PCIE1"},
         "System slot (type 9, 17 bytes): Name: PCIE1; Kind: PCI Express 3 x16; Width: x16; Use: in use; "
         "Length: long; "
         "Number: 3; Offers: 3.3 V; And: power management events, hot plug; Address: 0000:01:01.1"},
        {10,
         {0x83, 1, 0x05, 2},
         {"VGA", "NIC"},
         "On-board devices (old form) (type 10, 8 bytes): Devices: VGA (video, enabled), NIC (Ethernet, "
         "disabled)"},
        {11,
         {2},
         {"first", "second"},
         "Texts of the maker (type 11, 5 bytes): Texts: 2; texts: first, second"},
        {13,
         {2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2},
         {"en|US", "de|DE"},
         "Languages of the firmware (type 13, 22 bytes): Languages: 2; In use: de|DE; texts: en|US"},
        {16,
         memoryArray(0x80000000u, 4, 3, 1ull << 42),
         {},
         "Memory array (type 16, 23 bytes): Place: motherboard; Use: system memory; Error correction: "
         "Multi-bit ECC; "
         "Maximum capacity: 4 TiB; Slots: 4"},
        {17,
         memoryDevice(8192),
         {"ChannelA", "BANK 0", "Samsung", "12AB34CD", "M471A1K43CB1"},
         "Memory device (type 17, 34 bytes): Slot: ChannelA; Bank: BANK 0; Size: 8 GiB; Kind: DDR4; Form: "
         "SODIMM; Speed: "
         "3200 MT/s; Configured speed: 2933 MT/s; Total width: 72 bit; Data width: 64 bit; Ranks: 2; Maker: "
         "Samsung; "
         "Serial number: 12AB34CD; Part number: M471A1K43CB1; Errors: 0x0000"},
        {17, memoryDevice(0), {"ChannelB"}, "Slot: ChannelB; Size: no module installed; "},
        {19,
         {0, 0, 0, 0, 0xFF, 0xFF, 0x3F, 0, 16, 0, 2},
         {},
         "Mapped address of a memory array (type 19, 15 bytes): From: 0x00000000000; To: 0x000ffffffff; "
         "Array: 0x0010; "
         "Devices in a row: 2"},
        {22,
         {1, 2, 0, 0, 3, 6, 0x88, 0x13, 0x58, 0x1B, 0, 5, 0, 0, 0x41, 0x54, 0, 2},
         {"Rear", "Maker", "BAT0"},
         "Portable battery (type 22, 22 bytes): Place: Rear; Maker: Maker; Date of manufacture: 2022-02-01; "
         "Name: BAT0; "
         "Chemistry: lithium-ion; Design capacity: 10000 mWh; Design voltage: 7000 mV; Largest error: 5 %"},
        {24,
         {0x46},
         {},
         "Hardware security (type 24, 5 bytes): Power-on password: enabled; Keyboard password: disabled; "
         "Administrator "
         "password: enabled; Reset from the front: not implemented"},
        {26,
         {1, 0x67, 0xE8, 0x03, 0x00, 0x80, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0xE8, 0x03},
         {"Vcore"},
         "Voltage probe (type 26, 22 bytes): Name: Vcore; Place: motherboard; State: OK; Maximum: 1000 mV; "
         "Tolerance: 5 "
         "mV; Nominal: 1000 mV"},
        {27,
         {28, 0, 0x63, 1, 0, 0, 0, 0, 0xB0, 0x04, 1},
         {"Fan 1"},
         "Cooling device (type 27, 15 bytes): Name: Fan 1; Kind: fan; State: OK; Group: 1; Nominal speed: "
         "1200 rpm; "
         "Temperature probe: 0x001c"},
        {28,
         {1, 0x43, 0x52, 0x03, 0x9C, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x00, 0x80},
         {"CPU"},
         "Temperature probe (type 28, 22 bytes): Name: CPU; Place: processor; Maximum: 85.0 \u00B0C; "
         "Minimum: -10.0 "
         "\u00B0C; Tolerance: 0.0 \u00B0C"},
        {29,
         {1, 0xAA, 0xD0, 0x07},
         {"12V"},
         "Electrical current probe (type 29, 8 bytes): Name: 12V; Place: power unit; State: critical; "
         "Maximum: 2000 mA"},
        {32,
         {0, 0, 0, 0, 0, 0, 3},
         {},
         "State of the last start (type 32, 11 bytes): Status: hardware failure found by firmware"},
        {38,
         {1, 0x20, 0x20, 0xFF, 0xA3, 0x0C, 0, 0, 0, 0, 0, 0, 1, 5},
         {},
         "Management controller (IPMI) (type 38, 18 bytes): Interface: KCS; IPMI version: 2.0; I2C address: "
         "0x20; Base "
         "address: 0x0000000000000ca2 (input and output); Interrupt: 5"},
        {39,
         {1, 1, 2, 3, 4, 0, 5, 0, 0xF4, 0x01, 0xA2, 0x11},
         {"Rear", "PSU 1", "Maker", "S4", "P500"},
         "Power supply (type 39, 16 bytes): Place: Rear; Name: PSU 1; Maker: Maker; Serial number: S4; Part "
         "number: P500; "
         "Maximum power: 500 W; Kind: switching; State: OK; Input range: chosen by itself; Is: present; "
         "Group: 1"},
        {41,
         {1, 0x85, 1, 0, 0, 0, 0xFE},
         {"LAN"},
         "On-board device (type 41, 11 bytes): Name: LAN; Kind: Ethernet; Enabled: yes; Number: 1; Address: "
         "0000:00:1f.6"},
        {43,
         {'I', 'F', 'X', 0, 2, 0, 1, 0, 7, 0, 0, 0, 0, 0, 1, 8, 0, 0, 0, 0, 0, 0, 0},
         {"TPM 2.0"},
         "Trusted platform module (type 43, 27 bytes): Maker: IFX; Version: 2.0; Firmware: 0x00070001; "
         "Firmware, second "
         "part: 0x00000000; Name: TPM 2.0; Can: change family by firmware"},
        {45,
         {1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 4},
         {"UEFI", "1.2"},
         "Inventory of firmware (type 45, 23 bytes): Name: UEFI; Version: 1.2; Size: 128 KiB; State: "
         "enabled"},
        {200, {1}, {"  ", "of the maker"}, "Structure of the maker (type 200, 5 bytes): of the maker"},
    };
    return all;
}

std::vector<std::string> linesOf(Described const& one, std::size_t fields)
{
    std::vector<std::uint8_t> const there(one.fields.begin(),
                                          one.fields.begin() + static_cast<std::ptrdiff_t>(fields));
    Smbios const smbios(SmbiosTable().add(one.type, there, one.strings).bytes(),
                        SmbiosTable::entryPoint(3, 2, 4096));
    return smbiosLines(smbios);
}

} // namespace

TEST(SmbiosLines, SayTheFieldsOfEachStructure)
{
    for (Described const& one : describedStructures()) {
        auto const lines = linesOf(one, one.fields.size());
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_NE(lines[0].find(one.said), std::string::npos) << lines[0] << "\n" << one.said;
    }
}

// Older firmware has shorter structures, and broken firmware cuts them anywhere.
TEST(SmbiosLines, OfACutStructureWhatIsThereIsSaid)
{
    for (Described const& one : describedStructures()) {
        SCOPED_TRACE(one.said);
        std::size_t before = 0;
        for (std::size_t fields = 0; fields <= one.fields.size(); ++fields) {
            auto const lines = linesOf(one, fields);
            ASSERT_EQ(lines.size(), 1u);
            auto const said = static_cast<std::size_t>(std::count(lines[0].begin(), lines[0].end(), ';'));
            EXPECT_LE(before, said + 1)
                << "a longer structure says no less, but for texts that a field names: " << lines[0];
            before = said;
        }
    }
}

// Of a table before version 2.6 the bytes of the UUID stand in the order in which they are said.
TEST(SmbiosLines, AnOldUuid)
{
    Described const& system = describedStructures()[1];
    Smbios const old(SmbiosTable().add(1, system.fields, system.strings).bytes(),
                     SmbiosTable::entryPoint(2, 4, 4096));
    ASSERT_EQ(smbiosLines(old).size(), 1u);
    EXPECT_TRUE(smbiosLines(old)[0].ends_with("UUID: 00010203-0405-0607-0809-0a0b0c0d0e0f"))
        << smbiosLines(old)[0];
}

TEST(SmbiosLines, NameTypesThatNobodyKnowsYet)
{
    for (auto const& [type, name] : {std::pair{45, "Inventory of firmware"},
                                     {46, "Structure"},
                                     {127 - 1, "Structure"},
                                     {128, "Structure of the maker"}}) {
        Smbios const smbios(SmbiosTable().add(static_cast<std::uint8_t>(type), {}, {}).bytes(),
                            SmbiosTable::entryPoint(3, 2, 4096));
        ASSERT_EQ(smbiosLines(smbios).size(), 1u) << type;
        EXPECT_NE(smbiosLines(smbios)[0].find(std::string(" ") + name + " (type "), std::string::npos)
            << smbiosLines(smbios)[0];
    }
}

// One structure with a text of half the table and as many others as fit: each of them used to be looked for in what the
// fields say, for hours. No field can name a string beyond 255.
TEST(SmbiosLines, ATableOfNoiseCostsNoHours)
{
    std::vector<std::string> strings(120'000, "xb");
    strings.front().assign(400'000, 'x');
    strings[255] = "nobody can name it";
    std::vector<std::uint8_t> const allTheFirst(14, 1);
    Smbios const smbios(SmbiosTable().add(39, allTheFirst, strings).add(11, {1}, {"behind it"}).bytes(),
                        SmbiosTable::entryPoint(3, 2, 1u << 20));
    auto const lines = smbiosLines(smbios);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find("; texts: xxxx"), std::string::npos) << "it is said once, behind the fields";
    EXPECT_LT(lines[0].size(), 500'000u);
    EXPECT_EQ(lines[0].find("nobody"), std::string::npos);
    EXPECT_NE(lines[1].find("behind it"), std::string::npos);
}

TEST(Smbios, ReadsStructuresAndTheirTexts)
{
    Smbios const smbios(sampleTable().bytes(), SmbiosTable::entryPoint(3, 2, 4096));
    EXPECT_EQ(smbios.version(), "3.2");
    EXPECT_TRUE(smbios.isAtLeast(2, 6));
    EXPECT_TRUE(smbios.isAtLeast(3, 2));
    EXPECT_FALSE(smbios.isAtLeast(3, 3));
    EXPECT_FALSE(smbios.isAtLeast(4, 0));
    ASSERT_EQ(smbios.structures().size(), 8u);
    SmbiosStructure const* const system = smbios.first(1);
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(system->handle(), 1);
    EXPECT_EQ(system->text(0x04), "LENOVO");
    EXPECT_EQ(system->text(0x07), "PF000001");
    EXPECT_EQ(system->text(0x06), std::nullopt) << "number 0 means no text";
    EXPECT_EQ(system->text(0x08), std::nullopt) << "beyond the structure, not into its strings";
    EXPECT_EQ(system->word(0x07), std::nullopt);
    auto const modules = smbios.ofType(17);
    ASSERT_EQ(modules.size(), 3u);
    EXPECT_EQ(modules[2]->instance(), 2u) << "empty slots count";
    EXPECT_EQ(smbios.first(5), nullptr);
}

TEST(Smbios, EntryPointBoundsTheTable)
{
    std::string const table = sampleTable().bytes();
    EXPECT_EQ(Smbios(table, SmbiosTable::entryPoint(3, 0, 60)).structures().size(), 1u);
    std::string damaged = SmbiosTable::entryPoint(3, 0, 60);
    damaged[20] = 1; // the checksum no longer holds
    Smbios const smbios(table, damaged);
    EXPECT_EQ(smbios.version(), std::nullopt);
    EXPECT_EQ(smbios.structures().size(), 8u);
    for (std::size_t size = 0; size < 24; ++size)
        EXPECT_EQ(Smbios(table, SmbiosTable::entryPoint(3, 0, 60).substr(0, size)).version(), std::nullopt);
    // The 32-bit entry point counts the structures as well; some firmware writes that it is one byte shorter.
    auto const older = [](unsigned length, unsigned bytes, unsigned structures) {
        std::string entry = "_SM_";
        entry += {0, static_cast<char>(length), 2, 6};
        entry.resize(31, '\0');
        entry[0x16] = static_cast<char>(bytes & 0xFF);
        entry[0x17] = static_cast<char>(bytes >> 8);
        entry[0x1C] = static_cast<char>(structures);
        unsigned sum = 0;
        for (char const byte : entry)
            sum += static_cast<std::uint8_t>(byte);
        entry[4] = static_cast<char>(256 - sum % 256);
        return entry;
    };
    for (unsigned const length : {31u, 30u}) {
        EXPECT_EQ(Smbios(table, older(length, 4096, 100)).version(), "2.6");
        EXPECT_EQ(Smbios(table, older(length, 4096, 2)).structures().size(), 2u);
        EXPECT_EQ(Smbios(table, older(length, 60, 100)).structures().size(), 1u);
    }
    EXPECT_EQ(Smbios(table, older(29, 4096, 100)).version(), std::nullopt);
    EXPECT_EQ(Smbios(table, older(32, 4096, 100)).version(), std::nullopt) << "longer than what is there";
    EXPECT_EQ(Smbios(table.substr(0, table.size() - 1), "").structures().size(), 7u)
        << "its last zero is missing";
    // Nothing stands behind the end-of-table structure.
    EXPECT_EQ(Smbios(sampleTable().add(1, {1}, {"x"}).bytes(), "").structures().size(), 8u);
}

TEST(Smbios, DamageIsToldAndPaddingIsNot)
{
    std::string const open = SmbiosTable().add(1, {1}, {"x"}).add(200, {}).bytes(); // without an end mark
    std::string const end = SmbiosTable().add(127, {}).bytes();
    std::string const module = SmbiosTable().add(17, {1, 2}, {"A1"}).bytes();
    auto const size = static_cast<std::uint32_t>(open.size());
    ASSERT_EQ(size, 14u);
    struct Case
    {
        std::string table;
        std::uint32_t declared; // 0: no entry point
        std::string damage;
    };
    for (Case const& one : std::initializer_list<Case>{
             {"", 0, "-"},
             {"", 100, "-"}, // not one byte could be read
             {open + end, 0, "-"},
             {open + end, 4096, "-"}, // a maximum
             {open + end + "rubbish", 4096, "-"},
             {open, 0, "-"},
             {open, size, "-"},
             {open + module.substr(0, 6), size, "-"}, // no part of the table
             {open, size + 3, "-"},                   // less than a header
             {open + std::string(20, '\0'), 0, "-"},
             {open + std::string(20, '\xFF'), size + 20, "-"},
             {open + end.substr(0, 4), 0, "-"},
             {open, size + 4, "damaged at offset 0x000e: it ends there, and should have 18 bytes"},
             {open + std::string(20, '\0'), 4096,
              "damaged at offset 0x000e: it ends there, and should have 4096 bytes"},
             {open + "\x11", 0, "damaged at offset 0x000e: a structure is cut"},
             {open + module.substr(0, 5), 0, "damaged at offset 0x000e: a structure of type 17 is cut"},
             {open + module.substr(0, 7), 0, "damaged at offset 0x000e: a structure of type 17 does not end"},
             {open + module.substr(0, 9), 0, "damaged at offset 0x000e: a structure of type 17 does not end"},
             {open.substr(0, 13), 0, "damaged at offset 0x0008: a structure of type 200 does not end"},
             {open + std::string("\x11\3\0\0\0\0", 6), 0,
              "damaged at offset 0x000e: a structure of type 17 is shorter than its header"}}) {
        Smbios const smbios(one.table, one.declared == 0 ? "" : SmbiosTable::entryPoint(3, 2, one.declared));
        EXPECT_EQ(smbios.damage().value_or("-"), one.damage) << one.table.size();
    }
    std::string const modules = SmbiosTable()
                                    .add(16, memoryArray(1 << 20, 4))
                                    .add(17, memoryDevice(512, 0, 0), {"A1", "B1", "Acme", "S1", "P1"})
                                    .bytes();
    EXPECT_TRUE(smbiosMemory(Smbios(modules, "")).installed);
    SmbiosMemory const cut = smbiosMemory(Smbios(modules + "\x11", ""));
    EXPECT_FALSE(cut.installed || cut.slots || cut.maximum) << "nobody knows what was behind it";
}

TEST(Smbios, MemoryModules)
{
    struct Case
    {
        std::uint16_t size;
        std::uint32_t extended;
        std::optional<std::uint64_t> bytes; ///< absent: empty slot
    };
    Case const cases[] = {
        {0, 0, std::nullopt}, {8192, 0, 8ull << 30},        {0x8000 | 512, 0, 512ull << 10},
        {0xFFFF, 0, 0},       {0x7FFF, 65536, 64ull << 30}, {0x7FFF, 0x80000001u, 1ull << 20},
    };
    for (Case const& c : cases) {
        Smbios const smbios(SmbiosTable().add(17, memoryDevice(c.size, c.extended)).bytes(), "");
        auto const module = SmbiosMemoryModule::from(*smbios.first(17));
        EXPECT_EQ(module.has_value(), c.bytes.has_value()) << c.size;
        if (module) {
            EXPECT_EQ(module->bytes, c.bytes) << c.size;
        }
    }
    Smbios const smbios(sampleTable().bytes(), "");
    auto const module = SmbiosMemoryModule::from(*smbios.first(17));
    ASSERT_TRUE(module);
    EXPECT_EQ(module->locator, "ChannelA");
    EXPECT_EQ(module->serial, "12AB34CD");
    EXPECT_EQ(module->part, "M471A1K43CB1");
    EXPECT_EQ(module->type, "DDR4");
    EXPECT_EQ(module->formFactor, "SODIMM");
    EXPECT_EQ(module->speed, 3200000000u);
    EXPECT_EQ(module->configuredSpeed, 2933000000u);
    EXPECT_EQ(module->totalWidth, 72u);
    EXPECT_EQ(module->ranks, 2u);
    EXPECT_EQ(module->volts, std::nullopt) << "the field is younger than this structure";
}

TEST(Smbios, ProcessorSockets)
{
    using Status = SmbiosProcessor::Status;
    struct Case
    {
        std::vector<std::uint8_t> fields;
        Status status;
        std::optional<unsigned> cores;
    };
    std::vector<std::uint8_t> old = processorSocket(0x41);
    old.resize(0x1A - 4); // SMBIOS 2.0 ended before the serial number
    Case const cases[] = {
        {processorSocket(0x41), Status::Enabled, 4},
        {processorSocket(0x42, 0), Status::DisabledByUser, std::nullopt},
        {processorSocket(0x43), Status::DisabledByFirmware, 4},
        {processorSocket(0x44), Status::Idle, 4},
        {processorSocket(0x40), Status::Unknown, 4},
        {processorSocket(0x01), Status::Empty, 4},
        {processorSocket(0x41, 0xFF, 384), Status::Enabled, 384},
        {processorSocket(0x41, 0xFF, 0xFFFF), Status::Enabled, std::nullopt},
        {processorSocket(0x41, 4, 384), Status::Enabled, 4},
        {old, Status::Enabled, std::nullopt},
    };
    for (Case const& c : cases) {
        Smbios const smbios(SmbiosTable().add(4, c.fields, {"CPU1", "Intel", "Xeon"}).bytes(), "");
        auto const sockets = smbiosProcessors(smbios);
        ASSERT_EQ(sockets.size(), 1u);
        EXPECT_EQ(sockets[0].status, c.status);
        EXPECT_EQ(sockets[0].cores, c.cores);
        EXPECT_EQ(sockets[0].socket, "CPU1");
        EXPECT_EQ(sockets[0].version, "Xeon");
        EXPECT_EQ(sockets[0].startHertz, 1'800'000'000u);
        EXPECT_EQ(sockets[0].socketHertz, 4'000'000'000u);
        EXPECT_EQ(sockets[0].volts, 0.9);
    }
    for (unsigned const kind : {3u, 4u, 5u, 6u, 7u}) {
        Smbios const coprocessor(
            SmbiosTable().add(4, processorSocket(0x41, 1, 0, static_cast<std::uint8_t>(kind))).bytes(), "");
        EXPECT_EQ(smbiosProcessors(coprocessor).empty(), kind >= 4 && kind <= 6) << kind;
    }
}

TEST(Smbios, MemoryAsAWhole)
{
    constexpr std::uint64_t kGib = 1ull << 30;
    struct Case
    {
        char const* what;
        SmbiosTable table;
        std::optional<std::uint64_t> installed, maximum;
        std::optional<unsigned> slots;
        unsigned filled;
    };
    constexpr std::uint32_t k48 = 48u << 20; // KiB of 48 GiB
    Case const cases[] = {
        {"two arrays", // handles 0 and 1
         SmbiosTable()
             .add(16, memoryArray(k48, 3))
             .add(16, memoryArray(k48, 3))
             .add(17, memoryDevice(4096, 0, 0))
             .add(17, memoryDevice(0, 0, 0))
             .add(17, memoryDevice(16384, 0, 1)),
         20 * kGib, 96 * kGib, 6, 2},
        {"flash is no memory",
         SmbiosTable()
             .add(16, memoryArray(16384, 1, 5))
             .add(16, memoryArray(k48, 2))
             .add(17, memoryDevice(16, 0, 0))
             .add(17, memoryDevice(8192, 0, 1)),
         8 * kGib, 48 * kGib, 2, 1},
        {"wide capacity", SmbiosTable().add(16, memoryArray(0x80000000u, 4, 3, 6144 * kGib)), std::nullopt,
         6144 * kGib, 4, 0},
        {"unknown capacity", SmbiosTable().add(16, memoryArray(0, 4)).add(16, memoryArray(k48, 4)),
         std::nullopt, std::nullopt, 8, 0},
        {"less than is there",
         SmbiosTable()
             .add(16, memoryArray(4u << 20, 1))
             .add(17, memoryDevice(8192))
             .add(17, memoryDevice(8192)),
         16 * kGib, std::nullopt, std::nullopt, 2},
        {"as much as fits", SmbiosTable().add(16, memoryArray(8u << 20, 1)).add(17, memoryDevice(8192)),
         8 * kGib, 8 * kGib, 1, 1},
        {"a module without size",
         SmbiosTable().add(17, memoryDevice(8192)).add(17, memoryDevice(0xFFFF)).add(17, memoryDevice(8192)),
         std::nullopt, std::nullopt, std::nullopt, 3},
        {"nothing", SmbiosTable(), std::nullopt, std::nullopt, std::nullopt, 0},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        SmbiosMemory const memory = smbiosMemory(Smbios(c.table.bytes(), ""));
        EXPECT_EQ(memory.installed, c.installed);
        EXPECT_EQ(memory.maximum, c.maximum);
        EXPECT_EQ(memory.slots, c.slots);
        EXPECT_EQ(memory.filledSlots, c.filled);
    }
}

TEST(Smbios, Fields)
{
    std::vector<std::uint8_t> fields(20, 0);
    for (std::uint8_t i = 0; i < 16; ++i)
        fields[4 + i] = static_cast<std::uint8_t>(0x10 + i);
    Smbios const smbios(SmbiosTable().add(1, fields).bytes(), "");
    EXPECT_EQ(smbiosUuid(*smbios.first(1), true), "13121110-1514-1716-1819-1a1b1c1d1e1f");
    EXPECT_EQ(smbiosUuid(*smbios.first(1), false), "10111213-1415-1617-1819-1a1b1c1d1e1f");
    for (std::uint8_t const unset : {std::uint8_t{0}, std::uint8_t{0xFF}}) {
        Smbios const blank(SmbiosTable().add(1, std::vector<std::uint8_t>(20, unset)).bytes(), "");
        EXPECT_EQ(smbiosUuid(*blank.first(1), true), std::nullopt);
    }

    EXPECT_EQ(smbiosRomSize(*Smbios(sampleTable().bytes(), "").first(0)), 4u << 20);
    std::vector<std::uint8_t> large(24, 0);
    large[5] = 0xFF;
    large[0x18 - 4] = 32;
    EXPECT_EQ(smbiosRomSize(*Smbios(SmbiosTable().add(0, large).bytes(), "").first(0)), 32u << 20);

    large[0x18 - 4] = 1;
    large[0x19 - 4] = 0x40; // in GiB
    EXPECT_EQ(smbiosRomSize(*Smbios(SmbiosTable().add(0, large).bytes(), "").first(0)), 1u << 30);
    large[0x19 - 4] = 0x80; // in a unit that nobody knows
    EXPECT_EQ(smbiosRomSize(*Smbios(SmbiosTable().add(0, large).bytes(), "").first(0)), std::nullopt);

    EXPECT_EQ(smbiosChassisType(10), "Notebook");
    EXPECT_EQ(smbiosChassisType(36), "Stick PC");
    EXPECT_EQ(smbiosChassisType(0x80 | 3), "Desktop");
    for (unsigned const unknown : {0u, 1u, 2u, 37u, 100u, 255u})
        EXPECT_EQ(smbiosChassisType(unknown), std::nullopt);
}

TEST(Smbios, TruncatedAnywhereGivesWhatStandsBefore)
{
    std::string const table = sampleTable().bytes();
    std::size_t last = 0;
    for (std::size_t size = 0; size <= table.size(); ++size) {
        Smbios const smbios(table.substr(0, size), SmbiosTable::entryPoint(3, 2, 4096));
        askEverything(smbios);
        EXPECT_GE(smbios.structures().size(), last);
        last = smbios.structures().size();
    }
    EXPECT_EQ(last, 8u);
}

TEST(Smbios, AnyByteMayBeWrong)
{
    std::string const table = sampleTable().bytes();
    std::mt19937 random(1);
    for (std::size_t offset = 0; offset < table.size(); ++offset)
        for (int const value : {0, 1, 3, 4, 127, 255}) {
            std::string damaged = table;
            damaged[offset] = static_cast<char>(value);
            askEverything(Smbios(damaged, ""));
        }
    for (int round = 0; round < 500; ++round) {
        std::string noise(random() % 300, '\0');
        for (char& byte : noise)
            byte = static_cast<char>(random());
        Smbios const smbios(noise, SmbiosTable::entryPoint(3, 2, static_cast<std::uint32_t>(random())));
        askEverything(smbios);
        EXPECT_LE(smbios.structures().size(), noise.size() / 6);
    }
}
