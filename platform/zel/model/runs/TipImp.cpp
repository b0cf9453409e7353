#include <zel/model/runs/TipImp.h>

namespace zel {

TipImp::TipImp(String const& key, TipTypeImp const& type)
    : m_key(key), m_type(type), m_title(String("Tip.") + key + String(".Title")),
      m_content(String("Tip.") + key + String(".Content")),
      m_contentEx(String("Tip.") + key + String(".ContentEx"))
{}

void TipImp::setModuleGuid(String const& guid)
{
    m_title.setModuleGuid(guid);
    m_content.setModuleGuid(guid);
    m_contentEx.setModuleGuid(guid);
}

String TipImp::toString() const
{
    String const content = m_content.resolve();
    return content == m_content.key() ? m_title.resolve() : m_title.resolve() + String(": ") + content;
}

} // namespace zel
