// Network cards: interfaces with hardware behind them. Reads
// sys/class/net/*/{uevent,type,address,addr_assign_type, flags,operstate,carrier,speed,duplex,mtu},
// statistics/*, phy80211/macaddress of wireless cards, bonding_slave/perm_hwaddr of cards in a bond. Needs no privilege.
// The version of a card's firmware is in no file; its driver is asked on the live machine.
// carrier, speed and duplex answer only while the interface is up.
#include <zel/enumerator/attached/discover.h>

#include <zel/enumerator/attached/InternetAddresses.h>
#include <zel/enumerator/attached/MacAddress.h>
#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

using C = CapabilityImp;

// linux/if_arp.h and linux/if.h
constexpr std::int64_t kTypeEthernet = 1, kTypeInfiniband = 32;
constexpr std::uint64_t kFlagUp = 0x1, kFlagSlave = 0x800;
constexpr std::int64_t kAddressPermanent = 0, kAddressRandom = 1; // NET_ADDR_PERM, NET_ADDR_RANDOM

struct Interface
{
    std::string name, folder; ///< folder with a slash at its end
    DevicePath place;
    std::optional<std::string> phy; ///< the radio, of a wireless interface
    bool wireless = false, ethernet = false;
    std::uint64_t flags = 0;
    std::optional<MacAddress> address, permanent;
    std::optional<std::string>
        wideAddress; ///< of an InfiniBand card: longer than a MAC address, and no location
};

/// The address that the card keeps. A bond gives all its cards one address, a wireless card may take another
/// one for each network, and a card without one gets another at each start.
std::optional<MacAddress> permanentAddress(Root const& root, Interface const& interface)
{
    auto const read = [&root, &interface](char const* name) {
        return parseMac(root.text(interface.folder + name).value_or(""));
    };
    std::int64_t const origin =
        root.number(interface.folder + "addr_assign_type").value_or(kAddressPermanent);
    if (origin == kAddressPermanent)
        return interface.address;
    if (interface.phy)
        if (auto const address = read("phy80211/macaddress"))
            return address;
    if ((interface.flags & kFlagSlave) != 0)
        if (auto const address = read("bonding_slave/perm_hwaddr"))
            return address;
    return origin == kAddressRandom ? std::nullopt : interface.address;
}

/// Nothing for what has no hardware of its own: loopback, bridges, tunnels, the helpers of wireless drivers.
std::optional<Interface> readInterface(Root const& root, std::string const& name)
{
    auto const path = root.resolve("sys/class/net/" + name);
    if (!path)
        return std::nullopt;
    Interface interface;
    interface.name = name;
    interface.folder = *path + "/";
    interface.place = DevicePath::parse(*path);
    if (interface.place.isVirtual || interface.place.components.empty())
        return std::nullopt;
    std::int64_t const type = root.number(interface.folder + "type").value_or(kTypeEthernet);
    if (type != kTypeEthernet && type != kTypeInfiniband)
        return std::nullopt;
    auto const uevent = text::keyValueLines(root.read(interface.folder + "uevent", 1u << 16).value_or(""));
    auto const kind = uevent.find("DEVTYPE");
    if (kind != uevent.end() && kind->second != "wlan" && kind->second != "wwan")
        return std::nullopt; // "vlan", "bridge", "bond" and such
    interface.phy = root.linkName(interface.folder + "phy80211");
    interface.wireless = interface.phy || kind != uevent.end();
    interface.ethernet = type == kTypeEthernet && !interface.wireless; // wireless cards have that type, too
    interface.flags = root.hexadecimal(interface.folder + "flags").value_or(0);
    interface.address = parseMac(root.text(interface.folder + "address").value_or(""));
    interface.permanent = permanentAddress(root, interface);
    if (type == kTypeInfiniband)
        interface.wideAddress = infinibandAddress(root.text(interface.folder + "address").value_or(""));
    return interface;
}

