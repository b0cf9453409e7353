#include <zel/foundation/Logger.h>

#include <zel/foundation/LogFile.h>
#include <zel/foundation/LogLine.h>

#include <charconv>

namespace zel {

Logger::Logger(std::string category)
    : m_category(std::move(category)), m_threshold(static_cast<int>(LogLevel::Error))
{}

void Logger::log(LogLevel level, std::string_view message)
{
    if (isEnabled(level))
        logAlways(level, message);
}

void Logger::logAlways(LogLevel level, std::string_view message)
{
    if (!LogFile::takesLines())
        return;
    LogLine const line(std::chrono::system_clock::now(), level, m_category, message);
    LogFile::write(line.text());
}

template <typename Number>
void LoggerStream::appendNumber(Number number)
{
    char text[24];
    auto const result = std::to_chars(text, text + sizeof text, number);
    *this << std::string_view(text, static_cast<std::size_t>(result.ptr - text));
}

LoggerStream::LoggerStream(Logger& logger, LogLevel level, int line) : m_logger(logger), m_level(level)
{
    appendNumber(line);
    *this << std::string_view(" ");
}

LoggerStream::~LoggerStream()
{
    try {
        m_logger.log(m_level,
                     m_large.empty() ? std::string_view(m_inline, m_size) : std::string_view(m_large));
    } catch (...) {
        // Out of memory for a long line: the line is lost, its caller goes on.
    }
}

LoggerStream& LoggerStream::operator<<(String const& text)
{
    if (m_large.empty() && 3 * text.size() <= sizeof m_inline - m_size) {
        m_size += utf::encodeUtf8(text.ucs2(), text.size(), m_inline + m_size);
        return *this;
    }
    return *this << std::string_view(text.toUtf8());
}

LoggerStream& LoggerStream::appendLarge(std::string_view utf8)
{
    if (m_large.empty()) {
        m_large.reserve(2 * (m_size + utf8.size()));
        m_large.assign(m_inline, m_size);
    }
    m_large += utf8;
    return *this;
}

LoggerStream& LoggerStream::operator<<(std::int64_t number)
{
    appendNumber(number);
    return *this;
}

LoggerStream& LoggerStream::operator<<(std::uint64_t number)
{
    appendNumber(number);
    return *this;
}

TraceScope::TraceScope(Logger& logger, char const* name, int line)
    : m_logger(logger.isEnabled(LogLevel::Trace) ? &logger : nullptr), m_name(name), m_line(line)
{
    if (m_logger)
        LoggerStream(*m_logger, LogLevel::Trace, m_line) << "entering " << m_name;
}

TraceScope::~TraceScope()
{
    if (!m_logger)
        return;
    try {
        LoggerStream(*m_logger, LogLevel::Trace, m_line) << "leaving " << m_name;
    } catch (...) {
        // Out of memory for the text: the line is lost.
    }
}

} // namespace zel
