// Reads <device>/{vendor,model,rev,vpd_pg80,vpd_pg83} of SCSI and ATA drives, {model,serial,firmware_rev} of
// NVMe controllers, {name,serial,fwrev} of memory cards, `serial` of virtual drives; ata_port/*/port_no. The
// vital product data pages need Linux 3.15; nothing needs a privilege.
#include <zel/enumerator/drives/Drive.h>

#include <zel/enumerator/drives/CdromInfo.h>
#include <zel/enumerator/drives/ScsiVpd.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <array>

namespace zel {

namespace {

constexpr std::size_t kVpdLimit = 1024;

std::string parentOf(std::string const& path)
{
    std::size_t const slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string_view lastOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

bool isNumbered(std::string_view name, std::string_view prefix)
{
    return text::indexAfter(name, prefix).has_value();
}

bool isNoDrive(std::string_view name)
{
    static constexpr std::array<std::string_view, 11> kPrefixes{
        "loop", "ram", "zram", "dm-", "md", "nbd", "rbd", "drbd", "mtdblock", "zd", "bcache"};
    for (std::string_view const prefix : kPrefixes)
        if (isNumbered(name, prefix))
            return true;
    // The boot areas of a memory card, and the paths behind an NVMe drive with several ("nvme0c1n1").
    if (name.starts_with("mmcblk"))
        return name.find_first_not_of("0123456789", 6) != std::string_view::npos;
    return name.starts_with("nvme") && name.find('c') != std::string_view::npos;
}

/// An NVMe drive that several controllers may serve stands below a virtual subsystem, which links to them.
std::optional<DevicePath> firstController(Root const& root, std::string const& subsystem)
{
    for (std::string const& name : root.list(subsystem))
        if (isNumbered(name, "nvme"))
            if (auto const path = root.resolve(subsystem + "/" + name))
                return DevicePath::parse(*path);
    return std::nullopt;
}

DriveBus busOf(HardwareTree const& tree, std::string_view name, DevicePath const& place)
{
    auto const hasNumbered = [&place](std::string_view prefix) {
        return std::any_of(place.components.begin(), place.components.end(),
                           [&](std::string const& component) { return isNumbered(component, prefix); });
    };
    if (place.usb)
        return DriveBus::Usb;
    if (name.starts_with("nvme"))
        return DriveBus::Nvme;
    if (name.starts_with("mmcblk"))
        return DriveBus::MemoryCard;
    PciFunction const* const controller = tree.pci(place.pci);
    if (place.ata ||
        (place.scsi && controller && controller->kind.capabilities.isCapable(CapabilityImp::ATA())))
        return DriveBus::Ata;
    if (place.scsi)
        return DriveBus::Scsi;
    return hasNumbered("virtio") ? DriveBus::Virtio : DriveBus::Other;
}

/// Number of the port on its controller, from 1. The kernel tells it since 2.6.37; older ones, and trees
/// without the attribute, number ports and hosts over the whole machine, but those of one controller in a
/// row.
std::uint64_t ataPort(Root const& root, DevicePath const& place)
{
    std::string const prefix = place.ata ? "ata" : "host";
    std::uint32_t const global = place.ata ? *place.ata : place.scsi ? place.scsi->host : 0;
    std::string const name = prefix + std::to_string(global);
    std::string const port = place.upTo(name);
    if (place.ata)
        if (auto const number = root.number(port + "/ata_port/" + name + "/port_no"); number && *number >= 0)
            return static_cast<std::uint64_t>(*number);
    std::uint32_t lowest = global;
    for (std::string const& sibling : root.list(parentOf(port)))
        if (auto const number = text::indexAfter(sibling, prefix))
            lowest = std::min(lowest, *number);
    return global - lowest + 1;
}

String joined(std::string_view prefix, std::initializer_list<std::uint64_t> numbers)
{
    String text(prefix);
    for (std::uint64_t const number : numbers)
        text += String(":") + String::number(number);
    return text;
}

/// A controller that a pair of ports in the old places of the PC belongs to; there is at most one of them.
bool isCompatibilityIde(PciFunction const* controller)
{
    constexpr std::uint32_t kIde = 0x010100;
    constexpr std::uint32_t kNativeMode = 0x05; // one bit for each of the two channels
    return controller && controller->classCode && (*controller->classCode & 0xFFFF00) == kIde &&
           (*controller->classCode & kNativeMode) == 0;
}

std::pair<String, char const*> scsiLocation(HardwareTree const& tree, Drive const& drive)
{
    DevicePath const& place = drive.place;
    ScsiAddress const address = place.scsi.value_or(ScsiAddress{});
    bool const isAta = drive.bus == DriveBus::Ata;
    std::uint64_t const channel = isAta ? ataPort(tree.root(), place) : address.channel;
    if (isAta && isCompatibilityIde(tree.pci(place.pci)))
        return {joined("IDE", {channel - 1, address.target}), "IDE"};
    char const* const bus = isAta ? "SATA" : "SCSI";
    if (place.pci)
        return {joined(bus, {place.pci->number(), channel, address.target, address.unit}), bus};
    return {joined(place.platformName(), {channel, address.target, address.unit}), ""};
}

void readScsiIdentity(Root const& root, std::string const& folder, bool isAta, DriveIdentity& identity)
{
    identity.vendor = text::meaningful(root.text(folder + "vendor"));
    identity.model = text::meaningful(root.text(folder + "model"));
    identity.firmware = text::meaningful(root.text(folder + "rev"));
    if (identity.vendor == "ATA") { // what the translation layer writes in place of a maker
        identity.vendor.reset();
        isAta = true;
    }
    if (auto const page = isAta ? root.read(folder + "vpd_pg83", kVpdLimit) : std::nullopt)
        if (auto const ata = vpdAtaIdentity(*page)) {
            identity.model = ata->model.empty() ? identity.model : ata->model;
            identity.serial = ata->serial.empty() ? identity.serial : std::optional(ata->serial);
        }
    if (auto const page = identity.serial ? std::nullopt : root.read(folder + "vpd_pg80", kVpdLimit))
        identity.serial = vpdSerialNumber(*page);
}

} // namespace

std::string Drive::deviceFile() const
{
    std::string name = kernelName;
    std::replace(name.begin(), name.end(), '!', '/');
    return "/dev/" + name;
}

std::optional<Drive> readDrive(HardwareTree const& tree, std::string const& kernelName)
{
    if (isNoDrive(kernelName))
        return std::nullopt;
    Drive drive;
    drive.kernelName = kernelName;
    auto path = tree.root().resolve("sys/block/" + kernelName);
    if (!path)
        path = tree.root().resolve("sys/class/block/" + kernelName);
    if (!path)
        return std::nullopt;
    drive.path = *path;
    drive.deviceFolder = parentOf(*path);
    if (lastOf(drive.deviceFolder) == "block")
        drive.deviceFolder = parentOf(drive.deviceFolder);
    drive.place = DevicePath::parse(*path);
    if (drive.place.has("nvme-subsystem"))
        drive.place = firstController(tree.root(), drive.deviceFolder).value_or(drive.place);
    if (drive.place.isVirtual || drive.place.components.empty())
        return std::nullopt;
    drive.bus = busOf(tree, kernelName, drive.place);
    return drive;
}

DriveIdentity readIdentity(Root const& root, Drive const& drive)
{
    DriveIdentity identity;
    std::string const folder = drive.deviceFolder + "/";
    auto const fact = [&](std::string const& path) { return text::meaningful(root.text(path)); };
    switch (drive.bus) {
    case DriveBus::Nvme:
        identity = {std::nullopt, fact(folder + "model"), fact(folder + "serial"),
                    fact(folder + "firmware_rev")};
        break;
    case DriveBus::Virtio:
        identity.serial = fact(drive.path + "/serial");
        break;
    case DriveBus::MemoryCard:
        identity = {std::nullopt, fact(folder + "name"), fact(folder + "serial"), fact(folder + "fwrev")};
        break;
    case DriveBus::Ata:
    case DriveBus::Scsi:
    case DriveBus::Usb:
    case DriveBus::Other:
        readScsiIdentity(root, folder, drive.bus == DriveBus::Ata, identity);
        break;
    }
    return identity;
}

CapabilityImp recordType(Root const& root, Drive const& drive)
{
    if (isNumbered(drive.kernelName, "sr"))
        return opticalType(opticalDrives(root)[drive.kernelName]);
    return isNumbered(drive.kernelName, "fd") ? CapabilityImp::FloppyDrive() : CapabilityImp::HardDrive();
}

std::pair<String, char const*> driveLocation(HardwareTree const& tree, Drive const& drive)
{
    if (auto const number = text::indexAfter(drive.kernelName, "fd"))
        return {joined("FD", {*number}), "FD"}; // the number is the drive's place on the cable
    auto place = busLocation(drive.place);
    switch (drive.bus) {
    case DriveBus::Ata:
    case DriveBus::Scsi:
        return scsiLocation(tree, drive);
    case DriveBus::Usb: {
        // Several card slots are several logical units; one number tells the interface and the unit behind it.
        std::uint64_t const unit = drive.place.usbInterface.value_or(0) * std::uint64_t{256} +
                                   (drive.place.scsi ? drive.place.scsi->unit : 0);
        return {unit == 0 ? place.first : place.first + ":" + String::number(unit), place.second};
    }
    case DriveBus::Nvme: { // "nvme0n2": the second namespace
        std::size_t const mark = drive.kernelName.rfind('n');
        auto const space = text::toUnsigned(std::string_view(drive.kernelName).substr(mark + 1)).value_or(1);
        return {space == 1 ? place.first : place.first + ":" + String::number(space), place.second};
    }
    case DriveBus::Virtio:
    case DriveBus::MemoryCard:
    case DriveBus::Other:
        break;
    }
    return place;
}

std::optional<unsigned> partitionNumber(std::string_view name, std::string_view drive)
{
    if (drive.empty())
        return std::nullopt;
    // "sda1", but "nvme0n1p1" and "mmcblk0p1": where the drive's own name ends in a digit the kernel puts a 'p'.
    bool const endsInDigit = drive.back() >= '0' && drive.back() <= '9';
    return text::indexAfter(name, std::string(drive) + (endsInDigit ? "p" : ""));
}

} // namespace zel
