#include <common/Workers.h>
#include <cpu/CoreTest.h>
#include <cpu/Events.h>

#include <common/ErrorText.h>
#include <common/Stopwatch.h>

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>

namespace krel5::modules::cpu {
namespace {

struct Wrong
{
    unsigned m_core;
    Kernel const* m_kernel;
    Answer m_actual;      // the first wrong one
    std::uint64_t m_seed; // that it was computed with
    std::uint64_t m_count;
};

/// What the workers found; `m_mutex` guards all of it.
struct Findings
{
    std::mutex m_mutex;
    std::vector<Wrong> m_wrong;
    std::uint64_t m_runs = 0;
    std::optional<std::pair<unsigned, int>> m_unusable; // core, errno

    void add(std::vector<Wrong> const& wrong, std::uint64_t runs)
    {
        std::lock_guard lock(m_mutex);
        m_wrong.insert(m_wrong.end(), wrong.begin(), wrong.end());
        m_runs += runs;
    }
};

class CoreRun
{
public:
    CoreRun(std::vector<Kernel const*> kernels, CpuAffinity& affinity, CoreTestOptions const& options,
            Findings& findings)
        : m_kernels(std::move(kernels)), m_affinity(affinity), m_seconds(options.m_seconds),
          m_seed(options.m_seed), m_findings(findings)
    {}

    std::uint64_t unitsPerCore() const
    {
        return std::max<std::uint64_t>(static_cast<std::uint64_t>(m_seconds * 1000.0), 1);
    }

    /// The work of one thread: pins itself, then passes over the table until its time is up.
    void onCore(unsigned core, WorkerControl& control)
    {
        if (int const error = m_affinity.pin(core); error != 0) {
            std::lock_guard lock(m_findings.m_mutex);
            m_findings.m_unusable = {core, error};
            control.stop();
            return;
        }
        std::vector<Wrong> wrong;
        Stopwatch watch;
        std::uint64_t runs = 0, advanced = 0, seed = m_seed;
        do {
            for (Kernel const* kernel : m_kernels) {
                if (control.stopping())
                    break;
                if (Answer const actual = kernel->m_run(seed); actual != kernel->m_expected)
                    note(wrong, {core, kernel, actual, seed, 1});
                ++runs;
                advance(control, watch.getElapsed(), advanced);
            }
            ++seed;
        } while (!control.stopping() && watch.getElapsed() < m_seconds);
        m_findings.add(wrong, runs);
    }

private:
    void advance(WorkerControl& control, double elapsed, std::uint64_t& advanced) const
    {
        auto const units = std::min(static_cast<std::uint64_t>(elapsed * 1000.0), unitsPerCore());
        control.advance(units - std::exchange(advanced, units));
    }

    static void note(std::vector<Wrong>& wrong, Wrong const& found)
    {
        for (Wrong& known : wrong)
            if (known.m_kernel == found.m_kernel) {
                ++known.m_count;
                return;
            }
        wrong.push_back(found);
    }

    std::vector<Kernel const*> m_kernels;
    CpuAffinity& m_affinity;
    double m_seconds;
    std::uint64_t m_seed;
    Findings& m_findings;
};

std::vector<Kernel const*> runnable(TestHost& host, KernelTable kernels)
{
    std::vector<Kernel const*> chosen;
    std::string left;
    for (Kernel const& kernel : kernels) {
        if (hasFeature(kernel.m_feature))
            chosen.push_back(&kernel);
        else
            left += (left.empty() ? "" : ",") + std::string(kernel.m_name);
    }
    if (!left.empty())
        host.note({kEventKernelsLeftOut, {{"Kernels", left}}});
    return chosen;
}

void reportFindings(TestHost& host, Findings& findings, std::size_t cores, std::size_t kernels)
{
    std::ranges::sort(findings.m_wrong, {}, &Wrong::m_core);
    for (Wrong const& wrong : findings.m_wrong)
        host.fault({kEventWrongAnswer,
                    {{"Core", std::to_string(wrong.m_core)},
                     {"Kernel", wrong.m_kernel->m_name},
                     {"Expected", wrong.m_kernel->m_expected.text()},
                     {"Actual", wrong.m_actual.text()},
                     {"Seed", std::to_string(wrong.m_seed)},
                     {"Count", std::to_string(wrong.m_count)},
                     {"Source", wrong.m_kernel->m_source}}});
    host.note({kEventTested,
               {{"Cores", std::to_string(cores)},
                {"Kernels", std::to_string(kernels)},
                {"Runs", std::to_string(findings.m_runs)}}});
}

} // namespace

void warnOfUntested(TestHost& host, CpuAffinity& affinity, std::size_t usable)
{
    if (std::size_t const online = affinity.online(); online > usable)
        host.warning(
            {kEventNotAllUsable, {{"Cores", std::to_string(usable)}, {"Online", std::to_string(online)}}});
}

Outcome runCoreTest(TestHost& host, KernelTable kernels, CpuAffinity& affinity,
                    CoreTestOptions const& options)
{
    std::vector<unsigned> const cores = affinity.usable();
    auto const chosen = runnable(host, kernels);
    if (cores.empty() || chosen.empty()) {
        host.problem({kEventNothingToRun,
                      {{"Cores", std::to_string(cores.size())}, {"Kernels", std::to_string(chosen.size())}}});
        return Outcome::CannotRun;
    }
    warnOfUntested(host, affinity, cores.size());
    Findings findings;
    host.note({kEventSeed, {{"Seed", std::to_string(options.m_seed)}}});
    CoreRun run(chosen, affinity, options, findings);
    bool finished = true;
    if (options.m_allAtOnce) {
        auto const count = static_cast<unsigned>(cores.size());
        finished =
            runWorkers(host, count, count * run.unitsPerCore(),
                       [&](unsigned worker, WorkerControl& control) { run.onCore(cores[worker], control); });
    }
    for (std::size_t i = 0; !options.m_allAtOnce && finished && !findings.m_unusable && i < cores.size();
         ++i) {
        ProgressSpan const span{static_cast<int>(100 * i / cores.size()),
                                static_cast<int>(100 * (i + 1) / cores.size())};
        finished = runWorkers(
            host, 1, run.unitsPerCore(),
            [&](unsigned, WorkerControl& control) { run.onCore(cores[i], control); }, span);
    }
    reportFindings(host, findings, cores.size(), chosen.size());
    if (findings.m_unusable) {
        host.problem({kEventCoreNotUsable,
                      {{"Core", std::to_string(findings.m_unusable->first)},
                       {"Reason", errorText(findings.m_unusable->second)}}});
        return findings.m_wrong.empty() ? Outcome::CannotRun : Outcome::Fail;
    }
    if (!findings.m_wrong.empty())
        return Outcome::Fail;
    return finished ? Outcome::Pass : Outcome::Stopped;
}

} // namespace krel5::modules::cpu
