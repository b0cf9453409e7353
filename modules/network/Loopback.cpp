#include <network/Loopback.h>

#include <network/Events.h>

#include <common/ErrorText.h>
#include <common/SplitMix.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <vector>

namespace krel5::modules::network {
namespace {

constexpr std::size_t kWindow = 32;       // frames on their way: what the smallest ring of a card holds
constexpr double kLateSeconds = 0.5;      // then it is lost
constexpr double kSilenceSeconds = 2;     // when none has come back at all
constexpr std::uint64_t kMostLost = 1000; // then it is clear
constexpr std::size_t kMostDamageTold = 16;
constexpr std::chrono::milliseconds kStep{10};
constexpr std::size_t kLeastBytes = 46; // of an Ethernet frame's payload; shorter ones are filled up
constexpr std::size_t kLeastWhole = 64; // smallest that is sent: the head and some content
constexpr std::uint64_t kMark = 0x6B72656C6C6F6F70; // in the head of each frame, to know one's own

struct Head
{
    std::uint64_t mark = kMark, run = 0, sequence = 0, bytes = 0;
};
static_assert(sizeof(Head) < kLeastBytes);

class Loopback
{
public:
    Loopback(TestHost& host, std::string const& name, LoopbackSettings const& settings, Wire& wire)
        : m_host(host), m_name(name), m_settings(settings), m_wire(wire), m_most(wire.mostBytes()),
          m_received(m_most + 1)
    {}

    Outcome run()
    {
        double const begin = m_wire.now();
        std::optional<Outcome> const end = exchange();
        double const elapsed = std::max(m_wire.now() - begin, 1e-6);
        if (end && !m_isBad)
            return *end;
        judge(end.has_value());
        double const megabits = 8e-6 * static_cast<double>(m_bytesBack) / elapsed;
        if (!end && m_settings.floorMegabits > 0 && megabits < m_settings.floorMegabits)
            fault(kEventTooSlow, {{"Mbps", number(megabits)}, {"Floor", number(m_settings.floorMegabits)}});
        m_host.note({kEventLoopback,
                     {{"Interface", m_name},
                      {"Back", std::to_string(m_back)},
                      {"Frames", std::to_string(m_next)},
                      {"Bytes", std::to_string(m_bytesBack)},
                      {"Mbps", number(megabits)},
                      {"Foreign", std::to_string(m_foreign)}}});
        return m_isBad ? Outcome::Fail : end.value_or(Outcome::Pass);
    }

private:
    static std::string number(double value)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%.1f", value);
        return text;
    }
    void fault(EventKey key, TextValues values)
    {
        m_isBad = true;
        values.insert(values.begin(), {"Interface", m_name});
        m_host.fault({key, std::move(values)});
    }
    Outcome broken(EventKey key, int error)
    {
        bool const isGone = error == ENODEV || error == ENXIO;
        if (isGone)
            m_host.problem({kEventGone, {{"Interface", m_name}}});
        else
            m_host.problem({key, {{"Interface", m_name}, {"Reason", errorText(error)}}});
        return isGone ? Outcome::NoDevice : Outcome::CannotRun;
    }

    // All lengths that a frame can have, one after the other; no two frames on their way are alike.
    std::size_t sizeOf(std::uint64_t sequence) const
    {
        return kLeastWhole + sequence * 97 % (m_most - kLeastWhole + 1);
    }
    /// What the frame carries; the same for the same run and sequence.
    std::span<std::byte const> content(std::uint64_t sequence)
    {
        std::size_t const size = sizeOf(sequence);
        m_content.resize(m_most + sizeof(std::uint64_t));
        std::uint64_t state = m_settings.seed ^ (sequence * 0x9E3779B97F4A7C15u);
        for (std::size_t at = 0; at < size; at += sizeof state) {
            std::uint64_t const word = wordOf(sequence % 4, state);
            std::memcpy(&m_content[at], &word, sizeof word);
        }
        Head const head{kMark, m_settings.seed, sequence, size};
        std::memcpy(m_content.data(), &head, sizeof head);
        return {m_content.data(), size};
    }
    static std::uint64_t wordOf(std::uint64_t kind, std::uint64_t& state)
    {
        switch (kind) {
        case 0:
            return 0xFFFFFFFF00000000u; // the longest runs, for clock recovery
        case 1:
            return 0xAAAAAAAAAAAAAAAAu; // the most edges
        default:
            return splitMix(state);
        }
    }

    /// Nothing: all was sent, and has come back or is lost.
    std::optional<Outcome> exchange()
    {
        while (m_next < m_settings.frames || !m_sent.empty()) {
            if (m_host.stopRequested())
                return Outcome::Stopped;
            bool isFull = m_sent.size() >= kWindow || m_next >= m_settings.frames;
            if (!isFull) {
                int const error = m_wire.send(content(m_next));
                if (error == 0)
                    m_sent.emplace(m_next++, m_wire.now());
                else if (error == ENOBUFS || error == EAGAIN)
                    isFull = true;
                else
                    return broken(kEventSendFailed, error);
            }
            double const asked = m_wire.now(); // a program that is paused later has not asked in vain
            if (int const error = receive(isFull ? kStep : std::chrono::milliseconds(0)); error != 0)
                return broken(kEventReceiveFailed, error);
            giveUpLateOnes(asked);
            if (m_lost >= kMostLost || isSilent())
                return std::nullopt;
            tellProgress();
        }
        return std::nullopt;
    }

