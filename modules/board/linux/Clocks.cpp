#include <board/ClockTest.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <sched.h>
#include <string>
#include <thread>
#if defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace krel5::modules::board {
namespace {

double secondsOf(clockid_t clock)
{
    timespec now;
    ::clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double rawSeconds() { return secondsOf(CLOCK_MONOTONIC_RAW); }

/// The least of some: between its two readings this process may lose its processor.
double sleptSeconds()
{
    double least = 1e18;
    for (int i = 0; i < 5; ++i) {
        double const awake = secondsOf(CLOCK_MONOTONIC);
        least = std::min(least, secondsOf(CLOCK_BOOTTIME) - awake);
    }
    return least;
}

/// Keeps the thread that makes it on the processor where it is.
class OneProcessor
{
public:
    OneProcessor()
    {
        int const here = ::sched_getcpu();
        if (here < 0 || ::sched_getaffinity(0, sizeof m_before, m_before.data()) != 0)
            return;
        Set only{};
        CPU_SET_S(static_cast<std::size_t>(here), sizeof only, only.data());
        m_isHeld = ::sched_setaffinity(0, sizeof only, only.data()) == 0;
    }
    ~OneProcessor()
    {
        if (m_isHeld)
            ::sched_setaffinity(0, sizeof m_before, m_before.data());
    }
    OneProcessor(OneProcessor const&) = delete;
    OneProcessor& operator=(OneProcessor const&) = delete;
    bool isHeld() const { return m_isHeld; }

private:
    using Set = std::array<cpu_set_t, 64>; // 65536 processors
    Set m_before{};
    bool m_isHeld = false;
};

/// Where the processor says that they are even, at any frequency and in all its sleeps.
bool hasEvenStamps([[maybe_unused]] MachineFolder const& machine)
{
#if defined(__x86_64__)
    std::string const text = machine.read("proc/cpuinfo", 16u << 20).value_or("");
    return text.find(" constant_tsc ") != text.npos && text.find(" nonstop_tsc ") != text.npos &&
           text.find(" rdtscp ") != text.npos;
#else
    return false;
#endif
}

std::optional<std::uint64_t> stamp()
{
#if defined(__x86_64__)
    unsigned ignored;
    return __rdtscp(&ignored); // behind the instructions before it
#else
    return std::nullopt;
#endif
}

} // namespace

Clocks systemClocks(MachineFolder const& machine)
{
    Clocks clocks;
    clocks.raw = rawSeconds;
    clocks.stamp = [] { return std::optional<std::uint64_t>(); };
    auto const stay = std::make_shared<OneProcessor>();
    clocks.stay = stay;
    if (hasEvenStamps(machine) && stay->isHeld())
        clocks.stamp = stamp;
    clocks.hasRealTime = machine.has("sys/class/rtc/rtc0/since_epoch");
    clocks.slept = sleptSeconds;
    clocks.realTime = [&machine]() -> std::optional<std::int64_t> {
        auto const text = machine.attribute("sys/class/rtc/rtc0/since_epoch");
        auto const seconds = text ? wholeNumber(*text) : std::nullopt;
        return seconds ? std::optional(static_cast<std::int64_t>(*seconds)) : std::nullopt;
    };
    clocks.isShort = [&machine] { return machine.shortage() != 0; };
    clocks.wait = [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); };
    return clocks;
}

} // namespace krel5::modules::board
