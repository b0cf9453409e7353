#include <memory/Events.h>
#include <memory/MemoryReport.h>
#include <memory/Texts.h>
#include <memory/linux/LockedMemory.h>

#include <bit>
#include <charconv>
#include <string>

namespace krel5::modules::memory {
namespace {

std::string hex(std::uint64_t number)
{
    char text[2 + 16] = {'0', 'x'};
    auto const end = std::to_chars(text + 2, text + sizeof text, number, 16).ptr;
    return {text, end};
}

// The name of a pass or step as it is called in the person's language. Those of the literature and the
// notation of march elements are the same in all.
std::string shownName(TestHost& host, std::string_view name)
{
    for (LocalText const& text : kTexts)
        if (name == text.m_english)
            return host.text(text);
    return std::string(name);
}

} // namespace

void MemoryReport::report(PassName const& pass, WordFault const& fault)
{
    auto const* const address = m_words + fault.m_index;
    auto const physical = physicalAddress(address);
    auto const differing = fault.m_expected ^ fault.m_actual;
    ++m_reported;
    m_host.fault(
        Fault(kEventFault, {{"Test", shownName(m_host, pass.m_test)},
                            {"Step", shownName(m_host, pass.m_step)},
                            {"Background", hex(pass.m_background)},
                            {"Offset", hex(fault.m_index * sizeof *address)},
                            {"VirtualAddress", hex(reinterpret_cast<std::uintptr_t>(address))},
                            {"PhysicalAddress", physical ? hex(*physical) : m_host.text(kTextNoAddress)},
                            {"Expected", hex(fault.m_expected)},
                            {"Actual", hex(fault.m_actual)},
                            {"DifferingBits", hex(differing)},
                            {"DifferingBitCount", std::to_string(std::popcount(differing))}}));
}

void MemoryReport::summarize(std::uint64_t total)
{
    if (total > m_reported)
        m_host.fault(Fault(kEventMoreFaults,
                           {{"Total", std::to_string(total)}, {"Reported", std::to_string(m_reported)}}));
}

} // namespace krel5::modules::memory
