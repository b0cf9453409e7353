#pragma once
// The firmware's description of the machine (System Management BIOS, DMTF DSP0134), parsed from the raw
// tables that the kernel offers in /sys/firmware/dmi/tables.

#include <zel/foundation/Export.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel {

/// One structure: a formatted area of numbers, and the strings that its fields refer to.
class ZEL_EXPORT SmbiosStructure
{
public:
    SmbiosStructure(unsigned instance, std::string_view formatted, std::vector<std::string_view> strings)
        : m_instance(instance), m_formatted(formatted), m_strings(std::move(strings))
    {}

    std::uint8_t type() const noexcept { return static_cast<std::uint8_t>(m_formatted[0]); }
    std::uint16_t handle() const noexcept { return word(2).value_or(0xFFFF); }
    /// Number among the structures of its type, from 0.
    unsigned instance() const noexcept { return m_instance; }

    /// Little-endian field at an offset from the structure's start; absent when the structure, whose length
    /// grew with the versions of the standard, ends before it.
    std::optional<std::uint8_t> byte(std::size_t offset) const noexcept;
    std::optional<std::uint16_t> word(std::size_t offset) const noexcept;
    std::optional<std::uint32_t> doubleWord(std::size_t offset) const noexcept;
    /// Text whose number stands in the byte at an offset, as it is; absent when there is none.
    std::optional<std::string> text(std::size_t offset) const;
    std::size_t size() const noexcept { return m_formatted.size(); } ///< of the formatted area, in bytes
    std::vector<std::string_view> const& strings() const noexcept { return m_strings; }
    std::string_view bytes(std::size_t offset,
                           std::size_t count) const noexcept; ///< empty when not all are there

private:
    template <typename Number>
    std::optional<Number> field(std::size_t offset) const noexcept;

    unsigned m_instance;
    std::string_view m_formatted;
    std::vector<std::string_view> m_strings;
};

/// The whole table. Damage ends the table: what stands before it is kept.
class ZEL_EXPORT Smbios
{
public:
    Smbios() = default;
    /// `entryPoint` (may be empty or damaged, then only the version is unknown) bounds the table.
    Smbios(std::string table, std::string_view entryPoint);
    // Structures point into the table's bytes.
    Smbios(Smbios const&) = delete;
    Smbios& operator=(Smbios const&) = delete;

    std::vector<SmbiosStructure> const& structures() const noexcept { return m_structures; }
    std::vector<SmbiosStructure const*> ofType(std::uint8_t type) const;
    /// Null when there is none.
    SmbiosStructure const* first(std::uint8_t type) const;
    std::optional<std::string> version() const; ///< "3.2"
    bool isAtLeast(unsigned major, unsigned minor) const noexcept;
    /// Why structures may be missing, and from which byte on: "damaged at offset 0x01a3: a structure of type 17 does not
    /// end". Absent for a whole table, also one without an end mark whose bytes are all used, and for none at all.
    std::optional<std::string> const& damage() const noexcept { return m_damage; }

private:
    void readEntryPoint(std::string_view entryPoint);
    void readTable();
    std::size_t readStructure(std::size_t offset, unsigned (&counts)[256]);
    void judgeRest(std::size_t offset);

    std::string m_table;
    std::size_t m_declaredSize = 0; ///< by the entry point; 0: unknown
    std::size_t m_structureLimit = 65536;
    unsigned m_major = 0; // 0: unknown
    unsigned m_minor = 0;
    std::vector<SmbiosStructure> m_structures;
    std::optional<std::string> m_damage;
};

/// What structure type 17 says about one memory module.
struct SmbiosMemoryModule
{
    unsigned instance = 0;
    std::uint64_t bytes = 0;      ///< 0: size not told
    std::uint16_t array = 0xFFFF; ///< handle of the array (type 16) that it belongs to
    std::optional<unsigned> totalWidth, dataWidth, ranks;
    std::optional<std::uint64_t> speed, configuredSpeed; ///< transfers a second
    std::optional<double> volts;
    std::optional<std::string> locator, bank, manufacturer, serial, assetTag, part, type, formFactor;

    /// Nothing for an empty slot.
    static std::optional<SmbiosMemoryModule> from(SmbiosStructure const& structure);
};

/// What structure type 4 says about one processor socket.
struct SmbiosProcessor
{
    enum class Status { Empty, Enabled, DisabledByUser, DisabledByFirmware, Idle, Unknown };

    unsigned instance = 0;
    Status status = Status::Unknown;
    std::optional<std::string> socket, manufacturer, version, serial, assetTag, part;
    std::optional<std::uint64_t> startHertz;  ///< at which the system started
    std::optional<std::uint64_t> socketHertz; ///< highest that the socket takes, whatever sits in it
    std::optional<unsigned> cores, threads;
    std::optional<double> volts;

    bool isPresent() const noexcept { return status != Status::Empty; }
    bool isDisabled() const noexcept
    {
        return status == Status::DisabledByUser || status == Status::DisabledByFirmware;
    }
    /// "Enabled", "Disabled by firmware (self-test failed)"; nothing for an unknown one.
    std::optional<std::string> statusText() const;

    /// Nothing for a coprocessor.
    static std::optional<SmbiosProcessor> from(SmbiosStructure const& structure);
};

/// What all structures of type 16 that are for system memory, and the modules in them, say together. Of a damaged table
/// there are no sums.
struct SmbiosMemory
{
    std::optional<std::uint64_t> installed; ///< bytes; absent when a module does not tell its size
    std::optional<std::uint64_t> maximum;   ///< bytes that the slots can take
    std::optional<unsigned> slots;
    unsigned filledSlots = 0;
    std::vector<std::string> emptySlots;        ///< by name, with the bank's where two slots have one name
    std::optional<std::string> errorCorrection; ///< "Multi-bit ECC"
};

ZEL_EXPORT std::vector<SmbiosProcessor> smbiosProcessors(Smbios const& smbios);
ZEL_EXPORT SmbiosMemory smbiosMemory(Smbios const& smbios);
/// "Notebook", "Tower" ... by the standard's number; nothing for unknown ones.
ZEL_EXPORT std::optional<std::string> smbiosChassisType(unsigned number);
/// "xxxxxxxx-xxxx-..." of a system structure; nothing when not set.
ZEL_EXPORT std::optional<std::string> smbiosUuid(SmbiosStructure const& system, bool littleEndian);
/// "5.12", from two bytes of the BIOS structure; nothing when not set.
ZEL_EXPORT std::optional<std::string> smbiosRelease(SmbiosStructure const& bios, std::size_t offset);
/// Where the function stands: segment, bus, device and function from an offset on; nothing when not told, or none is there.
ZEL_EXPORT std::optional<std::string> smbiosPciAddress(SmbiosStructure const& structure, std::size_t offset);
/// One line each: what every structure of the table is, with its handle and what its fields and texts say.
ZEL_EXPORT std::vector<std::string> smbiosLines(Smbios const& smbios);
/// One line each: "PCIE1: in use by 0000:01:00.0", "PCIE2: free".
ZEL_EXPORT std::vector<std::string> smbiosSlots(Smbios const& smbios);
/// One line each: "USB 3.0 (J3)": what stands on the connector, and what on the board beside it.
ZEL_EXPORT std::vector<std::string> smbiosConnectors(Smbios const& smbios);
/// Bytes of the firmware's memory, from the BIOS structure.
ZEL_EXPORT std::optional<std::uint64_t> smbiosRomSize(SmbiosStructure const& bios);

} // namespace zel
