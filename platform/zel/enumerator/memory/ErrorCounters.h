#pragma once
// Memory errors that the hardware detected, as the kernel counts them for each module.

#include <zel/enumerator/firmware/Smbios.h>
#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zel {

/// The type of a counter that no module of the firmware's table belongs to. Not a module: those are counted once.
CapabilityImp const& memoryErrorCounterType();

/// One module, or one channel of a row of them, as the memory controller's driver sees it.
struct MemoryErrorCounter
{
    std::string controller, name;     ///< "mc0", "dimm3"
    std::optional<std::string> label; ///< what is printed on the board, if somebody told the driver
    std::optional<std::string> where; ///< "channel 1 slot 0"
    std::optional<std::string> kind;  ///< "Unbuffered-DDR4"
    std::optional<std::uint64_t> mebibytes;
    std::optional<std::uint64_t> corrected, uncorrected; ///< since the driver was loaded
};

class MemoryErrorCounters
{
public:
    MemoryErrorCounters(Root const& root, Smbios const& smbios);

    /// Of all controllers, also errors that no module could be named for; absent where there is none.
    std::optional<std::uint64_t> corrected() const noexcept { return m_corrected; }
    std::optional<std::uint64_t> uncorrected() const noexcept { return m_uncorrected; }

    /// The counts of the module, if a label names it and no other one.
    void addTo(DeviceDescription& device, SmbiosMemoryModule const& module) const;
    /// A device of its own for each counter that belongs to no module of the firmware's table.
    void addOthers(DeviceSink& sink) const;

private:
    struct Row
    {
        MemoryErrorCounter counter;
        std::optional<unsigned> module; ///< instance of the module that it counts for
    };

    void readController(Root const& root, std::string const& name);
    void match(Smbios const& smbios);

    std::vector<Row> m_rows;
    std::optional<std::uint64_t> m_corrected, m_uncorrected;
};

} // namespace zel
