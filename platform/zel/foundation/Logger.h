#pragma once
// Logging: categories, levels, trace scopes.
//
//     static zel::Logger& logger()
//     {
//         static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.DiagModule"); // takes a lock
//         return s_logger;
//     }
// and where there is something to say
//     ZEL_LOG(logger(), zel::LogLevel::Debug) << "devices found = " << count;
//     ZEL_LOG_LINE(logger(), zel::LogLevel::Debug, 1200) << "CommInterface: using CommEngine";
//
// A message begins with the number of the source line that wrote it and a blank; ZEL_LOG puts its own __LINE__,
// ZEL_LOG_LINE a number of the log format. Below the threshold nothing is formatted: the right-hand side is not
// evaluated. Thread rule: everything here may be used from any thread; a line reaches the file whole.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>

namespace zel {

enum class LogLevel : int { Trace = 0, Debug = 1, Information = 2, Warning = 3, Error = 4, Critical = 5 };

/// One category. Made by LogFactory on first request and never destroyed.
class ZEL_EXPORT Logger
{
public:
    explicit Logger(std::string category);
    Logger(Logger const&) = delete;
    Logger& operator=(Logger const&) = delete;

    std::string const& category() const noexcept { return m_category; }
    bool isEnabled(LogLevel level) const noexcept
    {
        return static_cast<int>(level) >= m_threshold.load(std::memory_order_relaxed);
    }
    /// Writes one line if `level` reaches the threshold. `message` is UTF-8.
    void log(LogLevel level, std::string_view message);
    /// Writes one line whatever the threshold: for what must not be missing from any log.
    void logAlways(LogLevel level, std::string_view message);

private:
    friend struct LogRegistry;
    std::string m_category;
    std::atomic<int> m_threshold;
};

/// Collects one message and hands it to its logger when destroyed.
class ZEL_EXPORT LoggerStream
{
public:
    LoggerStream(Logger& logger, LogLevel level, int line);
    ~LoggerStream();
    LoggerStream(LoggerStream const&) = delete;
    LoggerStream& operator=(LoggerStream const&) = delete;

    LoggerStream& operator<<(String const& text);
    // Here, so that the length of a literal is known where it is used.
    LoggerStream& operator<<(char const* utf8) { return *this << std::string_view(utf8 ? utf8 : ""); }
    LoggerStream& operator<<(std::string_view utf8)
    {
        if (!m_large.empty() || utf8.size() > sizeof m_inline - m_size)
            return appendLarge(utf8);
        std::memcpy(m_inline + m_size, utf8.data(), utf8.size());
        m_size += utf8.size();
        return *this;
    }
    LoggerStream& operator<<(std::string const& utf8) { return *this << std::string_view(utf8); }
    LoggerStream& operator<<(std::int64_t number);
    LoggerStream& operator<<(std::uint64_t number);
    LoggerStream& operator<<(int number) { return *this << static_cast<std::int64_t>(number); }
    LoggerStream& operator<<(unsigned number) { return *this << static_cast<std::uint64_t>(number); }
    LoggerStream& operator<<(double number) { return *this << String::number(number); }
    LoggerStream& operator<<(bool flag) { return *this << (flag ? "true" : "false"); }
    LoggerStream& self() noexcept { return *this; }

private:
    template <typename Number>
    void appendNumber(Number number);
    LoggerStream& appendLarge(std::string_view utf8);

    Logger& m_logger;
    LogLevel m_level;
    std::size_t m_size = 0; // bytes in m_inline; all later text is in m_large once that is in use
    char m_inline[240];
    std::string m_large;
};

/// Swallows a chain of `<<` in ZEL_LOG's conditional expression; binds less tightly than `<<`.
struct LogStatement
{
    void operator&(LoggerStream&) const noexcept {}
};

/// Entry and exit lines of a scope at trace level; costs one comparison when tracing is off.
class ZEL_EXPORT TraceScope
{
public:
    TraceScope(Logger& logger, char const* name, int line);
    ~TraceScope();
    TraceScope(TraceScope const&) = delete;
    TraceScope& operator=(TraceScope const&) = delete;

private:
    Logger* m_logger; // null when tracing was off at entry
    char const* m_name;
    int m_line;
};

/// Owns the loggers, their thresholds and the file that they write to.
class ZEL_EXPORT LogFactory
{
public:
    /// The logger of a category ("krel5.Comm.Engine"); made on first request, lives as long as the process.
    static Logger& getLogger(char const* category);

    /// Sets the threshold of every category to `defaultLevel`, then applies the configuration file where it
    /// exists (see docs/logging.md), then what setOverride said. A file that cannot be parsed costs one line
    /// on standard error and is otherwise ignored.
    static void configure(String const& configurationFile, int defaultLevel);

    /// Folder in which `configure` looks for a relative file name; the working directory unless set.
    static void setBaseDirectory(CString const& path);

    /// Level given by the person at the command line, for one category subtree or, with an empty root, for
    /// all. Wins over the configuration file. Throws InvalidArgumentException when the level is neither a
    /// number from 0 to 5 nor a level's name.
    static void setOverride(String const& level, String const& rootCategory);
    /// Forgets every override; for a client that runs several modules in one process.
    static void clearOverrides();

    /// Appends every further line to `path`. The first of them makes the file and missing folders; where none
    /// is written, nothing is made. A file that cannot be opened, or is refused because it or its folder is a
    /// link or somebody else's, costs one line on standard error, never an exception, and so does a line that
    /// cannot be written; an earlier file then stays in use. Without a file, lines go nowhere. False for a
    /// path that names no file.
    static bool createDefaultFileAppender(CString const& path);

    /// The file in which lines of this process stand; empty before the first.
    static CString currentFile();
    /// Writes a line as it is, whatever the thresholds, with nothing but calls that a signal handler may make.
    static void writeInSignalHandler(std::string_view line) noexcept;
};

} // namespace zel

/// One expression, so that it fits everywhere a statement does, also behind an `if` without braces.
#define ZEL_LOG_LINE(logger, level, line)                                                                    \
    !(logger).isEnabled(level) ? static_cast<void>(0)                                                        \
                               : ::zel::LogStatement() & ::zel::LoggerStream(logger, level, line).self()
#define ZEL_LOG(logger, level) ZEL_LOG_LINE(logger, level, __LINE__)
