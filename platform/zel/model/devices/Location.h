#pragma once
// Location strings: where a device sits, one format per bus kind, and the bus class that goes with each. Both
// the enumerator and the device factories of the library take them from here.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <array>
#include <cstdint>
#include <span>

namespace zel {

struct Location
{
    String text;     ///< "PCI:0:31:2"
    String busClass; ///< "PCI"; empty when the location has no bus class
};

/// Marks an absent number in a location.
inline constexpr std::uint32_t kNullIndex = 0xFFFFFFFFu;

/// One function per bus kind; numbers print in decimal, I/O addresses as 0x and upper-case hexadecimal.
namespace location {

ZEL_EXPORT Location bus(int number, String const& prefix = String());
ZEL_EXPORT Location floppy(int drive);
ZEL_EXPORT Location scsi(int adapter, int bus, int target, int logicalUnit);
ZEL_EXPORT Location sata(int adapter, int bus, int target, int logicalUnit);
ZEL_EXPORT Location ide(int channel, int position);
/// The first number, then each further one up to the first kNullIndex.
ZEL_EXPORT Location usb(std::span<std::uint32_t const> numbers);
ZEL_EXPORT Location ieee1394(int first, int second, int third);
/// Six octets, each in decimal.
ZEL_EXPORT Location net(std::array<unsigned, 6> const& octets);
ZEL_EXPORT Location com(int port, unsigned ioAddress);
/// The letter is the character whose code is port + 64; `port` 1 to 26.
ZEL_EXPORT Location letteredCom(int port, unsigned ioAddress);
/// Without the address when it is 0.
ZEL_EXPORT Location lpt(int port, unsigned ioAddress);
ZEL_EXPORT Location letteredLpt(int port, unsigned ioAddress);
ZEL_EXPORT Location cpu(int number);
ZEL_EXPORT Location system();
ZEL_EXPORT Location memory();
ZEL_EXPORT Location pci(int bus, int device, int function);
ZEL_EXPORT Location agp(int bus, int device, int function);
ZEL_EXPORT Location isa(int number);
ZEL_EXPORT Location ps2();
ZEL_EXPORT Location monitor(int number);
ZEL_EXPORT Location printer(int number);
/// The instance only when it is not 0.
ZEL_EXPORT Location smbios(std::uint16_t structureType, std::uint32_t instance);

/// `prefix`, then ":" and each number up to the first kNullIndex: the identifier of a bus below a device.
ZEL_EXPORT String numbered(String const& prefix, std::span<std::uint32_t const> numbers);

} // namespace location
} // namespace zel
