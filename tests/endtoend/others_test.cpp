// What other programs say of this machine, against what the enumerator says. Each comparison is skipped, saying so, where the
// program is not installed or has nothing to tell here.

#include <zel/enumerator/Enumerator.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using C = zel::CapabilityImp;
using Names = std::set<std::string>;

/// Standard output of a command; nothing when it cannot be run or fails.
std::optional<std::string> said(std::string const& command)
{
    std::FILE* const pipe = ::popen(("LC_ALL=C " + command + " 2>/dev/null").c_str(), "r");
    if (!pipe)
        return std::nullopt;
    std::string text;
    char buffer[65536];
    for (std::size_t count; (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        text.append(buffer, count);
    return ::pclose(pipe) == 0 ? std::optional(text) : std::nullopt;
}

std::vector<std::string> lines(std::string const& text)
{
    std::vector<std::string> all;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        all.push_back(line);
    return all;
}

/// The devices of one scan, which all comparisons share.
zel::StateManager const& machine()
{
    static zel::StateManager const& s_machine = []() -> zel::StateManager const& {
        static zel::StateManager state;
        zel::Enumerator::instance().setModulesFolder("");
        zel::Enumerator::instance().setDetail(true);
        zel::Enumerator::instance().findDevices(C::ALL(), state);
        return state;
    }();
    return s_machine;
}

std::vector<zel::DeviceImp const*> devices(C const& type)
{
    std::vector<zel::DeviceImp const*> all;
    for (std::size_t i = 0; i < machine().deviceCount(); ++i)
        if (machine().deviceAtIndex(i)->deviceCapabilities().intersects(type))
            all.push_back(machine().deviceAtIndex(i));
    return all;
}

std::vector<zel::DeviceImp const*> ofType(C const& type)
{
    std::vector<zel::DeviceImp const*> all;
    for (zel::DeviceImp const* const device : devices(type))
        if (device->deviceType() == type)
            all.push_back(device);
    return all;
}

std::string value(zel::DeviceImp const& device, char const* key)
{
    zel::PropertyImp const* const property = device.property(key);
    return property ? property->value().toString().toUtf8() : "-";
}

std::uint64_t amount(zel::DeviceImp const& device, char const* key)
{
    zel::PropertyImp const* const property = device.property(key);
    return property ? property->value().discreteMeasurement().value() : 0;
}

#define OUTPUT_OR_SKIP(output, command)                                                                      \
    auto const output = said(command);                                                                       \
    if (!output)                                                                                             \
    GTEST_SKIP() << "not installed, or nothing to tell: " << command

} // namespace

TEST(Others, NodesOfMemoryAddressesAndTheHypervisorAreThoseOfLscpu)
{
    OUTPUT_OR_SKIP(output, "LC_ALL=C lscpu");
    for (std::string const& line : lines(*output)) {
        if (line.rfind("NUMA node(s):", 0) == 0) {
            auto const memory = ofType(C::Memory());
            ASSERT_EQ(memory.size(), 1u);
            zel::PropertyImp const* const nodes = memory[0]->property("NumaNodes");
            ASSERT_NE(nodes, nullptr);
            auto const count = std::strtoul(line.substr(13).c_str(), nullptr, 10);
            EXPECT_EQ(nodes->value().stringArray().size(), count) << line;
            zel::PropertyImp const* const sizes = memory[0]->property("NumaNodeSizes");
            ASSERT_NE(sizes, nullptr);
            ASSERT_EQ(sizes->value().discreteMeasurementArray().size(), count);
            std::uint64_t sum = 0;
            for (zel::DiscreteMeasurement const& size : sizes->value().discreteMeasurementArray())
                sum += size.value();
            EXPECT_EQ(sum, amount(*memory[0], "UsableMemory"))
                << "MemTotal of all nodes is that of the machine";
        }
        if (line.rfind("Address sizes:", 0) == 0) {
            zel::DeviceImp const& processor = *ofType(C::CPU()).at(0);
            std::string const theirs = line.substr(line.find_first_not_of(' ', 14));
            EXPECT_EQ(std::to_string(amount(processor, "PhysicalAddressWidth")) + " bits physical, " +
                          std::to_string(amount(processor, "VirtualAddressWidth")) + " bits virtual",
                      theirs);
        }
        if (line.rfind("Hypervisor vendor:", 0) == 0) {
            auto const system = ofType(C::System());
            ASSERT_EQ(system.size(), 1u);
            EXPECT_EQ(value(*system[0], "IsVirtual"), "true") << line;
            EXPECT_NE(value(*system[0], "Hypervisor"), "-") << line;
        }
    }
}

TEST(Others, ProcessorsAreThoseOfLscpu)
{
    OUTPUT_OR_SKIP(output, "lscpu -p=CPU,CORE,SOCKET");
    Names threads, cores, sockets;
    for (std::string const& line : lines(*output)) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream fields(line);
        std::string thread, core, socket;
        std::getline(std::getline(std::getline(fields, thread, ','), core, ','), socket, ',');
        threads.insert(thread);
        cores.insert(core);
        sockets.insert(socket);
    }
    ASSERT_FALSE(threads.empty());
    EXPECT_EQ(ofType(C::CPUThread()).size(), threads.size());
    EXPECT_EQ(ofType(C::CPUCore()).size(), cores.size());
    EXPECT_EQ(ofType(C::CPU()).size(), sockets.size());
}

