#include <zel/model/vocabulary/OperatingSystemImp.h>

namespace zel {

String OperatingSystemImp::toString() const
{
    String const separator(", ");
    return m_platform.toString() + separator + m_distribution.toString() + separator + m_major.toString() +
           separator + m_minor.toString() + separator + m_architecture.longText();
}

} // namespace zel
