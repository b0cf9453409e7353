#pragma once
// What is wrong with a command line, in words. The parser behind it is lenient in places where a slip would run something
// else than was meant.

#include <zel/foundation/String.h>

#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
class ParseError;
} // namespace CLI

namespace listing {

/// No flag of `app` or its commands takes a value: "--dry-run=no" is a mistake. Call when all options are there.
void takeNoValuesForFlags(CLI::App& app);

/// A whole number from `least` to `most`, in decimal digits.
void requireWholeNumber(CLI::Option& option, std::uint32_t least, std::uint32_t most);

/// An option that gets no value of its own: the next word is another option, or nothing stands behind the "=". Empty when
/// there is none. Asked before parsing, which would take the next word for the value.
std::string missingValue(CLI::App const& app, int argc, char const* const* argv);

/// The error of parsing: what was wrong, the option or the word first; of an unknown word also the nearest that `app` knows.
std::string usageError(CLI::App const& app, CLI::ParseError const& error);

/// "; did you mean --json?", of up to three that are equally near "a, b or c"; nothing where none is near.
std::string hintFor(std::string const& word, std::vector<zel::String> const& known);

} // namespace listing
