#include <listing/command/Usage.h>

#include <zel/foundation/Spelling.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace listing {

namespace {

std::vector<CLI::App const*> commandsOf(CLI::App const& app)
{
    return app.get_subcommands([](CLI::App const*) { return true; });
}

std::string quoted(std::string const& word) { return "\"" + word + "\""; }

std::string beforeColon(std::string const& text) { return text.substr(0, text.find(':')); }

std::string unknownWord(CLI::App const& app, std::string const& whole)
{
    std::string const word = whole.substr(0, whole.find('='));
    std::vector<zel::String> known;
    auto const parsed = app.get_subcommands();
    CLI::App const& asked = parsed.empty() ? app : *parsed.front();
    for (CLI::Option const* option : asked.get_options())
        for (std::string const& name : option->get_lnames())
            known.emplace_back("--" + name);
    if (parsed.empty() || !word.starts_with('-'))
        for (CLI::App const* command : commandsOf(app))
            known.emplace_back(command->get_name());
    return quoted(word) + " is not understood" + hintFor(word, known);
}

std::string mismatch(std::string const& text)
{
    std::string const option = beforeColon(text);
    if (text.find("missing") != std::string::npos)
        return option + ": a value is missing";
    if (text.find("received") != std::string::npos)
        return option + ": takes one value, and is given several times";
    return "--" + text.substr(0, text.find(' ')) + ": takes no value"; // of a flag, called without its dashes
}

} // namespace

void takeNoValuesForFlags(CLI::App& app)
{
    for (CLI::Option* const option : app.get_options())
        if (option->get_items_expected_max() == 0)
            option->disable_flag_override();
    for (CLI::App* const command : app.get_subcommands([](CLI::App*) { return true; }))
        takeNoValuesForFlags(*command);
}

void requireWholeNumber(CLI::Option& option, std::uint32_t least, std::uint32_t most)
{
    option.check(CLI::Validator(
        [least, most](std::string const& text) -> std::string {
            std::uint32_t number = 0;
            auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
            if (error == std::errc() && end == text.data() + text.size() && number >= least && number <= most)
                return {};
            return quoted(text) + " is no whole number from " + std::to_string(least) + " to " +
                   std::to_string(most);
        },
        std::string()));
}

std::string missingValue(CLI::App const& app, int argc, char const* const* argv)
{
    CLI::App const* asked = &app;
    for (int i = 1; i < argc; ++i) {
        std::string const word = argv[i];
        if (word == "--")
            return {};
        for (CLI::App const* const command : commandsOf(*asked))
            if (word == command->get_name()) {
                asked = command;
                break;
            }
        std::size_t const equals = word.find('=');
        CLI::Option const* const option =
            word.starts_with("--") ? asked->get_option_no_throw(word.substr(0, equals)) : nullptr;
        if (!option || option->get_items_expected_max() == 0)
            continue;
        if (equals != std::string::npos) {
            if (equals + 1 == word.size())
                return word.substr(0, equals) + ": a value is missing behind the \"=\"";
            continue;
        }
        if (++i < argc && std::string_view(argv[i]).starts_with("--"))
            return word + ": a value is missing; " + quoted(argv[i]) +
                   " is taken for an option (a value like that is written " + word + "=" + argv[i] + ")";
    }
    return {};
}

std::string usageError(CLI::App const& app, CLI::ParseError const& error)
{
    // Also where something else is missing: what was meant to be that may be the word that nobody understands.
    if (auto const words = app.remaining(true); !words.empty())
        return unknownWord(app, words.front());
    return dynamic_cast<CLI::ArgumentMismatch const*>(&error) ? mismatch(error.what()) : error.what();
}

std::string hintFor(std::string const& word, std::vector<zel::String> const& known)
{
    constexpr std::size_t kMost = 3;
    std::vector<zel::String> nearest = zel::nearestSpellings(zel::String(word), known);
    nearest.erase(std::unique(nearest.begin(), nearest.end()), nearest.end());
    if (nearest.empty())
        return {};
    nearest.resize(std::min(nearest.size(), kMost));
    std::string text = "; did you mean " + nearest.front().toUtf8();
    for (std::size_t i = 1; i < nearest.size(); ++i)
        text += (i + 1 < nearest.size() ? ", " : " or ") + nearest[i].toUtf8();
    return text + "?";
}

} // namespace listing
