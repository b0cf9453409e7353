// PCI functions: bridges, controllers, graphics cards. Reads, beyond what the tree holds,
// sys/bus/pci/devices/*/ {revision,max_link_width,max_link_speed,current_link_width,current_link_speed,
// mem_info_vram_total}, and what PciCondition.cpp names.
// Needs no privilege. `config` is left alone unless detail is wanted, and of a device that sleeps (power/runtime_status)
// in any case: reading it wakes the device. Without privilege it ends before the capabilities.
#include <zel/enumerator/buses/discover.h>

#include <zel/enumerator/buses/PciCapabilities.h>
#include <zel/enumerator/buses/PciCondition.h>
#include <zel/enumerator/buses/PciLink.h>
#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

#include <array>
#include <cstdio>

namespace zel {

namespace {

void addIds(DeviceDescription& device, PciFunction const& function)
{
    if (function.id) {
        device.add("VendorId", std::optional(String(hexadecimal4(function.id->vendor))));
        device.add("DeviceId", std::optional(String(hexadecimal4(function.id->device))));
        if (function.id->subsystemVendor != 0) {
            device.add("SubsystemVendorId",
                       std::optional(String(hexadecimal4(function.id->subsystemVendor))));
            device.add("SubsystemDeviceId",
                       std::optional(String(hexadecimal4(function.id->subsystemDevice))));
        }
    }
    if (function.known.vendor)
        device.add("Manufacturer", std::optional(String(*function.known.vendor)));
    if (function.known.product)
        device.add("Model", std::optional(String(*function.known.product)));
    if (function.classCode) {
        std::array<char, 16> code{};
        std::snprintf(code.data(), code.size(), "%06x", *function.classCode);
        device.add("ClassCode", std::optional(String(code.data())));
    }
}

void addCapabilities(DeviceDescription& device, Root const& root, std::string const& function)
{
    constexpr std::size_t kSpace = 4096;
    if (root.text(function + "/power/runtime_status").value_or("") == "suspended")
        return;
    auto const names = pciCapabilitiesIn(root.read(function + "/config", kSpace).value_or(""));
    if (!names.empty())
        device.properties.emplace_back("PciCapabilities",
                                       ValueImp(std::vector<String>(names.begin(), names.end())));
}

/// Buses below each function, seen from what stands on them: a bus with nothing on it needs no identifier.
std::map<PciAddress, std::set<String>> busesBelow(HardwareTree const& tree)
{
    std::map<PciAddress, std::set<String>> buses;
    for (auto const& [address, function] : tree.pciFunctions())
        if (function.bridge)
            buses[*function.bridge].insert(String("PCI:") + String::number(address.busNumber()));
    for (auto const& [address, device] : tree.usbDevices())
        if (device.controller && address.isRootHub())
            buses[*device.controller].insert(usbLocation(address));
    return buses;
}

} // namespace

void discoverPciFunctions(HardwareTree& tree, DeviceSink& sink)
{
    std::map<PciAddress, std::set<String>> buses = busesBelow(tree);
    PciSlots const slots(tree.root());
    for (auto const& [address, function] : tree.pciFunctions()) {
        DeviceDescription device;
        device.type = function.kind.type;
        device.capabilities = function.kind.capabilities | CapabilityImp::Hardware();
        device.name = function.name;
        device.description = function.kind.description;
        device.osLocator = address.toString();
        tree.placeAt(device, pciLocation(address), "PCI");
        DevicePath above;
        above.pci = function.bridge;
        tree.placeBelowController(device, above);
        device.childBusIds.assign(buses[address].begin(), buses[address].end());
        device.add("PciAddress", std::optional(String(address.toString())));
        addIds(device, function);
        if (function.driver)
            device.add("Driver", std::optional(String(*function.driver)));
        if (auto const revision = tree.root().text(function.path + "/revision"))
            device.add("Revision", std::optional(String(*revision)));
        if (addPciLink(device, tree.root(), function.path))
            device.capabilities |= CapabilityImp::PCIExpress();
        device.add("SlotName", slots.nameOf(address));
        addPciCondition(device, tree.root(), function.path);
        if (sink.wantsDetail())
            addCapabilities(device, tree.root(), function.path);
        if (device.type == CapabilityImp::VideoCard()) // amdgpu tells it, other drivers do not
            if (auto const bytes = tree.root().text(function.path + "/mem_info_vram_total"))
                device.add("VideoMemory", measure::bytes(text::toUnsigned(*bytes)));
        sink.add(std::move(device));
    }
}

} // namespace zel
