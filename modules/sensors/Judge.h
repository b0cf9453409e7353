#pragma once
// Whether a reading is well, with a memory, so that an alert neither comes for one glitch nor comes and goes at its limit.

#include <sensors/Reading.h>

#include <chrono>
#include <optional>

namespace krel5::modules::sensors {

enum class Side { Above, Below, Rises, IsTrue };

struct Rule
{
    char const* alert;
    char const* type; ///< of the alert
    ReadingId reading;
    Side side;
    char const* property;
    char const* parameter;
    char const* defaultLimit;
    double margin, share;
    bool isCritical; ///< raised at the first reading
};

std::span<Rule const> rules() noexcept;

/// One rule's memory of one part. Limits are passed when two readings in a row are beyond them, of a critical one the first; the alert
/// goes when three in a row are better than the limit by the margin. A counter's alert comes when it rises, and again each time that it
/// rises further; it goes when the counter has stood still for the time given.
/// Thread rule: none; one thread.
class Judge
{
public:
    using Clock = std::chrono::steady_clock;
    enum class Verdict { Unchanged, Raised, Cleared };

    static constexpr unsigned kReadingsToRaise = 2;
    static constexpr unsigned kReadingsToClear = 3;

    /// `limit`: nothing where there is none, which clears an alert; not asked for a counter, nor for what is true or not.
    Verdict look(Rule const& rule, double reading, std::optional<double> limit, Clock::time_point now,
                 Clock::duration quiet);
    bool isRaised() const noexcept { return m_isRaised; }
    /// Of a counter: by how much it has risen since the alert was raised first.
    double risen() const noexcept { return m_risen; }

private:
    Verdict passes(Rule const& rule, double reading, double limit);
    Verdict counts(double reading, Clock::time_point now, Clock::duration quiet);

    bool m_isRaised = false;
    unsigned m_inARow = 0; ///< readings that speak for a change
    std::optional<double> m_before;
    double m_risen = 0;
    Clock::time_point m_rose{};
};

} // namespace krel5::modules::sensors
