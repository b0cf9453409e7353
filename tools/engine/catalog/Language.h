#pragma once
// The language of the person who sits there.

#include <zel/model/vocabulary/LanguageImp.h>

#include <string>

namespace engine {

/// The language of that tag ("de"). Throws InvalidArgumentException that names those that there are.
zel::LanguageImp languageNamed(std::string const& tag);

/// The language of a locale's name ("de_AT.UTF-8"): the one of language and country, else that of the language, else
/// English. Empty, "C" and "POSIX" are English.
zel::LanguageImp languageOfLocale(std::string const& locale);

/// The locale of messages that the environment names.
std::string localeOfEnvironment();

} // namespace engine
