#include <engine/runner/StateForRun.h>

#include <utility>
#include <vector>

namespace engine {
namespace {

using zel::DeviceImp;
using zel::StateManager;

// The device, below what it stands on there.
void add(StateManager& state, DeviceImp const& device, StateManager const& machine)
{
    std::vector<DeviceImp const*> chain;
    for (DeviceImp const* up = &device; up && !state.device(up->guid()); up = machine.parentOf(*up))
        chain.push_back(up);
    for (auto one = chain.rbegin(); one != chain.rend(); ++one) {
        DeviceImp const* const parent = machine.parentOf(**one);
        state.addDevice(std::make_unique<DeviceImp>(**one), parent ? state.device(parent->guid()) : nullptr);
    }
}

zel::ModuleImp moduleOf(PlannedRun const& run)
{
    zel::ModuleImp module{zel::String(run.moduleGuid)};
    module.setGuid(zel::String(run.moduleGuid));
    return module;
}

} // namespace

std::shared_ptr<StateManager const> stateFor(PlannedRun const& run, StateManager const& machine)
{
    // The manager borrows the module's record, so both live in one.
    struct Holder
    {
        explicit Holder(zel::ModuleImp one) : module(std::move(one)) {}
        zel::ModuleImp module;
        StateManager state;
    };
    auto const holder = std::make_shared<Holder>(moduleOf(run));
    holder->state.addModule(holder->module, false);
    add(holder->state, *run.device, machine);
    if (!run.optional.isEmpty())
        for (std::size_t i = 0; i < machine.deviceCount(); ++i)
            if (machine.deviceAtIndex(i)->deviceCapabilities().intersects(run.optional))
                add(holder->state, *machine.deviceAtIndex(i), machine);
    return {holder, &holder->state};
}

} // namespace engine
