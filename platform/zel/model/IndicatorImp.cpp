#include <zel/model/IndicatorImp.h>

#include <algorithm>

namespace zel {

IndicatorImp::IndicatorImp(String key, CapabilityImp capabilities, bool isFree)
    : m_key(std::move(key)), m_guid(String("Indicator.") + m_key), m_capabilities(std::move(capabilities)),
      m_isFree(isFree)
{}

void IndicatorImp::setModuleGuid(String const& guid)
{
    m_moduleGuid = guid;
    m_guid = guid + ".Indicator." + m_key;
}

bool IndicatorImp::addParameter(ParameterImp const& parameter)
{
    bool const known = std::any_of(m_parameters.begin(), m_parameters.end(),
                                   [&](auto const& one) { return one.key() == parameter.key(); });
    if (!known)
        m_parameters.push_back(parameter);
    return !known;
}

} // namespace zel
