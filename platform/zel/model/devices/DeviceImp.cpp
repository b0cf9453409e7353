#include <zel/model/devices/DeviceImp.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Index.h>
#include <zel/model/devices/Guid.h>

#include <algorithm>

namespace zel {

namespace {
constexpr int kDeepestGroup = 16; // a chain of groups longer than this is printed flat

// Up to here a walk over the keys costs less than keeping an index of them; beyond, a walk for each added
// property would cost the square of their number.
constexpr std::size_t kFewProperties = 32;
} // namespace

std::unique_ptr<DeviceImp> DeviceImp::createGeneric(CapabilityImp const& type,
                                                    CapabilityImp const& capabilities, String const& name,
                                                    String const& osLocator, String const& description,
                                                    String const& location, CapabilityImp const& busClass)
{
    std::unique_ptr<DeviceImp> device(new DeviceImp());
    device->m_type = type;
    device->m_capabilities = capabilities | type;
    device->m_name = name;
    device->m_osLocator = osLocator;
    device->m_description = description;
    device->m_hwLocator = location;
    device->m_busClass = busClass;
    device->m_guid = nameBasedGuid({"Device", type.toString(), location.empty() ? osLocator : location});
    return device;
}

std::unique_ptr<DeviceImp> DeviceImp::restored(Identity identity)
{
    if (identity.guid.empty())
        throw StateException("A device from outside has no guid");
    std::unique_ptr<DeviceImp> device(new DeviceImp());
    device->m_guid = std::move(identity.guid);
    device->m_name = std::move(identity.name);
    device->m_description = std::move(identity.description);
    device->m_osLocator = std::move(identity.osLocator);
    device->m_hwLocator = std::move(identity.hwLocator);
    device->m_type = std::move(identity.type);
    device->m_capabilities = std::move(identity.capabilities);
    device->m_busClass = std::move(identity.busClass);
    return device;
}

DeviceImp::DeviceImp(DeviceImp const& other)
    : m_guid(other.m_guid), m_name(other.m_name), m_description(other.m_description),
      m_osLocator(other.m_osLocator), m_hwLocator(other.m_hwLocator), m_type(other.m_type),
      m_capabilities(other.m_capabilities), m_busClass(other.m_busClass), m_state(other.m_state),
      m_deviceId(other.m_deviceId), m_complete(other.m_complete), m_childBusIds(other.m_childBusIds),
      m_propertyIndex(other.m_propertyIndex)
{
    m_properties.reserve(other.m_properties.size());
    for (auto const& property : other.m_properties)
        m_properties.push_back(std::make_unique<PropertyImp>(*property));
}

void DeviceImp::addChildBusId(String const& id)
{
    if (std::find(m_childBusIds.begin(), m_childBusIds.end(), id) == m_childBusIds.end())
        m_childBusIds.push_back(id);
}

PropertyImp& DeviceImp::addProperty(PropertyImp const* property)
{
    if (indexOf(property->key()) != kNone)
        throw StateException(String("Device \"") + m_guid + "\" already has a property with the key \"" +
                             property->key() + "\"");
    m_properties.push_back(std::make_unique<PropertyImp>(*property));
    if (!m_propertyIndex.empty())
        m_propertyIndex.emplace(property->key(), m_properties.size() - 1);
    else
        indexProperties();
    return *m_properties.back();
}

void DeviceImp::adoptProperties(std::vector<std::unique_ptr<PropertyImp>> properties)
{
    ZEL_ASSERT(m_properties.empty());
    m_properties = std::move(properties);
    indexProperties();
}

void DeviceImp::indexProperties()
{
    if (m_properties.size() > kFewProperties)
        for (auto const& one : m_properties)
            m_propertyIndex.emplace(one->key(), m_propertyIndex.size());
}

std::size_t DeviceImp::indexOf(String const& key) const
{
    if (!m_propertyIndex.empty()) {
        auto const found = m_propertyIndex.find(key);
        return found == m_propertyIndex.end() ? kNone : found->second;
    }
    for (std::size_t i = 0; i < m_properties.size(); ++i)
        if (m_properties[i]->key() == key)
            return i;
    return kNone;
}

// Two views of one device mostly have the same properties in the same order.
PropertyImp* DeviceImp::propertyLike(PropertyImp const& theirs, std::size_t guess)
{
    if (guess < m_properties.size() && m_properties[guess]->key() == theirs.key())
        return m_properties[guess].get();
    return property(theirs.key());
}

bool DeviceImp::removeProperty(String const& key)
{
    std::size_t const index = indexOf(key);
    if (index == kNone)
        return false;
    for (String const& childKey : m_properties[index]->children())
        if (PropertyImp* const child = property(childKey))
            child->setPartOfGroup(false);
    for (auto const& other : m_properties)
        other->removeChild(key);
    m_properties.erase(m_properties.begin() + static_cast<std::ptrdiff_t>(index)); // the key may go with it
    m_propertyIndex.clear();
    indexProperties();
    return true;
}

PropertyImp& DeviceImp::getProperty(std::size_t index)
{
    checkIndex(index, m_properties.size());
    return *m_properties[index];
}

PropertyImp const& DeviceImp::getProperty(std::size_t index) const
{
    return const_cast<DeviceImp*>(this)->getProperty(index);
}

PropertyImp* DeviceImp::property(String const& key)
{
    std::size_t const index = indexOf(key);
    return index == kNone ? nullptr : m_properties[index].get();
}

PropertyImp const* DeviceImp::property(String const& key) const
{
    return const_cast<DeviceImp*>(this)->property(key);
}

PropertyImp* DeviceImp::groupOf(PropertyImp const& property) const
{
    if (!property.isPartOfGroup())
        return nullptr;
    for (auto const& one : m_properties)
        if (std::find(one->children().begin(), one->children().end(), property.key()) !=
            one->children().end())
            return one.get();
    return nullptr;
}

PropertyImp* DeviceImp::firstProperty()
{
    m_cursor = 0;
    return nextProperty();
}

PropertyImp* DeviceImp::nextProperty()
{
    return m_cursor < m_properties.size() ? m_properties[m_cursor++].get() : nullptr;
}

// Which group each property stands in, without looking through all groups for each where there are many properties.
class DeviceImp::Groups
{
public:
    explicit Groups(DeviceImp& device)
        : m_device(device), m_isIndexed(device.m_properties.size() > kFewProperties)
    {
        if (!m_isIndexed)
            return;
        for (auto const& group : device.m_properties)
            for (String const& key : group->children())
                if (PropertyImp const* const member = device.property(key))
                    m_groups.emplace(member, group.get()); // of several the first, as in groupOf()
    }
    PropertyImp* groupOf(PropertyImp const& property) const
    {
        return !m_isIndexed               ? m_device.groupOf(property)
               : property.isPartOfGroup() ? listedIn(property)
                                          : nullptr;
    }
    void add(PropertyImp& group, PropertyImp& member)
    {
        if (m_isIndexed && !listedIn(member))
            group.appendChild(member);
        else
            group.addChild(&member);
        if (m_isIndexed)
            m_groups.emplace(&member, &group);
        member.setPartOfGroup(true);
    }

private:
    PropertyImp* listedIn(PropertyImp const& property) const
    {
        auto const found = m_groups.find(&property);
        return found == m_groups.end() ? nullptr : found->second;
    }

