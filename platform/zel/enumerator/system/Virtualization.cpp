// Whether the machine is a virtual one. Reads the flag "hypervisor" in /proc/cpuinfo (x86 only: the bit that every
// hypervisor sets for its guests), /sys/hypervisor/type and /proc/xen/capabilities, of the device tree
// hypervisor/compatible and compatible, /proc/sysinfo (s390), what the firmware calls the machine, and, where it says nothing,
// the clock that the hypervisor offers in /sys/devices/system/clocksource.
#include <zel/enumerator/system/Virtualization.h>

#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

using Text = std::optional<std::string>;

struct Maker
{
    char const* begin; ///< of a text of the firmware
    char const* hypervisor;
    bool onlyVirtual; ///< false: these rent out whole machines, too, under the same name
};

constexpr Maker kMakers[] = {
    {"KVM", "KVM", true},
    {"OpenStack", "KVM", false},
    {"KubeVirt", "KVM", true},
    {"Amazon EC2", "Amazon EC2", false},
    {"Google Compute Engine", "Google Compute Engine", false},
    {"QEMU", "QEMU", true},
    {"VMware", "VMware", true},
    {"VMW", "VMware", true},
    {"innotek GmbH", "VirtualBox", true},
    {"VirtualBox", "VirtualBox", true},
    {"Xen", "Xen", true},
    {"HVM domU", "Xen", true},
    {"Bochs", "Bochs", true},
    {"Parallels", "Parallels", true},
    {"BHYVE", "bhyve", true},
    {"Hyper-V", "Hyper-V", true},
    {"Virtual Machine", "Hyper-V", true},
    {"Apple Virtualization", "Apple Virtualization", true},
};

Maker const* makerOf(std::initializer_list<Text> texts)
{
    for (Maker const& maker : kMakers)
        for (Text const& text : texts)
            if (text && text->starts_with(maker.begin))
                return &maker;
    return nullptr;
}

/// Of the first processor; nothing when it is none of x86, whose file has no such line.
std::optional<bool> hypervisorFlag(Root const& root)
{
    constexpr std::size_t kLimit = 32u << 20; // as the processors are read, so that the file is read once
    std::string const info = root.read("proc/cpuinfo", kLimit).value_or("");
    std::size_t const line = info.find("\nflags\t");
    if (line == std::string::npos)
        return std::nullopt;
    std::string const flags = info.substr(line + 1, info.find('\n', line + 1) - line - 1) + " ";
    return flags.find(" hypervisor ") != std::string::npos;
}

/// "KVM" of "linux,kvm" on what the device tree calls the hypervisor.
Text fromDeviceTree(Root const& root)
{
    for (std::string const folder : {"proc/device-tree/", "sys/firmware/devicetree/base/"}) {
        auto const compatible = root.read(folder + "hypervisor/compatible", 4096);
        if (compatible && compatible->find("kvm") != std::string::npos)
            return "KVM";
        if (compatible && compatible->find("xen") != std::string::npos)
            return "Xen";
        if (compatible)
            return text::meaningful(text::split(*compatible, '\0').front());
        auto const machine = root.read(folder + "compatible", 4096); // of virtual boards
        if (machine && (machine->starts_with("linux,dummy-virt") || machine->starts_with("qemu,")))
            return "QEMU";
    }
    return std::nullopt;
}

/// "VM00 Control Program: KVM/Linux" -> "KVM/Linux".
Text fromMainframe(Root const& root)
{
    auto const content = root.read("proc/sysinfo", 1u << 16);
    auto const lines = text::keyValueLines(content ? *content : std::string_view(), ':');
    auto const found = lines.find("VM00 Control Program");
    return found == lines.end() ? std::nullopt : text::meaningful(Text(found->second));
}

/// Who made the clock that the kernel found; a guest without any firmware text has that, too.
Text fromClock(Root const& root)
{
    constexpr std::pair<char const*, char const*> kClocks[] = {{"kvm-clock", "KVM"},
                                                               {"xen", "Xen"},
                                                               {"hyperv_clocksource_tsc_page", "Hyper-V"},
                                                               {"hyperv_clocksource_msr", "Hyper-V"}};
    auto const offered = root.text("sys/devices/system/clocksource/clocksource0/available_clocksource");
    for (std::string_view const word :
         text::split(offered ? std::string_view(*offered) : std::string_view(), ' '))
        for (auto const& [clock, hypervisor] : kClocks)
            if (word == clock)
                return hypervisor;
    return std::nullopt;
}

} // namespace

Virtualization virtualization(Root const& root, std::initializer_list<Text> makers)
{
    // The first guest of Xen drives the hardware: for a technician that is the machine itself.
    if (root.read("proc/xen/capabilities", 4096).value_or("").find("control_d") != std::string::npos)
        return {false, std::nullopt};
    Text by;
    if (root.text("sys/hypervisor/type") == "xen") // guests without virtual hardware have no flag
        by = "Xen";
    for (Text (*source)(Root const&) : {&fromDeviceTree, &fromMainframe})
        by = by ? by : source(root);
    if (by)
        return {true, by};
    Maker const* const maker = makerOf(makers);
    if (maker)
        by = maker->hypervisor;
    auto const flag = hypervisorFlag(root);
    bool const isVirtual = (maker && maker->onlyVirtual) || flag == true;
    if (isVirtual)
        return {true, by ? by : fromClock(root)};
    return {flag, std::nullopt};
}

} // namespace zel
