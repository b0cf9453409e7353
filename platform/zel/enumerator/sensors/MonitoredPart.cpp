#include <zel/enumerator/sensors/MonitoredPart.h>

#include <zel/enumerator/drives/Drive.h>
#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

using C = CapabilityImp;

enum class Part { Processor, Memory, Zone, Other };

struct ChipWords
{
    char const* begin; ///< of the chip's name, which for some goes on with a number
    char const* words; ///< what people call what it measures
    Part part;
};

constexpr ChipWords kChips[] = {
    {"coretemp", "Processor", Part::Processor},
    {"k10temp", "Processor", Part::Processor},
    {"k8temp", "Processor", Part::Processor},
    {"zenpower", "Processor", Part::Processor},
    {"fam15h_power", "Processor", Part::Processor},
    {"via_cputemp", "Processor", Part::Processor},
    {"cpu_thermal", "Processor", Part::Processor},
    {"jc42", "Memory module", Part::Memory},
    {"spd5118", "Memory module", Part::Memory},
    {"amdgpu", "Graphics card", Part::Other},
    {"radeon", "Graphics card", Part::Other},
    {"nouveau", "Graphics card", Part::Other},
    {"i915", "Graphics card", Part::Other},
    {"xe", "Graphics card", Part::Other},
    {"iwlwifi", "Wireless network card", Part::Other},
    {"pch_", "Chipset", Part::Other},
    {"acpitz", "Thermal zone", Part::Zone},
    {"ucsi_source_psy_", "USB-C power supply", Part::Other},
    {"BAT", "Battery", Part::Other},
    {"thinkpad", "ThinkPad", Part::Other},
    {"dell_smm", "Dell", Part::Other},
    {"applesmc", "Apple", Part::Other},
};

ChipWords const* wordsOf(std::string const& name)
{
    for (ChipWords const& row : kChips)
        if (name.starts_with(row.begin))
            return &row;
    return nullptr;
}

/// The kernel's name of the drive in that folder: "nvme0n1", "sda".
std::optional<std::string> driveIn(Root const& root, std::string const& folder, std::string const& device)
{
    if (text::indexAfter(device, "nvme")) {
        for (std::string const& name : root.list(folder))
            if (text::indexAfter(name, device + "n"))
                return name;
        return std::nullopt;
    }
    auto const blocks =
        ScsiAddress::parse(device) ? root.list(folder + "/block") : std::vector<std::string>();
    return blocks.empty() ? std::nullopt : std::optional(blocks.front());
}

/// The package that the chip of a processor sits in: coretemp counts packages, and where there is one such chip,
/// there is one package.
std::optional<std::int64_t> packageOf(Root const& root, MonitoringChip const& chip)
{
    if (auto const index = chip.device ? text::indexAfter(*chip.device, "coretemp.") : std::nullopt)
        return *index;
    if (chip.namesakes != 1 || !root.exists("sys/devices/system/cpu/cpu0"))
        return std::nullopt;
    auto const id = root.number("sys/devices/system/cpu/cpu0/topology/physical_package_id");
    return id && static_cast<std::uint64_t>(*id) <= 0xFFFF ? id : 0; // no package is -1
}

void place(MonitoredPart& part, C const& type, String const& location)
{
    part.type = type;
    part.location = location;
}

bool isDrive(std::string const& device)
{
    return text::indexAfter(device, "nvme").has_value() || ScsiAddress::parse(device).has_value();
}

/// Names the part after the drive, and places it there where the drive has a record: else false.
bool placeAtDrive(HardwareTree const& tree, std::string const& folder, std::string const& device,
                  MonitoredPart& part)
{
    if (!isDrive(device))
        return false;
    auto const name = driveIn(tree.root(), folder, device);
    auto const model = text::meaningful(tree.root().text(folder + "/model"));
    part.title = model ? *model : "Drive " + name.value_or(device);
    auto const drive = name ? readDrive(tree, *name) : std::nullopt;
    if (drive)
        place(part, recordType(tree.root(), *drive), driveLocation(tree, *drive).first);
    return drive.has_value();
}

} // namespace

MonitoredPart monitoredPart(HardwareTree const& tree, MonitoringChip const& chip)
{
    Root const& root = tree.root();
    ChipWords const* const words = wordsOf(chip.name);
    MonitoredPart part;
    part.title = words ? words->words : chip.name;
    if (chip.device && isDrive(*chip.device))
        part.title = "Drive " + *chip.device;
    else if (chip.namesakes > 1)
        part.title += " " + chip.device.value_or(chip.number);
    auto const folder =
        chip.device ? root.resolve("sys/class/hwmon/" + chip.number + "/device") : std::nullopt;
    auto const package = words && words->part == Part::Processor ? packageOf(root, chip) : std::nullopt;
    if (package) {
        if (chip.namesakes > 1)
            part.title = "Processor " + std::to_string(*package);
        place(part, C::CPU(), location::cpu(static_cast<int>(*package)).text);
    } else if (words && words->part == Part::Memory) {
        place(part, C::Memory(), location::memory().text);
    } else if (!folder || !placeAtDrive(tree, *folder, *chip.device, part)) {
        DeviceDescription device; // for the place that any device on that path has
        tree.placeBelowController(device, DevicePath::parse(folder.value_or("")));
        place(part, device.parentType, device.parentLocator);
    }
    return part;
}

bool isShownElsewhere(Root const& root, MonitoringChip const& chip)
{
    if (!chip.device)
        return false;
    auto const folder = root.resolve("sys/class/hwmon/" + chip.number + "/device");
    if (folder && folder->find("/power_supply/") != std::string::npos)
        return root.exists("sys/class/power_supply/" + *chip.device);
    // A zone whose chip says what it measures is a sensor of that part as well.
    ChipWords const* const words = wordsOf(chip.name);
    return text::indexAfter(*chip.device, "thermal_zone") && (!words || words->part == Part::Zone) &&
           root.exists("sys/class/thermal/" + *chip.device);
}

} // namespace zel
