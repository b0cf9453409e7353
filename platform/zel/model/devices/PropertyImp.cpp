#include <zel/model/devices/PropertyImp.h>

#include <algorithm>

namespace zel {

PropertyImp::PropertyImp(std::shared_ptr<PropertySpecImp> spec)
    : m_spec(std::move(spec)), m_value(m_spec->type()), m_specGuid(m_spec->sharedGuid())
{}

PropertyImp::PropertyImp(std::shared_ptr<PropertySpecImp> spec, ValueImp value)
    : m_spec(std::move(spec)), m_value(std::move(value)), m_specGuid(m_spec->sharedGuid())
{}

PropertyImp::PropertyImp(PropertyImp const& other)
    : m_spec(other.m_spec), m_value(other.value()), m_specGuid(other.m_specGuid),
      m_partOfGroup(other.m_partOfGroup), m_discoveredLater(other.m_discoveredLater)
{
    if (!other.children().empty())
        rare().children = other.children();
}

PropertyImp::Rare& PropertyImp::rare()
{
    if (!m_rare)
        m_rare = std::make_unique<Rare>();
    return *m_rare;
}

std::vector<String> const& PropertyImp::children() const noexcept
{
    static std::vector<String> const s_none;
    return m_rare ? m_rare->children : s_none;
}

void PropertyImp::addChild(PropertyImp const* child)
{
    if (std::find(children().begin(), children().end(), child->key()) == children().end())
        rare().children.push_back(child->key());
}

void PropertyImp::removeChild(String const& key)
{
    if (m_rare)
        std::erase(m_rare->children, key);
}

void PropertyImp::leaveGroups()
{
    if (m_rare)
        m_rare->children.clear();
    m_partOfGroup = false;
}

void PropertyImp::setValue(ValueImp value)
{
    if (isLive())
        m_rare->live->write(value);
    else
        m_value = std::move(value);
}

} // namespace zel
