#pragma once

#include <zel/foundation/FileSystem.h>
#include <zel/foundation/String.h>

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zel {

/// A file of `key=text` lines, read once: settings files and text files have this form. UTF-8; `#` begins a
/// comment line; blanks around key and text are ignored; of two equal keys the last one wins. In a key, `\=`,
/// `\#` and the escapes of unescaped() stand for a character that would otherwise end or hide it. Lines end
/// with LF or CR LF; a byte order mark is skipped. What is wrong with a line is kept as an issue, and the
/// other lines still count.
class ZEL_EXPORT KeyTextFile
{
public:
    struct Issue
    {
        int line = 0; ///< from 1; 0: the file as a whole
        String reason;
        bool isWarning = false; ///< the line counts nevertheless
        std::string path;

        /// "mymod.w4i:12: has no '='"
        String toString() const;
    };
    struct Entry
    {
        String m_text;
        int m_line = 0;
    };
    enum class State { Read, Absent, Unreadable };

    KeyTextFile() = default;
    /// Reads the file. Whatever happens there is a result: an absent file is one without entries. A symbolic
    /// link to nothing is a file that cannot be read: somebody meant one to be there.
    static KeyTextFile load(std::string const& path,
                            FileSystem::Writers writers = FileSystem::Writers::Anybody);
    /// From content that is at hand; `path` is what issues name.
    static KeyTextFile parse(std::string_view content, std::string const& path);

    /// A text as it is meant: `\n` is a line feed, `\r` a carriage return, `\\` a backslash, `\u` and four
    /// hex digits the UTF-16 unit of that number, a backslash before one of `literals` that character; any
    /// other backslash stands for itself.
    static String unescaped(String const& text, std::string_view literals = {});
    /// The reverse: one line that takes no harm from ignored blanks.
    static String escaped(String const& text);

    std::string const& path() const noexcept { return m_path; }
    State state() const noexcept { return m_state; }
    std::vector<Issue> const& issues() const noexcept { return m_issues; }
    std::size_t size() const noexcept { return m_entries.size(); }
    /// In the order of their first lines.
    std::vector<String> const& keys() const noexcept { return m_keys; }
    /// Null when the key has no line.
    Entry const* find(String const& key) const;

    static constexpr std::size_t kMaxFileBytes = std::size_t{4} << 20;
    static constexpr std::size_t kMaxLineBytes = std::size_t{64} << 10;
    static constexpr std::size_t kMaxIssues = 100; ///< further ones are counted in a last one

private:
    void takeLine(std::string_view line, int number);
    void addIssue(int line, String const& reason, bool isWarning);

    std::string m_path;
    State m_state = State::Absent;
    std::unordered_map<String, Entry> m_entries;
    std::vector<String> m_keys;
    std::vector<Issue> m_issues;
    std::size_t m_droppedIssues = 0;
};

} // namespace zel
