#pragma once
// What an errno value of reading or writing a drive is about: the medium, the drive as a whole, the way to
// it, or whoever else uses it.
//
//     if (driveErrorOf(outcome.m_error) == DriveError::Medium)
//         look for the bad sectors
//
// Thread rule: plain functions.

namespace krel5::modules::storage {

enum class DriveError {
    Medium,     ///< what was asked for cannot be read, or is damaged
    Gone,       ///< the drive is no longer there
    NoMedia,    ///< nothing in the drive
    Unanswered, ///< no answer within the time that the system waits
    GaveUp,     ///< the drive answered that it cannot, and not because of its medium
    PathFailed, ///< the link to the drive, not the drive
    Reserved,   ///< another computer has reserved it
    Busy,       ///< something on this computer occupies it
    TryAgain,   ///< not now
    Refused     ///< the request was not accepted, for whatever else; says nothing about the drive
};

/// `error` zero is a read that came short. What is not known is Refused: a medium is not blamed on suspicion.
DriveError driveErrorOf(int error) noexcept;

/// Whether a moment may cure it, so that trying again makes sense.
bool mayPass(DriveError error) noexcept;

} // namespace krel5::modules::storage
