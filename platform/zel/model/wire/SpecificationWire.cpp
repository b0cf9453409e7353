#include <zel/model/wire/SpecificationWire.h>

#include <zel/model/wire/ConstantWire.h>
#include <zel/model/wire/Rings.h>

#include <algorithm>

namespace zel::wire {

// Two of one key.
bool SpecificationNames::areAlike(PropertySpecImp const& a, PropertySpecImp const& b)
{
    return a.moduleGuid() == b.moduleGuid() && a.type() == b.type() && a.category() == b.category() &&
           a.deviceCapability() == b.deviceCapability() && a.defaultName() == b.defaultName() &&
           a.alias() == b.alias() && a.group() == b.group();
}

void SpecificationNames::add(PropertySpecImp const& specification, bool isListed)
{
    if (m_index.contains(&specification))
        return;
    auto& alike = m_byKey[specification.keyInModule()];
    auto const same = std::find_if(alike.begin(), alike.end(), [&](std::size_t index) {
        return areAlike(*m_entries[index].specification, specification);
    });
    if (same != alike.end()) {
        m_index.emplace(&specification, *same);
        return;
    }
    String name = specification.keyInModule();
    for (std::uint64_t number = alike.size() + 1; !m_names.insert(name).second; ++number)
        name = specification.keyInModule() + "#" + String::number(number);
    std::string escaped;
    XmlWriter::appendEscaped(escaped, name);
    alike.push_back(m_entries.size());
    m_index.emplace(&specification, m_entries.size());
    m_entries.push_back({&specification, std::move(escaped), isListed});
}

void SpecificationNames::addAllOf(DeviceImp const& device)
{
    for (std::size_t i = 0; i < device.propertyCount(); ++i) {
        PropertySpecImp const& one = *device.getProperty(i).spec();
        if (!isNext(one))
            add(one, false);
        indexOf(one);
    }
}

bool SpecificationNames::isNext(PropertySpecImp const& specification) const
{
    return m_next < m_entries.size() && m_entries[m_next].specification == &specification;
}

std::size_t SpecificationNames::indexOf(PropertySpecImp const& specification)
{
    if (!isNext(specification))
        m_next = m_index.at(&specification);
    return m_next++;
}

std::string const& SpecificationNames::nameOf(PropertySpecImp const& specification)
{
    return m_entries[indexOf(specification)].name;
}

void SpecificationNames::write(XmlWriter& writer)
{
    for (std::size_t i = 0; i < m_entries.size(); ++i) // which grows meanwhile
        if (auto const& group = m_entries[i].specification->group())
            add(*group, false);
    std::vector<std::size_t> groups(m_entries.size(), kNoParent);
    for (std::size_t i = 0; i < m_entries.size(); ++i)
        if (auto const& group = m_entries[i].specification->group())
            groups[i] = m_index.at(group.get());
    for (std::size_t const closer : ringClosers(groups))
        groups[closer] = kNoParent; // a reader refuses a group that stands below itself
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        PropertySpecImp const& one = *m_entries[i].specification;
        writer.open("specification");
        writer.raw("name", m_entries[i].name);
        writer.text("key", one.keyInModule());
        writeConstant(writer, "type", one.type());
        writer.textIfAny("category", one.category().toString());
        writeCapabilities(writer, "capability", one.deviceCapability());
        writer.textIfAny("module", one.moduleGuid());
        writer.textIfAny("defaultName", one.defaultName());
        writer.textIfAny("alias", one.alias());
        if (groups[i] != kNoParent)
            writer.raw("group", m_entries[groups[i]].name);
        writer.flag("listed", m_entries[i].isListed);
        writer.close("specification");
    }
}

void Specifications::read(XmlReader& reader)
{
    String const name = reader.required("name"), key = reader.required("key");
    auto const specification = std::make_shared<PropertySpecImp>(
        key, readConstant(reader, "category", PropertyCategoryImp()),
        readConstant(reader, "type", DataTypeImp()), readCapabilities(reader, "capability"));
    if (reader.has("module"))
        specification->setModuleGuid(reader.text("module"));
    specification->setDefaultName(reader.text("defaultName"));
    specification->setAlias(reader.text("alias"));
    if (!m_names.emplace(name, m_entries.size()).second)
        reader.fail("name", "specification \"" + name + "\" twice");
    std::size_t const keyNumber = m_keys.emplace(key, m_keys.size()).first->second;
    m_entries.push_back({specification, reader.flag("listed"), keyNumber, std::string(reader.raw("name")),
                         reader.has("group") ? std::optional(reader.text("group")) : std::nullopt});
}

void Specifications::finish(XmlReader const& reader)
{
    std::vector<std::size_t> groups(m_entries.size(), kNoParent);
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        auto const& group = m_entries[i].groupName;
        if (!group)
            continue;
        auto const found = m_names.find(*group);
        if (found == m_names.end())
            reader.fail("the group \"" + *group + "\" of a specification is not known");
        groups[i] = found->second;
    }
    for (std::size_t const closer : ringClosers(groups))
        reader.fail("specification \"" + m_entries[closer].specification->keyInModule() +
                    "\" stands below itself");
    for (std::size_t i = 0; i < m_entries.size(); ++i)
        if (groups[i] != kNoParent)
            m_entries[i].specification->setGroup(m_entries[groups[i]].specification);
}

Specifications::Entry const& Specifications::get(XmlReader const& reader, std::string_view attribute)
{
    std::string_view const raw = reader.raw(attribute);
    if (m_next >= m_entries.size() || m_entries[m_next].rawName != raw) {
        String const name = reader.required(attribute);
        auto const found = m_names.find(name);
        if (found == m_names.end())
            reader.fail(attribute, "\"" + name + "\" is not the name of a specification");
        m_next = found->second;
    }
    return m_entries[m_next++];
}

} // namespace zel::wire
