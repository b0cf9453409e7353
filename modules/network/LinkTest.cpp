#include <network/LinkTest.h>

#include <network/Events.h>
#include <network/Texts.h>

#include <common/ErrorText.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace krel5::modules::network {
namespace {

constexpr std::chrono::milliseconds kStep{20}; // between two looks whether a stop was asked for
constexpr double kBetweenReads = 0.2;
constexpr std::uint64_t kNoMoreHalf = 100; // Mbit/s from which both ends can full duplex

std::string seconds(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

std::uint64_t rise(std::optional<std::uint64_t> before, std::optional<std::uint64_t> after)
{
    if (!before || !after)
        return 0;
    return *after >= *before ? *after - *before : *after; // a driver that begins anew counts from zero
}

bool isIncoming(char const* counter) { return std::string_view(counter).starts_with("rx_"); }

class LinkTest
{
public:
    LinkTest(TestHost& host, std::string const& name, LinkSettings const& settings,
             InterfaceAccess const& access)
        : m_host(host), m_name(name), m_settings(settings), m_access(access)
    {}

    Outcome run()
    {
        if (auto const outcome = waitForLink())
            return *outcome;
        judgeMode();
        tellOfTheLink();
        tellOfEarlierErrors();
        std::optional<Outcome> const end = watch();
        judgeCounts();
        if (m_isBad)
            return Outcome::Fail;
        return end ? *end : Outcome::Pass;
    }

private:
    using Values = std::vector<std::pair<std::string, std::string>>;

    Values with(Values more) const
    {
        more.insert(more.begin(), {"Interface", m_name});
        return more;
    }
    void fault(EventKey key, Values values)
    {
        m_isBad = true;
        m_host.fault({key, with(std::move(values))});
    }
    /// Of a radio nobody knows whether the card is to blame.
    void faultOfTheLine(EventKey key, Values values)
    {
        if (m_first.isRadio)
            m_host.warning({key, with(std::move(values))});
        else
            fault(key, std::move(values));
    }
    std::string speed(LinkState const& state) const
    {
        return state.megabits ? std::to_string(*state.megabits) : m_host.text(kTextUnknown);
    }

    /// Of an interface that could not be read.
    Outcome notRead(int error)
    {
        if (error == ENODEV) {
            m_host.problem({kEventGone, with({})});
            return Outcome::NoDevice;
        }
        m_host.problem({kEventNotRead, with({{"Reason", errorText(error)}})});
        return error == EACCES || error == EPERM ? Outcome::InsufficientPrivilege : Outcome::CannotRun;
    }

    /// Nothing: there is one.
    std::optional<Outcome> waitForLink()
    {
        double const begin = m_access.now();
        for (bool isTold = false;; isTold = true) {
            m_first = m_access.read();
            if (m_first.error != 0)
                return notRead(m_first.error);
            if (!m_first.isUp) {
                m_host.problem({kEventDown, with({})});
                return Outcome::CannotRun;
            }
            if (m_first.hasCarrier)
                return std::nullopt;
            if (!isTold)
                m_host.signOfLife({kEventWaiting, with({{"Seconds", seconds(m_settings.patience)}})});
            for (double const read = m_access.now(); m_access.now() - read < kBetweenReads;) {
                if (m_host.stopRequested())
                    return Outcome::Stopped;
                m_access.wait(kStep);
            }
            if (m_access.now() - begin >= m_settings.patience)
                break;
        }
        if (m_settings.isRequired) {
            fault(kEventNoLink, {{"Seconds", seconds(m_settings.patience)}});
            return Outcome::Fail;
        }
        m_host.problem({kEventNoLink, with({{"Seconds", seconds(m_settings.patience)}})});
        return Outcome::CannotRun;
    }

    void judgeMode()
    {
        auto const common = m_access.ask().common;
        if (!m_first.megabits)
            return;
        std::uint64_t const megabits = *m_first.megabits;
        if (common && megabits < *common)
            fault(kEventSlow, {{"Mbps", speed(m_first)}, {"Common", std::to_string(*common)}});
        if (megabits < m_settings.leastMegabits)
            fault(kEventBelowFloor,
                  {{"Mbps", speed(m_first)}, {"Floor", std::to_string(m_settings.leastMegabits)}});
        if (m_first.duplex == Duplex::Half && megabits >= kNoMoreHalf && !m_settings.mayBeHalfDuplex)
            fault(kEventHalfDuplex, {{"Mbps", speed(m_first)}});
    }

    void tellOfTheLink()
    {
        LocalText const& duplex = m_first.duplex == Duplex::Full   ? kTextFull
                                  : m_first.duplex == Duplex::Half ? kTextHalf
                                                                   : kTextUnknown;
        m_host.note({kEventLink, with({{"Mbps", speed(m_first)}, {"Duplex", m_host.text(duplex)}})});
    }

    void tellOfEarlierErrors()
    {
        for (std::size_t i = 0; i < kCounterCount; ++i)
            if (kCounters[i].kind == CounterKind::Line && m_first.counts[i].value_or(0) > 0)
                m_host.warning({kEventEarlierErrors, with({{"Counter", kCounters[i].name},
                                                           {"Count", std::to_string(*m_first.counts[i])},
                                                           {"Frames", std::to_string(m_first.frames)}})});
    }

    /// Nothing: to the end of its time.
    std::optional<Outcome> watch()
    {
        m_last = m_first;
        m_mode = m_first.megabits;
        double const begin = m_access.now();
        double read = begin;
        for (double now = begin; now - begin < m_settings.seconds; now = m_access.now()) {
            if (m_host.stopRequested())
                return Outcome::Stopped;
            m_host.progress(static_cast<int>(100 * (now - begin) / m_settings.seconds));
            if (now - read >= kBetweenReads) {
                read = now;
                if (auto const end = look())
                    return end;
            }
            m_access.wait(kStep);
        }
        if (auto const end = look())
            return end;
        if (m_first.isRadio &&
            !m_last.hasCarrier) { // a warning has told of the loss, and nothing was seen since
            m_host.problem({kEventNoLink, with({{"Seconds", seconds(m_settings.seconds)}})});
            return Outcome::CannotRun;
        }
        if (m_last.frames == m_first.frames && !m_isBad)
            m_host.warning({kEventNoTraffic, with({{"Seconds", seconds(m_settings.seconds)}})});
        m_host.note(
            {kEventWatched,
             with({{"Seconds", seconds(m_settings.seconds)},
                   {"Frames", std::to_string(m_last.frames - std::min(m_last.frames, m_first.frames))}})});
        return std::nullopt;
    }

    std::optional<Outcome> look()
    {
        LinkState const now = m_access.read();
        if (now.error != 0)
            return notRead(now.error);
        if (!now.isUp) { // somebody switched it off
            m_host.problem({kEventDown, with({})});
            return Outcome::CannotRun;
        }
        std::uint64_t losses = rise(m_last.losses, now.losses);
        if (losses == 0 && m_last.hasCarrier && !now.hasCarrier)
            losses = 1;
        if (losses > 0)
            faultOfTheLine(kEventLinkLost, {{"Count", std::to_string(losses)}});
        if (now.hasCarrier && now.megabits && m_mode != now.megabits) {
            if (m_mode)
                faultOfTheLine(kEventLinkChanged,
                               {{"Before", std::to_string(*m_mode)}, {"Mbps", speed(now)}});
            m_mode = now.megabits;
        }
        m_last = now;
        return std::nullopt;
    }

    void judgeCounts()
    {
        std::uint64_t const frames = rise(m_first.frames, m_last.frames);
        std::uint64_t line = 0, in = 0, out = 0; // what has a counter of its own
        std::vector<std::pair<char const*, std::uint64_t>> bad;
        for (std::size_t i = 0; i < kCounterCount; ++i) {
            std::uint64_t const count = rise(m_first.counts[i], m_last.counts[i]);
            if (count == 0)
                continue;
            CounterName const& counter = kCounters[i]; // the sums stand last
            bool const isSum =
                counter.kind == CounterKind::ReceiveSum || counter.kind == CounterKind::TransmitSum;
            std::uint64_t& known = isIncoming(counter.name) ? in : out;
            std::uint64_t const more = isSum ? count - std::min(count, known) : count;
            known += isSum ? 0 : count;
            if (more == 0)
                continue;
            if (counter.kind == CounterKind::Line || isSum) {
                line += more;
                bad.emplace_back(counter.name, more);
            } else {
                m_host.warning({counter.kind == CounterKind::Overload ? kEventOverload : kEventOddFrames,
                                with(counted(counter.name, count, frames))});
            }
        }
        for (auto const& [name, count] : bad) {
            if (line > m_settings.mostErrors)
                faultOfTheLine(kEventErrors, counted(name, count, frames));
            else
                m_host.warning({kEventErrors, with(counted(name, count, frames))});
        }
    }
    Values counted(char const* name, std::uint64_t count, std::uint64_t frames) const
    {
        return {{"Counter", name}, {"Count", std::to_string(count)}, {"Frames", std::to_string(frames)}};
    }

    TestHost& m_host;
    std::string const& m_name;
    LinkSettings const& m_settings;
    InterfaceAccess const& m_access;
    LinkState m_first, m_last;
    std::optional<std::uint64_t> m_mode; // Mbit/s, as last known
    bool m_isBad = false;
};

} // namespace

Outcome runLinkTest(TestHost& host, std::string const& name, LinkSettings const& settings,
                    InterfaceAccess const& access)
{
    return LinkTest(host, name, settings, access).run();
}

} // namespace krel5::modules::network