void addState(DeviceDescription& device, Root const& root, Interface const& interface)
{
    if (auto const state = root.text(interface.folder + "operstate"))
        device.add("OperationalState", std::optional(String(*state)));
    if (auto const mtu = root.number(interface.folder + "mtu"); mtu && *mtu >= 0)
        device.add("Mtu", measure::bytes(static_cast<std::uint64_t>(*mtu)));
    if ((interface.flags & kFlagUp) == 0)
        return;
    auto const carrier = root.number(interface.folder + "carrier");
    if (!carrier)
        return;
    device.add("LinkDetected", std::optional(*carrier != 0));
    if (*carrier == 0)
        return;
    constexpr std::int64_t kMostMegabits = 100'000'000, kMegabit = 1'000'000; // -1: not known
    auto const speed = root.number(interface.folder + "speed");
    if (speed && *speed > 0 && *speed <= kMostMegabits)
        device.add("DataRate", measure::bitsPerSecond(static_cast<std::uint64_t>(*speed * kMegabit)));
    if (auto const duplex = root.text(interface.folder + "duplex"); duplex && *duplex != "unknown")
        device.add("Duplex", std::optional(String(*duplex)));
}

/// Documentation/ABI/testing/sysfs-class-net-statistics.
void addCounters(DeviceDescription& device, Root const& root, Interface const& interface)
{
    for (auto const& [key, name] :
         {std::pair{"ReceiveErrors", "rx_errors"}, std::pair{"ReceiveCrcErrors", "rx_crc_errors"},
          std::pair{"ReceiveDropped", "rx_dropped"}, std::pair{"TransmitErrors", "tx_errors"},
          std::pair{"TransmitDropped", "tx_dropped"}, std::pair{"Collisions", "collisions"}})
        device.add(key, counter(root.number(interface.folder + "statistics/" + name)));
}

void addAddresses(DeviceDescription& device, char const* key, std::vector<std::string> const& texts)
{
    if (!texts.empty())
        device.properties.emplace_back(key, ValueImp(std::vector<String>(texts.begin(), texts.end())));
}

std::optional<std::string> driverOf(HardwareTree const& tree, Interface const& interface)
{
    // The function's driver, unless something stands between function and interface (a virtual or USB
    // device).
    std::size_t const net = interface.folder.rfind("/net/"); // ".../0000:02:00.0/net/eth0/"
    std::string const device = interface.folder.substr(0, net);
    PciFunction const* const function = tree.pci(interface.place.pci);
    if (function && function->path == device)
        return function->driver;
    return tree.root().linkName(device + "/driver");
}

void addInterface(Interface const& interface, InternetAddresses const& addresses, HardwareTree& tree,
                  DeviceSink& sink)
{
    DeviceDescription device;
    device.type = C::NetworkCard();
    device.capabilities = C::NetworkCard() | C::Hardware();
    if (interface.wireless)
        device.capabilities |= C::Wireless();
    if (interface.ethernet)
        device.capabilities |= C::Ethernet();
    device.description = interface.wireless ? "Wireless network card" : "Network card";
    std::string const name = tree.controllerName(interface.place);
    device.name = name.empty() ? String("Network card ") + String(interface.name) : String(name);
    tree.tellFromController(device, interface.place);
    device.osLocator = String(interface.name);
    if (interface.permanent) {
        Location const location = location::net(*interface.permanent);
        tree.placeAt(device, location.text, "NET");
    } else {
        auto const [location, busClass] = busLocation(interface.place);
        tree.placeAt(device, location, busClass);
    }
    tree.placeBelowController(device, interface.place);
    tree.addBus(device, interface.place);
    if (interface.address)
        device.add("MacAddress", std::optional(String(macText(*interface.address))));
    device.add("MacAddress", interface.wideAddress);
    if (interface.permanent && interface.permanent != interface.address)
        device.add("PermanentMacAddress", std::optional(String(macText(*interface.permanent))));
    if (auto const driver = driverOf(tree, interface))
        device.add("Driver", std::optional(String(*driver)));
    if (auto const firmware = text::meaningful(tree.root().networkFirmware(interface.name));
        firmware && *firmware != "N/A")
        device.add("FirmwareVersion", std::optional(String(*firmware)));
    addState(device, tree.root(), interface);
    addAddresses(device, "Ipv4Addresses", addresses.version4);
    addAddresses(device, "Ipv6Addresses", addresses.version6);
    addCounters(device, tree.root(), interface);
    sink.add(std::move(device));
}

} // namespace

void discoverNetworkCards(HardwareTree& tree, DeviceSink& sink)
{
    auto addresses = internetAddresses(tree.root());
    std::set<std::string> radios; // one card, whatever number of interfaces stand on it
    for (std::string const& name : tree.root().list("sys/class/net")) {
        auto const interface = readInterface(tree.root(), name);
        if (interface && (!interface->phy || radios.insert(*interface->phy).second))
            addInterface(*interface, addresses[name], tree, sink);
    }
}

} // namespace zel
