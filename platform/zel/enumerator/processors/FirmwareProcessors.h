#pragma once
// What the firmware's table (SMBIOS structure type 4) adds to the processors that the kernel tells of.

#include <zel/enumerator/firmware/Smbios.h>
#include <zel/enumerator/records/DeviceSink.h>

namespace zel {

class FirmwareProcessors
{
public:
    explicit FirmwareProcessors(Smbios const& smbios) : m_sockets(smbiosProcessors(smbios)) {}

    /// The socket of the kernel's package in that place of the order, of `packages`: both count upwards.
    /// Null when the numbers of packages and of sockets in use differ, for then the order tells nothing.
    SmbiosProcessor const* ofPackage(std::size_t place, std::size_t packages) const;
    /// Socket, status, serial number ...: what the kernel does not know.
    static void addFacts(SmbiosProcessor const& socket, DeviceDescription& package);
    /// A device for each processor that no package of the kernel's stands for: the disabled ones, or, where
    /// the kernel tells of none, all.
    void addOthers(std::size_t packages, DeviceSink& sink) const;

private:
    std::vector<SmbiosProcessor> m_sockets;
};

} // namespace zel
