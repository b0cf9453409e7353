#pragma once
// What the kernel does with a memory error that the hardware can detect but not correct: it takes the page away
// and sends SIGBUS to whoever touches it (Documentation/mm/hwpoison.rst).

#include <memory/BrokenPages.h>

#include <cstddef>

namespace krel5::modules::memory {

/// While it lives, a SIGBUS for an address of the region marks that page as broken and puts an empty one in its
/// place, and the access that met it goes on. What is locked in place and not a file has no other reason for
/// the signal. Every other SIGBUS goes where it went before.
///
/// One at a time in a process.
class BusErrors
{
public:
    /// `begin` is at a page's start, `bytes` are whole pages; `pages` outlives this.
    BusErrors(void* begin, std::size_t bytes, BrokenPages& pages);
    ~BusErrors();
    BusErrors(BusErrors const&) = delete;
    BusErrors& operator=(BusErrors const&) = delete;
};

} // namespace krel5::modules::memory
