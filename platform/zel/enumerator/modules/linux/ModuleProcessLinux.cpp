#include <zel/enumerator/modules/ModuleProcess.h>

#include <zel/enumerator/modules/linux/ModuleChild.h>
#include <zel/foundation/StopSignal.h>
#include <zel/foundation/System.h>
#include <zel/foundation/linux/BrokenPipesAreErrors.h>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <deque>
#include <memory>
#include <new>
#include <stdexcept>

namespace zel {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kAtOnce = 8;
// Of its answer who is not the first in line may write so much, some ten thousand properties; then it waits for its turn.
// Otherwise as many of the largest answers might stand in memory as are waited for at once.
constexpr std::size_t kAheadBytes = 8u << 20;
constexpr std::size_t kReadBytes = 65536;    // what a pipe holds
constexpr std::size_t kComplaintBytes = 500; // of standard error; the rest is read and forgotten
constexpr char kTooLong[] = "it took too long";
constexpr char kHangs[] = "it does not end, even when killed";
constexpr char kStopped[] = "a stop was asked for";
constexpr int kSliceMilliseconds = 20; // between two looks whether the child is still there
constexpr std::size_t kPipes = 4;      // of one child

/// One child from its start to its end. Writes and reads at the same time, so that neither side can wait for the other for
/// ever.
class Conversation
{
public:
    Conversation(std::string const& folder, std::string const& program, std::vector<std::string> const& words,
                 std::string const& input, ModuleProcess::Limits const& limits)
        : m_input(input), m_outputBytes(limits.outputBytes),
          m_end(Clock::now() + std::chrono::milliseconds(limits.milliseconds))
    {
        if (int const error = m_child.start(folder, program, words); error != 0)
            fail(System::errorText(error));
        if (m_input.empty())
            m_child.toChild = FileDescriptor();
    }

    bool isOver() const { return m_phase == Phase::Over; }
    ModuleProcess::Outcome& outcome() { return m_outcome; }
    /// The time was needed for something else.
    void postpone(Clock::duration time)
    {
        m_end += time;
        m_lookedAt += time;
    }

    /// What to wait for; closed ones, -1, are passed over. `isFirst`: its answer is the next one to be taken.
    std::array<pollfd, kPipes> waitsFor(bool isFirst)
    {
        holdBack(m_phase == Phase::Talking && !isFirst && m_outcome.output.size() >= kAheadBytes);
        // Looked at before the pipes are: then all that it wrote is in them.
        m_hasEnded = m_phase == Phase::Talking && !m_isHeldBack && m_child.hasEnded();
        if (m_phase == Phase::Starting)
            return {{{m_child.report.number(), POLLIN, 0}, {-1, 0, 0}, {-1, 0, 0}, {-1, 0, 0}}};
        return {{{-1, 0, 0},
                 {m_isHeldBack ? -1 : m_child.fromChild.number(), POLLIN, 0},
                 {m_child.errors.number(), POLLIN, 0},
                 {m_child.toChild.number(), POLLOUT, 0}}};
    }
    /// How many milliseconds it can wait.
    int patience() const
    {
        if (m_hasEnded || isOver())
            return 0;
        if (m_isHeldBack)
            return kSliceMilliseconds;
        return m_phase == Phase::Ending || m_phase == Phase::Dying
                   ? 1 // it has closed its pipe or was killed, so its end is near
                   : std::min(remaining(), kSliceMilliseconds);
    }
    /// Goes on with what has come for it. Never throws.
    void advance(pollfd const* pipes)
    {
        try {
            step(pipes);
        } catch (std::bad_alloc const&) { // within its limit, and still more than there is
            fail(System::errorText(ENOMEM));
        } catch (std::length_error const&) {
            fail(System::errorText(ENOMEM));
        }
    }
    /// What has an end already keeps it.
    void fail(String const& error)
    {
        if (m_phase == Phase::Over || m_phase == Phase::Dying)
            return;
        m_outcome.error = error;
        std::string().swap(m_outcome.output);
        m_child.kill();
        m_end = Clock::now() + ModuleChild::kPatience;
        m_phase = m_child.isRunning() ? Phase::Dying : Phase::Over;
    }

private:
    enum class Phase { Starting, Talking, Ending, Dying, Over };

    int remaining() const
    {
        auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(m_end - Clock::now()).count();
        return left > 0 ? static_cast<int>(left) : 0;
    }

