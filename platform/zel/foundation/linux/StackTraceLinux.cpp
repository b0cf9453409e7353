#include <zel/foundation/StackTrace.h>

#include <zel/foundation/linux/SymbolFinder.h>

#include <algorithm>
#include <execinfo.h>

namespace zel {
namespace {

constexpr int kMostFrames = 128;

void appendFrame(std::string& text, std::size_t number, void* address)
{
    SymbolFinder::Symbol const symbol = SymbolFinder::find(address);
    text += "  #" + std::to_string(number);
    if (!symbol.function.empty())
        text += " " + symbol.function;
    if (!symbol.source.empty())
        text += " (" + symbol.source + ")";
    text += " [" + symbol.place + "]\n";
}

} // namespace

__attribute__((noinline)) StackTrace StackTrace::getCurrentStackTrace(unsigned framesToSkip)
{
    void* addresses[kMostFrames];
    int const count = ::backtrace(addresses, kMostFrames);
    // The caller's frame is found by its address: a sanitizer puts frames of its own in front.
    void** const end = addresses + count;
    void** const caller = std::find(addresses, end, __builtin_return_address(0));
    std::ptrdiff_t const first = (caller == end ? 1 : caller - addresses) + std::ptrdiff_t{framesToSkip};
    std::vector<void*> own(addresses + std::min<std::ptrdiff_t>(first, count), end);
    // A return address may already belong to the next line or function; one byte less is inside the call.
    for (void*& address : own)
        address = static_cast<char*>(address) - 1;
    return StackTrace(std::move(own));
}

String StackTrace::toString() const
{
    std::string text;
    for (std::size_t i = 0; i < m_addresses.size(); ++i)
        appendFrame(text, i, m_addresses[i]);
    return String(text);
}

} // namespace zel
