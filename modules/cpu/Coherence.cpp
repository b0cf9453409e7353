#include <common/Workers.h>
#include <cpu/Coherence.h>
#include <cpu/CoreTest.h>
#include <cpu/Events.h>
#include <cpu/Texts.h>

#include <common/ErrorText.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <optional>
#include <thread>

namespace krel5::modules::cpu {
namespace {

// Two lines, as some processors fetch them in pairs.
constexpr std::size_t kLine = 128;
constexpr std::size_t kPayloadWords = 6;

struct alignas(kLine) Line
{
    std::atomic<std::uint64_t> m_sequence{0};
    std::array<std::atomic<std::uint64_t>, kPayloadWords> m_payload{};
};

struct alignas(kLine) Word
{
    std::atomic<std::uint64_t> m_value{0};
};

/// All that the two threads of one pair share.
struct Arena
{
    Line m_ball[2];                        // [n] is written by thread n
    Word m_round[2];                       // the litmus round that thread n has reached
    Word m_store[2];                       // the litmus stores
    Word m_seen[2];                        // what thread n loaded in its round
    Word m_counter;                        // both count here
    std::atomic<std::uint64_t> m_own[2]{}; // neighbours in one line, each counted by one thread
};

struct Incoherence
{
    LocalText m_check;
    std::uint64_t m_round, m_expected, m_actual;
};

/// What a partner was awaited for in vain.
struct NoAnswer
{
    LocalText m_check{"", ""};
    std::uint64_t m_round = 0; // from 1 on; 0: it answered each time
};

std::uint64_t payloadOf(std::uint64_t sequence, std::size_t word) noexcept
{
    std::uint64_t const mixed = (sequence + word) * 0x9E3779B97F4A7C15u;
    return mixed ^ (mixed >> 29);
}

/// One thread's side of the three checks. Both sides count rounds alike, so that they meet without a barrier.
class Side
{
public:
    Side(Arena& arena, unsigned self, unsigned core, CoherenceOptions const& options, WorkerControl& control)
        : m_arena(arena), m_self(self), m_core(core), m_options(options), m_control(control)
    {}

    void run()
    {
        pingPong();
        if (goesOn())
            increments();
        if (goesOn())
            storeBuffer();
    }

    /// The first thing that went wrong; none when all agreed or the test was stopped.
    std::optional<Incoherence> const& wrong() const { return m_wrong; }
    NoAnswer const& noAnswer() const { return m_noAnswer; }

private:
    bool goesOn() const { return !m_wrong && !m_control.stopping(); }

    std::uint64_t load(std::atomic<std::uint64_t> const& word, std::memory_order order) const noexcept
    {
        std::uint64_t const value = word.load(order);
        return m_options.m_tap ? m_options.m_tap(m_core, value) : value;
    }

    void foundWrong(LocalText const& check, std::uint64_t round, std::uint64_t expected, std::uint64_t actual)
    {
        m_wrong = Incoherence{check, round, expected, actual};
        m_control.stop();
    }

    /// Waits until the word holds at least `value`. False when the test is over or patience ends. The word is
    /// read past the tap: a wrong load must be seen by a check and not hang the wait.
    bool awaitAtLeast(std::atomic<std::uint64_t> const& word, std::uint64_t value, LocalText const& check)
    {
        Patience patience(m_options.m_patienceSeconds, m_options.m_clock);
        for (std::uint64_t spins = 1; word.load(std::memory_order_acquire) < value; ++spins) {
            if (spins % 256 != 0)
                continue;
            if (m_control.stopping())
                return false;
            if (patience.isOver()) {
                m_noAnswer = NoAnswer{check, value};
                m_control.stop();
                return false;
            }
            std::this_thread::yield(); // the partner may be waiting for this very processor
        }
        return true;
    }

    void serve(std::uint64_t sequence) noexcept
    {
        Line& line = m_arena.m_ball[m_self];
        for (std::size_t i = 0; i < kPayloadWords; ++i)
            line.m_payload[i].store(payloadOf(sequence, i), std::memory_order_relaxed);
        line.m_sequence.store(sequence, std::memory_order_release);
    }

    bool receive(std::uint64_t sequence)
    {
        Line const& line = m_arena.m_ball[1 - m_self];
        if (!awaitAtLeast(line.m_sequence, sequence, kTextPingPong))
            return false;
        for (std::size_t i = 0; i < kPayloadWords; ++i) {
            std::uint64_t const got = load(line.m_payload[i], std::memory_order_relaxed);
            if (got != payloadOf(sequence, i)) {
                foundWrong(kTextPingPong, sequence, payloadOf(sequence, i), got);
                return false;
            }
        }
        return true;
    }

