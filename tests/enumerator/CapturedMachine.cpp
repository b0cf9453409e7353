#include "CapturedMachine.h"

#include <zel/enumerator/Discoverers.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace zel::test {

namespace fs = std::filesystem;

namespace {

/// The unpacked archive; the folder goes with it.
struct Unpacked
{
    fs::path folder;

    Unpacked()
    {
        fs::path const archive = fs::path(KREL5_FIXTURES) / "given.tar.xz";
        std::string pattern = (fs::temp_directory_path() / "machinesXXXXXX").string();
        if (!fs::exists(archive) || !::mkdtemp(pattern.data()))
            return;
        folder = pattern;
        std::string const command = "tar -C '" + pattern + "' -xJf '" + archive.string() + "'";
        if (std::system(command.c_str()) != 0)
            std::fprintf(stderr, "cannot unpack %s\n", archive.c_str());
    }
    ~Unpacked()
    {
        std::error_code ignored;
        if (!folder.empty())
            fs::remove_all(folder, ignored);
    }
};

} // namespace

CapturedMachine::CapturedMachine(std::string const& folder)
    : m_name(fs::path(folder).filename().string()), m_root(Root::open(folder)),
      m_records(CapabilityImp::ALL())
{
    std::ifstream expected(folder + "/EXPECTED.txt");
    std::vector<std::string>* section = &m_sections[""];
    for (std::string line; std::getline(expected, line);) {
        if (line.size() > 2 && line.front() == '[' && line.find(']') != std::string::npos)
            section = &m_sections[line.substr(1, line.find(']') - 1)];
        else if (!line.empty() && line.front() != '#')
            section->push_back(line);
    }
    discover(*m_root, CapabilityImp::ALL(), m_records);
}

std::vector<DeviceDescription const*> CapturedMachine::ofType(CapabilityImp const& type) const
{
    std::vector<DeviceDescription const*> found;
    for (DeviceDescription const& device : devices())
        if (device.type == type)
            found.push_back(&device);
    return found;
}

DeviceDescription const* CapturedMachine::byOsLocator(std::string const& osLocator) const
{
    for (DeviceDescription const& device : devices())
        if (device.osLocator == String(osLocator))
            return &device;
    return nullptr;
}

DeviceDescription const* CapturedMachine::byLocation(CapabilityImp const& type,
                                                     std::string const& hwLocator) const
{
    for (DeviceDescription const& device : devices())
        if (device.type == type && device.hwLocator == String(hwLocator))
            return &device;
    return nullptr;
}

std::vector<std::string> const& CapturedMachine::section(std::string const& name) const
{
    static std::vector<std::string> const s_none;
    auto const found = m_sections.find(name);
    return found == m_sections.end() ? s_none : found->second;
}

std::optional<std::string> CapturedMachine::fact(std::string const& sectionName, std::string_view key) const
{
    std::string const begin = std::string(key) + " = ";
    for (std::string const& line : section(sectionName))
        if (line.rfind(begin, 0) == 0) {
            std::string value = line.substr(begin.size());
            if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
                value = value.substr(1, value.size() - 2);
            return value == "-" ? std::nullopt : std::optional(value);
        }
    return std::nullopt;
}

std::optional<std::size_t> CapturedMachine::asserted(std::string const& sectionName,
                                                     std::string_view key) const
{
    auto const text = fact(sectionName, key);
    std::size_t const at = text ? text->find("ASSERT ") : std::string::npos;
    if (at == std::string::npos)
        return std::nullopt;
    return std::strtoull(text->c_str() + at + std::string_view("ASSERT ").size(), nullptr, 10);
}

std::vector<CapturedMachine> const& capturedMachines()
{
    static Unpacked const s_unpacked;
    static std::vector<CapturedMachine> const s_machines = [] {
        std::vector<CapturedMachine> machines;
        std::vector<std::string> folders;
        if (!s_unpacked.folder.empty())
            for (fs::directory_entry const& entry : fs::recursive_directory_iterator(s_unpacked.folder))
                if (entry.path().filename() == "EXPECTED.txt")
                    folders.push_back(entry.path().parent_path().string());
        std::sort(folders.begin(), folders.end());
        for (std::string const& folder : folders)
            machines.emplace_back(folder);
        return machines;
    }();
    return s_machines;
}

CapturedMachine const& machineCalled(std::string const& name)
{
    for (CapturedMachine const& machine : capturedMachines())
        if (machine.name() == name)
            return machine;
    throw std::runtime_error("no captured machine is called " + name);
}

std::optional<std::string> word(std::string const& line, std::string const& key, char quote)
{
    std::string const begin = " " + key + "=";
    std::size_t at = (" " + line).find(begin);
    if (at == std::string::npos)
        return std::nullopt;
    at += begin.size() - 1; // the blank that was put in front
    if (at >= line.size())
        return std::nullopt;
    bool const quoted = line[at] == quote;
    std::size_t const from = quoted ? at + 1 : at;
    std::string const value = line.substr(from, line.find(quoted ? quote : ' ', from) - from);
    return !quoted && (value == "-" || value == "None") ? std::nullopt : std::optional(value);
}

std::optional<ValueImp> propertyOf(DeviceDescription const* device, std::string_view key)
{
    if (device)
        for (auto const& [name, value] : device->properties)
            if (name == key)
                return value;
    return std::nullopt;
}

std::string propertyText(DeviceDescription const* device, std::string_view key)
{
    auto const value = propertyOf(device, key);
    return value ? value->toString().toUtf8() : "-";
}

std::optional<std::uint64_t> count(DeviceDescription const* device, char const* key)
{
    auto const value = propertyOf(device, key);
    return value ? std::optional(value->discreteMeasurement().value()) : std::nullopt;
}

} // namespace zel::test
