#include <zel/model/state/StateBuilder.h>

#include <zel/foundation/Exception.h>

namespace zel {

bool StateBuilder::add(std::shared_ptr<PropertySpecImp> const& specification)
{
    bool const isNew = !m_state.propertySpec(specification->guid());
    if (isNew)
        m_state.addPropertySpec(specification, false);
    return isNew;
}

void StateBuilder::place(std::vector<DeviceImp const*> const& parents)
{
    ZEL_ASSERT(parents.size() == m_state.deviceCount());
    for (std::size_t i = 0; i < parents.size(); ++i)
        m_state.attach(*m_state.deviceAtIndex(i), parents[i]);
}

void StateBuilder::handOver(StateManager& into) { into.swap(m_state); }

} // namespace zel
