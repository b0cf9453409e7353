#pragma once

#include <zel/model/state/StateManager.h>

#include <memory>
#include <vector>

namespace zel {

/// Fills a manager with records that were made elsewhere, beside the ones that are in use: nobody sees them before
/// handOver(), and what goes wrong before leaves nothing behind. Adding a record whose guid is there already
/// gives false, and the record is not taken. Nothing is noted as a change.
class StateBuilder
{
public:
    bool add(std::unique_ptr<ModuleImp>& module) { return m_state.m_modules.own(module) != nullptr; }
    bool add(std::unique_ptr<TestImp>& test) { return m_state.m_tests.own(test) != nullptr; }
    bool add(std::unique_ptr<IndicatorImp>& one) { return m_state.m_indicators.own(one) != nullptr; }
    bool add(std::unique_ptr<DeviceImp>& device) { return m_state.m_devices.own(device) != nullptr; }
    bool add(std::unique_ptr<AlertImp>& alert) { return m_state.m_alerts.own(alert) != nullptr; }
    bool add(std::shared_ptr<PropertySpecImp> const& specification);

    /// Index of the device of that guid; static_cast<std::size_t>(-1) when there is none.
    std::size_t indexOfDevice(String const& guid) const { return m_state.m_devices.indexOf(guid); }
    /// Puts the device at the one index below that at the other. REQUIRES: both are there, the device has no parent
    /// yet, and does not come to stand below itself.
    void place(std::size_t device, std::size_t parent);
    /// False when they are associated already.
    template <typename Left, typename Right>
    bool associate(Left& left, Right& right)
    {
        return m_state.associate(left, right, false);
    }

    /// What was added up to now.
    StateManager& state() noexcept { return m_state; }
    /// Gives everything to `into`, and takes what that held. Handles on what `into` held end with the builder.
    void handOver(StateManager& into);

private:
    StateManager m_state;
};

} // namespace zel
