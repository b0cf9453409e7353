#pragma once
// Row hammer on locked memory of this machine; see HammerTest.h.

#include <memory/BrokenPages.h>
#include <memory/MemoryTest.h>
#include <memory/linux/LockedMemory.h>

namespace krel5::modules::memory {

/// Fail for pages that break and words that are wrong without hammering; for flips where the settings say so. Those
/// are told otherwise as warnings, the first ten of them one by one.
Outcome checkHammer(TestHost& host, MemorySettings const& settings, LockedMemory const& region,
                    std::uint64_t seed, BrokenPages& brokenPages);

} // namespace krel5::modules::memory
