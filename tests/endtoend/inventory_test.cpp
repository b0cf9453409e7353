// The module "inventory" as a person runs it: on a small machine in a folder, and on this one.
#include <endtoend/ModuleFolder.h>

#include <enumerator/SmbiosTable.h>

#include <zel/enumerator/Enumerator.h>
#include <zel/enumerator/records/Properties.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/wire/Serializable.h>

#include <map>
#include <set>
#include <sstream>
#include <sys/stat.h>

namespace {

using test::has;
using test::holds;
using test::Outcome;
using zel::test::memoryDevice;
using zel::test::SmbiosTable;

struct Inventory : test::ModuleFolder
{
    Inventory() : ModuleFolder(INVENTORY_MODULE, "inventory") {}

    void SetUp() override
    {
        ModuleFolder::SetUp();
        if (IsSkipped())
            return;
        for (char const* const texts : {"inventory.w4p", "inventory.de.w4p"})
            std::filesystem::copy_file(std::filesystem::path(INVENTORY_MODULE).parent_path() / texts,
                                       m_folder.path(texts));
        machine("sys/class/dmi/id/sys_vendor", "LENOVO\n");
        machine("sys/class/dmi/id/product_name", "8741C4G\n");
        machine("sys/class/dmi/id/product_version", "ThinkPad T60p\n");
        machine("sys/class/dmi/id/product_serial", "L3AK195\n");
        machine("sys/class/dmi/id/product_uuid", "c0ffee00-1111-2222-3333-444455556666\n");
        machine("sys/class/dmi/id/board_name", "8741C4G\n");
        machine("sys/class/dmi/id/chassis_type", "10\n");
        machine("proc/sys/kernel/osrelease", "6.1.0-13-amd64\n");
        machine("proc/sys/kernel/version", "#1 SMP Debian\n");
        machine("proc/meminfo", "MemTotal: 2048 kB\n");
        std::string const cpu = "sys/devices/system/cpu/";
        machine(cpu + "online", "0\n");
        machine(cpu + "cpu0/topology/physical_package_id", "0\n");
        machine(cpu + "cpu0/topology/core_id", "0\n");
        machine(cpu + "cpu0/topology/thread_siblings_list", "0\n");
        machine("proc/cpuinfo", "processor\t: 0\nmodel name\t: Test CPU\nflags\t\t: fpu sse\n");
        settings("");
    }

    void machine(std::string const& path, std::string const& content)
    {
        std::string const file = "machine/" + path;
        std::filesystem::create_directories(m_folder.path(file.substr(0, file.rfind('/'))));
        m_folder.write(file, content);
    }
    /// The small machine, and further lines.
    void settings(std::string const& lines)
    {
        m_folder.write("inventory.w4i", "Parameter.Root.value=" + m_folder.path("machine") + "\n" + lines);
    }
    Outcome inventory(std::vector<std::string> const& words) { return module("inventory", words); }

