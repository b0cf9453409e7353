#include <memory/linux/MemoryModules.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>

namespace krel5::modules::memory {
namespace {

namespace fs = std::filesystem;

/// One structure of the tables: its bytes, then its strings, each ended by a zero.
class Structure
{
public:
    explicit Structure(std::string bytes) : m_bytes(std::move(bytes)) {}

    /// Little-endian; absent where the structure is shorter.
    std::optional<std::uint64_t> number(std::size_t at, std::size_t size) const
    {
        if (at + size > formattedLength())
            return std::nullopt;
        std::uint64_t value = 0;
        for (std::size_t i = size; i-- > 0;)
            value = value << 8 | static_cast<unsigned char>(m_bytes[at + i]);
        return value;
    }

    /// The string whose number is at that place; empty where there is none.
    std::string string(std::size_t at) const
    {
        std::string_view rest = std::string_view(m_bytes).substr(formattedLength());
        for (std::uint64_t left = number(at, 1).value_or(0); left > 0; --left) {
            std::string_view const text = rest.substr(0, rest.find('\0'));
            if (left == 1 || text.empty())
                return printable(text);
            rest.remove_prefix(std::min(text.size() + 1, rest.size()));
        }
        return {};
    }

private:
    std::size_t formattedLength() const
    {
        return m_bytes.size() < 2
                   ? 0
                   : std::min<std::size_t>(m_bytes.size(), static_cast<unsigned char>(m_bytes[1]));
    }

    static std::string printable(std::string_view text)
    {
        std::string result;
        std::ranges::copy_if(text, std::back_inserter(result), [](char c) { return c >= ' ' && c <= '~'; });
        return result;
    }

    std::string m_bytes;
};

std::vector<Structure> structuresOf(std::string const& root, std::string_view type)
{
    std::vector<fs::path> folders;
    std::error_code none;
    for (auto const& entry : fs::directory_iterator(root + "sys/firmware/dmi/entries", none)) {
        if (entry.path().filename().string().starts_with(type))
            folders.push_back(entry.path());
    }
    std::ranges::sort(folders);
    std::vector<Structure> result;
    for (auto const& folder : folders) {
        std::ifstream file(folder / "raw", std::ios::binary);
        std::string bytes(4096, '\0'); // a structure has 255 bytes and a few strings
        file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        bytes.resize(static_cast<std::size_t>(file.gcount()));
        result.emplace_back(std::move(bytes));
    }
    return result;
}

std::optional<std::uint64_t> hexadecimalIn(fs::path const& path)
{
    std::ifstream file(path);
    std::string text;
    std::uint64_t number = 0;
    if (!(file >> text) ||
        std::from_chars(text.data(), text.data() + text.size(), number, 16).ec != std::errc())
        return std::nullopt;
    return number;
}

} // namespace

MemoryModules::MemoryModules(std::string const& root) : m_root(root)
{
    for (Structure const& device : structuresOf(root, "17-")) {
        std::string name = device.string(0x10);
        std::string const bank = device.string(0x11);
        if (!bank.empty() && bank != name) // boards print the one, the other or both
            name += name.empty() ? bank : " (" + bank + ")";
        if (device.number(0x0C, 2).value_or(0) != 0 && !name.empty())
            m_modules.push_back({static_cast<unsigned>(device.number(2, 2).value_or(0)), name});
    }
    for (Structure const& mapped : structuresOf(root, "20-")) {
        auto first = mapped.number(4, 4), last = mapped.number(8, 4); // in KiB, or told below in bytes
        auto const handle = mapped.number(0x0C, 2);
        if (!first || !last || !handle)
            continue;
        bool const extended = *first == 0xFFFFFFFF;
        std::uint64_t const begin = extended ? mapped.number(0x13, 8).value_or(1) : *first << 10;
        std::uint64_t const end = extended ? mapped.number(0x1B, 8).value_or(0) : (*last << 10) + 1023;
        if (begin < end)
            m_ranges.push_back({static_cast<unsigned>(*handle), begin, end});
    }
}

ModulesAtAddress MemoryModules::at(std::uint64_t physicalAddress) const
{
    ModulesAtAddress result;
    result.m_node = nodeOf(physicalAddress);
    // Ranges of modules that a controller interleaves are the same: each of them is then one that it may be.
    for (Range const& range : m_ranges) {
        for (Module const& module : m_modules) {
            if (module.m_handle == range.m_handle && physicalAddress >= range.m_first &&
                physicalAddress <= range.m_last)
                result.m_names.push_back(module.m_name);
        }
    }
    if (result.m_names.empty())
        std::ranges::transform(m_modules, std::back_inserter(result.m_names), &Module::m_name);
    return result;
}

std::optional<unsigned> MemoryModules::nodeOf(std::uint64_t physicalAddress) const
{
    auto const blockBytes = hexadecimalIn(m_root + "sys/devices/system/memory/block_size_bytes");
    fs::path const nodes = m_root + "sys/devices/system/node";
    std::error_code none;
    if (!blockBytes || *blockBytes == 0 || !fs::exists(nodes / "node1", none))
        return std::nullopt;
    std::string const block = "memory" + std::to_string(physicalAddress / *blockBytes);
    for (auto const& entry : fs::directory_iterator(nodes, none)) {
        std::string const name = entry.path().filename();
        unsigned node = 0;
        if (name.starts_with("node") &&
            std::from_chars(name.data() + 4, name.data() + name.size(), node).ec == std::errc() &&
            fs::exists(entry.path() / block, none))
            return node;
    }
    return std::nullopt;
}

} // namespace krel5::modules::memory
