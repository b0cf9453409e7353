// Reads whether /sys/firmware/efi is there and, in its efivars, SecureBoot and SetupMode: four octets of attributes,
// then one of value (UEFI specification, 3.3); /sys/class/tpm/tpm0/tpm_version_major (Linux 5.6), or what older kernels
// have of the chip: device/caps or caps, and the firmware's name of it. Needs no privilege.
#include <zel/enumerator/system/StartFacts.h>

#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

using Text = std::optional<std::string>;

constexpr char kFirmware[] = "sys/firmware";
constexpr char kTpm[] = "sys/class/tpm/tpm0";

std::optional<bool> globalVariable(Root const& root, std::string const& name)
{
    constexpr std::size_t kAttributes = 4;
    auto const content = root.read(
        std::string(kFirmware) + "/efi/efivars/" + name + "-8be4df61-93ca-11d2-aa0d-00e098032b8c", 64);
    if (!content || content->size() != kAttributes + 1 || static_cast<unsigned char>(content->back()) > 1)
        return std::nullopt;
    return content->back() == 1;
}

/// Without the folder of UEFI it was a BIOS only where the memory map that x86 firmware hands over is there: in a
/// container, and in a captured tree with holes, neither is.
Text firmwareMode(Root const& root)
{
    if (root.exists(std::string(kFirmware) + "/efi"))
        return "UEFI";
    return root.exists(std::string(kFirmware) + "/memmap") ? Text("BIOS") : std::nullopt;
}

Text tpmVersion(Root const& root)
{
    std::string const folder = std::string(kTpm) + "/";
    auto const major = root.number(folder + "tpm_version_major");
    if (major == 2)
        return "2.0";
    if (major == 1)
        return "1.2";
    for (char const* name : {"device/caps", "caps"})
        if (auto const content = root.read(folder + name, 4096)) {
            auto const lines = text::keyValueLines(*content, ':');
            if (auto const found = lines.find("TCG version"); found != lines.end())
                return text::meaningful(Text(found->second));
        }
    auto const path = root.resolve(kTpm); // MSFT0101: what firmware calls every chip of version 2.0
    return path && path->find("/MSFT0101:") != std::string::npos ? Text("2.0") : std::nullopt;
}

} // namespace

void addStartFacts(DeviceDescription& system, Root const& root)
{
    system.add("FirmwareMode", firmwareMode(root));
    system.add("SecureBoot", globalVariable(root, "SecureBoot"));
    system.add("SecureBootSetupMode", globalVariable(root, "SetupMode"));
    system.add("TpmVersion", tpmVersion(root));
    system.add("RealTimeClock", root.text("sys/class/rtc/rtc0/name")); // the one that the system is set by
}

} // namespace zel