    void pingPong()
    {
        for (std::uint64_t sequence = 1; sequence <= m_options.m_rounds && goesOn(); ++sequence) {
            if (m_self == 0)
                serve(sequence);
            if (!receive(sequence))
                return;
            if (m_self == 1)
                serve(sequence);
            progressed(sequence);
        }
    }

    void increments()
    {
        std::uint64_t const rounds = m_options.m_rounds;
        for (std::uint64_t i = 1; i <= rounds && goesOn(); ++i) {
            m_arena.m_counter.m_value.fetch_add(1, std::memory_order_relaxed);
            auto& own = m_arena.m_own[m_self];
            own.store(own.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
            progressed(i);
        }
        if (!meet(1))
            return;
        expect(kTextIncrements, rounds, 2 * rounds,
               load(m_arena.m_counter.m_value, std::memory_order_relaxed));
        expect(kTextIncrements, rounds, rounds, load(m_arena.m_own[1 - m_self], std::memory_order_relaxed));
    }

    void storeBuffer()
    {
        for (std::uint64_t round = 1; round <= m_options.m_rounds && goesOn(); ++round) {
            m_arena.m_store[m_self].m_value.store(round, std::memory_order_seq_cst);
            std::uint64_t const seen = load(m_arena.m_store[1 - m_self].m_value, std::memory_order_seq_cst);
            m_arena.m_seen[m_self].m_value.store(seen, std::memory_order_relaxed);
            if (!meet(2 * round))
                return;
            std::uint64_t const other = load(m_arena.m_seen[1 - m_self].m_value, std::memory_order_relaxed);
            // Each saw the partner's word before its store of this round: no order of the four accesses
            // allows it.
            if (seen < round && other < round)
                foundWrong(kTextStoreBuffer, round, round, std::max(seen, other));
            if (!meet(2 * round + 1)) // neither goes on before the other has looked
                return;
            progressed(round);
        }
    }

    bool meet(std::uint64_t round)
    {
        m_arena.m_round[m_self].m_value.store(round, std::memory_order_release);
        return awaitAtLeast(m_arena.m_round[1 - m_self].m_value, round, kTextMeeting);
    }

    void expect(LocalText const& check, std::uint64_t round, std::uint64_t expected, std::uint64_t actual)
    {
        if (actual != expected && !m_wrong)
            foundWrong(check, round, expected, actual);
    }

    void progressed(std::uint64_t round)
    {
        if (m_self == 0 && round % 1024 == 0)
            m_control.advance(1024);
    }

    Arena& m_arena;
    unsigned m_self;
    unsigned m_core;
    CoherenceOptions const& m_options;
    WorkerControl& m_control;
    std::optional<Incoherence> m_wrong;
    NoAnswer m_noAnswer;
};

struct PairResult
{
    bool m_finished = true;
    std::optional<Incoherence> m_wrong;
    std::optional<std::pair<unsigned, int>> m_unusable;
    std::optional<std::pair<unsigned, NoAnswer>> m_silent; // the core that was waited for
};

PairResult runPair(TestHost& host, CpuAffinity& affinity, std::pair<unsigned, unsigned> cores,
                   CoherenceOptions const& options, ProgressSpan span)
{
    PairResult result;
    std::mutex mutex; // guards result while the workers run
    Arena arena;
    auto const work = [&](unsigned self, WorkerControl& control) {
        unsigned const core = self == 0 ? cores.first : cores.second;
        if (int const error = affinity.pin(core); error != 0) {
            control.stop();
            std::lock_guard lock(mutex);
            result.m_unusable = {core, error};
            return;
        }
        Side side(arena, self, core, options, control);
        side.run();
        std::lock_guard lock(mutex);
        if (side.wrong() && !result.m_wrong)
            result.m_wrong = side.wrong();
        if (side.noAnswer().m_round != 0 && !result.m_silent)
            result.m_silent = {self == 0 ? cores.second : cores.first, side.noAnswer()};
    };
    result.m_finished = runWorkers(host, 2, std::uint64_t(3) * options.m_rounds, work, span);
    return result;
}

std::string hexadecimal(std::uint64_t value)
{
    char digits[20];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(value));
    return digits;
}

void reportWrong(TestHost& host, std::pair<unsigned, unsigned> cores, Incoherence const& wrong)
{
    host.fault({kEventIncoherent,
                {{"CoreA", std::to_string(cores.first)},
                 {"CoreB", std::to_string(cores.second)},
                 {"Check", host.text(wrong.m_check)},
                 {"Round", std::to_string(wrong.m_round)},
                 {"Expected", hexadecimal(wrong.m_expected)},
                 {"Actual", hexadecimal(wrong.m_actual)}}});
}

void reportUnusable(TestHost& host, unsigned core, int error)
{
    host.problem({kEventCoreNotUsable, {{"Core", std::to_string(core)}, {"Reason", errorText(error)}}});
}

void reportSilent(TestHost& host, std::pair<unsigned, unsigned> cores, unsigned silent,
                  NoAnswer const& noAnswer, double patience)
{
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g", patience);
    host.problem({kEventNoAnswer,
                  {{"Core", std::to_string(silent)},
                   {"Waiting", std::to_string(silent == cores.first ? cores.second : cores.first)},
                   {"Check", host.text(noAnswer.m_check)},
                   {"Round", std::to_string(noAnswer.m_round)},
                   {"Seconds", seconds}}});
}

/// Sends what there is to say of one pair. The outcome when the test ends with it.
std::optional<Outcome> reportPair(TestHost& host, std::pair<unsigned, unsigned> cores,
                                  PairResult const& result, double patience)
{
    if (result.m_wrong)
        reportWrong(host, cores, *result.m_wrong);
    if (result.m_unusable)
        reportUnusable(host, result.m_unusable->first, result.m_unusable->second);
    else if (result.m_silent && !result.m_wrong)
        reportSilent(host, cores, result.m_silent->first, result.m_silent->second, patience);
    else if (!result.m_finished)
        return Outcome::Stopped;
    else
        return std::nullopt;
    return Outcome::CannotRun;
}

} // namespace

std::vector<std::pair<unsigned, unsigned>> corePairs(std::vector<unsigned> const& cores, unsigned most)
{
    std::vector<std::pair<unsigned, unsigned>> pairs;
    std::size_t const count = cores.size();
    for (std::size_t distance = 1; distance <= count / 2; ++distance) {
        // At half the ring each pair would come twice.
        std::size_t const starts = 2 * distance == count ? count / 2 : count;
        // Every other one first: with neighbours, that puts each core into a pair with half as many pairs.
        for (std::size_t const first : {std::size_t{0}, std::size_t{1}})
            for (std::size_t i = first; i < starts; i += 2) {
                if (pairs.size() >= most)
                    return pairs;
                pairs.emplace_back(cores[i], cores[(i + distance) % count]);
            }
    }
    return pairs;
}

// As many as it takes for every core, and a good sample beyond that on a small machine.
static unsigned mostPairs(CoherenceOptions const& options, std::size_t cores)
{
    constexpr std::size_t kSample = 64;
    if (options.m_maxPairs != 0)
        return options.m_maxPairs;
    return static_cast<unsigned>(std::max(kSample, (cores + 1) / 2));
}

Outcome runCoherenceTest(TestHost& host, CpuAffinity& affinity, CoherenceOptions const& options)
{
    std::vector<unsigned> const cores = affinity.usable();
    if (cores.empty()) {
        host.problem({kEventNothingToRun, {{"Cores", "0"}, {"Kernels", "1"}}});
        return Outcome::CannotRun;
    }
    if (cores.size() == 1) {
        host.problem({kEventSingleCore, {{"Core", std::to_string(cores[0])}}});
        return Outcome::NotApplicable;
    }
    warnOfUntested(host, affinity, cores.size());
    auto const pairs = corePairs(cores, mostPairs(options, cores.size()));
    bool failed = false;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        ProgressSpan const span{static_cast<int>(100 * i / pairs.size()),
                                static_cast<int>(100 * (i + 1) / pairs.size())};
        PairResult const result = runPair(host, affinity, pairs[i], options, span);
        auto const last = reportPair(host, pairs[i], result, options.m_patienceSeconds);
        failed = failed || result.m_wrong;
        if (last)
            return failed ? Outcome::Fail : *last;
    }
    host.note({kEventCoherenceTested,
               {{"Cores", std::to_string(cores.size())}, {"Pairs", std::to_string(pairs.size())}}});
    return failed ? Outcome::Fail : Outcome::Pass;
}

} // namespace krel5::modules::cpu