    static void read(std::string const& document, zel::StateManager& state)
    {
        zel::Serializable::deserializeUtf8(document, state);
    }
    static zel::DeviceImp const* deviceAt(zel::StateManager const& state, char const* location)
    {
        for (std::size_t i = 0; i < state.deviceCount(); ++i)
            if (state.deviceAtIndex(i)->hwLocator() == zel::String(location))
                return state.deviceAtIndex(i);
        return nullptr;
    }
};

std::set<std::string> guids(zel::StateManager const& state)
{
    std::set<std::string> all;
    for (std::size_t i = 0; i < state.deviceCount(); ++i)
        all.insert(state.deviceAtIndex(i)->guid().toUtf8());
    return all;
}

TEST_F(Inventory, ListsTheMachineInGroups)
{
    Outcome const outcome = inventory({"enum"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(holds(outcome.out, "Device: LENOVO ThinkPad T60p\n"));
    EXPECT_TRUE(holds(outcome.out, "    Identity: \n      Manufacturer: LENOVO\n      Model: 8741C4G\n"));
    EXPECT_TRUE(holds(outcome.out, "    Software: \n      KernelRelease: 6.1.0-13-amd64\n"));
    EXPECT_TRUE(holds(outcome.out, "UsableMemory: 2 MiB\n")) << "a quantity has its unit";
    EXPECT_FALSE(has(outcome.out, "KernelBuild"));
    EXPECT_FALSE(has(outcome.out, "Flags"));
    EXPECT_FALSE(has(outcome.out, "Type: CPUCore\n"));
    std::string const all = inventory({"enum", "-v"}).out;
    EXPECT_TRUE(holds(all, "KernelBuild: #1 SMP Debian\n"));
    EXPECT_TRUE(holds(all, "Flags: fpu, sse\n"));
    EXPECT_TRUE(holds(all, "Type: CPUCore\n"));
}

// A slip in a rule would hide nothing, and nobody who looks at the list alone would notice.
TEST_F(Inventory, ACapabilityThatTheFilterMisspellsIsSaidOnce)
{
    m_folder.write("SystemInformationFilter.xml",
                   "<SystemInformationFilter version=\"1\"><exclude capability=\"Memry\"/>"
                   "<exclude property=\"Size\" capability=\"Memry\"/><exclude "
                   "capability=\"CPU\"/></SystemInformationFilter>");
    Outcome const outcome = inventory({"enum"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(has(outcome.out, "Type: Memory\n"));
    EXPECT_FALSE(has(outcome.out, "Type: CPU\n"));
    std::size_t const at = outcome.err.find("SystemInformationFilter.xml: the filter names \"Memry\"");
    ASSERT_NE(at, std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find("Memry", at + 80), std::string::npos) << outcome.err;
}

TEST_F(Inventory, TheDocumentSaysWhatTheConsoleSays)
{
    for (std::vector<std::string> const& more : {std::vector<std::string>{}, {"-v"}}) {
        std::vector<std::string> words{"enum"};
        words.insert(words.end(), more.begin(), more.end());
        std::string const console = inventory(words).out;
        words.emplace_back("-x");
        zel::StateManager state;
        read(inventory(words).out, state);
        zel::String listed;
        for (std::size_t i = 0; i < state.deviceCount(); ++i)
            listed += state.deviceAtIndex(i)->toString(2);
        EXPECT_EQ(listed.toUtf8(), console);
        zel::DeviceImp const* const system = deviceAt(state, "System");
        ASSERT_NE(system, nullptr);
        for (char const* const below : {"SMBIOS:2", "SMBIOS:3", "Memory", "CPU:0"})
            EXPECT_EQ(state.parentOf(*deviceAt(state, below)), system) << below;
        for (char const* const key : {"SerialNumber", "Uuid"})
            EXPECT_TRUE(system->property(key)->category().isCapable(zel::PropertyCategoryImp::SecurityInfo()))
                << key << " tells this machine from others";
        EXPECT_FALSE(
            system->property("Model")->category().isCapable(zel::PropertyCategoryImp::SecurityInfo()));
    }
}

TEST_F(Inventory, HonoursFilterAndOverrides)
{
    m_folder.write("SystemInformationFilter.xml", "<SystemInformationFilter version=\"1\">"
                                                  "<exclude property=\"Uuid\"/><exclude capability=\"CPU\"/>"
                                                  "</SystemInformationFilter>");
    settings("PropertyOverrides.value=true\nPropertyOverride.Manufacturer.value=ACME\n"
             "PropertyOverride.UsableMemory.value=5\n");
    zel::StateManager state;
    Outcome const overridden = inventory({"enum", "-v", "-x"});
    read(overridden.out, state);
    EXPECT_TRUE(holds(overridden.err,
                      "inventory.w4i:4: PropertyOverride.UsableMemory.value: the quantity has no "
                      "unit any more: it was 2 MiB\n"));
    settings("PropertyOverrides.value=true\nPropertyOverride.UsableMemory.value=5 KiB\n");
    EXPECT_FALSE(has(inventory({"enum"}).err, "unit"));
    zel::DeviceImp const* const system = deviceAt(state, "System");
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(system->property("Uuid"), nullptr);
    EXPECT_EQ(system->property("Manufacturer")->value().toString(), zel::String("ACME"));
    EXPECT_EQ(deviceAt(state, "CPU:0"), nullptr);
    zel::DeviceImp const* const core = deviceAt(state, "CPU:0:CORE:0");
    ASSERT_NE(core, nullptr);
    EXPECT_EQ(state.parentOf(*core), system) << "what stood between them is left out";
}

TEST_F(Inventory, OfThisMachineHasEverythingThatTheEnumeratorFinds)
{
    m_folder.write("inventory.w4i", "");
    zel::Enumerator& enumerator = zel::Enumerator::instance();
    enumerator.setModulesFolder("");
    enumerator.setDetail(true);
    zel::StateManager expected, reported;
    enumerator.findDevices(zel::CapabilityImp::ALL(), expected);
    read(inventory({"enum", "-v", "-x"}).out, reported);
    EXPECT_EQ(guids(reported), guids(expected));
    std::size_t keys = 0;
    for (std::size_t i = 0; i < expected.deviceCount(); ++i) {
        zel::DeviceImp const& theirs = *expected.deviceAtIndex(i);
        zel::DeviceImp const* const mine = reported.device(theirs.guid());
        if (!mine)
            continue;
        zel::DeviceImp const* const parent = expected.parentOf(theirs);
        zel::DeviceImp const* const place = reported.parentOf(*mine);
        EXPECT_EQ(place ? place->guid() : zel::String(), parent ? parent->guid() : zel::String());
        for (std::size_t p = 0; p < theirs.propertyCount(); ++p, ++keys)
            EXPECT_NE(mine->property(theirs.getProperty(p).key()), nullptr)
                << theirs.name().toUtf8() << " without " << theirs.getProperty(p).key().toUtf8();
    }
    EXPECT_GT(keys, 0u);
}

TEST_F(Inventory, SaysWhatIsMissing)
{
    m_folder.write("inventory.w4i", "");
    std::filesystem::create_directory(m_folder.path("sysinfo"));
    m_folder.write("sysinfo/acme", "#!/bin/sh\nexit 7\n");
    ASSERT_EQ(::chmod(m_folder.path("sysinfo/acme").c_str(), 0755), 0);
    Outcome const outcome = inventory({"enum"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(holds(outcome.out, "A module does not answer"));
    EXPECT_TRUE(holds(outcome.out, m_folder.path("sysinfo/acme") + ": it ended with status 7"));
    EXPECT_TRUE(holds(outcome.out, "Type: Memory\n")) << "all others are there";
    m_folder.write("inventory.w4i", "Parameter.Root.value=/nothing/here\n");
    Outcome const nowhere = inventory({"enum"});
    EXPECT_EQ(nowhere.status, 22);
    EXPECT_TRUE(holds(nowhere.err, "/nothing/here"));
}

TEST_F(Inventory, NamesWhatAModuleOfTheFolderDoesNot)
{
    m_folder.write("inventory.w4i", "");
    std::filesystem::create_directory(m_folder.path("sysinfo"));
    m_folder.write("sysinfo/acme", R"(#!/bin/sh
cat >&4 <<'END'
<?xml version="1.0"?>
<StateManager format="zel-state" version="1">
<device guid="one" name="" type="Monitor" capabilities="Monitor" location="ACME:1"/>
<device guid="two" name=" " description="Screen of ACME" type="Monitor" capabilities="Monitor" location="ACME:2"/>
</StateManager>
END
)");
    ASSERT_EQ(::chmod(m_folder.path("sysinfo/acme").c_str(), 0755), 0);
    Outcome const outcome = inventory({"enum", "-x"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    zel::StateManager state;
    read(outcome.out, state);
    for (auto const& [place, name] :
         {std::pair{"ACME:1", "Monitor"}, std::pair{"ACME:2", "Screen of ACME"}}) {
        zel::DeviceImp const* const device = deviceAt(state, place);
        ASSERT_NE(device, nullptr) << place;
        EXPECT_EQ(device->name().toUtf8(), name);
    }
}

TEST_F(Inventory, ShowsEveryFirmwareTableOnce)
{
    std::string const path = "sys/firmware/dmi/tables/DMI";
    SmbiosTable table;
    table.add(200, {}, {"of the maker"});
    for (char const* const place :
         {"System", "SMBIOS:0"}) { // where no BIOS is described, they are the system's
        machine(path, table.bytes());
        machine("sys/class/dmi/id/bios_vendor", "Maker\n"); // the kernel's copy describes one in any case
        zel::StateManager state;
        read(inventory({"enum", "-v", "-x"}).out, state);
        std::size_t count = 0;
        for (std::size_t i = 0; i < state.deviceCount(); ++i)
            count += state.deviceAtIndex(i)->property("FirmwareTables") ? 1 : 0;
        EXPECT_EQ(count, 1u) << place;
        zel::DeviceImp const* const device = deviceAt(state, place);
        ASSERT_NE(device, nullptr) << place;
        ASSERT_NE(device->property("FirmwareTables"), nullptr) << place;
        EXPECT_TRUE(holds(device->property("FirmwareTables")->value().toString().toUtf8(), "of the maker"));
        table.add(0, {1, 2, 0, 0xE0, 3}, {"Maker", "1.0", "2020"});
    }
}

TEST_F(Inventory, SaysWhereTheFirmwaresTableIsDamaged)
{
    SmbiosTable table;
    table.add(0, {1, 2, 0, 0xE0, 3}, {"Maker", "1.0", "2020"}).add(1, {1}, {"x"});
    std::string const sound =
        SmbiosTable(table).add(17, memoryDevice(1024), {"A1", "B1", "Acme", "S1", "P1"}).bytes();
    auto const size = static_cast<std::uint32_t>(sound.size());
    auto const listing = [this](std::vector<std::string> const& words) {
        test::Start start;
        start.name = "zel-devices";
        start.arguments = {"--root", m_folder.path("machine")};
        start.arguments.insert(start.arguments.end(), words.begin(), words.end());
        return test::run(ZEL_DEVICES, start);
    };
    std::string const path = "sys/firmware/dmi/tables/";
    machine(path + "smbios_entry_point", SmbiosTable::entryPoint(3, 2, size));
    machine(path + "DMI", sound); // no end mark, but as long as it should be
    EXPECT_FALSE(has(inventory({"enum"}).err, "damaged"));
    EXPECT_EQ(listing({}).status, 0);
    EXPECT_TRUE(holds(listing({}).out, "Acme"));

    char place[16];
    std::snprintf(place, sizeof place, "0x%04zx", table.bytes().size());
    for (auto const& [length, what] : {std::pair{table.bytes().size(), "it ends there, and should have "},
                                       std::pair{table.bytes().size() + 12, "a structure of type 17 is cut"},
                                       std::pair{sound.size() - 2, "a structure of type 17 does not end"}}) {
        machine(path + "DMI", sound.substr(0, length));
        std::string const line =
            std::string("the firmware's table (/sys/firmware/dmi/tables/DMI) is damaged at offset ") + place +
            ": " + what;
        Outcome const outcome = inventory({"enum"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(holds(outcome.err, "Devices may be missing: " + line));
        EXPECT_TRUE(holds(outcome.out, line)) << "an alert";
        EXPECT_TRUE(holds(outcome.out, "Test CPU")) << "all others are there";
        Outcome const all = listing({"--json"});
        EXPECT_EQ(all.status, 1);
        EXPECT_TRUE(holds(all.err, "devices may be missing: " + line));
        EXPECT_TRUE(holds(all.out, line)) << "among the gaps";
        EXPECT_EQ(listing({"--class", "MemoryChip"}).status, 1);
        EXPECT_TRUE(holds(listing({"--class", "Memory"}).err, "not everything is known: " + line));
        Outcome const processors = listing({"--class", "CPU"});
        EXPECT_EQ(processors.status, 0) << "no matter of those who ask for others";
        EXPECT_EQ(processors.err, "");
    }
}

TEST_F(Inventory, DescribesItsPropertiesInBothLanguages)
{
    EXPECT_EQ(inventory({"-m"}).status, 0);
    std::string const metadata = m_folder.read("inventory.w4m");
    EXPECT_TRUE(holds(metadata, "Module.Type=SYSINFO\n"));
    EXPECT_TRUE(holds(metadata, ".Key=FileSystemUsed\n"));
    for (char const* const language : {"en", "de"}) {
        Outcome const outcome = inventory({"-k", "-lang", language});
        for (char const* const part : {".Name\"", ".Description\"", "Module.", "Parameter.", "Alert."})
            EXPECT_FALSE(has(outcome.err, part)) << outcome.err;
    }
    std::map<std::string, std::string> names; // as the text file has them
    std::istringstream lines(m_folder.read("inventory.w4p"));
    for (std::string line; std::getline(lines, line);)
        if (line.rfind("Property.", 0) == 0)
            names[line.substr(9, line.find(".Name=") - 9)] = line.substr(line.find('=') + 1);
    for (zel::PropertyRow const& row : zel::propertyRows()) {
        EXPECT_EQ(names[std::string(row.key)], std::string(row.name)) << row.key;
        names.erase(std::string(row.key));
    }
    for (zel::PropertyGroupRow const& group : zel::propertyGroups()) {
        EXPECT_EQ(names[std::string(group.key)], std::string(group.name)) << group.key;
        names.erase(std::string(group.key));
    }
    EXPECT_TRUE(names.empty()) << names.begin()->first << " is no property";
}

} // namespace
