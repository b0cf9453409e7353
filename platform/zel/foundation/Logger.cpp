#include <zel/foundation/Logger.h>

#include <zel/foundation/LogFile.h>
#include <zel/foundation/LogLine.h>

#include <charconv>

namespace zel {
namespace {

constexpr std::size_t kUsualMessage = 240;

template <typename Number>
void appendNumber(std::string& out, Number number)
{
    char text[24];
    auto const result = std::to_chars(text, text + sizeof text, number);
    out.append(text, static_cast<std::size_t>(result.ptr - text));
}

} // namespace

Logger::Logger(std::string category)
    : m_category(std::move(category)), m_threshold(static_cast<int>(LogLevel::Error))
{}

void Logger::log(LogLevel level, std::string_view message)
{
    if (!isEnabled(level) || !LogFile::isOpen())
        return;
    LogLine const line(std::chrono::system_clock::now(), level, m_category, message);
    LogFile::write(line.text());
}

LoggerStream::LoggerStream(Logger& logger, LogLevel level, int line) : m_logger(logger), m_level(level)
{
    m_text.reserve(kUsualMessage);
    appendNumber(m_text, line);
    m_text += ' ';
}

LoggerStream::~LoggerStream()
{
    try {
        m_logger.log(m_level, m_text);
    } catch (...) {
        // Out of memory for a long line: the line is lost, its caller goes on.
    }
}

LoggerStream& LoggerStream::operator<<(String const& text)
{
    text.appendUtf8To(m_text);
    return *this;
}

LoggerStream& LoggerStream::operator<<(char const* utf8)
{
    return *this << std::string_view(utf8 ? utf8 : "");
}

LoggerStream& LoggerStream::operator<<(std::string_view utf8)
{
    m_text += utf8;
    return *this;
}

LoggerStream& LoggerStream::operator<<(std::int64_t number)
{
    appendNumber(m_text, number);
    return *this;
}

LoggerStream& LoggerStream::operator<<(std::uint64_t number)
{
    appendNumber(m_text, number);
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
