// Hard drives, solid-state drives, memory cards, optical and floppy drives, and the partitions on them.
// Reads, beyond what Drive.cpp and DriveCondition.cpp name, sys/block/*/{size,removable,ro},
// queue/{rotational,logical_block_size,physical_block_size}, of partitions {size,start}, and
// proc/sys/dev/cdrom/info, device/vpd_pgb1 of SCSI and ATA drives; what Labels.cpp names; and how full file systems are.
// Needs no privilege.
#include <zel/enumerator/drives/discover.h>

#include <zel/enumerator/drives/CdromInfo.h>
#include <zel/enumerator/drives/Drive.h>
#include <zel/enumerator/drives/DriveCondition.h>
#include <zel/enumerator/drives/DriveConnection.h>
#include <zel/enumerator/drives/Labels.h>
#include <zel/enumerator/drives/MountedDevices.h>
#include <zel/enumerator/drives/ScsiVpd.h>
#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

using C = CapabilityImp;

constexpr std::uint64_t kSector = 512; // unit of `size` and `start`, whatever the drive's own sectors are

measure::Count sectorsToBytes(Root const& root, std::string const& path)
{
    return measure::scaled(counter(root.number(path)), kSector);
}

std::optional<bool> flag(Root const& root, std::string const& path)
{
    auto const number = root.number(path);
    return number ? std::optional(*number != 0) : std::nullopt;
}

measure::Count positive(std::optional<std::int64_t> number)
{
    return number && *number > 0 ? measure::Count(static_cast<std::uint64_t>(*number)) : std::nullopt;
}

C busCapabilities(HardwareTree const& tree, Drive const& drive)
{
    PciFunction const* const controller = tree.pci(drive.place.pci);
    C const above = controller ? controller->kind.capabilities : C();
    switch (drive.bus) {
    case DriveBus::Ata:
        return C::ATA() | (above.isCapable(C::IDE()) ? C::IDE() : C::SATA());
    case DriveBus::Scsi:
        return C::SCSI() | above.intersect(C::SAS() | C::RAID());
    case DriveBus::Usb:
        return C::USB() | C::USBMassStorage();
    case DriveBus::MemoryCard:
    case DriveBus::Nvme:
    case DriveBus::Virtio:
    case DriveBus::Other:
        break;
    }
    return C();
}

/// What kind of drive it is, in words that a person knows.
char const* descriptionOf(DriveBus bus, std::optional<bool> rotational, bool removable)
{
    switch (bus) {
    case DriveBus::Usb:
        return removable ? "USB removable drive" : "USB drive";
    case DriveBus::Nvme:
        return "NVMe solid-state drive";
    case DriveBus::Virtio:
        return "Virtual drive";
    case DriveBus::MemoryCard:
        return "Memory card";
    case DriveBus::Ata:
    case DriveBus::Scsi:
    case DriveBus::Other:
        break;
    }
    if (!rotational)
        return "Drive";
    return *rotational ? "Hard disk" : "Solid-state drive";
}

void addText(DeviceDescription& device, char const* key, std::optional<std::string> const& text)
{
    if (text)
        device.add(key, std::optional(String(*text)));
}

/// Name, location, parent and identity: what every drive has, whatever its medium.
void describe(DeviceDescription& device, HardwareTree& tree, Drive const& drive)
{
    DriveIdentity const identity = readIdentity(tree.root(), drive);
    std::string name = joinName(identity.vendor, identity.model);
    bool const isController =
        drive.bus == DriveBus::Virtio || drive.bus == DriveBus::Usb || drive.bus == DriveBus::Nvme;
    if (name.empty() && isController)
        name = tree.controllerName(drive.place);
    device.name = name.empty() ? device.description : String(name);
    tree.tellFromController(device, drive.place);
    device.osLocator = drive.deviceFile();
    device.capabilities |= C::Hardware() | busCapabilities(tree, drive);
    auto const [location, busClass] = driveLocation(tree, drive);
    tree.placeAt(device, location, busClass);
    tree.placeBelowController(device, drive.place);
    tree.addBus(device, drive.place);
    addText(device, "Manufacturer", identity.vendor);
    addText(device, "Model", identity.model);
    addText(device, "SerialNumber", identity.serial);
    addText(device, "FirmwareVersion", identity.firmware);
    addConnection(device, tree, drive);
    addCondition(device, tree.root(), drive);
}

/// A subvolume of btrfs has a number that the table of mounts does not have.
void addUsage(DeviceDescription& device, Root const& root, Mount const& mount)
{
    auto const usage = root.usage(mount.mountPoint, mount.fileSystem == "btrfs" ? "" : mount.device);
    if (!usage || usage->size == 0)
        return;
    device.add("FileSystemSize", measure::bytes(usage->size));
    device.add("FileSystemUsed", measure::bytes(usage->used));
    device.add("FileSystemAvailable", measure::bytes(usage->available));
}

void addMount(DeviceDescription& device, Root const& root, Mount const* mount)
{
    if (!mount)
        return;
    addUsage(device, root, *mount);
    device.add("MountPoint", std::optional(String(mount->mountPoint)));
    device.add("FileSystem", std::optional(String(mount->fileSystem)));
}

