#include <engine/report/ReportFolder.h>

#include <engine/report/UtcTime.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>
#include <zel/foundation/System.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace engine {

namespace fs = std::filesystem;

namespace {

constexpr char kPrefix[] = "krel5-", kSuffix[] = ".jsonl", kElsewhere[] = ".elsewhere";

bool isDay(std::string const& name) { return utcTime(name + "T00:00:00Z").has_value(); }
bool isReport(std::string const& name)
{
    return name.starts_with(kPrefix) && (name.ends_with(kSuffix) || name.ends_with(kElsewhere));
}

std::string nameOf(Time time, std::int64_t processId, char const* suffix)
{
    std::string compact;
    for (char const c : utcText(time).substr(0, 19))
        if (c != '-' && c != ':')
            compact += c;
    return kPrefix + compact + "Z-" + std::to_string(processId) + suffix;
}

// Names that `isWanted` takes, the greatest first.
template <typename Wanted>
std::vector<std::string> entries(std::string const& folder, Wanted isWanted)
{
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
        if (std::string name = it->path().filename().string(); isWanted(name))
            names.push_back(std::move(name));
    if (error && error.value() != ENOENT)
        throw zel::SystemException(zel::String(folder), error.value());
    std::sort(names.rbegin(), names.rend());
    return names;
}

} // namespace

ReportFolder ReportFolder::own()
{
    if (zel::System::userIsAdministrator())
        return {"/var/log", "krel5"};
    char const* const state = std::getenv("XDG_STATE_HOME");
    if (state && *state == '/')
        return {state, "krel5"};
    char const* const home = std::getenv("HOME");
    if (!home || *home != '/')
        throw zel::SystemException("The folder for reports, in the home folder that HOME names", ENOENT);
    return {std::string(home) + "/.local/state", "krel5"};
}

ReportFile::Folders ReportFolder::foldersOf(Time day) const
{
    return {base, {below, utcText(day).substr(0, 10)}};
}

std::string ReportFolder::pathOf(Time day) const
{
    ReportFile::Folders const folders = foldersOf(day);
    std::string path = folders.base;
    for (std::string const& one : folders.below)
        path += "/" + one;
    return path;
}

std::string ReportFolder::fileName(Time time, std::int64_t processId)
{
    return nameOf(time, processId, kSuffix);
}

zel::FileDescriptor ReportFolder::noteElsewhere(std::string const& report, Time time,
                                                std::int64_t processId) const
{
    return ReportFile::link(foldersOf(time), nameOf(time, processId, kElsewhere),
                            fs::absolute(report).lexically_normal().string());
}

std::optional<std::string> ReportFolder::newest() const
{
    for (std::string const& day : entries(path(), isDay))
        for (std::string const& name : entries(path() + "/" + day, isReport)) {
            std::string const found = path() + "/" + day + "/" + name;
            if (!name.ends_with(kElsewhere))
                return found;
            if (auto report = ReportFile::linkTarget(found)) // else nobody can tell any more
                return report;
        }
    return std::nullopt;
}

} // namespace engine
