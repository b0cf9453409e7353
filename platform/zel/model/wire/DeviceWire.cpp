#include <zel/model/wire/DeviceWire.h>

#include <zel/foundation/Exception.h>
#include <zel/model/wire/ConstantWire.h>
#include <zel/model/wire/DatumWire.h>
#include <zel/model/wire/Rings.h>

#include <unordered_map>

namespace zel::wire {
namespace {

// Which property stands in which group. Of what a device may hold besides, that is no group to anybody and left out: a
// member that the device does not have or that has left, a second group of one property, a group below itself.
class Groups
{
public:
    explicit Groups(DeviceImp const& device) : m_parents(device.propertyCount(), kNoParent)
    {
        std::unordered_map<PropertyImp const*, std::size_t> places;
        for (std::size_t i = 0; i < device.propertyCount(); ++i)
            places.emplace(&device.getProperty(i), i);
        for (std::size_t i = 0; i < device.propertyCount(); ++i)
            for (String const& key : device.getProperty(i).children()) {
                PropertyImp const* const member = device.property(key);
                if (!member || !member->isPartOfGroup())
                    continue;
                std::size_t& parent = m_parents[places.at(member)];
                if (parent == kNoParent)
                    parent = i;
            }
        for (std::size_t const closer : ringClosers(m_parents))
            m_parents[closer] = kNoParent;
        for (std::size_t i = 0; i < m_parents.size(); ++i)
            m_keys.emplace(device.getProperty(i).key(), m_parents[i]);
    }