void addPartition(DeviceDescription const& drive, std::string const& path, std::string const& name,
                  unsigned number, HardwareTree& tree, MountedDevices const& mounted, DeviceSink& sink)
{
    DeviceDescription partition;
    partition.type = C::DrivePartition();
    partition.capabilities = C::DrivePartition();
    if (mounted.carriesSystem(name))
        partition.capabilities |= C::SystemDrive();
    partition.osLocator = drive.osLocator.substr(0, 5) + String(name).replaced("!", "/");
    partition.name = String("Partition ") + String::number(number);
    partition.description = String("Partition of ") + drive.name;
    tree.placeAt(partition, drive.hwLocator + ":P" + String::number(number), "");
    partition.busClass = drive.busClass;
    placeBelow(partition, drive.type, drive.hwLocator);
    partition.add("PartitionNumber", std::optional(number));
    partition.add("Size", measure::bytes(sectorsToBytes(tree.root(), path + "/size")));
    partition.add("Start", measure::bytes(sectorsToBytes(tree.root(), path + "/start")));
    addMount(partition, tree.root(), mounted.find(name));
    if (sink.wantsDetail())
        addLabels(partition, tree.root(), path);
    sink.add(std::move(partition));
}

void addMedium(DeviceDescription& device, Root const& root, Drive const& drive)
{
    constexpr std::size_t kLimit = 1024;
    MediumFacts const facts =
        vpdMediumFacts(root.read(drive.deviceFolder + "/vpd_pgb1", kLimit).value_or(""));
    device.add("RotationRate", measure::revolutions(facts.revolutions));
    device.add("FormFactor", facts.formFactor);
}

void addDisk(Drive const& drive, HardwareTree& tree, MountedDevices const& mounted, DeviceSink& sink)
{
    Root const& root = tree.root();
    std::string const queue = drive.path + "/queue/";
    auto const rotational = flag(root, queue + "rotational");
    auto const removable = flag(root, drive.path + "/removable");
    DeviceDescription device;
    device.type = recordType(root, drive);
    device.capabilities = device.type;
    device.description = descriptionOf(drive.bus, rotational, removable.value_or(false));
    if (removable.value_or(false) || drive.bus == DriveBus::MemoryCard)
        device.capabilities |= C::RemovableStorage();
    if (mounted.carriesSystem(drive.kernelName))
        device.capabilities |= C::SystemDrive();
    describe(device, tree, drive);
    auto const size = sectorsToBytes(root, drive.path + "/size");
    if (size.value_or(0) > 0)
        device.add("Size", measure::bytes(size));
    if (removable.value_or(false))
        device.add("MediumPresent", std::optional(size.value_or(0) > 0));
    device.add("LogicalSectorSize", measure::bytes(positive(root.number(queue + "logical_block_size"))));
    device.add("PhysicalSectorSize", measure::bytes(positive(root.number(queue + "physical_block_size"))));
    if (drive.bus != DriveBus::Virtio) // there it says what the host's default is
        device.add("Rotational", rotational);
    if (drive.bus == DriveBus::Ata || drive.bus == DriveBus::Scsi)
        addMedium(device, root, drive);
    device.add("Removable", removable);
    device.add("ReadOnly", flag(root, drive.path + "/ro"));
    addMount(device, root, mounted.find(drive.kernelName));
    if (sink.wantsDetail())
        addLabels(device, root, drive.path);

    DeviceDescription const kept = device;
    sink.add(std::move(device));
    for (std::string const& name : root.list(drive.path))
        if (auto const number = partitionNumber(name, drive.kernelName))
            addPartition(kept, drive.path + "/" + name, name, *number, tree, mounted, sink);
}

void addOptical(Drive const& drive, C const& abilities, HardwareTree& tree, DeviceSink& sink)
{
    DeviceDescription device;
    device.capabilities = abilities | C::Optical() | C::CDROM() | C::RemovableStorage();
    device.type = opticalType(device.capabilities);
    device.description = "Optical drive";
    describe(device, tree, drive);
    device.add("Removable", std::optional(true));
    sink.add(std::move(device));
}

/// Whole drives; where only sys/class/block was captured, its partitions are no drives of their own.
std::vector<std::string> drivesOf(Root const& root)
{
    std::vector<std::string> names = root.list("sys/block");
    if (!names.empty())
        return names;
    for (std::string const& name : root.list("sys/class/block")) {
        auto const path = root.resolve("sys/class/block/" + name);
        std::string const folder = path ? path->substr(0, path->rfind('/')) : std::string();
        if (!partitionNumber(name, std::string_view(folder).substr(folder.rfind('/') + 1)))
            names.push_back(name);
    }
    return names;
}

} // namespace

void discoverDrives(HardwareTree& tree, DeviceSink& sink)
{
    MountedDevices const mounted(tree.root());
    std::optional<OpticalDrives> optical;
    for (std::string const& name : drivesOf(tree.root())) {
        std::optional<Drive> const drive = readDrive(tree, name);
        if (!drive)
            continue;
        if (!text::indexAfter(name, "sr")) {
            addDisk(*drive, tree, mounted, sink);
            continue;
        }
        if (!optical)
            optical = opticalDrives(tree.root());
        addOptical(*drive, (*optical)[name], tree, sink);
    }
}

} // namespace zel
