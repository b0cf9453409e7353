#include <board/NoiseTest.h>

#include <board/Events.h>

#include <common/ErrorText.h>
#include <common/Stopwatch.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <optional>

namespace krel5::modules::board {
namespace {

constexpr unsigned kAlarmBits = 40;       // -log2 of the chance of a false alarm, 20 to 40 in the publication
constexpr std::size_t kLeastBytes = 1024; // as many as a start-up test takes
constexpr std::size_t kPiece = 4096;
constexpr std::size_t kBlock =
    16; // bytes; that two of a source agree by chance is rarer than any alarm of its entropy

std::string byteText(unsigned byte)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%02X", byte);
    return text;
}

/// Each block is compared with one before: the first, second, fourth, eighth and so on, each until the next is reached. So any cycle is
/// found that begins in the first half, when three of it were drawn at the latest (R. P. Brent, "An improved Monte Carlo factorization
/// algorithm", 1980).
class CycleTest
{
public:
    /// After how many bytes the source came to the same again; nothing while it has not.
    std::optional<std::uint64_t> take(std::uint8_t byte)
    {
        m_block[m_filled++] = byte;
        if (m_filled < kBlock)
            return std::nullopt;
        m_filled = 0;
        ++m_count;
        if (m_count > 1 && m_block == m_kept)
            return (m_count - m_keptAt) * kBlock;
        if (std::has_single_bit(m_count)) {
            m_kept = m_block;
            m_keptAt = m_count;
        }
        return std::nullopt;
    }

private:
    std::array<std::uint8_t, kBlock> m_block{}, m_kept{};
    std::size_t m_filled = 0;
    std::uint64_t m_count = 0, m_keptAt = 0; // blocks
};

/// All tests, byte by byte.
class HealthTests
{
public:
    explicit HealthTests(unsigned entropy)
        : m_mostInARow(mostInARow(entropy)), m_mostInAWindow(mostInAWindow(entropy))
    {}

    /// Why it has failed; nothing while it has not.
    std::optional<Fault> take(std::uint8_t byte, std::string const& source)
    {
        m_inARow = m_count > 0 && byte == m_last ? m_inARow + 1 : 1;
        m_last = byte;
        ++m_count;
        if (m_inARow >= m_mostInARow)
            return Fault{
                kEventNoiseRepeats,
                {{"Source", source}, {"Byte", byteText(byte)}, {"Most", std::to_string(m_mostInARow - 1)}}};
        if (m_inWindow == 0) {
            m_watched = byte;
            m_seen = 0;
        }
        m_seen += byte == m_watched;
        m_inWindow = (m_inWindow + 1) % kNoiseWindow;
        if (m_seen >= m_mostInAWindow)
            return Fault{kEventNoiseUneven,
                         {{"Source", source},
                          {"Byte", byteText(byte)},
                          {"Most", std::to_string(m_mostInAWindow - 1)},
                          {"Window", std::to_string(kNoiseWindow)}}};
        if (auto const cycle = m_cycle.take(byte))
            return Fault{kEventNoiseCycle, {{"Source", source}, {"Bytes", std::to_string(*cycle)}}};
        return std::nullopt;
    }
    std::size_t count() const { return m_count; }

private:
    unsigned const m_mostInARow, m_mostInAWindow; // from there on it has failed
    std::size_t m_count = 0;
    unsigned m_inARow = 0, m_inWindow = 0, m_seen = 0;
    std::uint8_t m_last = 0, m_watched = 0;
    CycleTest m_cycle;
};

/// Of one source. Nothing: it has failed.
std::optional<Outcome> judge(TestHost& host, NoiseSource const& source, NoiseSettings const& settings,
                             std::function<void(double)> const& progress)
{
    if (source.error != 0) {
        host.problem({kEventNoiseRefused, {{"Source", source.name}, {"Reason", errorText(source.error)}}});
        return source.error == EACCES || source.error == EPERM ? Outcome::InsufficientPrivilege
                                                               : Outcome::CannotRun;
    }
    HealthTests tests(settings.entropy);
    Stopwatch const clock;
    std::array<std::uint8_t, kPiece> piece;
    while (tests.count() < settings.bytes && clock.getElapsed() < settings.seconds) {
        if (host.stopRequested())
            return Outcome::Stopped;
        progress(std::max(static_cast<double>(tests.count()) / static_cast<double>(settings.bytes),
                          clock.getElapsed() / settings.seconds));
        auto const wanted = std::min(piece.size(), settings.bytes - tests.count());
        auto const reading = source.read({piece.data(), wanted});
        if (reading.state == NoiseSource::State::Failed) {
            host.fault({kEventNoiseFails, {{"Source", source.name}, {"Reason", reading.reason}}});
            return std::nullopt;
        }
        for (std::size_t i = 0; i < std::min(reading.bytes, wanted); ++i)
            if (auto const fault = tests.take(piece[i], source.name)) {
                host.fault(*fault);
                return std::nullopt;
            }
    }
    if (tests.count() < std::min(settings.bytes, kLeastBytes)) {
        host.problem({kEventNoiseSlow, {{"Source", source.name}, {"Bytes", std::to_string(tests.count())}}});
        return Outcome::CannotRun;
    }
    host.note({kEventNoise, {{"Source", source.name}, {"Bytes", std::to_string(tests.count())}}});
    return Outcome::Pass;
}

} // namespace

unsigned mostInARow(unsigned entropy) { return 1 + (kAlarmBits + entropy - 1) / entropy; }

// 1 + the least count that at most 2^-40 of all windows go beyond, of a byte that comes with the chance 2^-entropy.
unsigned mostInAWindow(unsigned entropy)
{
    double const p = std::exp2(-static_cast<double>(entropy)),
                 alarm = std::exp2(-static_cast<double>(kAlarmBits));
    double tail = 0; // from the far end, so that what is small is not lost
    for (unsigned k = kNoiseWindow; k > 0; --k) {
        double const logarithm = std::lgamma(kNoiseWindow + 1.0) - std::lgamma(k + 1.0) -
                                 std::lgamma(kNoiseWindow - k + 1.0) + k * std::log(p) +
                                 (kNoiseWindow - k) * std::log1p(-p);
        tail += std::exp(logarithm);
        if (tail > alarm)
            return k + 1;
    }
    return 1;
}

Outcome runNoiseTest(TestHost& host, std::vector<NoiseSource> const& sources, NoiseSettings const& settings)
{
    if (sources.empty()) {
        host.problem({kEventNoiseNone, {}});
        return Outcome::NotSupported;
    }
    bool isBad = false;
    Outcome whole = Outcome::Pass;
    double done = 0;
    for (NoiseSource const& source : sources) {
        auto const progress = [&](double share) {
            host.progress(
                static_cast<int>(100 * (done + std::min(share, 1.0)) / static_cast<double>(sources.size())));
        };
        auto const outcome = judge(host, source, settings, progress);
        isBad |= !outcome;
        if (outcome == Outcome::Stopped)
            return isBad ? Outcome::Fail : Outcome::Stopped;
        if (outcome && *outcome != Outcome::Pass)
            whole = *outcome;
        ++done;
    }
    return isBad ? Outcome::Fail : whole;
}

} // namespace krel5::modules::board