    void write(XmlWriter& writer, std::size_t group, PropertyImp const& property) const
    {
        for (String const& key : property.children()) {
            auto const found = m_keys.find(key);
            if (found == m_keys.end() || found->second != group)
                continue;
            writer.open("member");
            writer.text("key", key);
            writer.close("member");
        }
    }

private:
    std::vector<std::size_t> m_parents;
    std::unordered_map<String, std::size_t> m_keys; // key -> place of its group
};

void writeProperties(XmlWriter& writer, DeviceImp const& device, SpecificationNames& names)
{
    std::optional<Groups> groups;
    for (std::size_t i = 0; i < device.propertyCount(); ++i) {
        PropertyImp const& one = device.getProperty(i);
        PropertySpecImp const& specification = *one.spec();
        writer.open("property");
        writer.raw("spec", names.nameOf(specification));
        if (one.specGuid() != specification.guid())
            writer.text("specGuid", one.specGuid());
        writer.flag("discoveredLater", one.isDiscoveredLater());
        ValueImp const& value = one.value();
        if (value.type() != specification.type())
            writeConstant(writer, "type", value.type());
        writeValue(writer, value);
        if (!one.children().empty()) {
            if (!groups)
                groups.emplace(device);
            groups->write(writer, i, one);
        }
        writer.close("property");
    }
}

} // namespace

void writeDevice(XmlWriter& writer, DeviceImp const& device, DeviceImp const* parent,
                 SpecificationNames& names)
{
    writer.open("device");
    writer.text("guid", device.guid());
    if (parent)
        writer.text("parent", parent->guid());
    writer.textIfAny("name", device.name());
    writer.textIfAny("description", device.description());
    writer.textIfAny("osLocator", device.osLocator());
    writer.textIfAny("location", device.hwLocator());
    writeCapabilities(writer, "type", device.deviceType());
    writeCapabilities(writer, "capabilities", device.deviceCapabilities());
    writeCapabilities(writer, "busClass", device.busClass());
    writeConstant(writer, "state", device.state());
    if (device.deviceID() != 0)
        writer.number("id", device.deviceID());
    writer.flag("incomplete", !device.isComplete());
    for (String const& bus : device.childBusIds()) {
        writer.open("childBus");
        writer.text("id", bus);
        writer.close("childBus");
    }
    writeProperties(writer, device, names);
    writer.close("device");
}

CapabilityImp const& DeviceReader::capabilities(std::string_view attribute)
{
    auto const [known, isNew] = m_capabilities.try_emplace(m_reader.raw(attribute));
    if (isNew)
        known->second = readCapabilities(m_reader, attribute);
    return known->second;
}

std::unique_ptr<DeviceImp> DeviceReader::read()
{
    if (m_reader.has("guid") && m_reader.raw("guid").empty())
        m_reader.fail("guid", "a device without guid");
    auto device =
        DeviceImp::restored({m_reader.required("guid"), m_reader.text("name"), m_reader.text("description"),
                             m_reader.text("osLocator"), m_reader.text("location"), capabilities("type"),
                             capabilities("capabilities"), capabilities("busClass")});
    device->setState(readConstant(m_reader, "state", DeviceStateImp::FUNCTIONAL()));
    device->setDeviceID(m_reader.number<unsigned>("id", 0));
    device->setComplete(!m_reader.flag("incomplete"));
    m_properties.clear();
    m_hasGroups = false;
    ++m_device;
    for (XmlReader::Children children(m_reader); children.next();) {
        if (m_reader.is("property"))
            readProperty();
        else if (m_reader.is("childBus"))
            readChildBus(*device);
    }
    Properties exactlyAsLarge(std::make_move_iterator(m_properties.begin()),
                              std::make_move_iterator(m_properties.end()));
    device->adoptProperties(std::move(exactlyAsLarge));
    if (m_hasGroups)
        tieGroups(*device);
    return device;
}

void DeviceReader::readChildBus(DeviceImp& device)
{
    constexpr std::size_t kMost = 1000; // each is compared with those before it
    if (device.childBusIds().size() >= kMost)
        m_reader.fail("more than 1000 buses below one device");
    device.addChildBusId(m_reader.required("id"));
}

void DeviceReader::refuseSecond(Specifications::Entry const& entry)
{
    m_lastDeviceWith.resize(m_specifications.keyCount()); // specifications may stand between devices
    std::size_t& last = m_lastDeviceWith[entry.keyNumber];
    if (last == m_device)
        m_reader.fail("spec", "property \"" + entry.specification->keyInModule() + "\" twice");
    last = m_device;
}

void DeviceReader::readProperty()
{
    auto const& entry = m_specifications.get(m_reader, "spec");
    refuseSecond(entry);
    bool const isLater = m_reader.flag("discoveredLater");
    bool const hasSpecGuid = m_reader.has("specGuid");
    String const specGuid = hasSpecGuid ? m_reader.text("specGuid") : String();
    ValueReader value(m_reader, readConstant(m_reader, "type", entry.specification->type()));
    std::vector<String> members;
    for (XmlReader::Children children(m_reader); children.next();)
        if (m_reader.is("member"))
            members.push_back(m_reader.required("key"));
        else
            value.take();
    auto property = std::make_unique<PropertyImp>(entry.specification, value.finish());
    property->setDiscoveredLater(isLater);
    if (hasSpecGuid)
        property->restoreSpecGuid(specGuid);
    m_hasGroups |= !members.empty();
    if (!members.empty())
        property->setChildren(std::move(members));
    m_properties.push_back(std::move(property));
}

void DeviceReader::tieGroups(DeviceImp& device)
{
    std::unordered_map<PropertyImp const*, std::size_t> places;
    for (std::size_t i = 0; i < device.propertyCount(); ++i)
        places.emplace(&device.getProperty(i), i);
    std::vector<std::size_t> groups(device.propertyCount(), kNoParent);
    for (std::size_t i = 0; i < device.propertyCount(); ++i)
        for (String const& key : device.getProperty(i).children()) {
            PropertyImp* const member = device.property(key);
            if (!member)
                m_reader.fail("device \"" + device.guid() + "\" has no property \"" + key +
                              "\", which is a member of a group");
            if (groups[places.at(member)] != kNoParent)
                m_reader.fail("property \"" + key + "\" of device \"" + device.guid() +
                              "\" is a member of two groups");
            groups[places.at(member)] = i;
            member->setPartOfGroup(true);
        }
    for (std::size_t const closer : ringClosers(groups))
        m_reader.fail("property \"" + device.getProperty(closer).key() + "\" of device \"" + device.guid() +
                      "\" is a group that stands below itself");
}

} // namespace zel::wire
