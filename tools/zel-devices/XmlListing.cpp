#include <zel/foundation/XmlDocument.h>
#include <zel/model/state/StateManager.h>

#include "Listing.h"

namespace listing {

using namespace zel;

namespace {

XmlElement textElement(char const* name, String const& text) { return {name, {}, text.toUtf8(), {}}; }

XmlElement propertyOf(PropertyImp const& property)
{
    XmlElement element = textElement("Property", property.value().toString());
    element.attributes = {{"key", property.key().toUtf8()}, {"type", property.type().toString().toUtf8()}};
    if (!property.spec()->defaultName().empty())
        element.attributes.emplace_back("name", property.spec()->defaultName().toUtf8());
    return element;
}

XmlElement deviceOf(StateManager const& state, DeviceImp const& device)
{
    XmlElement element{"Device", {}, {}, {}};
    element.attributes = {
        {"type", device.deviceType().toString().toUtf8()},   {"guid", device.guid().toUtf8()},
        {"hwLocator", device.hwLocator().toUtf8()},          {"osLocator", device.osLocator().toUtf8()},
        {"busClass", device.busClass().toString().toUtf8()}, {"state", device.state().toString().toUtf8()}};
    element.children.push_back(textElement("Name", device.name()));
    element.children.push_back(textElement("Description", device.description()));
    element.children.push_back(textElement("Capabilities", device.deviceCapabilities().toString()));
    for (String const& bus : device.childBusIds())
        element.children.push_back(textElement("ChildBusId", bus));
    for (std::size_t i = 0; i < device.propertyCount(); ++i)
        element.children.push_back(propertyOf(device.getProperty(i)));
    for (DeviceImp const* child : state.childrenOf(device))
        element.children.push_back(deviceOf(state, *child));
    return element;
}

} // namespace

std::string xml(StateManager const& state)
{
    XmlElement devices{"Devices", {}, {}, {}};
    forEachTop(state, [&](DeviceImp const& device) { devices.children.push_back(deviceOf(state, device)); });
    return XmlDocument::print(devices);
}

} // namespace listing
