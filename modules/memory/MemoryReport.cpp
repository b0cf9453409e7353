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

// As it is in memory: "0x5555", or "0x0 x2, 0xffff x2" where it turns after two words.
std::string backgroundText(PassName const& pass)
{
    if (pass.m_stripe == 0)
        return hex(pass.m_background);
    std::string const times = " x" + std::to_string(pass.m_stripe);
    return hex(pass.m_background) + times + ", " + hex(~pass.m_background) + times;
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

TextValues MemoryReport::place(PassName const& pass, std::uint64_t offset,
                               std::optional<std::uint64_t> physicalAddress)
{
    return {{"Test", shownName(m_host, pass.m_test)},
            {"Step", shownName(m_host, pass.m_step)},
            {"Background", backgroundText(pass)},
            {"Offset", hex(offset)},
            {"VirtualAddress", hex(reinterpret_cast<std::uintptr_t>(m_words) + offset)},
            {"PhysicalAddress", physicalAddress ? hex(*physicalAddress) : m_host.text(kTextNoAddress)},
            {"Module", moduleAt(physicalAddress)}};
}

std::string MemoryReport::moduleAt(std::optional<std::uint64_t> physicalAddress)
{
    if (!physicalAddress)
        return m_host.text(kTextNoAddress);
    if (!m_modules)
        m_modules.emplace(m_root);
    auto const found = m_modules->at(*physicalAddress);
    std::string names;
    for (auto const& name : found.m_names)
        names += (names.empty() ? "" : ", ") + name;
    std::string text = names.empty() ? m_host.text(kTextNoAddress) : names;
    if (found.m_names.size() > 1)
        text = m_host.text(kTextOneOfModules, {{"Modules", names}});
    if (found.m_node)
        text = m_host.text(kTextModuleOnNode, {{"Module", text}, {"Node", std::to_string(*found.m_node)}});
    return text;
}

void MemoryReport::report(PassName const& pass, WordFault const& fault)
{
    auto const* const address = m_words + fault.m_index;
    auto const differing = fault.m_expected ^ fault.m_actual;
    ++m_reported;
    Fault found(kEventFault, place(pass, fault.m_index * sizeof *address, physicalAddress(address)));
    found.m_values.insert(found.m_values.end(),
                          {{"Expected", hex(fault.m_expected)},
                           {"Actual", hex(fault.m_actual)},
                           {"DifferingBits", hex(differing)},
                           {"DifferingBitCount", std::to_string(std::popcount(differing))}});
    m_host.fault(found);
}

void MemoryReport::report(PassName const& pass, BrokenPage const& page)
{
    ++m_reported;
    Fault found(kEventBrokenPage, place(pass, page.m_offset, page.m_physicalAddress));
    found.m_values.emplace_back("PageBytes", std::to_string(m_pageBytes));
    m_host.fault(found);
}

void MemoryReport::reportFlip(WordFault const& flip, std::uint64_t const* first, std::uint64_t const* second,
                              bool isFault)
{
    auto const* const address = m_words + flip.m_index;
    auto const physical = physicalAddress(address);
    auto const shown = [this](std::optional<std::uint64_t> number) {
        return number ? hex(*number) : m_host.text(kTextNoAddress);
    };
    Fault const found(isFault ? kEventFlip : kEventFlipTold,
                      {{"Offset", hex(flip.m_index * sizeof *address)},
                       {"VirtualAddress", hex(reinterpret_cast<std::uintptr_t>(address))},
                       {"PhysicalAddress", shown(physical)},
                       {"Module", moduleAt(physical)},
                       {"Expected", hex(flip.m_expected)},
                       {"Actual", hex(flip.m_actual)},
                       {"FirstRow", shown(physicalAddress(first))},
                       {"SecondRow", shown(physicalAddress(second))}});
    ++m_reported;
    if (isFault)
        m_host.fault(found);
    else // of every pass
        m_host.signOfLife(found);
}

void MemoryReport::endedEarly(std::uint64_t pages)
{
    m_host.fault(Fault(kEventManyPages, {{"Pages", std::to_string(pages)}}));
}

void MemoryReport::summarize(std::uint64_t total)
{
    if (total > m_reported)
        m_host.fault(Fault(kEventMoreFaults,
                           {{"Total", std::to_string(total)}, {"Reported", std::to_string(m_reported)}}));
}

} // namespace krel5::modules::memory
