#include <zel/model/runs/TestRunEventImp.h>

#include <zel/foundation/Index.h>
#include <zel/model/values/ValueImp.h>

namespace zel {

TestRunEventImp::TestRunEventImp(EventTypeImp const& type, String key, int eventCode, String eventCodeString,
                                 LocalizedStringImp message)
    : m_type(type), m_key(std::move(key)), m_eventCode(eventCode),
      m_eventCodeString(std::move(eventCodeString)), m_message(std::move(message))
{}

void TestRunEventImp::setModuleGuid(String const& guid)
{
    m_message.setModuleGuid(guid);
    for (LocalizedStringImp& tip : m_tips)
        tip.setModuleGuid(guid);
}

void TestRunEventImp::setVariable(String const& name, ValueImp const& value)
{
    m_message.setVariable(name, value);
    for (LocalizedStringImp& tip : m_tips)
        tip.setVariable(name, value);
}

void TestRunEventImp::setSource(String const& file, int line)
{
    m_sourceFile = file;
    m_sourceLine = line;
}

LocalizedStringImp const& TestRunEventImp::tip(std::size_t index) const
{
    checkIndex(index, m_tips.size());
    return m_tips[index];
}

} // namespace zel
