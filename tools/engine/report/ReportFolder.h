#pragma once
// Where reports are kept when nobody says where: /var/log/krel5/2026-11-22/ for root, below the user's state folder for
// others. Days and names are in UTC, so that the order of names is that of time.

#include <engine/report/Records.h>
#include <engine/report/linux/ReportFile.h>

#include <optional>
#include <string>

namespace engine {

struct ReportFolder
{
    std::string base;  ///< "/var/log", "/home/ada/.local/state"
    std::string below; ///< in it, the folder of the reports: "krel5"

    /// That of the calling user: XDG_STATE_HOME counts where it is an absolute path. Throws zel::SystemException for a
    /// user without a home.
    static ReportFolder own();

    std::string path() const { return base + "/" + below; }
    ReportFile::Folders foldersOf(Time day) const;
    /// Of the last of them, which may not be there yet.
    std::string pathOf(Time day) const;
    /// "krel5-20261122T152309Z-1234.jsonl".
    static std::string fileName(Time time, std::int64_t processId);
    /// Leaves word that a report stands elsewhere: a symbolic link, which is on disk when the folder that this gives is
    /// synced. Throws zel::SystemException where that cannot be done.
    zel::FileDescriptor noteElsewhere(std::string const& report, Time time, std::int64_t processId) const;
    /// Path of the report that began last, here or elsewhere; nothing where there is none. Throws zel::SystemException for a
    /// folder that is there and cannot be read.
    std::optional<std::string> newest() const;
};

} // namespace engine
