#include <zel/enumerator/modules/KnownDevices.h>

#include <zel/model/state/StateBuilder.h>

#include <unordered_map>

namespace zel {

namespace {

using ByPlace = std::unordered_map<String, DeviceImp const*>;
using KnownGuids = std::unordered_map<String, String>; // by the guid that the answer has

String placeOf(DeviceImp const& device)
{
    return device.deviceType().toString() + "|" + device.busClass().toString() + "|" + device.hwLocator();
}

/// Null stands for places whose device cannot be told, or was told by its guid.
ByPlace knownPlaces(StateManager const& known, StateManager const& answer)
{
    ByPlace places;
    for (std::size_t i = 0; i < known.deviceCount(); ++i) {
        DeviceImp const& device = *known.deviceAtIndex(i);
        if (device.hwLocator().empty())
            continue;
        auto const [place, isNew] = places.try_emplace(placeOf(device), &device);
        if (!isNew || answer.device(device.guid()))
            place->second = nullptr;
    }
    return places;
}

KnownGuids knownGuids(StateManager const& known, StateManager const& answer)
{
    KnownGuids guids;
    ByPlace places;
    for (std::size_t i = 0; i < answer.deviceCount(); ++i) {
        DeviceImp const& device = *answer.deviceAtIndex(i);
        if (device.hwLocator().empty() || known.device(device.guid()))
            continue;
        if (places.empty())
            places = knownPlaces(known, answer);
        auto const place = places.find(placeOf(device));
        if (place == places.end() || !place->second)
            continue;
        guids.emplace(device.guid(), place->second->guid());
        place->second = nullptr;
    }
    return guids;
}

std::unique_ptr<DeviceImp> copyOf(DeviceImp const& device, String const& guid)
{
    auto copy = DeviceImp::restored({guid, "", "", "", device.hwLocator(), device.deviceType(),
                                     device.deviceCapabilities(), device.busClass()});
    copy->setComplete(device.isComplete());
    copy->completeFrom(device);
    return copy;
}

} // namespace

void KnownDevices::complete(StateManager& known, StateManager const& answer)
{
    KnownGuids const guids = knownGuids(known, answer);
    if (guids.empty())
        return known.completeDevices(answer);
    StateBuilder builder; // the answer once more, in its order, under the guids that are known
    for (std::size_t i = 0; i < answer.propertySpecCount(); ++i)
        builder.add(answer.propertySpecAtIndex(i));
    for (std::size_t i = 0; i < answer.deviceCount(); ++i) {
        DeviceImp const& device = *answer.deviceAtIndex(i);
        auto const guid = guids.find(device.guid());
        auto copy = guid == guids.end() ? std::make_unique<DeviceImp>(device) : copyOf(device, guid->second);
        builder.add(copy);
    }
    for (std::size_t i = 0; i < answer.deviceCount(); ++i)
        if (DeviceImp const* const parent = answer.parentOf(*answer.deviceAtIndex(i))) {
            auto const guid = guids.find(parent->guid());
            builder.place(i, builder.indexOfDevice(guid == guids.end() ? parent->guid() : guid->second));
        }
    known.completeDevices(builder.state());
}

} // namespace zel
