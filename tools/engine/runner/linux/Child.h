#pragma once
// A module's process, with what it says on standard output and error.

#include <zel/foundation/linux/FileDescriptor.h>

#include <optional>
#include <poll.h>
#include <string>
#include <utility>
#include <vector>

namespace engine {

/// Destroying it kills it, with what it started and did not let go. Thread rule: the main thread's.
class Child
{
public:
    struct End
    {
        std::optional<int> status; ///< absent: ended by a signal, or nobody knows
        std::string signal;        ///< "SIGSEGV"; empty: none
    };

    Child() = default;
    ~Child();
    Child(Child&& other) noexcept { *this = std::move(other); }
    Child& operator=(Child&& other) noexcept; ///< the other one has what this one had

    /// 0 or an errno value.
    int start(std::string const& program, std::vector<std::string> const& words);
    long id() const { return m_id; }
    bool isRunning() const { return m_id > 0; }

    /// What is to be waited for: news, or the end. Negative numbers are to be passed over.
    void waitsFor(std::vector<pollfd>& waiting) const;
    /// Takes what it has said.
    void listen();
    /// The last of it, bounded; the rest is read and forgotten.
    std::string const& said() const { return m_said; }
    std::string lastLine() const;

    /// To it and to its group, to each once.
    void terminate() const;
    void kill() const;
    /// How it ended, with what it left behind in its group; nothing while it runs. The only way to get rid of it, but
    /// for giveUp().
    std::optional<End> reap();
    /// It does not end even when killed: it waits in the kernel.
    void giveUp() { m_id = -1; }

private:
    void signalAll(int number) const;

    int m_id = -1;
    zel::FileDescriptor m_output, m_process;
    std::string m_said;
};

/// The last lines of a file of the caller's or of root's, in a folder that is theirs as well: no link is followed, nothing is
/// waited for. Empty when there is none.
std::string tailOf(std::string const& folder, std::string const& name, std::size_t bytes);

} // namespace engine
