#pragma once
// Where the program is: the addresses of the calling functions, rendered as names on demand.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <vector>

namespace zel {

/// Taking a trace costs microseconds and no look-up; rendering looks the names up in the symbol tables and
/// debug information of the program (file-local functions included) and is slow the first time. Thread rule:
/// a value; taking and rendering may happen in any thread.
class ZEL_EXPORT StackTrace
{
public:
    StackTrace() = default;
    /// Each address lies inside the instruction that its frame was executing, innermost first.
    explicit StackTrace(std::vector<void*> addresses) : m_addresses(std::move(addresses)) {}

    /// The trace of the calling thread without the innermost `framesToSkip` functions above this call.
    static StackTrace getCurrentStackTrace(unsigned framesToSkip = 0);

    bool empty() const noexcept { return m_addresses.empty(); }
    /// One line a frame, innermost first: "  #0 functionName(int) (file.cpp:12) [libName.so+0x1234]"; what is
    /// not known is left out, the address never. Throws nothing but std::bad_alloc.
    String toString() const;

private:
    std::vector<void*> m_addresses;
};

} // namespace zel
