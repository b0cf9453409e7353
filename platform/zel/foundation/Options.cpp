#include <zel/foundation/Options.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>

#include <algorithm>
#include <charconv>

namespace zel {
namespace {

String quoted(String const& word) { return String("\"") + word.withoutControls(false) + "\""; }

bool isWhole(String const& text)
{
    std::size_t const first = text.startsWith("-") ? 1 : 0;
    for (std::size_t i = first; i < text.size(); ++i)
        if (text[i] < '0' || text[i] > '9')
            return false;
    return text.size() > first;
}

// The whole text as a decimal number; absent when it is anything else or does not fit.
std::optional<std::int64_t> toInteger(String const& text)
{
    std::string const bytes = text.toUtf8();
    std::int64_t value = 0;
    auto const result = std::from_chars(bytes.data(), bytes.data() + bytes.size(), value);
    if (result.ec != std::errc() || result.ptr != bytes.data() + bytes.size())
        return std::nullopt;
    return value;
}

// What two spellings of one word have in common.
String core(String const& word)
{
    std::size_t start = 0;
    while (word[start] == '-' || word[start] == '/') // the zero at the end is neither
        ++start;
    return word.substr(start).lowered();
}

// Whether `word` is what a person types for the option: option.word() == word, without making that text.
bool isWordOf(Option const& option, String const& word)
{
    String const& command = option.command();
    if (!option.hasDash())
        return word == command;
    return word.size() == command.size() + 1 && word[0] == '-' && word.endsWith(command);
}

String choicesText(Option const& option)
{
    String text;
    for (String const& choice : option.choices())
        text += String(text.empty() ? "" : ", ") + quoted(choice);
    return text;
}

void checkValue(Option const& option, String const& value)
{
    String const what = String("The value ") + quoted(value) + " of the option " + quoted(option.word());
    if (option.type() == Option::Type::Integer && !toInteger(value))
        throw OptionException(what + (isWhole(value) ? " is out of range" : " is not an integer"));
    auto const& choices = option.choices();
    if (!choices.empty() && std::find(choices.begin(), choices.end(), value) == choices.end())
        throw OptionException(what + " is none of " + choicesText(option));
}

} // namespace

Option::Option(String name, String defaultValue, Type type, std::vector<String> choices, String command,
               String description, bool dash)
    : m_name(std::move(name)), m_default(std::move(defaultValue)), m_type(type),
      m_choices(std::move(choices)), m_command(std::move(command)), m_description(std::move(description)),
      m_dash(dash)
{}

String Option::word() const { return m_dash ? String("-") + m_command : m_command; }

String Option::getUsageString(String const& prefix) const
{
    char const* value = "";
    switch (m_type) {
    case Type::Integer:
        value = " <number>";
        break;
    case Type::Flag:
        break;
    case Type::String:
        value = " <text>";
        break;
    }
    return prefix + m_command + value + " ";
}

OptionManager& OptionManager::instance()
{
    static OptionManager s_instance;
    return s_instance;
}

void OptionManager::registerOption(Option option)
{
    if (m_options.empty())
        m_options.reserve(32); // options are large, and all of a module's are made at its start
    String const word = option.word();
    if (indexOfName(option.name()) != m_options.size())
        throw OptionException(String("Option registered twice: ") + quoted(option.name()));
    if (indexOfWord(word) != m_options.size())
        throw OptionException(String("Two options with the same word: ") + quoted(word));
    m_options.push_back(std::move(option));
    m_values.emplace_back();
}

std::size_t OptionManager::indexOfName(String const& name) const
{
    auto const found = std::find_if(m_options.begin(), m_options.end(),
                                    [&](Option const& option) { return option.name() == name; });
    return static_cast<std::size_t>(found - m_options.begin());
}

std::size_t OptionManager::indexOfWord(String const& word) const
{
    auto const found = std::find_if(m_options.begin(), m_options.end(),
                                    [&](Option const& option) { return isWordOf(option, word); });
    return static_cast<std::size_t>(found - m_options.begin());
}

void OptionManager::throwUnknown(String const& word) const
{
    auto const meant = [&](auto spelling) {
        return std::find_if(m_options.begin(), m_options.end(),
                            [&](Option const& option) { return core(spelling(option)) == core(word); });
    };
    auto found = meant([](Option const& option) { return option.word(); });
    if (found == m_options.end()) // the name in full, as "--help" for "-h"
        found = meant([](Option const& option) { return option.name(); });
    String const message = String("Unknown word on the command line: ") + quoted(word);
    throw OptionException(
        found == m_options.end() ? message : message + " (did you mean " + quoted(found->word()) + "?)");
}

void OptionManager::mergeCommandLine(int argc, char const* const argv[])
{
    std::vector<String> words;
    for (int i = 1; argv && i < argc; ++i)
        if (argv[i])
            words.emplace_back(argv[i]);

    std::vector<std::optional<String>> values(m_options.size());
    for (std::size_t i = 0; i < words.size(); ++i) {
        std::size_t const index = indexOfWord(words[i]);
        if (index == m_options.size())
            throwUnknown(words[i]);
        Option const& option = m_options[index];
        if (values[index])
            throw OptionException(String("Option given twice: ") + quoted(option.word()));
        if (option.type() == Option::Type::Flag) {
            values[index] = String();
            continue;
        }
        // A value that is another option's word is far more often a forgotten value.
        if (i + 1 == words.size() || indexOfWord(words[i + 1]) != m_options.size())
            throw OptionException(String("The option ") + quoted(option.word()) + " needs a value");
        checkValue(option, words[++i]);
        values[index] = words[i];
    }
    for (std::size_t i = 0; i < values.size(); ++i)
        if (values[i])
            m_values[i] = std::move(values[i]);
}

std::optional<std::int64_t> OptionManager::lookupIntegerValue(String const& name) const
{
    std::optional<String> const text = lookupStringValue(name);
    return text ? toInteger(*text) : std::nullopt;
}

std::optional<String> OptionManager::lookupStringValue(String const& name) const
{
    std::size_t const index = indexOfName(name);
    if (index == m_options.size())
        return std::nullopt;
    if (m_values[index])
        return m_values[index];
    String const& fallback = m_options[index].defaultValue();
    return fallback.empty() ? std::nullopt : std::optional<String>(fallback);
}

bool OptionManager::lookupFlag(String const& name) const
{
    std::size_t const index = indexOfName(name);
    return index != m_options.size() && m_values[index].has_value();
}

void OptionManager::reset()
{
    m_options.clear();
    m_values.clear();
}

Option LoggerConfig::loggerLevelOption()
{
    return Option(
        "LoggerLevel", "", Option::Type::String, {}, "ll",
        "Specifies the lowest level that is logged: trace, debug, information, warning, error, critical "
        "or 0 to 5.",
        true);
}

Option LoggerConfig::loggerRootOption()
{
    return Option("LoggerRoot", "", Option::Type::String, {}, "lr",
                  "Specifies the log category that the level holds for, with all below it.", true);
}

void LoggerConfig::applyOptions(OptionManager const& options)
{
    std::optional<String> const level = options.lookupStringValue(loggerLevelOption().name());
    std::optional<String> const root = options.lookupStringValue(loggerRootOption().name());
    if (level) {
        try {
            LogFactory::setOverride(*level, root.value_or(String()));
        } catch (InvalidArgumentException const& error) {
            throw OptionException(error.getMessage());
        }
    } else if (root)
        throw OptionException("The option \"-lr\" needs the option \"-ll\" beside it");
}

} // namespace zel
