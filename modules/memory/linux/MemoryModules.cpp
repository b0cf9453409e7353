#include <memory/linux/MemoryModules.h>

#include <memory/linux/EdacModules.h>
#include <memory/linux/MachineMemory.h>

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

/// Bytes; 0 where it is not told. Absent for an empty slot.
std::optional<std::uint64_t> sizeOf(Structure const& device)
{
    constexpr std::uint64_t kUnknown = 0xFFFF, kExtended = 0x7FFF, kInKibibytes = 0x8000;
    std::uint64_t const size = device.number(0x0C, 2).value_or(0);
    if (size == 0)
        return std::nullopt;
    if (size == kUnknown)
        return 0;
    if (size == kExtended)
        return (device.number(0x1C, 4).value_or(0) & 0x7FFFFFFF) << 20;
    return size & kInKibibytes ? (size & ~kInKibibytes) << 10 : size << 20;
}

/// "slot (bank; place)": boards print the slot, the bank or both.
std::string nameOf(Structure const& device, std::vector<EdacModule> const& edac)
{
    std::string const slot = device.string(0x10), bank = device.string(0x11);
    std::string const place = slot.empty() ? "" : edacPlace(edac, slot, bank);
    std::string name = slot.empty() ? bank : slot;
    std::string more = slot.empty() || bank == slot ? "" : bank;
    if (!place.empty())
        more += (more.empty() ? "" : "; ") + place;
    return more.empty() ? name : name + " (" + more + ")";
}

struct Span
{
    std::uint64_t m_first, m_last;
};

/// Types 19 and 20: in KiB at 4 and 8, or in bytes at `extended`. Absent for what is no range.
std::optional<Span> spanOf(Structure const& mapped, std::size_t extended)
{
    auto const first = mapped.number(4, 4), last = mapped.number(8, 4);
    if (!first || !last)
        return std::nullopt;
    bool const isExtended = *first == 0xFFFFFFFF;
    Span const span{isExtended ? mapped.number(extended, 8).value_or(1) : *first << 10,
                    isExtended ? mapped.number(extended + 8, 8).value_or(0) : (*last << 10) + 1023};
    return span.m_first < span.m_last ? std::optional(span) : std::nullopt;
}

} // namespace

MemoryModules::MemoryModules(std::string const& root) : m_root(root)
{
    readModules();
    readRanges();
}

void MemoryModules::readModules()
{
    auto const edac = edacModules(m_root);
    for (Structure const& device : structuresOf(m_root, "17-")) {
        std::string const name = nameOf(device, edac);
        auto const bytes = sizeOf(device);
        if (bytes && !name.empty())
            m_modules.push_back({static_cast<unsigned>(device.number(2, 2).value_or(0)),
                                 static_cast<unsigned>(device.number(4, 2).value_or(0)), name, *bytes});
    }
    if (!m_modules.empty())
        return;
    for (EdacModule const& module : edac) {
        std::string const name =
            module.m_label.empty() ? module.m_where : module.m_label + " (" + module.m_where + ")";
        m_modules.push_back({0, 0, name, 0});
    }
}

void MemoryModules::readRanges()
{
    for (Structure const& mapped : structuresOf(m_root, "20-")) {
        auto const span = spanOf(mapped, 0x13);
        auto const handle = mapped.number(0x0C, 2);
        // Interleave position: 0 not interleaved, 255 not known.
        bool const isAlone = mapped.number(0x11, 1) == 0u;
        if (span && handle)
            m_ranges.push_back({static_cast<unsigned>(*handle), span->m_first, span->m_last, isAlone});
    }
    for (Structure const& mapped : structuresOf(m_root, "19-")) {
        auto const span = spanOf(mapped, 0x0F);
        auto const handle = mapped.number(0x0C, 2);
        if (span && handle)
            m_arrays.push_back({static_cast<unsigned>(*handle), span->m_first, span->m_last});
    }
    // Memory goes on behind the gap below 4 GiB. Firmware that only adds up the sizes of its modules does not know of it,
    // and would name for what lies behind it a module that is sound.
    std::uint64_t const end = endOfMemory(m_root);
    for (auto* const ranges : {&m_ranges, &m_arrays}) {
        auto const last = std::ranges::max_element(*ranges, {}, &Range::m_last);
        if (last != ranges->end() && end > last->m_last + 1)
            ranges->clear();
    }
}

std::vector<MemoryModules::Module const*> MemoryModules::byRanges(std::uint64_t physicalAddress) const
{
    // Ranges of modules that a controller interleaves are the same: each of them is then one that it may be.
    std::vector<Module const*> found;
    bool isCertain = true;
    for (Range const& range : m_ranges) {
        if (physicalAddress < range.m_first || physicalAddress > range.m_last)
            continue;
        auto const module = std::ranges::find(m_modules, range.m_handle, &Module::m_handle);
        if (module == m_modules.end())
            return {}; // somebody who is not in the table
        isCertain &= range.m_isAlone;
        isCertain &= module->m_bytes == 0 || range.m_last - range.m_first < module->m_bytes;
        if (std::ranges::find(found, &*module) == found.end())
            found.push_back(&*module);
    }
    return found.size() == 1 && !isCertain ? std::vector<Module const*>{} : found;
}

std::vector<MemoryModules::Module const*> MemoryModules::byArrays(std::uint64_t physicalAddress) const
{
    std::vector<Module const*> found;
    for (Module const& module : m_modules) {
        bool const isThere = std::ranges::any_of(m_arrays, [&](Range const& range) {
            return range.m_handle == module.m_array && physicalAddress >= range.m_first &&
                   physicalAddress <= range.m_last;
        });
        if (isThere)
            found.push_back(&module);
    }
    return found;
}

ModulesAtAddress MemoryModules::at(std::uint64_t physicalAddress) const
{
    auto found = byRanges(physicalAddress);
    if (found.empty())
        found = byArrays(physicalAddress);
    ModulesAtAddress result;
    result.m_node = nodeOf(physicalAddress);
    std::ranges::transform(found, std::back_inserter(result.m_names), &Module::m_name);
    if (found.empty())
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
