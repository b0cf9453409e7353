#include <zel/model/state/StateBuilder.h>

namespace zel {

bool StateBuilder::add(std::shared_ptr<PropertySpecImp> const& specification)
{
    bool const isNew = !m_state.propertySpec(specification->guid());
    if (isNew)
        m_state.addPropertySpec(specification, false);
    return isNew;
}

void StateBuilder::place(std::size_t device, std::size_t parent)
{
    m_state.m_children.add(*m_state.deviceAtIndex(parent), *m_state.deviceAtIndex(device));
}

void StateBuilder::handOver(StateManager& into) { into.swap(m_state); }

} // namespace zel
