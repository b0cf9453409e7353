#include <cpu/load/LoadTest.h>

#include <common/Decimals.h>
#include <common/ErrorText.h>
#include <common/Stopwatch.h>
#include <common/Workers.h>
#include <cpu/CoreTest.h>
#include <cpu/Events.h>
#include <cpu/load/LoadWatch.h>
#include <cpu/load/MatrixProduct.h>

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>

namespace krel5::modules::cpu {
namespace {

constexpr double kBetweenLooks = 1; // seconds
constexpr int kSaturations = 64;    // between two looks at the clock

struct Wrong
{
    unsigned core;
    WrongElement element;
    std::uint64_t seed;
};

class LoadRun
{
public:
    LoadRun(TestHost& host, CpuAffinity& affinity, MachineFolder const& machine, LoadOptions const& options)
        : m_host(host), m_affinity(affinity), m_options(options), m_cores(affinity.usable()), m_watch(machine)
    {}

    Outcome run()
    {
        if (m_cores.empty()) {
            m_host.problem({kEventNothingToRun, {{"Cores", "0"}, {"Kernels", "1"}}});
            return Outcome::CannotRun;
        }
        warnOfUntested(m_host, m_affinity, m_cores.size());
        m_host.note({kEventSeed, {{"Seed", std::to_string(m_options.m_seed)}}});
        auto const count = static_cast<unsigned>(m_cores.size());
        // What the machine shows is read by a thread beside, which mostly sleeps.
        bool const isWhole =
            runWorkers(m_host, count, count * kUnits,
                       [this](unsigned worker, WorkerControl& control) { showPeak(worker, control); },
                       {0, 0}) &&
            !m_unusable &&
            runWorkers(m_host, count + 1, count * kUnits,
                       [this, count](unsigned worker, WorkerControl& control) {
                           if (worker == count)
                               watch(control);
                           else
                               multiply(worker, control);
                       });
        report();
        if (m_unusable) {
            m_host.problem(
                {kEventCoreNotUsable,
                 {{"Core", std::to_string(m_unusable->first)}, {"Reason", errorText(m_unusable->second)}}});
            return m_wrong.empty() ? Outcome::CannotRun : Outcome::Fail;
        }
        if (!m_wrong.empty())
            return Outcome::Fail;
        return isWhole ? Outcome::Pass : Outcome::Stopped;
    }

private:
    static constexpr std::uint64_t kUnits = 1000; // of progress, of one core

    bool pin(unsigned worker, WorkerControl& control)
    {
        int const error = m_affinity.pin(m_cores[worker]);
        if (error == 0)
            return true;
        std::lock_guard<std::mutex> const guard(m_mutex);
        m_unusable = {m_cores[worker], error};
        control.stop();
        return false;
    }

    void showPeak(unsigned worker, WorkerControl& control)
    {
        if (!pin(worker, control))
            return;
        MatrixKernel const kernel = m_options.m_kernelOf(m_cores[worker]);
        Stopwatch const clock;
        std::uint64_t operations = 0;
        do {
            for (int i = 0; i < kSaturations; ++i)
                operations += kernel.saturate();
        } while (!control.stopping() && clock.getElapsed() < m_options.m_peakSeconds);
        std::lock_guard<std::mutex> const guard(m_mutex);
        m_peak += static_cast<double>(operations) / clock.getElapsed();
    }

    void multiply(unsigned worker, WorkerControl& control)
    {
        unsigned const core = m_cores[worker];
        if (!pin(worker, control))
            return;
        // Cores never share operands, and a seed that is named begins a run with them: seeds of one core follow each other.
        MatrixProduct product(m_options.m_kernelOf(core), m_options.m_seed + (std::uint64_t{core} << 40));
        Stopwatch const clock;
        std::uint64_t products = 0, told = 0, count = 0;
        std::optional<Wrong> wrong;
        do {
            product.draw();
            if (!product.multiply([&control] { return control.stopping(); }))
                break;
            if (auto const found = product.firstWrong()) {
                count += found->count;
                if (!wrong)
                    wrong = Wrong{core, *found, product.seed() - (std::uint64_t{core} << 40)};
            }
            ++products;
            auto const units = std::min(
                static_cast<std::uint64_t>(clock.getElapsed() / m_options.m_seconds * kUnits), kUnits);
            control.advance(units - std::exchange(told, units));
        } while (!control.stopping() && clock.getElapsed() < m_options.m_seconds);
        std::lock_guard<std::mutex> const guard(m_mutex);
        m_rate += static_cast<double>(products * MatrixProduct::kOperations) / clock.getElapsed();
        m_products += products;
        ++m_ended;
        if (wrong) {
            wrong->element.count = count;
            m_wrong.push_back(*wrong);
        }
    }

    bool areAllDone()
    {
        std::lock_guard<std::mutex> const guard(m_mutex);
        return m_ended == m_cores.size();
    }

    void watch(WorkerControl& control)
    {
        Stopwatch const clock;
        for (double looked = -kBetweenLooks; !control.stopping() && !areAllDone();) {
            if (clock.getElapsed() - looked >= kBetweenLooks) {
                looked = clock.getElapsed();
                m_watch.look();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    void report()
    {
        std::sort(m_wrong.begin(), m_wrong.end(),
                  [](Wrong const& a, Wrong const& b) { return a.core < b.core; });
        for (Wrong const& one : m_wrong)
            m_host.fault({kEventLoadWrong,
                          {{"Core", std::to_string(one.core)},
                           {"Row", std::to_string(one.element.row)},
                           {"Column", std::to_string(one.element.column)},
                           {"Expected", std::to_string(one.element.expected)},
                           {"Actual", decimals(one.element.actual, 3)},
                           {"Seed", std::to_string(one.seed)},
                           {"Count", std::to_string(one.element.count)}}});
        for (Seen const& one : m_watch.seen())
            m_host.note({kEventLoadSeen,
                         {{"What", one.what},
                          {"First", decimals(one.first, 0)},
                          {"Least", decimals(one.least, 0)},
                          {"Most", decimals(one.most, 0)},
                          {"Last", decimals(one.last, 0)},
                          {"Unit", one.unit}}});
        if (m_products > 0 && m_peak > 0)
            m_host.note({kEventLoadRate,
                         {{"Rate", decimals(m_rate / 1e9, 1)},
                          {"Peak", decimals(m_peak / 1e9, 1)},
                          {"Share", decimals(100 * m_rate / m_peak, 0)},
                          {"Kind", m_options.m_kernelOf(m_cores[0]).name},
                          {"Cores", std::to_string(m_cores.size())},
                          {"Products", std::to_string(m_products)}}});
    }

    TestHost& m_host;
    CpuAffinity& m_affinity;
    LoadOptions const& m_options;
    std::vector<unsigned> const m_cores;
    LoadWatch m_watch; // the thread's beside, while there are any

    std::mutex m_mutex; // guards what follows while there are threads
    std::vector<Wrong> m_wrong;
    std::optional<std::pair<unsigned, int>> m_unusable; // core, errno
    double m_peak = 0, m_rate = 0;                      // floating-point operations a second, of all cores
    std::uint64_t m_products = 0;
    std::size_t m_ended = 0;
};

} // namespace

Outcome runLoadTest(TestHost& host, CpuAffinity& affinity, MachineFolder const& machine,
                    LoadOptions const& options)
{
    return LoadRun(host, affinity, machine, options).run();
}

} // namespace krel5::modules::cpu
