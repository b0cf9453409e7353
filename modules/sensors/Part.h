#pragma once
// A part of the machine that is watched: which files tell of it, and how they are read.

#include <sensors/MachineFiles.h>
#include <sensors/Reading.h>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace zel {
class DeviceImp;
} // namespace zel

namespace krel5::modules::sensors {

/// The files of one pass: what several parts ask for is read once.
class PassFiles
{
public:
    explicit PassFiles(MachineFiles const& files) : m_files(files) {}

    MachineFiles const& files() const noexcept { return m_files; }
    /// The line of a table ("/proc/stat", "/proc/diskstats") whose word number `column` is `word`, in words. Empty: there is none.
    std::vector<std::string> const& row(std::string const& table, std::size_t column,
                                        std::string const& word);
    /// A file that several parts ask for.
    MachineFiles::Answer const& shared(std::string const& path);

private:
    using Rows = std::unordered_map<std::string, std::vector<std::string>>;

    MachineFiles const& m_files;
    std::map<std::string, Rows> m_tables;
    std::map<std::string, MachineFiles::Answer> m_shared;
};

/// What a part's counters were when it was read last. Belongs to the thread that reads the part.
struct Counters
{
    std::chrono::steady_clock::time_point time{};
    std::vector<double> values;

    /// How fast each counter went since then; empty the first time and when one of them fell.
    std::vector<double> ratesTo(std::vector<double> now, std::chrono::steady_clock::time_point at);
};

struct Part
{
    std::string guid;
    std::string name; ///< for people
    std::string path; ///< what the reader needs: folder, file or name
    /// Parts of one lane are read one behind the other: what blocks there blocks only them.
    std::string lane;
    std::vector<unsigned> processors;
    std::vector<std::string> counters; ///< files whose numbers are added up
    std::vector<Limit> limits;
    bool isHealth =
        false; ///< what the drive says of itself: asked seldom, told again with every reading, and may take a minute
    bool countsInEnergy = false; ///< a battery whose driver puts the power into current_now
    void (*read)(Part const&, PassFiles&, Counters&, Readings&) = nullptr;

    /// Of all that are watched: a device may have several.
    std::string id() const { return isHealth ? guid + " health" : guid; }
    std::optional<double> limit(std::string_view key) const;
    bool operator==(Part const&) const = default;
};

/// Null for a device about which there is nothing to read.
std::unique_ptr<Part> partOf(zel::DeviceImp const& device, MachineFiles const& files);

} // namespace krel5::modules::sensors
