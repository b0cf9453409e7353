#include <zel/model/texts/KeyTextFile.h>

#include <algorithm>

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
    String const where = line > 0 ? String(path) + String(":") + String::number(line) : String(path);
    return where + String(": ") + reason;
}

KeyTextFile KeyTextFile::load(std::string const& path, FileSystem::Writers writers)
{
    FileSystem::ReadResult const read = FileSystem::readFile(path, kMaxFileBytes, writers);
    if (read.content)
        return parse(*read.content, path);
    KeyTextFile file;
    file.m_path = path;
    if (read.absent() && !FileSystem::exists(path))
        return file;
    file.m_state = State::Unreadable;
    file.addIssue(0, (read.distrust.empty() ? String("cannot be read: ") : String()) + read.reason(), false);
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
    for (char const& one : line) {
        if (one == '=' && !escaped)
            return static_cast<std::size_t>(&one - line.data());
        escaped = one == '\\' && !escaped;
    }
    return std::string_view::npos;
}

constexpr std::size_t kUnicodeEscapeUnits = 6; // backslash, u, four digits

int hexDigit(String::Unit unit)
{
    if (unit >= '0' && unit <= '9')
        return unit - '0';
    if (unit >= 'a' && unit <= 'f')
        return unit - 'a' + 10;
    return unit >= 'A' && unit <= 'F' ? unit - 'A' + 10 : -1;
}

std::optional<String::Unit> unicodeEscapeAt(String const& text, std::size_t at)
{
    if (at + kUnicodeEscapeUnits > text.size() || text[at + 1] != 'u')
        return std::nullopt;
    int number = 0;
    for (std::size_t i = at + 2; i < at + kUnicodeEscapeUnits; ++i) {
        int const digit = hexDigit(text[i]);
        if (digit < 0)
            return std::nullopt;
        number = number * 16 + digit;
    }
    return static_cast<String::Unit>(number);
}

std::optional<String::Unit> shortEscape(String::Unit unit, std::string_view literals)
{
    if (unit == 'n')
        return String::Unit{'\n'};
    if (unit == 'r')
        return String::Unit{'\r'};
    bool const literal = unit == '\\' || std::find(literals.begin(), literals.end(), unit) != literals.end();
    return literal ? std::optional(unit) : std::nullopt;
}

String unicodeEscape(String::Unit unit)
{
    constexpr char kDigits[] = "0123456789abcdef";
    char const text[] = {
        '\\', 'u', kDigits[unit >> 12], kDigits[unit >> 8 & 15], kDigits[unit >> 4 & 15], kDigits[unit & 15]};
    return String(std::string_view(text, sizeof text));
}

bool isBlank(String::Unit unit) { return unit == ' ' || (unit >= '\t' && unit <= '\f'); }

} // namespace

String KeyTextFile::unescaped(String const& text, std::string_view literals)
{
    std::vector<String::Unit> units;
    units.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            units.push_back(text[i]);
        } else if (auto const unit = unicodeEscapeAt(text, i)) {
            units.push_back(*unit);
            i += kUnicodeEscapeUnits - 1;
        } else if (auto const meant = shortEscape(text[i + 1], literals)) {
            units.push_back(*meant);
            ++i;
        } else {
            units.push_back(text[i]);
        }
    }
    return String(units.data(), units.size());
}

String KeyTextFile::escaped(String const& text)
{
    // A zero would make the line unreadable, a blank at either end would be taken for the line's own.
    std::size_t first = 0, last = text.size();
    while (isBlank(text[first])) // behind the last there is a zero
        ++first;
    while (last > first && isBlank(text[last - 1]))
        --last;
    std::size_t from = 0;
    String line;
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const atEnd = i < first || i >= last;
        String escape;
        if (text[i] == '\n')
            escape = String("\\n");
        else if (text[i] == '\r')
            escape = String("\\r");
        else if (text[i] == '\\')
            escape = String("\\\\");
        else if (text[i] == 0 || atEnd)
            escape = unicodeEscape(text[i]);
        else
            continue;
        line += text.substr(from, i - from) + escape;
        from = i + 1;
    }
    return line + text.substr(from);
}

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
    String const key = unescaped(String(line.substr(0, equals)).trimmed(), "=#");
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
