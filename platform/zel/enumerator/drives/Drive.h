#pragma once
// What a drive is and where it sits, from the path of its block device.

#include <zel/enumerator/buses/HardwareTree.h>

#include <string>

namespace zel {

enum class DriveBus { Ata, Scsi, Usb, Nvme, Virtio, MemoryCard, Other };

struct Drive
{
    std::string kernelName;   ///< "sda", "cciss!c0d0"
    std::string path;         ///< of the block device's directory, free of links
    std::string deviceFolder; ///< of the device below it, which has model and serial number
    DevicePath place;         ///< of the hardware; for a drive with several paths, of the first
    DriveBus bus = DriveBus::Other;

    /// "/dev/sda"
    std::string deviceFile() const;
};

/// Nothing for what is no drive of this machine: loop, RAM and compressed devices, mappings and arrays made
/// of drives, network storage, the hidden halves of drives.
std::optional<Drive> readDrive(HardwareTree const& tree, std::string const& kernelName);

struct DriveIdentity
{
    std::optional<std::string> vendor, model, serial, firmware;
};
DriveIdentity readIdentity(Root const& root, Drive const& drive);

/// What the drive's record is: hard drive, floppy drive, or the best that an optical drive can do.
CapabilityImp recordType(Root const& root, Drive const& drive);
/// Location and bus class, before it is made unique.
std::pair<String, char const*> driveLocation(HardwareTree const& tree, Drive const& drive);

/// Name of a partition of the drive, and its number; nothing when the name is another's.
std::optional<unsigned> partitionNumber(std::string_view name, std::string_view drive);

} // namespace zel
