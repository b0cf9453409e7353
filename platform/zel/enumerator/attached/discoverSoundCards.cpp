// Sound cards. Reads proc/asound/cards and links in sys/class/sound. Needs no privilege.
#include <zel/enumerator/attached/discover.h>

#include <zel/enumerator/attached/SoundCardNames.h>
#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/root/Text.h>

namespace zel {

void discoverSoundCards(HardwareTree& tree, DeviceSink& sink)
{
    std::optional<std::map<unsigned, SoundCardName>> names;
    for (std::string const& entry : tree.root().list("sys/class/sound")) {
        auto const number = text::indexAfter(entry, "card");
        auto const path = number ? tree.root().resolve("sys/class/sound/" + entry) : std::nullopt;
        if (!path)
            continue;
        DevicePath const place = DevicePath::parse(*path);
        if (place.isVirtual || place.components.empty())
            continue;
        if (!names)
            names = parseSoundCards(tree.root().read("proc/asound/cards", 1u << 16).value_or(""));
        auto const named = names->find(*number);

        DeviceDescription device;
        device.type = CapabilityImp::SoundCard();
        device.capabilities = CapabilityImp::SoundCard() | CapabilityImp::Hardware();
        device.description = "Sound card";
        std::string const name = named != names->end() ? named->second.name : tree.controllerName(place);
        device.name = name.empty() ? "Sound card" : String(name);
        tree.tellFromController(device, place);
        device.osLocator = String("hw:") + String::number(*number);
        auto const [location, busClass] = busLocation(place);
        tree.placeAt(device, location, busClass);
        tree.placeBelowController(device, place);
        tree.addBus(device, place);
        if (named != names->end())
            device.add("Driver", std::optional(String(named->second.driver)));
        sink.add(std::move(device));
    }
}

} // namespace zel
