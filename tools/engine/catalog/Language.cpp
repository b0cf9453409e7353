#include <engine/catalog/Language.h>

#include <zel/foundation/Exception.h>

#include <algorithm>
#include <cstdlib>

namespace engine {

using zel::LanguageImp;
using zel::String;

LanguageImp languageNamed(std::string const& tag)
{
    LanguageImp const language = LanguageImp::getConstantByString(String(tag));
    if (language != LanguageImp::nil() && language.toString() == String(tag))
        return language;
    String known;
    for (int i = 0; i < LanguageImp::count(); ++i)
        if (String const one = LanguageImp::table().text(i); one != LanguageImp::nil().toString())
            known += (known.empty() ? String() : String(", ")) + one;
    throw zel::InvalidArgumentException("--lang: no language \"" + String(tag) +
                                        "\" is known; these are: " + known);
}

LanguageImp languageOfLocale(std::string const& locale)
{
    std::string tag = String(locale.substr(0, locale.find_first_of(".@"))).lowered().toUtf8();
    std::replace(tag.begin(), tag.end(), '_', '-');
    for (std::string const& one : {tag, tag.substr(0, tag.find('-'))}) {
        LanguageImp const language = LanguageImp::getConstantByString(String(one));
        if (language != LanguageImp::nil())
            return language;
    }
    return LanguageImp::en();
}

std::string localeOfEnvironment()
{
    for (char const* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
        if (char const* value = std::getenv(name); value && *value)
            return value;
    return {};
}

} // namespace engine
