// The machine as a whole, its board, firmware and chassis.
// Reads /sys/firmware/dmi/tables (administrators only), /sys/class/dmi/id for what the tables did not tell,
// /proc/sys/kernel, /proc/version, /etc/os-release and, where there is no DMI, the device tree's model; and what
// StartFacts.cpp and Virtualization.cpp name.

#include <zel/enumerator/system/discover.h>

#include <zel/enumerator/firmware/Smbios.h>
#include <zel/enumerator/firmware/SmbiosTables.h>
#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Lines.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>
#include <zel/enumerator/system/AcpiTables.h>
#include <zel/enumerator/system/StartFacts.h>
#include <zel/enumerator/system/Virtualization.h>

#include <set>

namespace zel {

namespace {

using C = CapabilityImp;
using Text = std::optional<std::string>;

constexpr std::uint8_t kBios = 0;
constexpr std::uint8_t kSystem = 1;
constexpr std::uint8_t kBoard = 2;
constexpr std::uint8_t kChassis = 3;

/// The kernel's copy of some texts of the table, one file each; a machine without DMI has none of them.
class KernelCopy
{
public:
    explicit KernelCopy(Root const& root) : m_root(root)
    {
        for (std::string& name : root.list(kFolder))
            m_names.insert(std::move(name));
    }
    Text text(char const* attribute) const
    {
        return m_names.count(attribute) ? m_root.text(std::string(kFolder) + attribute) : std::nullopt;
    }

private:
    static constexpr char kFolder[] = "sys/class/dmi/id/";
    Root const& m_root;
    std::set<std::string, std::less<>> m_names;
};

/// Facts about one SMBIOS structure, from the table or, where the table cannot be read, from the kernel's
/// copy.
class Facts
{
public:
    Facts(KernelCopy const& copy, SmbiosStructure const* structure) : m_copy(copy), m_structure(structure) {}

