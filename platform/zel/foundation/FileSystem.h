#pragma once
// Files as a whole, and their names. Paths are bytes, as the operating system has them.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <optional>
#include <string>

namespace zel {

struct ZEL_EXPORT FileSystem
{
    /// Answer of a read: a value, nothing (the file does not exist), or an error with its reason.
    struct ReadResult
    {
        std::optional<std::string> content;
        int errorNumber = 0; ///< 0 when read; ENOENT when absent; EPERM when somebody could have written it
        String distrust = String(); ///< who that is, or that it is no regular file (EINVAL); empty: neither
        bool absent() const noexcept;
        /// "File too large"; empty when read.
        String reason() const;
    };

    /// Who may be able to write a file that is to be read. Looked at is what was opened, not what a name stood
    /// for a moment before.
    enum class Writers {
        Anybody,
        /// Belongs to root or the caller, writable for its owner alone, and no symbolic link. For a place
        /// that others share.
        CallerOrRoot,
        /// Like the running program: who may replace that needs no other way in. Else as above, but links
        /// are followed.
        AsProgram
    };

    /// "C:\dir\MyMod.exe" and "/dir/MyMod.exe" give "MyMod": the part after the last '/' or '\', without its
    /// last extension. A name that is only an extension (".profile") is kept whole.
    static String extractBaseFileName(String const& path);
    /// The part up to the last '/'; "." when there is none.
    static std::string folderOf(std::string const& path);

    /// Reads a regular file of at most `limit` bytes (EFBIG beyond).
    static ReadResult readFile(std::string const& path, std::size_t limit = 16u << 20,
                               Writers writers = Writers::Anybody);
    /// Whole or not at all: writes a temporary beside the target, then renames it. Throws SystemException
    /// naming the path; the old file then stays as it was. So does a device, FIFO or socket: ENOTSUP.
    static void writeFileAtomically(std::string const& path, std::string const& content);
    static bool exists(std::string const& path);
    /// Who could change the file, or put another one into the folder, that stands at `path`, and should not; empty
    /// when nobody could, or nothing stands there. Reading a file decides about what was opened; this is for programs,
    /// which are started by their names.
    static String distrust(std::string const& path, Writers writers);
    /// Day of the last change of the content, "YYYY-MM-DD" in UTC; empty when it cannot be told.
    static String modificationDate(std::string const& path);
};

} // namespace zel
