#include <zel/model/texts/VersionImp.h>

namespace zel {

String VersionImp::toString() const
{
    String const text = String::number(m_major) + String(".") + String::number(m_minor);
    return m_revision.empty() ? text : text + String(".") + m_revision;
}

} // namespace zel