    /// Its time does not run while its answer is not read.
    void holdBack(bool hold)
    {
        auto const now = Clock::now();
        if (m_isHeldBack)
            m_end += now - m_lookedAt;
        m_lookedAt = now;
        m_isHeldBack = hold;
    }
    void step(pollfd const* pipes)
    {
        switch (m_phase) {
        case Phase::Starting:
            return pipes[0].revents != 0 ? begin() : failWhenLate();
        case Phase::Talking:
            return talk(pipes);
        case Phase::Ending:
            readErrors();
            return end();
        case Phase::Dying:
            return die();
        case Phase::Over:
            return;
        }
    }
    void failWhenLate()
    {
        if (remaining() == 0)
            fail(kTooLong);
    }
    /// A program on a file system that does not answer never comes so far.
    void begin()
    {
        int error = 0;
        ssize_t const count =
            retryOnInterrupt([&] { return ::read(m_child.report.number(), &error, sizeof error); });
        m_child.report = FileDescriptor();
        m_phase = Phase::Talking;
        if (count == sizeof error)
            fail(System::errorText(error));
    }
    /// Until the child closes its output or ends: a descendant that escaped may hold the pipes open for ever.
    void talk(pollfd const* pipes)
    {
        bool isAtEnd = false;
        if (pipes[2].revents != 0)
            readErrors();
        if (pipes[3].revents != 0)
            write();
        if (pipes[1].revents != 0) {
            isAtEnd = !read();
            if (m_outcome.output.size() > m_outputBytes)
                return fail("its answer is too large");
        }
        if (isAtEnd || (m_hasEnded && pipes[1].revents == 0))
            m_phase = Phase::Ending;
        else if (!m_isHeldBack)
            failWhenLate();
    }
    void end()
    {
        int status = 0;
        switch (m_child.reap(status)) {
        case ModuleChild::End::NotYet:
            return failWhenLate();
        case ModuleChild::End::ReapedByKernel:
            // nobody knows how, but whoever reads an answer sees whether it is whole
            if (m_outcome.output.empty())
                m_outcome.error = "nobody saw how it ended: this process ignores the end of its children";
            break;
        case ModuleChild::End::Known:
            if (WIFSIGNALED(status))
                m_outcome.error = String("it was ended by signal ") + String::number(WTERMSIG(status));
            else if (WEXITSTATUS(status) != 0)
                m_outcome.error = String("it ended with status ") + String::number(WEXITSTATUS(status));
        }
        close();
    }
    void die()
    {
        int status = 0;
        bool const isDead = m_child.reap(status) != ModuleChild::End::NotYet;
        if (!isDead && remaining() > 0)
            return;
        if (!isDead)
            m_outcome.error = kHangs;
        m_child.leave();
        close();
    }
    void close()
    {
        readErrors();
        std::size_t const begin = std::min(m_said.find_first_not_of("\r\n\t "), m_said.size());
        std::string line = m_said.substr(begin, m_said.find('\n', begin) - begin);
        if (std::size_t const next = begin + line.size() + 1; line.ends_with(':') && next < m_said.size())
            line += " " + m_said.substr(next, m_said.find('\n', next) - next); // which says what it was
        m_outcome.complaint = String(line).withoutControls(false);
        m_phase = Phase::Over;
    }

