#include <sensors/Scanner.h>

#include <sensors/BackgroundThread.h>
#include <sensors/DeviceEvents.h>
#include <sensors/DriveHealth.h>
#include <sensors/ObservedRoot.h>

#include <zel/enumerator/Enumerator.h>
#include <zel/foundation/Logger.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace krel5::modules::sensors {

namespace {

using C = zel::CapabilityImp;

zel::Logger& logger() { return zel::LogFactory::getLogger("sensors"); }

} // namespace

zel::CapabilityImp const& watchedCapabilities()
{
    static C const s_all = [] {
        C all = C::TempSensor() | C::VoltSensor() | C::Fan() | C::ThermalZone() | C::Battery() |
                C::PowerSupply() | C::System() | C::CPU() | C::Memory() | C::MemoryChip() | C::HardDrive() |
                C::RAID() | C::NetworkCard();
        for (char const* word :
             {"CurrentSensor", "PowerSensor", "EnergySensor", "HumiditySensor", "MemoryErrorCounter"})
            all |= C(zel::String(word));
        return all;
    }();
    return s_all;
}

struct Scanner::State
{
    using Clock = std::chrono::steady_clock;

    State(std::string const& root, std::chrono::milliseconds longest, int socket)
        : files(root), deadline(longest),
          events(socket >= 0 ? DeviceEvents(socket) : DeviceEvents(files.isLive()))
    {}

    MachineFiles const files;
    std::chrono::milliseconds const deadline;
    DeviceEvents events; ///< from before the first look: what comes meanwhile is not missed
    std::shared_ptr<Whereabouts> const where = std::make_shared<Whereabouts>();
    std::mutex lock;
    std::condition_variable done;
    std::shared_ptr<Found const> found;     ///< not taken yet
    std::optional<Clock::time_point> since; ///< a look has been going on
    bool isOver = false;

    void setSince(std::optional<Clock::time_point> time)
    {
        std::lock_guard const guard(lock);
        since = time;
    }

    void scan()
    {
        auto next = std::make_shared<Found>();
        zel::Enumerator::instance().findDevices(watchedCapabilities(), next->devices);
        for (std::size_t i = 0; i < next->devices.deviceCount(); ++i)
            for (auto const& make : {&partOf, &healthPartOf})
                if (auto part = make(*next->devices.deviceAtIndex(i), files))
                    next->parts.push_back(std::move(part));
        std::lock_guard const guard(lock);
        found = std::move(next);
        done.notify_all();
    }

    void follow(std::chrono::milliseconds interval)
    {
        for (;;) {
            auto const begin = Clock::now();
            setSince(begin);
            try {
                scan();
            } catch (std::exception const& e) { // memory is short: the next look may do better
                ZEL_LOG(logger(), zel::LogLevel::Error) << "devices could not be looked for: " << e.what();
            }
            setSince(std::nullopt);
            constexpr int kShare =
                10; // a device that comes and goes all the time costs a tenth of a processor
            auto const end = Clock::now();
            events.wait(interval);
            std::this_thread::sleep_until(
                end + std::min<Clock::duration>(
                          interval, std::max<Clock::duration>(kLeastRest, kShare * (end - begin))));
            std::lock_guard const guard(lock);
            if (isOver)
                return;
        }
    }
};

Scanner::Scanner(std::string const& root, std::chrono::milliseconds interval, Double instead)
    : m_state(std::make_shared<State>(root, instead.deadline, instead.events))
{
    zel::Enumerator::instance().setModulesFolder(
        ""); // programs that are started at every look cost more than all that is read
    if (auto opened = instead.root ? std::move(instead.root) : zel::Root::open(root))
        zel::Enumerator::instance().setRoot(
            std::make_unique<ObservedRoot>(std::move(opened), m_state->where));
    else
        zel::Enumerator::instance().setRoot(root); // which says why not
    if (!startInBackground([state = m_state, interval] { state->follow(interval); }))
        m_state->scan(); // once, then: nothing comes or goes
}

Scanner::~Scanner()
{
    std::lock_guard const guard(m_state->lock);
    m_state->isOver = true;
}

std::shared_ptr<Scanner::Found const> Scanner::take(std::chrono::milliseconds patience)
{
    std::unique_lock guard(m_state->lock);
    m_state->done.wait_for(guard, patience, [this] { return m_state->found != nullptr; });
    return std::exchange(m_state->found, nullptr);
}

std::string Scanner::stuck() const
{
    std::lock_guard const guard(m_state->lock);
    auto const now = State::Clock::now();
    if (!m_state->since || now - *m_state->since < m_state->deadline)
        return "";
    auto const where = m_state->where->place();
    bool const isThere = now - where.since >= m_state->deadline / 2;
    return isThere ? "/" + where.path + ": no answer" : "the machine answers slowly, last at /" + where.path;
}

} // namespace krel5::modules::sensors
