#include <storage/DriveError.h>
#include <storage/ScratchChoice.h>

#include <cerrno>

namespace krel5::modules::storage {
namespace {

/// The more a refusal says of the drive's file systems, the higher; what a person can do something about
/// comes before what only says that this directory was not meant for us.
int tellingness(int error) noexcept
{
    switch (error) {
    case EROFS: // the mount table says that it can be written
        return 4;
    case ENOSPC:
    case EDQUOT:
        return 3;
    case EPERM:
    case EACCES:
        return 1;
    case ENOENT:
    case ENOTDIR:
        return 0;
    default:
        return 2;
    }
}

} // namespace

bool isDriveFailure(int error, ScratchStep step) noexcept
{
    switch (driveErrorOf(error)) {
    case DriveError::Medium:
    case DriveError::Gone:
    case DriveError::NoMedia:
    case DriveError::Unanswered:
    case DriveError::GaveUp:
    case DriveError::PathFailed:
        return true;
    case DriveError::Reserved:
    case DriveError::Busy:
    case DriveError::TryAgain:
    case DriveError::Refused:
        break;
    }
    return error == EROFS && step == ScratchStep::Writing;
}

OpenedSource firstThatTakes(std::vector<std::string> const& directories,
                            std::function<OpenedSource(std::string const& directory)> const& make)
{
    OpenedSource refusal;
    refusal.m_error = ENOENT;
    for (std::string const& directory : directories) {
        OpenedSource opened = make(directory);
        if (opened.m_error == 0 || opened.m_error == ECANCELED || opened.m_driveFailed)
            return opened;
        if (refusal.m_place.empty() || tellingness(opened.m_error) > tellingness(refusal.m_error))
            refusal = std::move(opened);
    }
    return refusal;
}

} // namespace krel5::modules::storage
