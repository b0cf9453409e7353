#pragma once
// Command-line options and the one manager that parses them.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <optional>
#include <vector>

namespace zel {

/// One option that may stand on the command line.
class ZEL_EXPORT Option
{
public:
    enum class Type : int { Integer = 2, Flag = 3, String = 4 };

    Option(String name, String defaultValue, Type type, std::vector<String> choices, String command,
           String description, bool dash);

    String const& name() const noexcept { return m_name; }
    String const& defaultValue() const noexcept { return m_default; }
    Type type() const noexcept { return m_type; }
    /// Allowed values; empty: any.
    std::vector<String> const& choices() const noexcept { return m_choices; }
    String const& command() const noexcept { return m_command; }
    String const& description() const noexcept { return m_description; }
    bool hasDash() const noexcept { return m_dash; }
    /// What a person types: "-" for a dash option, then the command.
    String word() const;

    /// `prefix`, the command, " <number>" or " <text>" for an option that takes a value, and one blank.
    String getUsageString(String const& prefix) const;

private:
    String m_name, m_default;
    Type m_type;
    std::vector<String> m_choices;
    String m_command, m_description;
    bool m_dash;
};

/// The options of this process and the values that the command line gave them. One per process.
/// Thread rule: registered and parsed before threads exist, read-only afterwards.
class ZEL_EXPORT OptionManager
{
public:
    static OptionManager& instance();

    /// Throws OptionException when another option has the same name or the same word on the command line.
    void registerOption(Option option);
    /// What was registered, in that order. Valid until the next call that is not const.
    std::vector<Option> const& options() const noexcept { return m_options; }

    /// Reads `argv[1]` to `argv[argc - 1]`. Words are matched whole and with their case. Throws
    /// OptionException, naming the word, for one that no option knows, a value that is missing, not of its
    /// option's type or none of its choices, and an option given twice; then no value at all is taken over. A
    /// value that is itself the word of an option counts as missing. Null entries are skipped.
    void mergeCommandLine(int argc, char const* const argv[]);

    /// Values by option name; absent when the command line did not give it and it has no default.
    std::optional<std::int64_t> lookupIntegerValue(String const& name) const;
    std::optional<String> lookupStringValue(String const& name) const;
    bool lookupFlag(String const& name) const;

    /// Forgets every option and value; for tests, and for a client that runs several modules in one process.
    void reset();

private:
    std::vector<Option> m_options;
    std::vector<std::optional<String>> m_values;       // of the option in the same place
    std::size_t indexOfName(String const& name) const; // m_options.size() when no option has it
    std::size_t indexOfWord(String const& word) const; // m_options.size() when no option has it
    [[noreturn]] void throwUnknown(String const& word) const;
};

/// The two options of the logger, as every command line offers them.
struct ZEL_EXPORT LoggerConfig
{
    static Option loggerLevelOption(); ///< "LoggerLevel", -ll LEVEL
    static Option loggerRootOption();  ///< "LoggerRoot", -lr CATEGORY
    /// Hands the values that the command line gave to LogFactory::setOverride, with its exceptions. A
    /// category without a level throws OptionException.
    static void applyOptions(OptionManager const& options);
};

} // namespace zel
