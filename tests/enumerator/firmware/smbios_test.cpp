#include "../SmbiosTable.h"

#include <zel/enumerator/firmware/Smbios.h>

#include <gtest/gtest.h>

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
}

} // namespace

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
    EXPECT_EQ(module->speed, 3200u);
    EXPECT_EQ(module->configuredSpeed, 2933u);
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
