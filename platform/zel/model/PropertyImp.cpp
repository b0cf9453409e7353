#include <zel/model/PropertyImp.h>

#include <algorithm>

namespace zel {

PropertyImp::PropertyImp(std::shared_ptr<PropertySpecImp> spec)
    : m_spec(std::move(spec)), m_value(m_spec->type()), m_specGuid(m_spec->guid())
{}

PropertyImp::PropertyImp(std::shared_ptr<PropertySpecImp> spec, ValueImp value)
    : m_spec(std::move(spec)), m_value(std::move(value)), m_specGuid(m_spec->guid())
{}

PropertyImp::PropertyImp(PropertyImp const& other)
    : m_spec(other.m_spec), m_value(other.value()), m_specGuid(other.m_specGuid),
      m_children(other.m_children), m_partOfGroup(other.m_partOfGroup),
      m_discoveredLater(other.m_discoveredLater)
{}

void PropertyImp::addChild(PropertyImp const* child)
{
    if (std::find(m_children.begin(), m_children.end(), child->key()) == m_children.end())
        m_children.push_back(child->key());
}

void PropertyImp::leaveGroups()
{
    m_children.clear();
    m_partOfGroup = false;
}

void PropertyImp::setValue(ValueImp value)
{
    if (m_live)
        m_live->write(value);
    else
        m_value = std::move(value);
}

} // namespace zel
