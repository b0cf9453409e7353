// Reads <device>/{wwid,state,ioerr_cnt,iotmo_cnt,scsi_disk/*/cache_type} of SCSI and ATA drives (counts are
// hexadecimal; iotmo_cnt since Linux 5.18), <device>/state and <block>/wwid of NVMe drives, and
// queue/write_cache, which holds what the system assumes of the cache, where the drive itself is not asked.
#include <zel/enumerator/drives/DriveCondition.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <array>

namespace zel {

namespace {

using Fact = std::optional<std::string>;

Fact worldWideId(Root const& root, Drive const& drive)
{
    constexpr std::size_t kMost = 256; // the longest name that SCSI knows has 223 bytes
    for (std::string const& folder : {drive.path, drive.deviceFolder})
        if (Fact name = text::meaningful(root.text(folder + "/wwid")); name && name->size() <= kMost)
            return name;
    return std::nullopt;
}

Fact writeCache(Root const& root, Drive const& drive)
{
    static constexpr std::array<std::string_view, 4> kKnown{"write through", "none", "write back",
                                                            "write back, no read (daft)"};
    std::string const disks = drive.deviceFolder + "/scsi_disk";
    auto const addresses = root.list(disks);
    Fact cache =
        addresses.empty() ? std::nullopt : root.text(disks + "/" + addresses.front() + "/cache_type");
    if (!cache)
        cache = root.text(drive.path + "/queue/write_cache");
    return cache && std::find(kKnown.begin(), kKnown.end(), *cache) != kKnown.end() ? cache : std::nullopt;
}

/// Of drivers/scsi/scsi_sysfs.c and drivers/nvme/host/sysfs.c: states in which no command reaches the drive.
bool isGone(std::string_view state)
{
    return state == "offline" || state == "transport-offline" || state == "dead";
}

} // namespace

void addCondition(DeviceDescription& device, Root const& root, Drive const& drive)
{
    device.add("WorldWideId", worldWideId(root, drive));
    // A memory card's folder has a state of its kind of card in that place, if any.
    Fact const state = drive.bus == DriveBus::MemoryCard
                           ? std::nullopt
                           : text::meaningful(root.text(drive.deviceFolder + "/state"));
    device.add("Status", state);
    if (state && isGone(*state))
        device.state = DeviceStateImp::OTHER();
    device.add("CommandErrors", counter(root.number(drive.deviceFolder + "/ioerr_cnt")));
    device.add("CommandTimeouts", counter(root.number(drive.deviceFolder + "/iotmo_cnt")));
    if (!text::indexAfter(drive.kernelName, "sr"))
        device.add("WriteCache", writeCache(root, drive));
}

} // namespace zel
