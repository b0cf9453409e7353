#include <sensors/Judge.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

namespace krel5::modules::sensors {

namespace {

constexpr Rule kRules[] = {
#define SENSOR_RULE(alert, type, reading, side, property, parameter, defaultLimit, margin, share)            \
    {#alert,                                                                                                 \
     #type,                                                                                                  \
     ReadingId::reading,                                                                                     \
     Side::side,                                                                                             \
     property,                                                                                               \
     parameter,                                                                                              \
     defaultLimit,                                                                                           \
     margin,                                                                                                 \
     share,                                                                                                  \
     std::string_view(#type) == "CRITICAL"},
#include <sensors/Rules.def>
};

} // namespace

std::span<Rule const> rules() noexcept { return kRules; }

Judge::Verdict Judge::look(Rule const& rule, double reading, std::optional<double> limit,
                           Clock::time_point now, Clock::duration quiet)
{
    if (rule.side == Side::Rises)
        return counts(reading, now, quiet);
    if (rule.side == Side::IsTrue)
        return passes(rule, reading, 0);
    if (limit)
        return passes(rule, reading, *limit);
    m_inARow = 0;
    return std::exchange(m_isRaised, false) ? Verdict::Cleared : Verdict::Unchanged;
}

Judge::Verdict Judge::passes(Rule const& rule, double reading, double limit)
{
    double const sign = rule.side == Side::Below ? -1 : 1;
    double const beyond = sign * (reading - limit);
    double const margin = std::max(rule.margin, rule.share * std::abs(limit));
    bool const speaks = m_isRaised ? beyond <= -margin : beyond > 0;
    m_inARow = speaks ? m_inARow + 1 : 0;
    unsigned const needed = m_isRaised ? kReadingsToClear : rule.isCritical ? 1 : kReadingsToRaise;
    if (m_inARow < needed)
        return Verdict::Unchanged;
    m_inARow = 0;
    m_isRaised = !m_isRaised;
    return m_isRaised ? Verdict::Raised : Verdict::Cleared;
}

// A counter that fell began anew: its driver was loaded again.
Judge::Verdict Judge::counts(double reading, Clock::time_point now, Clock::duration quiet)
{
    double const before = std::exchange(m_before, reading).value_or(reading);
    if (reading > before) {
        m_risen = (m_isRaised ? m_risen : 0) + reading - before;
        m_rose = now;
        m_isRaised = true;
        return Verdict::Raised;
    }
    if (!m_isRaised || now - m_rose < quiet)
        return Verdict::Unchanged;
    m_isRaised = false;
    return Verdict::Cleared;
}

} // namespace krel5::modules::sensors
