#pragma once
// What the process asks of the operating system.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <cstdint>

namespace zel {

struct ZEL_EXPORT System
{
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

    /// Reads everything from a pipe until its end. False, with getSystemErrorMsg(), when that fails or the
    /// text is larger than 256 MiB. `text` then keeps its old content.
    static bool readFromPipe(int pipeId, String& text, std::size_t& byteCount);
    /// Writes the whole text as UTF-8 and closes nothing. False, with getSystemErrorMsg(), when that fails.
    static bool writeToPipe(int pipeId, String const& text, std::size_t& byteCount);

    /// Opens what is closed of descriptors 0, 1 and 2, so that no file opened later takes the place of
    /// standard output; writing to a replaced one fails. Ignores SIGPIPE, so that a reader that went away is
    /// an error of the write and not a silent death.
    static void secureStandardStreams() noexcept;
};

} // namespace zel
