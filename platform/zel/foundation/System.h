#pragma once
// What the process asks of the operating system.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace zel {

struct ZEL_EXPORT System
{
    /// Of the calling process: also behind a fork(), but not in one that was made by a bare system call.
    static std::int64_t processId() noexcept;
    static std::int64_t parentProcessId() noexcept;
    /// Effective user id 0.
    static bool userIsAdministrator() noexcept;
    /// Text of an errno value, in the C locale.
    static String errorText(int errorNumber);
    /// Text of the last failed system call of this thread.
    static String getSystemErrorMsg();
    /// Path of the running program; empty when it cannot be told.
    static CString executablePath();
    /// Seconds since 1970-01-01 00:00 UTC.
    static std::uint32_t currentTimeStamp() noexcept;
    static void sleepMilliseconds(unsigned milliseconds);
    /// Ends the process at once with `status`, after flushing standard output and standard error.
    [[noreturn]] static void exitProcess(int status) noexcept;
    /// The same without flushing, for a process that hangs: it may be the streams that it hangs on.
    [[noreturn]] static void exitProcessAtOnce(int status) noexcept;

    // Pipes carry a whole text each way. Any open descriptor will do, and none is closed: the end of a text is
    // where its writer closes the pipe, or ends. `stop`, unless null, is asked every tenth of a second while the
    // other side lets us wait, and true gives up ("Operation canceled"). A signal ends no call, and nobody's
    // SIGPIPE ends the process.

    /// Reads everything up to the end. False, with getSystemErrorMsg(), when that fails or the text is larger
    /// than 256 MiB. `utf8`, as it was written, then keeps its old content.
    static bool readFromPipeUtf8(std::int64_t pipeId, std::string& utf8, std::size_t& byteCount,
                                 bool (*stop)() = nullptr);
    static bool readFromPipe(std::int64_t pipeId, String& text, std::size_t& byteCount,
                             bool (*stop)() = nullptr);
    /// Writes the whole text. False, with getSystemErrorMsg(), when that fails; `byteCount` went out all the
    /// same.
    static bool writeToPipeUtf8(std::int64_t pipeId, std::string_view utf8, std::size_t& byteCount,
                                bool (*stop)() = nullptr);
    static bool writeToPipe(std::int64_t pipeId, String const& text, std::size_t& byteCount,
                            bool (*stop)() = nullptr);
    /// Programs that this process starts do not get the pipe: one that outlives it would hold the other side up.
    static void keepPipeFromChildren(std::int64_t pipeId) noexcept;

    /// Opens what is closed of descriptors 0, 1 and 2, so that no file opened later takes the place of
    /// standard output; writing to a replaced one fails. Where an output is a pipe or a terminal that does not
    /// wait when it is full, as another process may have left it, this process gets one of its own that does.
    /// Ignores SIGPIPE and SIGXFSZ, so that a reader that went away, or a file that may not grow, is an error of
    /// the write and not a silent death.
    static void secureStandardStreams() noexcept;
    /// Takes back what the starter of this process may have done to its signals: lets through those that ask
    /// it to stop and those that tell of a fault, should they be blocked, and no longer ignores SIGCHLD, which
    /// would lose the exit status of every child. Stop signals that are ignored stay so.
    static void secureSignals() noexcept;
};

} // namespace zel
