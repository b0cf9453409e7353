#pragma once
// Tests one region after another until a share of the machine's page frames has been tested.
//
// The system chooses the frames, and what is given back is given out again first. So nothing that was tested is
// given back before no more can be had; then all is, and the next round takes smaller regions, tests those with
// enough frames that are new, and holds the others to get at what lies behind them.

#include <common/TestHost.h>
#include <memory/FrameSet.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace krel5::modules::memory {

struct CoverGoal
{
    std::uint64_t m_wanted; ///< frames to test, at least 1
    std::uint64_t m_all;    ///< frames that the machine has, at least 1
};

enum class CoverEnd {
    Reached,
    Short,    ///< no more frames that are new; what was tested is sound
    Ended,    ///< by a check: m_outcome
    Stopped,  ///< between two checks
    NoFrames, ///< the system does not tell which frames a region has
    NoRegion  ///< it did not give the first one
};

struct Covered
{
    CoverEnd m_end;
    std::uint64_t m_frames;            ///< tested to the end, whatever was found
    Outcome m_outcome = Outcome::Pass; ///< of the last check
};

/// The progress of one region as a part of the whole. All else goes through.
class PartHost : public TestHost
{
public:
    PartHost(TestHost& host, double from, double to) : m_host(host), m_from(from), m_to(to) {}
    void progress(int percent) override
    {
        m_host.progress(static_cast<int>(m_from + (m_to - m_from) * percent / 100));
    }
    bool stopRequested() override { return m_host.stopRequested(); }
    void fault(Fault const& fault) override { m_host.fault(fault); }
    void warning(Report const& report) override { m_host.warning(report); }
    void problem(Report const& report) override { m_host.problem(report); }
    void note(Report const& report) override { m_host.note(report); }
    void signOfLife(Report const& report) override { m_host.signOfLife(report); }
    std::string text(LocalText const& text, TextValues const& values) override
    {
        return m_host.text(text, values);
    }

private:
    TestHost& m_host;
    double m_from, m_to;
};

/// `Supplier`: `take(bool fine)` gives a unique_ptr to a region, null when none can be had; a fine one is small.
/// `frames(region)` gives the frame of each of its pages: 0 for one that is not known, fewer when a stop was requested.
/// `Check`: `Outcome check(TestHost&, region)`.
template <typename Supplier, typename Check>
class CoverRun
{
public:
    CoverRun(TestHost& host, Supplier& supplier, CoverGoal goal, Check const& check)
        : m_host(host), m_supplier(supplier), m_goal(goal), m_check(check)
    {}

    /// Everything is given back on return. It ends with the first check that is no Pass: what is broken is known
    /// then, and every further region would tell as much of it.
    Covered run()
    {
        unsigned fruitless = 0;
        for (unsigned round = 0; round < kMostRounds && fruitless < kFruitlessRounds; ++round) {
            std::uint64_t const before = m_tested.size();
            auto const end = oneRound(round > 0);
            if (end != CoverEnd::Short)
                return {end, m_tested.size(), m_outcome};
            bool const few = m_tested.size() - before < std::max<std::uint64_t>(m_goal.m_all / 1000, 1);
            fruitless = few ? fruitless + 1 : 0;
        }
        return {CoverEnd::Short, m_tested.size(), m_outcome};
    }

private:
    using Region = decltype(std::declval<Supplier&>().take(true));
    static constexpr unsigned kMostRounds = 16;
    static constexpr unsigned kFruitlessRounds = 2;
    /// A region with fewer new pages than one in so many is held, not tested: its time would be lost.
    static constexpr std::size_t kWorthwhile = 16;

    CoverEnd oneRound(bool fine)
    {
        std::vector<Region> held;
        for (std::uint64_t pages = 0; pages <= m_goal.m_all;) {
            if (m_host.stopRequested())
                return CoverEnd::Stopped;
            auto region = m_supplier.take(fine);
            if (!region) {
                if (m_host.stopRequested())
                    return CoverEnd::Stopped;
                return fine || !held.empty() ? CoverEnd::Short : CoverEnd::NoRegion;
            }
            auto const frames = m_supplier.frames(*region);
            if (m_host.stopRequested())
                return CoverEnd::Stopped;
            if (frames.empty() || std::ranges::count(frames, 0u) != 0)
                return CoverEnd::NoFrames;
            pages += frames.size();
            auto const fresh = static_cast<std::size_t>(
                std::ranges::count_if(frames, [this](auto frame) { return !m_tested.contains(frame); }));
            if (fresh != 0 && fresh >= frames.size() / kWorthwhile) {
                auto const end = test(*region, frames, fresh);
                if (end != CoverEnd::Short)
                    return end;
            }
            held.push_back(std::move(region));
        }
        return CoverEnd::Short;
    }

    /// Short: go on.
    template <typename Held>
    CoverEnd test(Held& region, std::vector<std::uint64_t> const& before, std::size_t fresh)
    {
        PartHost part(m_host, percent(m_tested.size()), percent(m_tested.size() + fresh));
        m_outcome = m_check(part, region);
        if (m_outcome != Outcome::Pass && m_outcome != Outcome::Fail)
            return CoverEnd::Ended;
        // The kernel may move locked pages, and takes broken ones away: only a frame that was there all the time
        // was tested. A check that failed and was then stopped leaves open what it tested.
        if (!m_host.stopRequested()) {
            auto const after = m_supplier.frames(region);
            for (std::size_t i = 0; i < std::min(before.size(), after.size()); ++i)
                if (before[i] == after[i])
                    m_tested.insert(before[i]);
        }
        if (m_outcome == Outcome::Fail)
            return CoverEnd::Ended;
        if (m_tested.size() >= m_goal.m_wanted)
            return CoverEnd::Reached;
        return CoverEnd::Short;
    }

    double percent(std::uint64_t frames) const
    {
        return std::min(100.0, 100.0 * static_cast<double>(frames) / static_cast<double>(m_goal.m_wanted));
    }

    TestHost& m_host;
    Supplier& m_supplier;
    CoverGoal m_goal;
    Check const& m_check;
    FrameSet m_tested;
    Outcome m_outcome = Outcome::Pass;
};

} // namespace krel5::modules::memory
