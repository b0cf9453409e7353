#pragma once
// Reads the parts of the machine in threads of its own, so that one that blocks delays no other and nobody who asks.
//
//     Poller poller("/");
//     poller.setParts(std::move(parts));
//     poller.read(100ms);                      // all lanes that answer in time
//     std::optional<Reading> last = poller.take(guid);

#include <sensors/Part.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace krel5::modules::sensors {

/// Thread rule: one thread asks. The threads that read hold what they need, also when the poller is gone: its end waits for none.
class Poller
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t kMostThreads =
        32; ///< so many lanes may block at once before others wait for them
    static constexpr std::size_t kMostOfLane = 3;       ///< so many parts of one lane may hold a thread each
    static constexpr std::chrono::seconds kDeadline{2}; ///< later than this an answer counts as none
    static constexpr std::chrono::seconds kHealthDeadline{70}; ///< of a drive that is asked for its health
    static constexpr std::chrono::seconds kLongestRest{300};   ///< of a part that answers with errors

    /// Throws std::system_error when the folder cannot be opened.
    explicit Poller(std::string const& root);
    ~Poller();
    Poller(Poller const&) = delete;
    Poller& operator=(Poller const&) = delete;

    MachineFiles const& files() const;

    /// How often drives are asked for their health; ten minutes at first.
    void setHealthInterval(std::chrono::milliseconds interval);
    /// From now on these. One that was there already keeps its counters, and its lane.
    void setParts(std::vector<std::shared_ptr<Part const>> parts);
    /// Begins to read every lane that is not being read still, and waits until all that have answered so far did so again, at most
    /// `patience`. A lane that did not answer the last time is read, but not waited for. A part that holds up the others
    /// of its lane for 50 ms has a lane of its own from then on, and the others are read at once in another thread.
    void read(std::chrono::milliseconds patience);
    /// Gives lanes that wait behind one that blocks another thread; to be called now and then.
    void tend();

    struct Last
    {
        Readings readings;        ///< of the last time that the part answered
        bool isNew = false;       ///< read since it was taken last
        bool isSilent = false;    ///< does not answer, or with errors only, and has had time to
        bool isBlocking = false;  ///< is what its lane waits for, and did not answer in time
        bool hasAnswered = false; ///< ever
        std::string failure;      ///< why it is silent
    };
    /// Whether nobody has read anything since the part was taken last: who wants news reads first. True for what is not watched.
    bool wasTaken(std::string const& id) const;
    /// What the part said last; nothing for one that is not watched.
    std::optional<Last> take(std::string const& id);

private:
    struct State;
    std::shared_ptr<State> m_state;
};

} // namespace krel5::modules::sensors
