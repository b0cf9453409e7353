#pragma once
// Which directory of a drive takes the scratch file, and what the errors of those that do not say of the
// drive.
//
//     OpenedSource scratch = firstThatTakes(directories, [&](std::string const& directory) {
//         return makeScratchFile(directory, size, content, progress);
//     });
//
// Thread rule: plain functions.

#include <storage/Drive.h>

namespace krel5::modules::storage {

enum class ScratchStep { Making, Writing };

/// True for errors that a drive brings about, the way to it, or a file system that is damaged, other than
/// those of who may write where, and how much. EROFS is one while a file is written: file systems turn
/// read-only after an error.
bool isDriveFailure(int error, ScratchStep step) noexcept;

/// Tries one directory after the other until one takes the file, the making is stopped, or the drive fails:
/// what another directory would say does not undo that. When all refuse, the refusal that tells a person
/// most, the earlier one of equals. ENOENT when there are no directories.
OpenedSource firstThatTakes(std::vector<std::string> const& directories,
                            std::function<OpenedSource(std::string const& directory)> const& make);

} // namespace krel5::modules::storage
