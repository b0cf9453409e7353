#include <common/evidence/EvidenceWatch.h>

#include <common/ErrorText.h>
#include <common/evidence/Events.h>
#include <common/evidence/HwmonInputs.h>

#include <algorithm>
#include <cstdio>
#include <map>

namespace krel5::modules::evidence {
namespace {

/// The parts by name, the first of many.
std::string listOf(std::vector<std::string> const& parts)
{
    constexpr std::size_t kMost = 16;
    std::string list;
    for (std::size_t i = 0; i < std::min(parts.size(), kMost); ++i)
        list += (i == 0 ? "" : ", ") + parts[i];
    return parts.size() > kMost ? list + ", ..." : list;
}

std::string degreesText(double degrees)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.0f", degrees);
    return text;
}

} // namespace

void EvidenceWatch::beginTest(std::string const& osLocator)
{
    m_name = osLocator.substr(osLocator.rfind('/') + 1);
    m_way.clear();
    for (char const* const kind : {"sys/class/block/", "sys/class/net/", "sys/bus/pci/devices/"})
        if (m_way.empty() && !m_name.empty())
            m_way = m_machine.resolve(kind + m_name).value_or("");
    if (!m_way.empty())
        m_way += '/';
    // An NVMe drive that may have several controllers stands beside links to those that it has, not below one.
    if (std::size_t const at = m_way.find("/nvme-subsystem/"); at != m_way.npos) {
        std::string const drive =
            m_way.substr(0, m_way.find('/', m_way.find("/nvme-subsys", at + 1) + 1) + 1);
        for (std::string const& controller : m_machine.list(drive))
            if (isNumbered(controller, "nvme"))
                m_way += m_machine.resolve(drive + controller).value_or("") + '/';
    }
    m_counters.emplace(m_machine);
    m_last = m_counters->read();
    m_isFirst = true;
}

bool EvidenceWatch::concernsTest(Counter const& counter) const
{
    switch (counter.kind) {
    case Kind::Machine:
    case Kind::Processor:
        return true;
    case Kind::Bus:
        return m_way.find("/" + counter.part + "/") != m_way.npos;
    case Kind::Drive:
    case Kind::Network:
        return !m_way.empty() && counter.part == m_name;
    }
    return true;
}

std::vector<EvidenceWatch::Rise> EvidenceWatch::risesSinceLast()
{
    std::map<std::pair<std::size_t, std::string>, std::uint64_t> before;
    for (CounterValue const& value : m_last)
        before[{value.counter, value.part}] = value.value;
    m_last = m_counters->read();
    std::vector<Rise> rises;
    for (CounterValue const& now : m_last) {
        auto const was = before.find({now.counter, now.part});
        if (was == before.end() || was->second == now.value)
            continue;
        // One that somebody set back counts from zero.
        std::uint64_t const count = now.value > was->second ? now.value - was->second : now.value;
        if (count == 0)
            continue;
        // What several processors counted at one time is told once: a machine check reaches all of them, heat most.
        Counter const& counter = m_counters->all()[now.counter];
        if (counter.kind == Kind::Processor && !rises.empty() &&
            m_counters->all()[rises.back().counter].event == counter.event) {
            Rise& same = rises.back();
            if (same.parts.back() != now.part)
                same.parts.push_back(now.part);
            same.count = std::max(same.count, count);
        } else {
            rises.push_back({now.counter, {now.part}, count});
        }
    }
    return rises;
}

Outcome EvidenceWatch::judge(TestHost& host, Outcome outcome, EvidenceRules const& rules)
{
    if (!m_counters)
        return outcome;
    for (Rise const& rise : risesSinceLast()) {
        Counter const& counter = m_counters->all()[rise.counter];
        if (counter.kind == Kind::Network && rules.m_leavesOutNetwork)
            continue;
        Report const report(counter.event,
                            {{"Part", listOf(rise.parts)}, {"Count", std::to_string(rise.count)}});
        bool const fails =
            concernsTest(counter) && (counter.gravity == Gravity::Uncorrected ||
                                      (counter.gravity == Gravity::Corrected && rules.m_correctedFails));
        if (fails) {
            host.fault(Fault(report.m_eventKey, report.m_values));
            outcome = Outcome::Fail;
        } else {
            host.warning(report);
        }
    }
    for (HotPart const& hot : m_counters->hotParts())
        host.warning(
            {kEventTooHot,
             {{"Part", hot.part}, {"Degrees", degreesText(hot.degrees)}, {"Limit", degreesText(hot.limit)}}});
    if (m_isFirst && rules.m_tellsOfHidden && !m_counters->countsMemoryErrors() &&
        hasErrorCorrection(m_machine))
        host.warning({kEventErrorsHidden, {}});
    m_isFirst = false;
    if (int const reason = m_machine.shortage(); reason != 0 && !m_isShortageTold) {
        host.warning({kEventUnread, {{"Reason", errorText(reason)}}});
        m_isShortageTold = true;
    }
    return outcome;
}

} // namespace krel5::modules::evidence
