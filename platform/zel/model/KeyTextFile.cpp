#include <zel/model/KeyTextFile.h>

#include <zel/foundation/FileSystem.h>
#include <zel/foundation/System.h>

namespace zel {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD"; // U+FFFD, what decoding puts for malformed bytes

bool isMalformed(std::string_view bytes)
{
    if (bytes.find(kReplacement) != std::string_view::npos)
        return false; // it is written there; nothing can be told any more
    return String(bytes).contains(String(kReplacement));
}

} // namespace

String KeyTextFile::Issue::toString() const
{
    return String(path) + String(":") + String::number(line) + String(": ") + reason;
}

KeyTextFile KeyTextFile::load(std::string const& path)
{
    FileSystem::ReadResult const read = FileSystem::readFile(path, kMaxFileBytes);
    if (read.content)
        return parse(*read.content, path);
    KeyTextFile file;
    file.m_path = path;
    if (read.absent())
        return file;
    file.m_state = State::Unreadable;
    file.addIssue(0, String("cannot be read: ") + System::errorText(read.errorNumber), false);
    return file;
}

KeyTextFile KeyTextFile::parse(std::string_view content, std::string const& path)
{
    KeyTextFile file;
    file.m_path = path;
    file.m_state = State::Read;
    if (content.starts_with(kByteOrderMark))
        content.remove_prefix(kByteOrderMark.size());
    int number = 0;
    while (!content.empty()) {
        std::size_t const end = content.find('\n');
        std::string_view line = content.substr(0, end);
        content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        file.takeLine(line, ++number);
    }
    if (file.m_droppedIssues > 0)
        file.m_issues.push_back(
            {0, String::number(std::uint64_t{file.m_droppedIssues}) + String(" more lines like these"), false,
             path});
    return file;
}

namespace {

// The first '=' that no backslash makes a part of the key.
std::size_t endOfKey(std::string_view line)
{
    bool escaped = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '=' && !escaped)
            return i;
        escaped = line[i] == '\\' && !escaped;
    }
    return std::string_view::npos;
}

String unescapedKey(String const& text)
{
    std::vector<String::Unit> units;
    for (std::size_t i = 0; i < text.size(); ++i) {
        String::Unit const next = text[i] == '\\' && i + 1 < text.size() ? text[i + 1] : String::Unit{0};
        bool const escape = next == 'n' || next == 'r' || next == '\\' || next == '=' || next == '#';
        units.push_back(!escape ? text[i] : next == 'n' ? '\n' : next == 'r' ? '\r' : next);
        i += escape;
    }
    return String(units.data(), units.size());
}

} // namespace

void KeyTextFile::takeLine(std::string_view line, int number)
{
    if (line.size() > kMaxLineBytes)
        return addIssue(number, String("is longer than 65536 bytes"), false);
    std::size_t const first = line.find_first_not_of(" \t\r\v\f");
    if (first == std::string_view::npos || line[first] == '#')
        return;
    if (line.find('\0') != std::string_view::npos)
        return addIssue(number, String("holds a zero byte"), false);
    std::size_t const equals = endOfKey(line);
    if (equals == std::string_view::npos)
        return addIssue(number, String("has no '='"), false);
    String const key = unescapedKey(String(line.substr(0, equals)).trimmed());
    if (key.empty())
        return addIssue(number, String("has no key before the '='"), false);
    if (isMalformed(line))
        addIssue(number, String("is not UTF-8 throughout; what is not is shown as U+FFFD"), true);
    auto const [place, isNew] = m_entries.try_emplace(key);
    if (isNew)
        m_keys.push_back(key);
    else
        addIssue(number,
                 String("sets \"") + key + String("\" again, in place of line ") +
                     String::number(place->second.m_line),
                 true);
    place->second = {String(line.substr(equals + 1)).trimmed(), number};
}

void KeyTextFile::addIssue(int line, String const& reason, bool isWarning)
{
    if (m_issues.size() < kMaxIssues)
        m_issues.push_back({line, reason, isWarning, m_path});
    else
        ++m_droppedIssues;
}

KeyTextFile::Entry const* KeyTextFile::find(String const& key) const
{
    auto const found = m_entries.find(key);
    return found == m_entries.end() ? nullptr : &found->second;
}

} // namespace zel