    /// Takes what is in the pipe of standard error; the child must not wait because nobody reads it.
    void readErrors()
    {
        if (!m_child.errors.isOpen())
            return;
        std::array<char, 4096> buffer;
        ssize_t const count = ::read(m_child.errors.number(), buffer.data(), buffer.size());
        if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN))
            m_child.errors = FileDescriptor();
        if (count > 0 && m_said.size() < kComplaintBytes)
            m_said.append(buffer.data(),
                          std::min(static_cast<std::size_t>(count), kComplaintBytes - m_said.size()));
    }
    /// A child that reads no further is no error: it has what it wants.
    void write()
    {
        BrokenPipesAreErrors const guard; // not longer: children inherit the mask
        ssize_t const count =
            ::write(m_child.toChild.number(), m_input.data() + m_written, m_input.size() - m_written);
        if (count > 0)
            m_written += static_cast<std::size_t>(count);
        bool const again = count < 0 && (errno == EINTR || errno == EAGAIN);
        if (m_written == m_input.size() || (count <= 0 && !again))
            m_child.toChild = FileDescriptor();
    }
    /// False at the end.
    bool read()
    {
        std::array<char, kReadBytes> buffer;
        ssize_t const count = ::read(m_child.fromChild.number(), buffer.data(), buffer.size());
        if (count > 0) {
            makeRoom();
            m_outcome.output.append(buffer.data(), static_cast<std::size_t>(count));
        }
        return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
    }

    /// A large answer gets room for the largest at once: pages that nobody writes to cost no memory, while a text that
    /// grows by doubling, and is copied for it, takes twice its size.
    void makeRoom()
    {
        std::string& output = m_outcome.output;
        std::size_t const most = m_outputBytes + kReadBytes;
        if (output.size() < kAheadBytes || output.capacity() >= most)
            return;
        try {
            output.reserve(most);
        } catch (std::bad_alloc const&) { // where pages are counted that nobody writes to; it may need less
        }
    }

    ModuleChild m_child;
    ModuleProcess::Outcome m_outcome;
    std::string const& m_input;
    std::size_t m_written = 0;
    std::string m_said;
    std::size_t m_outputBytes;
    Clock::time_point m_end;
    Clock::time_point m_lookedAt = Clock::now();
    Phase m_phase = Phase::Starting;
    bool m_hasEnded = false;
    bool m_isHeldBack = false; ///< too far ahead: its answer is not read for now
};

using Conversations = std::deque<std::unique_ptr<Conversation>>;

/// Waits for all of them, not for long, and lets each go on.
void advance(Conversations& all)
{
    std::vector<pollfd> waiting;
    int patience = kSliceMilliseconds;
    for (auto const& one : all) {
        if (StopSignal::requested()) // children in groups of their own do not hear of Ctrl-C
            one->fail(kStopped);
        auto const pipes = one->waitsFor(&one == &all.front());
        waiting.insert(waiting.end(), pipes.begin(), pipes.end());
        patience = one->isOver() ? patience : std::min(patience, one->patience());
    }
    if (::poll(waiting.data(), waiting.size(), patience) < 0) {
        int const error = errno;
        for (pollfd& one : waiting)
            one.revents = 0;
        if (error != EINTR)
            for (auto const& one : all)
                one->fail(System::errorText(error));
    }
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i]->advance(waiting.data() + i * kPipes);
}

void talkTo(std::string const& folder, std::vector<std::string> const& programs,
            std::vector<std::string> const& words, std::string const& input,
            ModuleProcess::Limits const& limits,
            std::function<void(std::size_t, ModuleProcess::Outcome&)> const& take)
{
    Conversations window;
    std::size_t started = 0;
    for (std::size_t taken = 0; taken < programs.size();) {
        for (; started < programs.size() && window.size() < kAtOnce; ++started)
            window.push_back(std::make_unique<Conversation>(folder, programs[started], words, input, limits));
        if (!window.front()->isOver()) {
            advance(window);
            continue;
        }
        auto const begin = Clock::now();
        take(taken++, window.front()->outcome());
        window.pop_front();
        for (auto const& other : window)
            other->postpone(Clock::now() - begin);
    }
}

std::vector<std::string> withPipes(std::vector<std::string> words)
{
    std::vector<std::string> const pipes = ModuleChild::pipeWords();
    words.insert(words.end(), pipes.begin(), pipes.end());
    return words;
}

ModuleProcess::Outcome runOne(std::string const& folder, std::string const& program,
                              std::vector<std::string> const& words, std::string const& input,
                              ModuleProcess::Limits const& limits)
{
    ModuleProcess::Outcome answer;
    talkTo(folder, {program}, words, input, limits,
           [&answer](std::size_t, ModuleProcess::Outcome& outcome) { answer = std::move(outcome); });
    return answer;
}

} // namespace

void ModuleProcess::runAll(std::vector<std::string> const& programs,
                           std::vector<std::string> const& arguments, std::string const& input,
                           Limits const& limits, std::function<void(std::size_t, Outcome&)> const& take)
{
    talkTo(std::string(), programs, withPipes(arguments), input, limits, take);
}

ModuleProcess::Outcome ModuleProcess::run(std::string const& program,
                                          std::vector<std::string> const& arguments, std::string const& input,
                                          Limits const& limits)
{
    return runOne(std::string(), program, withPipes(arguments), input, limits);
}

ModuleProcess::Outcome ModuleProcess::runIn(std::string const& folder, std::string const& program,
                                            std::vector<std::string> const& arguments, Limits const& limits)
{
    return runOne(folder, program, arguments, std::string(), limits);
}

} // namespace zel
