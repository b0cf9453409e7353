#pragma once
// Which tests go to which devices of a machine.

#include <engine/catalog/Catalog.h>

#include <functional>
#include <string>
#include <vector>

namespace zel {
class StateManager;
}

namespace engine {

/// Asks a module that chooses its tests itself which of them it wants for which device: associates them in the state.
/// Returns why there is no answer; then nothing is associated. Empty when there is one.
class OwnChoice
{
public:
    virtual ~OwnChoice() = default;
    virtual std::string choose(Module& module, zel::StateManager& machine) = 0;
};

/// Ties each test of the catalog to the devices that it is for, by the rules that the modules themselves go by, and says
/// where there are none why not. The tests are added to the machine's state: the catalog has to outlive it. `choice`:
/// null when nobody is there who could ask; then such tests stand with all devices of their kind, and isDeclinable. A
/// module that does not answer costs its tests and a complaint of the catalog. `isWanted`, where there is one, says which
/// modules are dealt with; the tests of the others stay as they are, without devices.
void assignTests(Catalog& catalog, zel::StateManager& machine, OwnChoice* choice,
                 std::function<bool(Module const&)> const& isWanted = {});

/// The devices that a test of the catalog can be for or goes to, whether any applies or not, in the machine's order. Their places,
/// from 1, are the numbers by which a person names them.
std::vector<zel::DeviceImp*> testedDevices(Catalog const& catalog, zel::StateManager const& machine);

/// What the machine calls it: "/dev/sda", else its place in the hardware, else its name.
std::string placeOf(zel::DeviceImp const& device);
/// "ACME 1000 (/dev/sda)": which of those of one name.
std::string nameAndPlaceOf(zel::DeviceImp const& device);

} // namespace engine
