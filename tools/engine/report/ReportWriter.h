#pragma once
// Writes a report while its session runs: one record a line, on disk before a test begins and after it has ended.
//
//     engine::ReportWriter report("", tellPerson); // in the folder of the day
//     report.take(runBegan);                       // while the module is started
//     if (!report.flush()) ...                     // the run must not begin
//
// Thread rule: one thread at a time.

#include <engine/report/Records.h>
#include <engine/report/ReportQueue.h>

#include <zel/foundation/Stopwatch.h>

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace engine {

class ReportWriter
{
public:
    /// What the events of one run may take, and likewise its questions and its percentages, each for itself: a flood of one
    /// kind hides no other.
    static constexpr std::size_t kRunBytes = 4u << 20;
    static constexpr std::size_t kWatchBytes = 32u << 20; ///< and readings and notes of watched modules
    static constexpr std::size_t kDetailBytes =
        128u << 20; ///< and all of these: what is larger cannot be read again

    /// A new file, for its owner alone; an empty path: in ReportFolder::own(). `tell` gets what a person must know, in the calls
    /// below. Throws zel::SystemException naming the path where it cannot be made, or something has that name. Records that
    /// are not written within the patience could not be kept.
    ReportWriter(std::string const& path, std::function<void(std::string const&)> tell,
                 std::chrono::milliseconds patience = std::chrono::seconds(30));

    /// To be written behind what was taken before, without a wait; what begins and ends a run or the session, and
    /// everything else within about a second, goes to the disk at once. False from the first record on of which it is known
    /// that it could not be kept, which is told; what follows is still written where that goes. Events, questions and percentages beyond the sizes above are left out, of which one record for each kind tells.
    bool take(Record const& record);

    /// Waits until all that was taken is written, and on disk as said. Gives what take() gives.
    bool flush();
    /// Waits for the work below as well.
    bool finish();
    /// Done by the thread that writes, behind what was taken before, for it may wait for a disk, too; when the next
    /// finish() gives true, it is done. It must not throw.
    void meanwhile(std::function<void()> work) { m_file.put(std::move(work)); }
    /// The same, once the next record that goes to the disk is there.
    void behindSync(std::function<void()> work) { m_file.putBehindSync(std::move(work)); }

    bool isComplete() const noexcept { return m_isComplete; }
    std::string const& path() const noexcept { return m_file.path(); }

private:
    struct Detail;
    static std::optional<Detail> detailOf(Record const& record);
    bool hasRoom(Detail const& detail, std::size_t bytes);
    void tellLeftOut(Detail const& detail);
    bool write(std::string const& line, ReportQueue::Sync sync);
    bool judge(int errorNumber);

    ReportQueue m_file;
    std::function<void(std::string const&)> m_tell;
    std::string m_bootId;
    static constexpr std::size_t kKinds = 4; // of details
    std::unordered_map<RunId, std::array<std::size_t, kKinds>>
        m_detailBytes; // of the runs that are on their way
    std::size_t m_allDetailBytes = 0;
    zel::Stopwatch m_sinceSync;
    bool m_isComplete = true;
};

} // namespace engine
