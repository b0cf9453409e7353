// Arrays of drives that the kernel makes (md). Reads sys/block/md*/size and md/{level,array_state,raid_disks,
// degraded,sync_action,mismatch_cnt,dev-*/state} (Documentation/admin-guide/md.rst). Needs no privilege.
#include <zel/enumerator/drives/discover.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

/// "sda1: in_sync".
std::vector<String> membersOf(Root const& root, std::string const& folder)
{
    constexpr std::string_view kPrefix = "dev-";
    std::vector<String> members;
    for (std::string const& name : root.list(folder))
        if (name.starts_with(kPrefix)) {
            auto const state = text::meaningful(root.text(folder + name + "/state"));
            members.emplace_back(name.substr(kPrefix.size()) + (state ? ": " + *state : ""));
        }
    return members;
}

measure::Count sizeOf(Root const& root, std::string const& path)
{
    constexpr std::uint64_t kSector = 512;
    auto const bytes = measure::scaled(counter(root.number(path)), kSector);
    return bytes.value_or(0) > 0 ? bytes : std::nullopt; // an array that does not run has none
}

void addArray(Root const& root, std::string const& name, DeviceSink& sink)
{
    std::string const folder = "sys/block/" + name + "/md/";
    auto const level = text::meaningful(root.text(folder + "level"));
    auto const state = text::meaningful(root.text(folder + "array_state"));
    if ((!level && !state) || state == "clear")
        return; // the name is kept for an array that is not there
    DeviceDescription device;
    device.type = CapabilityImp::RAID();
    device.capabilities = CapabilityImp::RAID();
    device.name = String((level ? "Array " + name + " (" + *level + ")" : "Array " + name));
    device.description = "Array of drives";
    device.osLocator = String("/dev/" + name);
    placeAt(device, "MD:" + name, "MD");
    placeBelowSystem(device);
    device.add("RaidLevel", level);
    device.add("Size", measure::bytes(sizeOf(root, "sys/block/" + name + "/size")));
    device.add("Status", state);
    if (state == "inactive" || state == "broken")
        device.state = DeviceStateImp::OTHER();
    device.add("RaidMembers", narrow(root.number(folder + "raid_disks")));
    device.add("MissingMembers", narrow(root.number(folder + "degraded")));
    if (auto members = membersOf(root, folder); !members.empty())
        device.properties.emplace_back("MemberStates", ValueImp(std::move(members)));
    device.add("SyncAction", text::meaningful(root.text(folder + "sync_action")));
    device.add("MismatchCount", counter(root.number(folder + "mismatch_cnt")));
    sink.add(std::move(device));
}

} // namespace

void discoverRaidArrays(Root const& root, DeviceSink& sink)
{
    for (std::string const& name : root.list("sys/block"))
        if (name.starts_with("md") && root.exists("sys/block/" + name + "/md"))
            addArray(root, name, sink);
}

} // namespace zel
