#pragma once
// Which memory module a physical address lies in, from what the firmware's tables say (DMTF DSP0134: memory device,
// type 17, memory array mapped address, type 19, and memory device mapped address, type 20) and the kernel shows below
// /sys/firmware/dmi/entries. Firmware seldom tells how a controller spreads addresses over modules; what it does not
// tell is not guessed. Where in the machine a module is adds the driver of the memory controller; see EdacModules.h.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace krel5::modules::memory {

struct ModulesAtAddress
{
    std::vector<std::string> m_names; ///< as printed on the board; one: it is that; several: one of them
    std::optional<unsigned> m_node;   ///< of the machine's memory, where it has more than one
};

class MemoryModules
{
public:
    /// Reads what is below `root`, "/" but for tests. Privilege: root, else it knows no more than the driver tells.
    explicit MemoryModules(std::string const& root);

    /// Those that may hold the address: by the mapped ranges that hold it. One alone is believed when the table says
    /// that it is not interleaved and the range is no larger than the module. Else those of the arrays whose range
    /// holds the address, else all that there are. Ranges that end before the machine's memory does are not believed.
    ModulesAtAddress at(std::uint64_t physicalAddress) const;

private:
    struct Module
    {
        unsigned m_handle;
        unsigned m_array; ///< handle of the array that it is part of
        std::string m_name;
        std::uint64_t m_bytes; ///< 0: not told
    };
    struct Range
    {
        unsigned m_handle; ///< of its module or array
        std::uint64_t m_first;
        std::uint64_t m_last;
        bool m_isAlone = false; ///< nothing else holds addresses in between
    };

    void readModules();
    void readRanges();
    std::vector<Module const*> byRanges(std::uint64_t physicalAddress) const;
    std::vector<Module const*> byArrays(std::uint64_t physicalAddress) const;
    std::optional<unsigned> nodeOf(std::uint64_t physicalAddress) const;

    std::string m_root;
    std::vector<Module> m_modules; // those that are not empty slots
    std::vector<Range> m_ranges;   // of modules
    std::vector<Range> m_arrays;   // of arrays
};

} // namespace krel5::modules::memory
