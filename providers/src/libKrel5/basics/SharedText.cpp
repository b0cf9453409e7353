#include <libKrel5/basics/SharedText.h>

#include <algorithm>

namespace krel5 {

KrelString const& SharedText::give(zel::String const& text)
{
    auto const known = std::find_if(m_given.begin(), m_given.end(),
                                    [&](auto const& one) { return one->zelString() == text; });
    if (known != m_given.end())
        return **known;
    m_given.push_back(std::make_unique<KrelString const>(text));
    return readyToShare(*m_given.back());
}

} // namespace krel5
