#include <listing/forms/Listing.h>

#include <zel/foundation/XmlDocument.h>

namespace listing {

using namespace zel;

namespace {

XmlElement textElement(char const* name, String const& text) { return {name, {}, text.toUtf8(), {}}; }

XmlElement propertyOf(Property const& property)
{
    XmlElement element = textElement("Property", property.value.toString());
    element.attributes = {{"key", property.key().toUtf8()},
                          {"type", property.value.type().toString().toUtf8()}};
    if (!property.spec->defaultName().empty())
        element.attributes.emplace_back("name", property.spec->defaultName().toUtf8());
    return element;
}

XmlElement elementOf(Device const& device)
{
    XmlElement element{"Device", {}, {}, {}};
    element.attributes = {
        {"type", device.type.toString().toUtf8()},         {"guid", device.guid.toUtf8()},
        {"hwLocator", device.hwLocator.toUtf8()},          {"osLocator", device.osLocator.toUtf8()},
        {"busClass", device.busClass.toString().toUtf8()}, {"state", device.state.toUtf8()}};
    if (device.isPath)
        element.attributes.emplace_back("isPath", "true");
    element.children.push_back(textElement("Name", device.name));
    element.children.push_back(textElement("Description", device.description));
    element.children.push_back(textElement("Capabilities", device.capabilities.toString()));
    for (String const& bus : device.childBusIds)
        element.children.push_back(textElement("ChildBusId", bus));
    for (Property const& property : device.properties)
        element.children.push_back(propertyOf(property));
    return element;
}

XmlElement rootOf(Origin const& origin)
{
    XmlElement devices{"Devices", {}, {}, {}};
    devices.attributes = {{"program", origin.program.toUtf8()},
                          {"version", origin.version.toUtf8()},
                          {"date", origin.date.toUtf8()},
                          {"live", origin.isLive ? "true" : "false"},
                          {"masked", origin.isMasked ? "true" : "false"}};
    for (String const& one : origin.classes)
        devices.children.push_back(textElement("Class", one));
    for (String const& gap : origin.gaps)
        devices.children.push_back(textElement("Gap", gap));
    return devices;
}

} // namespace

std::string xml(Machine const& machine)
{
    std::vector<XmlElement> open = {rootOf(machine.origin)};
    walk(
        machine, [&](Device const& device) { open.push_back(elementOf(device)); },
        [&] {
            XmlElement element = std::move(open.back());
            open.pop_back();
            open.back().children.push_back(std::move(element));
        });
    return XmlDocument::print(open.front());
}

} // namespace listing