    DeviceImp& m_device;
    bool m_isIndexed;
    std::unordered_map<PropertyImp const*, PropertyImp*> m_groups;
};

bool DeviceImp::take(DeviceImp const& other, bool newerWins)
{
    bool changed = false;
    auto const adopt = [&changed](auto& mine, auto const& theirs, bool when) {
        if (when && !(mine == theirs)) {
            mine = theirs;
            changed = true;
        }
    };
    adopt(m_name, other.m_name, m_name.empty());
    adopt(m_description, other.m_description, m_description.empty());
    adopt(m_osLocator, other.m_osLocator, m_osLocator.empty());
    adopt(m_hwLocator, other.m_hwLocator, m_hwLocator.empty());
    adopt(m_capabilities, m_capabilities | other.m_capabilities, true);
    adopt(m_state, other.m_state, newerWins);
    adopt(m_complete, true, other.m_complete);
    for (String const& id : other.m_childBusIds) {
        std::size_t const before = m_childBusIds.size();
        addChildBusId(id);
        changed |= m_childBusIds.size() != before;
    }
    for (std::size_t i = 0; i < other.m_properties.size(); ++i) {
        auto const& theirs = other.m_properties[i];
        PropertyImp* const mine = propertyLike(*theirs, i);
        if (!mine)
            addProperty(theirs.get());
        else if (!newerWins || mine->value() == theirs->value())
            continue;
        else
            mine->setValue(theirs->value());
        changed = true;
    }
    auto const hasMembers = [](auto const& one) { return !one->children().empty(); };
    if (std::none_of(other.m_properties.begin(), other.m_properties.end(), hasMembers))
        return changed;
    Groups groups(*this);
    for (auto const& theirs : other.m_properties)
        if (hasMembers(theirs))
            changed |= mergeChildren(*theirs, groups);
    return changed;
}

// A property that has a group here keeps it, and none comes to stand below itself, which two states that see one pair of
// groups from its two ends would make it. Only one with members can; how deep is looked is how deep is shown.
bool DeviceImp::mergeChildren(PropertyImp const& theirs, Groups& groups)
{
    PropertyImp* const group = property(theirs.key());
    auto const standsBelow = [&](PropertyImp const& above) {
        PropertyImp const* up = above.children().empty() ? nullptr : group;
        int depth = 0;
        for (; up && up != &above && depth < kDeepestGroup; ++depth)
            up = groups.groupOf(*up);
        return up != nullptr;
    };
    bool changed = false;
    for (String const& key : theirs.children()) {
        PropertyImp* const child = property(key);
        if (!child || groups.groupOf(*child) || standsBelow(*child))
            continue;
        groups.add(*group, *child);
        changed = true;
    }
    return changed;
}

void DeviceImp::printProperty(PropertyImp const& property, String const& indent, String& out, int depth,
                              std::unordered_set<PropertyImp const*>& printed) const
{
    if (!printed.insert(&property).second)
        return;
    out += indent + (property.key() + ": " + property.value().toString()).withoutControls(false) + "\n";
    if (depth >= kDeepestGroup)
        return;
    for (String const& childKey : property.children())
        if (PropertyImp const* child = this->property(childKey))
            printProperty(*child, indent + "  ", out, depth + 1, printed);
}

String DeviceImp::toString(int level) const
{
    String out = (String("Device: ") + m_name).withoutControls(false) + "\n";
    if (level < 1)
        return out;
    auto line = [&out](char const* label, String const& value) {
        if (!value.empty())
            out += (String("  ") + label + ": " + value).withoutControls(false) + "\n";
    };
    line("Guid", m_guid);
    line("Description", m_description);
    line("Type", m_type.toString());
    line("Capabilities", m_capabilities.toString());
    line("Location", m_hwLocator);
    line("OS locator", m_osLocator);
    line("State", m_state.toString());
    if (level < 2)
        return out;
    std::unordered_set<PropertyImp const*> printed;
    for (auto const& property : m_properties)
        if (!property->isPartOfGroup())
            printProperty(*property, "    ", out, 0, printed);
    for (auto const& property : m_properties) // of a ring of groups, or too deep
        printProperty(*property, "    ", out, 0, printed);
    return out;
}

} // namespace zel
