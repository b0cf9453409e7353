#pragma once

#include <memory/linux/LockedMemory.h>

#include <cstdint>

namespace krel5::modules::memory::test {

/// Whether this process may know where locked memory lies; not under sanitizers, which replace mlock by nothing, so that
/// no page is there.
inline bool framesAreTold()
{
    auto const made = LockedMemory::make(1, [] { return false; }, {[] { return UINT64_MAX; }});
    return made.m_memory && physicalAddress(made.m_memory->words());
}

} // namespace krel5::modules::memory::test
