#include <sensors/Scanner.h>

#include <sensors/BackgroundThread.h>
#include <sensors/DeviceEvents.h>

#include <zel/enumerator/Enumerator.h>
#include <zel/foundation/Logger.h>

#include <condition_variable>
#include <mutex>

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
    explicit State(std::string const& root) : files(root), isLive(root == "/") {}

    MachineFiles const files;
    bool const isLive;
    std::mutex lock;
    std::condition_variable done;
    std::shared_ptr<Found const> found; ///< not taken yet
    bool isOver = false;

    void scan()
    {
        auto next = std::make_shared<Found>();
        zel::Enumerator::instance().findDevices(watchedCapabilities(), next->devices);
        for (std::size_t i = 0; i < next->devices.deviceCount(); ++i)
            if (auto part = partOf(*next->devices.deviceAtIndex(i), files))
                next->parts.push_back(std::move(part));
        std::lock_guard const guard(lock);
        found = std::move(next);
        done.notify_all();
    }

    void follow(std::chrono::milliseconds interval)
    {
        DeviceEvents events(isLive); // before the first look: what comes meanwhile is not missed
        for (;;) {
            try {
                scan();
            } catch (std::exception const& e) { // memory is short: the next look may do better
                ZEL_LOG(logger(), zel::LogLevel::Error) << "devices could not be looked for: " << e.what();
            }
            events.wait(interval);
            std::lock_guard const guard(lock);
            if (isOver)
                return;
        }
    }
};

Scanner::Scanner(std::string const& root, std::chrono::milliseconds interval)
    : m_state(std::make_shared<State>(root))
{
    zel::Enumerator::instance().setModulesFolder(
        ""); // programs that are started at every look cost more than all that is read
    zel::Enumerator::instance().setRoot(root);
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

} // namespace krel5::modules::sensors
