#pragma once
// A piece of text that goes into a variable of a report: why something failed, the name of a step, "yes". Its
// key in the module's text files, and the English for where they have none. A module lists its own in
// Texts.def:
//
//     MODULE_TEXT(kTooLittle, "Text.TooLittle", "only {Available} MiB are available")
//     ...
//     host.text(kTooLittle, {{"Available", "12"}})
//
// Thread rule: plain values.

#include <string>
#include <utility>
#include <vector>

namespace krel5::modules {

struct LocalText
{
    char const* m_key;
    char const* m_english;
};

using TextValues = std::vector<std::pair<std::string, std::string>>;

/// Each `{name}` replaced by its value.
inline std::string filledIn(std::string text, TextValues const& values)
{
    for (auto const& [name, value] : values) {
        std::string const variable = "{" + name + "}";
        for (auto at = text.find(variable); at != text.npos; at = text.find(variable, at + value.size()))
            text.replace(at, variable.size(), value);
    }
    return text;
}

} // namespace krel5::modules
