#include <storage/DriveError.h>

#include <cerrno>

namespace krel5::modules::storage {

// Linux: blk_errors in block/blk-core.c says which status of a request becomes which number.
DriveError driveErrorOf(int error) noexcept
{
    switch (error) {
    case 0:
    case EIO:
    case ENODATA: // "critical medium"
    case EILSEQ:  // "protection": the check bytes beside a sector are wrong
    case EBADMSG: // file systems: wrong checksum
#if defined(EUCLEAN)
    case EUCLEAN: // file systems: damaged structures
#endif
        return DriveError::Medium;
    case ENXIO:
    case ENODEV:
    case ESHUTDOWN:
        return DriveError::Gone;
#if defined(ENOMEDIUM)
    case ENOMEDIUM:
        return DriveError::NoMedia;
#endif
    case ETIMEDOUT:
    case ETIME: // "command duration limit"
        return DriveError::Unanswered;
#if defined(EREMOTEIO)
    case EREMOTEIO: // "critical target": an error of its hardware, or a request that it does not take
        return DriveError::GaveUp;
#endif
    case ENOLINK: // "recoverable transport"
    case ECONNRESET:
    case ECONNABORTED:
    case ENOTCONN:
    case EPIPE:
    case ENETDOWN:
    case ENETUNREACH:
    case EHOSTDOWN:
    case EHOSTUNREACH:
        return DriveError::PathFailed;
#if defined(EBADE)
    case EBADE: // "reservation conflict"
        return DriveError::Reserved;
#endif
    case EBUSY:
        return DriveError::Busy;
    case EAGAIN:
        return DriveError::TryAgain;
    default:
        return DriveError::Refused;
    }
}

bool mayPass(DriveError error) noexcept
{
    switch (error) {
    case DriveError::Medium:
    case DriveError::Unanswered:
    case DriveError::GaveUp:
    case DriveError::PathFailed:
    case DriveError::Busy:
    case DriveError::TryAgain:
        return true;
    case DriveError::Gone:
    case DriveError::NoMedia:
    case DriveError::Reserved:
    case DriveError::Refused:
        break;
    }
    return false;
}

} // namespace krel5::modules::storage
