#pragma once
// Memory for walks through the caches and the translation of addresses.
//
// Thread rule: every thread has memory of its own; any thread at any time.

#include <cstddef>
#include <cstdint>
#include <span>

namespace krel5::modules::cpu {

/// The most that a thread's memory has, in bytes; there is less where the system gives less.
constexpr std::size_t kWalkBytes = 16 << 20;

/// The calling thread's memory, in pages of the smallest size; a power of two of bytes, at least 64 KiB. Belongs to the
/// thread until it ends; what it holds stays from one call to the next.
std::span<std::uint64_t> walkMemory() noexcept;

/// Bytes; a usual size where the system tells none.
struct CacheSizes
{
    std::size_t m_first, m_second;
};
CacheSizes cacheSizes() noexcept;

} // namespace krel5::modules::cpu