    void tellProgress()
    {
        auto const done = m_next - m_sent.size();
        int const percent = static_cast<int>(100 * done / std::max<std::uint64_t>(m_settings.frames, 1));
        if (percent > m_told)
            m_host.progress(m_told = percent);
    }

    int receive(std::chrono::milliseconds patience)
    {
        for (std::size_t i = 0; i < 2 * kWindow; ++i) {
            Wire::Arrival const one =
                m_wire.receive(m_received, i == 0 ? patience : std::chrono::milliseconds(0));
            if (one.error == EAGAIN)
                return 0;
            if (one.error != 0)
                return one.error;
            take({m_received.data(), std::min(one.size, m_received.size())});
        }
        return 0;
    }

    void take(std::span<std::byte const> payload)
    {
        Head head;
        if (payload.size() >= sizeof head)
            std::memcpy(&head, payload.data(), sizeof head);
        if (payload.size() < sizeof head || head.mark != kMark || head.run != m_settings.seed ||
            head.sequence >= m_next) {
            ++m_foreign; // or so damaged that nobody can tell: then one is lost
            return;
        }
        auto const found = m_sent.find(head.sequence);
        if (found == m_sent.end()) {
            ++m_twice; // or later than anybody waits
            return;
        }
        m_outOfOrder += m_back > 0 && head.sequence < m_highest;
        m_highest = std::max(m_highest, head.sequence);
        m_sent.erase(found);
        ++m_back;
        m_bytesBack += payload.size();
        compare(head.sequence, payload);
    }

    void compare(std::uint64_t sequence, std::span<std::byte const> payload)
    {
        std::span<std::byte const> const wanted = content(sequence);
        auto const [a, b] = std::mismatch(wanted.begin(), wanted.end(), payload.begin(), payload.end());
        if (a == wanted.end() && b == payload.end())
            return;
        if (++m_damaged > kMostDamageTold)
            return;
        auto const hex = [](bool isThere, std::byte const* byte) -> std::string {
            char text[8] = "-"; // cut, or longer than it was
            if (isThere)
                std::snprintf(text, sizeof text, "%02X", std::to_integer<unsigned>(*byte));
            return text;
        };
        fault(kEventDamaged, {{"Frame", std::to_string(sequence)},
                              {"Offset", std::to_string(a - wanted.begin())},
                              {"Sent", hex(a != wanted.end(), std::to_address(a))},
                              {"Received", hex(b != payload.end(), std::to_address(b))}});
    }

    // The oldest stand first.
    void giveUpLateOnes(double now)
    {
        while (!m_sent.empty() && now - m_sent.begin()->second > kLateSeconds) {
            m_sent.erase(m_sent.begin());
            ++m_lost;
        }
        if (m_back == 0 && m_lost > 0 && m_firstLost < 0)
            m_firstLost = now;
    }
    bool isSilent() const
    {
        return m_back == 0 && m_firstLost >= 0 && m_wire.now() - m_firstLost > kSilenceSeconds - kLateSeconds;
    }

    void judge(bool isCutShort)
    {
        if (m_back == 0 && m_lost > 0) {
            fault(kEventNothingBack, {{"Frames", std::to_string(m_next)}});
            return;
        }
        if (m_lost > m_settings.mostLost && !isCutShort)
            fault(kEventLost, {{"Count", std::to_string(m_lost)}, {"Frames", std::to_string(m_next)}});
        if (m_damaged > kMostDamageTold)
            fault(kEventDamagedMore, {{"Count", std::to_string(m_damaged)}});
        if (m_twice > 0)
            fault(kEventTwice, {{"Count", std::to_string(m_twice)}});
        if (m_outOfOrder > 0)
            fault(kEventOutOfOrder, {{"Count", std::to_string(m_outOfOrder)}});
    }

    TestHost& m_host;
    std::string const& m_name;
    LoopbackSettings const& m_settings;
    Wire& m_wire;
    std::size_t const m_most;
    std::vector<std::byte> m_received, m_content;
    std::map<std::uint64_t, double> m_sent; // sequence to when; those on their way
    std::uint64_t m_next = 0, m_back = 0, m_bytesBack = 0, m_highest = 0;
    std::uint64_t m_lost = 0, m_damaged = 0, m_twice = 0, m_outOfOrder = 0, m_foreign = 0;
    double m_firstLost = -1;
    int m_told = -1;
    bool m_isBad = false;
};

} // namespace

Outcome runLoopback(TestHost& host, std::string const& name, LoopbackSettings const& settings, Wire& wire)
{
    return Loopback(host, name, settings, wire).run();
}

} // namespace krel5::modules::network
