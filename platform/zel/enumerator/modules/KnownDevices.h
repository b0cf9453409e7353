#pragma once
// What a module says of devices, laid beside what is known already.

#include <zel/model/state/StateManager.h>

namespace zel {

struct KnownDevices
{
    /// Completes `known` by the devices of `answer`, their properties and places; nothing else of it is taken. The same device
    /// is one of the same guid; failing that, one of the same type and bus class at the same hardware locator, as long as
    /// it is the only one there: a module may call a device as it likes, and it is to be listed once. Of several in one answer
    /// that stand there the first one is it, unless the answer has the known one by its guid; the others are further devices.
    static void complete(StateManager& known, StateManager const& answer);
};

} // namespace zel
