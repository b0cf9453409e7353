#pragma once
// Which memory module a physical address lies in, from what the firmware's tables say (DMTF DSP0134: memory device,
// type 17, and memory device mapped address, type 20) and the kernel shows below /sys/firmware/dmi/entries.
// Firmware seldom tells how a controller spreads addresses over modules; what it does not tell is not guessed.

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
    /// Reads what is below `root`, "/" but for tests. Privilege: root, else it knows no modules.
    explicit MemoryModules(std::string const& root);

    /// Those that may hold the address: by the mapped ranges that hold it, else all that there are.
    ModulesAtAddress at(std::uint64_t physicalAddress) const;

private:
    struct Module
    {
        unsigned m_handle;
        std::string m_name;
    };
    struct Range
    {
        unsigned m_handle; ///< of its module
        std::uint64_t m_first;
        std::uint64_t m_last;
    };

    std::optional<unsigned> nodeOf(std::uint64_t physicalAddress) const;

    std::string m_root;
    std::vector<Module> m_modules; // those that are not empty slots
    std::vector<Range> m_ranges;
};

} // namespace krel5::modules::memory