TEST(Others, MemoryIsThatOfFree)
{
    OUTPUT_OR_SKIP(output, "free -b");
    std::istringstream fields(lines(*output).at(1));
    std::string label;
    std::uint64_t total = 0;
    fields >> label >> total;
    ASSERT_EQ(ofType(C::Memory()).size(), 1u);
    EXPECT_EQ(amount(*ofType(C::Memory())[0], "UsableMemory"), total);
}

TEST(Others, PciFunctionsAreThoseOfLspci)
{
    OUTPUT_OR_SKIP(output, "lspci -Dn");
    std::map<std::string, std::string> theirs, mine; // address -> "class vendor:device"
    for (std::string const& line : lines(*output)) {
        std::istringstream fields(line);
        std::string address, code, ids;
        fields >> address >> code >> ids;
        theirs[address] = code.substr(0, 4) + " " + ids;
    }
    for (zel::DeviceImp const* const device : devices(C::ALL()))
        if (device->property("ClassCode")) // what a function carries has its address as well
            mine[value(*device, "PciAddress")] = value(*device, "ClassCode").substr(0, 4) + " " +
                                                 value(*device, "VendorId") + ":" +
                                                 value(*device, "DeviceId");
    EXPECT_EQ(mine, theirs);
}

TEST(Others, DrivesAndPartitionsAreThoseOfLsblk)
{
    OUTPUT_OR_SKIP(output, "lsblk --json --bytes --output PATH,TYPE,SIZE,RO,FSTYPE,MOUNTPOINT,SUBSYSTEMS");
    std::map<std::string, std::uint64_t> theirs, mine;
    auto const take = [&theirs](auto const& self, nlohmann::json const& list) -> void {
        for (nlohmann::json const& one : list) {
            std::string const type = one["type"];
            // Drives of memory alone have no hardware: zram, loop devices, RAM disks.
            bool const isVirtual =
                one["subsystems"].is_string() && one["subsystems"].get<std::string>() == "block";
            if ((type == "disk" && !isVirtual) || type == "part")
                theirs[one["path"]] = one["size"];
            if (one.contains("children"))
                self(self, one["children"]);
        }
    };
    take(take, nlohmann::json::parse(*output)["blockdevices"]);
    for (zel::DeviceImp const* const device : devices(C::HardDrive() | C::DrivePartition()))
        mine[device->osLocator().toUtf8()] = amount(*device, "Size");
    EXPECT_EQ(mine, theirs);
}

TEST(Others, HowFullAFileSystemIsIsThatOfDf)
{
    std::size_t compared = 0;
    for (zel::DeviceImp const* const device : devices(C::HardDrive() | C::DrivePartition())) {
        if (!device->property("FileSystemSize"))
            continue;
        auto const output = said("df --block-size=1 --output=size '" + value(*device, "MountPoint") + "'");
        if (!output || lines(*output).size() < 2)
            continue;
        EXPECT_EQ(std::to_string(amount(*device, "FileSystemSize")),
                  std::to_string(std::stoull(lines(*output)[1])));
        ++compared;
    }
    if (compared == 0)
        GTEST_SKIP() << "no drive with a file system that df knows";
}

TEST(Others, NetworkCardsAndAddressesAreThoseOfIp)
{
    OUTPUT_OR_SKIP(output, "ip -json address");
    std::map<std::string, nlohmann::json> theirs;
    for (nlohmann::json& one : nlohmann::json::parse(*output))
        theirs[one["ifname"]] = one;
    std::size_t compared = 0;
    for (zel::DeviceImp const* const card : ofType(C::NetworkCard())) {
        std::string const name = card->osLocator().toUtf8();
        SCOPED_TRACE(name);
        ASSERT_TRUE(theirs.contains(name));
        nlohmann::json const& one = theirs[name];
        EXPECT_EQ(value(*card, "MacAddress"), one["address"].get<std::string>());
        EXPECT_EQ(amount(*card, "Mtu"), one["mtu"].get<std::uint64_t>());
        Names expected, found;
        for (nlohmann::json const& address : one["addr_info"])
            expected.insert(address["local"].get<std::string>() + "/" +
                            std::to_string(address["prefixlen"].get<unsigned>()));
        for (char const* const key : {"Ipv4Addresses", "Ipv6Addresses"})
            if (zel::PropertyImp const* const property = card->property(key))
                for (zel::String const& address : property->value().stringArray())
                    found.insert(address.toUtf8());
        EXPECT_EQ(found, expected);
        ++compared;
    }
    if (compared == 0)
        GTEST_SKIP() << "no network card";
}

TEST(Others, MemoryModulesAreThoseOfDmidecode)
{
    OUTPUT_OR_SKIP(output, "dmidecode --type 17");
    std::size_t filled = 0, empty = 0;
    for (std::string const& line : lines(*output)) {
        if (line.rfind("\tSize: ", 0) != 0)
            continue;
        ++(line == "\tSize: No Module Installed" ? empty : filled);
    }
    if (filled + empty == 0)
        GTEST_SKIP() << "the firmware tells of no memory";
    EXPECT_EQ(ofType(C::MemoryChip()).size(), filled);
    EXPECT_EQ(value(*ofType(C::Memory()).at(0), "FilledMemorySlots"), std::to_string(filled));
}
