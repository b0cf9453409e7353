#include <zel/model/runs/AlertImp.h>

#include <zel/foundation/Index.h>
#include <zel/model/devices/Guid.h>

namespace zel {

AlertImp::AlertImp(String const& moduleGuid, String const& key, AlertTypeImp const& type)
    : m_key(key), m_type(type), m_title(String("Alert.") + key + String(".Title")),
      m_message(String("Alert.") + key + String(".Message"))
{
    setModuleGuid(moduleGuid);
}

void AlertImp::setGuid(String const& guid)
{
    m_guid = guid;
    m_guidWasSet = true;
}

void AlertImp::setModuleGuid(String const& guid)
{
    m_moduleGuid = guid;
    m_title.setModuleGuid(guid);
    m_message.setModuleGuid(guid);
    for (TipImp& tip : m_tips)
        tip.setModuleGuid(guid);
    renewGuid();
}

void AlertImp::setDeviceGuid(String const& guid)
{
    m_deviceGuid = guid;
    renewGuid();
}

void AlertImp::renewGuid()
{
    if (!m_guidWasSet)
        m_guid = nameBasedGuid({String("Alert"), m_moduleGuid, m_key, m_deviceGuid});
}

TipImp const& AlertImp::tip(std::size_t index) const
{
    checkIndex(index, m_tips.size());
    return m_tips[index];
}

void AlertImp::addTip(TipImp const& tip)
{
    m_tips.push_back(tip);
    m_tips.back().setModuleGuid(m_moduleGuid);
}

} // namespace zel
