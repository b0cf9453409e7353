#include <storage/smart/DriveCounts.h>

#include <storage/Events.h>
#include <storage/Texts.h>

#include <common/smart/SmartProgram.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace krel5::modules::storage {
namespace {

// Replaced, not corrected, waiting, unreadable, damaged on the way: they mean this with nearly all makers of drives.
constexpr std::array kAttributes{5, 187, 197, 198, 199};

struct Count
{
    std::string what;
    std::optional<std::uint64_t> number;
    bool isLoss = false; ///< by the definition of a standard, not by a maker's custom
};

std::vector<Count> countsOf(TestHost& host, SmartReport const& report)
{
    std::vector<Count> counts;
    for (SmartAttribute const& one : report.m_attributes)
        if (std::find(kAttributes.begin(), kAttributes.end(), one.m_id) != kAttributes.end())
            counts.push_back({one.m_name + " (" + std::to_string(one.m_id) + ")", one.m_count});
    counts.push_back({host.text(kTextMediaErrors), report.m_mediaErrors, true});
    counts.push_back({host.text(kTextUncorrectedErrors), report.m_uncorrected, true});
    counts.push_back({host.text(kTextGrownDefects), report.m_grownDefects});
    counts.push_back({host.text(kTextErrorLogEntries), report.m_errorLogEntries});
    return counts;
}

} // namespace

DriveReports driveReports(std::string const& device, std::string const& program)
{
    return [device, program](std::function<bool()> const& stopping) -> std::optional<SmartReport> {
        if (program.empty() || !device.starts_with('/'))
            return std::nullopt;
        // A drive that fails may be long in answering: its test says more than these counts.
        ChildLimits limits;
        limits.m_seconds = 10;
        limits.m_secondsToDie = 1;
        ChildResult const child =
            runChild(smartWords(program, device, "", true, {"-A", "-l", "error"}), limits, stopping);
        SmartReport report = parseSmartReport(child.m_output);
        return child.m_end == ChildResult::End::Exited && report.m_readable ? std::optional(std::move(report))
                                                                            : std::nullopt;
    };
}

Outcome besideDriveCounts(TestHost& host, DriveReports const& reports, std::function<Outcome()> const& test)
{
    auto const isStopped = [&host] { return host.stopRequested(); };
    auto const before = reports(isStopped);
    Outcome outcome = test();
    auto const after =
        before && outcome != Outcome::Stopped && !isStopped() ? reports(isStopped) : std::nullopt;
    if (!after)
        return outcome;
    auto const then = countsOf(host, *before);
    for (Count const& now : countsOf(host, *after)) {
        auto const was =
            std::find_if(then.begin(), then.end(), [&now](Count const& one) { return one.what == now.what; });
        if (was == then.end() || !was->number || !now.number || *now.number <= *was->number)
            continue;
        TextValues const values{{"What", now.what}, {"Count", std::to_string(*now.number - *was->number)}};
        if (now.isLoss) {
            host.fault({kEventSmartLostMore, values});
            outcome = Outcome::Fail;
        } else {
            host.warning({kEventSmartCountRose, values});
        }
    }
    return outcome;
}

} // namespace krel5::modules::storage