    Text text(std::size_t offset, char const* attribute)
    {
        Text found = text::meaningful(m_structure ? m_structure->text(offset) : fromKernel(attribute));
        m_any = m_any || found;
        return found;
    }
    Text fromKernel(char const* attribute) const { return m_copy.text(attribute); }
    SmbiosStructure const* structure() const { return m_structure; }
    unsigned instance() const { return m_structure ? m_structure->instance() : 0; }
    bool any() const { return m_any; }

private:
    KernelCopy const& m_copy;
    SmbiosStructure const* m_structure;
    bool m_any = false;
};

/// PRETTY_NAME="Debian GNU/Linux 12" -> Debian GNU/Linux 12
Text unquoted(std::map<std::string, std::string, std::less<>> const& values, char const* key)
{
    auto const found = values.find(key);
    if (found == values.end())
        return std::nullopt;
    std::string_view value = found->second;
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
        value = value.substr(1, value.size() - 2);
    return text::meaningful(value);
}

/// "Linux version 6.1.0-13-amd64 (...)": the third word, for trees without /proc/sys.
Text kernelRelease(Root const& root)
{
    if (auto release = root.text("proc/sys/kernel/osrelease"))
        return release;
    auto const line = root.text("proc/version");
    auto const words = text::split(line ? *line : std::string_view(), ' ');
    return words.size() > 2 && words[1] == "version" ? Text(words[2]) : std::nullopt;
}

void addOperatingSystem(Root const& root, DeviceDescription& system)
{
    Text const host = root.text("proc/sys/kernel/hostname");
    system.osLocator = String(host.value_or(""));
    system.add("HostName", host);
    system.add("KernelName", root.text("proc/sys/kernel/ostype"));
    system.add("KernelRelease", kernelRelease(root));
    system.add("KernelBuild", root.text("proc/sys/kernel/version"));
    if (auto const release = root.read("etc/os-release", 1u << 16)) {
        auto const values = text::keyValueLines(*release);
        system.add("OperatingSystemName", unquoted(values, "PRETTY_NAME"));
        system.add("OperatingSystemVersion", unquoted(values, "VERSION_ID"));
    }
}

Text uuidOf(Facts const& facts, Smbios const& smbios)
{
    if (facts.structure())
        return smbiosUuid(*facts.structure(), smbios.isAtLeast(2, 6));
    return text::meaningful(facts.fromKernel("product_uuid"));
}

/// Name of a machine without DMI, from its device tree ("Raspberry Pi 4 Model B Rev 1.4", ended by a zero).
Text deviceTreeModel(Root const& root)
{
    auto model = root.read("proc/device-tree/model", 4096);
    return text::meaningful(model ? model : root.read("sys/firmware/devicetree/base/model", 4096));
}

/// Returns its name.
String addSystem(Root const& root, KernelCopy const& copy, Smbios const& smbios, DeviceSink& sink)
{
    Facts facts(copy, smbios.first(kSystem));
    DeviceDescription system;
    system.type = C::System();
    system.capabilities = C::System() | C::Hardware();
    placeAt(system, location::system());
    Text const manufacturer = facts.text(0x04, "sys_vendor");
    Text product = facts.text(0x05, "product_name");
    Text const version = facts.text(0x06, "product_version");
    if (!product)
        product = deviceTreeModel(root);
    // This maker writes a type number into the product and the name that people know into the version.
    bool const nameIsVersion = manufacturer == "LENOVO" && version;
    system.name = nameIsVersion ? joinedName({manufacturer, version}, "")
                                : joinedName({manufacturer, product}, "Computer");
    system.description = "Computer system";
    system.add("Manufacturer", manufacturer);
    system.add("Model", product);
    system.add("Version", version);
    system.add("SerialNumber", facts.text(0x07, "product_serial"));
    system.add("Uuid", uuidOf(facts, smbios));
    system.add("SkuNumber", facts.text(0x19, "product_sku"));
    system.add("ProductFamily", facts.text(0x1A, "product_family"));
    system.add("SmbiosVersion", smbios.version());
    addOperatingSystem(root, system);
    addStartFacts(system, root);
    if (sink.wantsDetail() && !smbios.first(kBios)) // else the BIOS shows them
        addLines(system, "FirmwareTables", smbiosLines(smbios));
    String const name = system.name;
    if (system.properties.empty())
        return name; // a tree that tells nothing about the machine
    auto const makerOf = [&](std::uint8_t type, char const* attribute) {
        SmbiosStructure const* const structure = smbios.first(type);
        return structure ? structure->text(0x04) : copy.text(attribute);
    };
    auto const [isVirtual, by] = virtualization(
        root, {manufacturer, product, makerOf(kBoard, "board_vendor"), makerOf(kBios, "bios_vendor")});
    system.add("IsVirtual", isVirtual);
    system.add("Hypervisor", by);
    sink.add(std::move(system));
    return name;
}

/// What the board is like beyond its name; no structure tells on which of several something stands.
void addBoardBuild(DeviceDescription& board, Smbios const& smbios)
{
    if (std::size_t const sockets = smbiosProcessors(smbios).size(); sockets > 0)
        board.properties.emplace_back("ProcessorSockets", ValueImp(static_cast<unsigned>(sockets)));
    addLines(board, "ExpansionSlots", smbiosSlots(smbios));
    addLines(board, "BoardConnectors", smbiosConnectors(smbios));
}

void addBoard(Facts facts, Smbios const& smbios, String const& systemName, DeviceSink& sink)
{
    DeviceDescription board;
    board.type = C::SystemBoard();
    board.capabilities = C::SystemBoard() | C::Hardware();
    placeAt(board, location::smbios(kBoard, facts.instance()));
    placeBelowSystem(board);
    Text const manufacturer = facts.text(0x04, "board_vendor");
    Text const product = facts.text(0x05, "board_name");
    board.name = joinedName({manufacturer, product}, "System board");
    board.description = "System board";
    tellFrom(board, systemName);
    board.add("Manufacturer", manufacturer);
    board.add("Model", product);
    board.add("Version", facts.text(0x06, "board_version"));
    board.add("SerialNumber", facts.text(0x07, "board_serial"));
    board.add("AssetTag", facts.text(0x08, "board_asset_tag"));
    if (facts.instance() == 0)
        addBoardBuild(board, smbios);
    if (facts.any())
        sink.add(std::move(board));
}

void addBios(Facts facts, Root const& root, Smbios const& smbios, DeviceSink& sink)
{
    DeviceDescription bios;
    bios.type = C::BIOS();
    bios.capabilities = C::BIOS() | C::Firmware();
    placeAt(bios, location::smbios(kBios, facts.instance()));
    placeBelowSystem(bios);
    Text const manufacturer = facts.text(0x04, "bios_vendor");
    Text const version = facts.text(0x05, "bios_version");
    bios.name = joinedName({manufacturer, Text("BIOS"), version}, "BIOS");
    bios.description = "System firmware";
    bios.add("Manufacturer", manufacturer);
    bios.add("FirmwareVersion", version);
    bios.add("ReleaseDate", facts.text(0x08, "bios_date"));
    if (facts.structure()) {
        bios.add("FirmwareRelease", smbiosRelease(*facts.structure(), 0x14));
        bios.add("EmbeddedControllerRelease", smbiosRelease(*facts.structure(), 0x16));
        bios.add("Size", measure::bytes(smbiosRomSize(*facts.structure())));
    }
    if (sink.wantsDetail() && facts.instance() == 0) {
        if (facts.structure())
            addLines(bios, "FirmwareTables", smbiosLines(smbios));
        addLines(bios, "AcpiTables", acpiTables(root));
    }
    if (facts.any())
        sink.add(std::move(bios));
}

void addChassis(Facts facts, DeviceSink& sink)
{
    DeviceDescription chassis;
    chassis.type = C::Chassis();
    chassis.capabilities = C::Chassis() | C::Hardware();
    placeAt(chassis, location::smbios(kChassis, facts.instance()));
    placeBelowSystem(chassis);
    Text const manufacturer = facts.text(0x04, "chassis_vendor");
    std::optional<std::int64_t> number;
    if (facts.structure())
        number = facts.structure()->byte(0x05);
    else if (auto const line = facts.fromKernel("chassis_type"))
        number = text::toNumber(*line);
    bool const isByte = number && *number >> 8 == 0;
    Text const kind = isByte ? smbiosChassisType(static_cast<unsigned>(*number)) : std::nullopt;
    chassis.name = joinedName({manufacturer, kind}, "Chassis");
    chassis.description = "Chassis";
    chassis.add("Manufacturer", manufacturer);
    chassis.add("ChassisType", kind);
    chassis.add("Version", facts.text(0x06, "chassis_version"));
    chassis.add("SerialNumber", facts.text(0x07, "chassis_serial"));
    chassis.add("AssetTag", facts.text(0x08, "chassis_asset_tag"));
    if (facts.any() || kind)
        sink.add(std::move(chassis));
}

/// One call a structure of the type; one with the kernel's copy when the table has none.
template <typename Add>
void forEach(KernelCopy const& copy, Smbios const& smbios, std::uint8_t type, Add add)
{
    auto const structures = smbios.ofType(type);
    for (SmbiosStructure const* structure : structures)
        add(Facts(copy, structure));
    if (structures.empty())
        add(Facts(copy, nullptr));
}

} // namespace

void discoverSystem(Root const& root, DeviceSink& sink)
{
    Smbios const smbios = readSmbios(root);
    KernelCopy const copy(root);
    String const name = addSystem(root, copy, smbios, sink);
    forEach(copy, smbios, kBoard, [&](Facts const& facts) { addBoard(facts, smbios, name, sink); });
    forEach(copy, smbios, kBios, [&](Facts const& facts) { addBios(facts, root, smbios, sink); });
    forEach(copy, smbios, kChassis, [&sink](Facts const& facts) { addChassis(facts, sink); });
    if (auto const damage = damageOf(smbios)) {
        C const read = C::SystemBoard() | C::BIOS() | C::Firmware() | C::Chassis();
        sink.tell({String(*damage), read | C::System(), read});
    }
}

} // namespace zel
