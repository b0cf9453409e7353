#pragma once

#include <zel/model/state/StateManager.h>

#include <memory>
#include <vector>

namespace zel {

/// Fills a manager with records that were made elsewhere, beside the ones that are in use: nobody sees them before
/// handOver(), and what goes wrong before leaves nothing behind. Adding a record whose guid is there already
/// gives false. Nothing is noted as a change.
class StateBuilder
{
public:
    bool add(std::unique_ptr<ModuleImp> module)
    {
        return m_state.m_modules.own(std::move(module)) != nullptr;
    }
    bool add(std::unique_ptr<TestImp> test) { return m_state.m_tests.own(std::move(test)) != nullptr; }
    bool add(std::unique_ptr<IndicatorImp> one)
    {
        return m_state.m_indicators.own(std::move(one)) != nullptr;
    }
    bool add(std::unique_ptr<DeviceImp> device)
    {
        return m_state.m_devices.own(std::move(device)) != nullptr;
    }
    bool add(std::unique_ptr<AlertImp> alert) { return m_state.m_alerts.own(std::move(alert)) != nullptr; }
    bool add(std::shared_ptr<PropertySpecImp> const& specification);

    /// Puts the device at each index below the parent at that index (null: none). All at once, since a device may
    /// stand before its parent. REQUIRES: none stands below itself, and this is called once.
    void place(std::vector<DeviceImp const*> const& parents);
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
