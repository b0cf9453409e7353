#include <libKrel5/internal/files/LocalizedKeys.h>

#include <libKrel5/devices/DeclaredProperties.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/KrelString.h>

#include <zel/model/texts/GlobalParameters.h>
#include <zel/model/texts/LocalizedResource.h>
#include <zel/model/values/LocalizedStringImp.h>

namespace krel5 {
namespace {

// "Event.{key}.Tip.1" and its like: a text that an event may have but need not.
bool isOptionalTextOfEvent(zel::String const& key, zel::String const& eventKey)
{
    zel::String const prefix = zel::String("Event.") + eventKey + ".";
    return key.startsWith(prefix + "Tip.") || key == prefix + "CustomerEventCode";
}

// Texts whose keys do not stand in the list, and yet something shows them. Alerts and their tips are made
// while the module runs, so that any of their keys may be in use.
bool isUsedBesideTheList(zel::String const& key)
{
    if (key.startsWith("Alert.") || key.startsWith("Tip.") || key.startsWith("Question."))
        return true;
    for (auto const& indicator : Factories::indicators()) {
        zel::String const prefix = zel::String("Indicator.") + indicator->key().zelString();
        if (key == prefix + ".Name" || key == prefix + ".Description")
            return true;
    }
    for (auto const& event : Factories::events())
        if (isOptionalTextOfEvent(key, event->key().zelString()))
            return true;
    return false;
}

// A line that began with '#' would be a comment; the '=' needs no escape where the whole line is the key.
zel::String listedKey(zel::String const& key)
{
    zel::String const line = zel::LocalizedResource::escaped(key);
    return line.startsWith("#") ? zel::String("\\") + line : line;
}

} // namespace

void LocalizedKeys::add(zel::String const& key, zel::String const& defaultText)
{
    m_rows.push_back({key, defaultText, false});
    m_used.insert(key);
}

void LocalizedKeys::addNamed(char const* kind, zel::String const& key)
{
    add(zel::String(kind) + "." + key + ".Name");
    add(zel::String(kind) + "." + key + ".Description");
}

LocalizedKeys LocalizedKeys::ofModule()
{
    LocalizedKeys keys;
    for (char const* what : {"Module.Name", "Module.Description", "Module.Company"})
        keys.add(what);
    for (auto const& test : Factories::tests())
        keys.addNamed("Test", test->key().zelString());
    for (auto const& parameter : Factories::parameters())
        keys.addNamed("Parameter", parameter->key().zelString());
    for (auto const& event : Factories::events())
        keys.add(zel::String("Event.") + event->key().zelString() + ".Message");
    for (auto const& text : Factories::localizedStrings())
        keys.add(text->key().zelString(), text->imp().defaultText());
    for (auto const& declared : DeclaredProperties::all()) {
        zel::PropertyCategoryImp const& category = declared->spec->category();
        if (declared->spec->moduleGuid() != ModuleCommon::module().guid())
            continue; // its texts belong to the module that made it
        if (!category.isCapable(zel::PropertyCategoryImp::Internal()) &&
            !category.isCapable(zel::PropertyCategoryImp::LinkInFromDevice())) {
            keys.addNamed("Property", declared->spec->keyInModule());
            keys.m_rows.back().isOptional = true; // a property's name mostly says all that there is to say
        }
    }
    return keys;
}

zel::String LocalizedKeys::listText() const
{
    zel::ModuleImp const& module = ModuleCommon::module();
    zel::String text = zel::String("# localized keys for the module ") + module.guid() + "\n#!depends " +
                       module.guid() + ".w4p ";
    for (zel::String const& library : module.librariesList())
        text += library + ".w4p ";
    text += "\n";
    for (Row const& row : m_rows)
        text += listedKey(row.key) + "\n";
    return text;
}

zel::String LocalizedKeys::skeletonText() const
{
    zel::String text = zel::String("# Texts of the module ") + ModuleCommon::module().guid() +
                       ". A key without a text shows its default.\n";
    for (Row const& row : m_rows)
        text += zel::LocalizedResource::escapedKey(row.key) + "=" +
                zel::LocalizedResource::escaped(row.defaultText) + "\n";
    return text;
}

namespace {

zel::LanguageImp language() { return zel::GlobalParameters::instance().language(); }
bool isDefaultLanguage() { return language() == zel::GlobalParameters::defaultLanguage(); }

zel::String inLanguage()
{
    return isDefaultLanguage() ? zel::String() : zel::String(" in the language ") + language().toString();
}

// The code by which a customer's service knows an event is the same in every language.
bool isForAllLanguages(zel::String const& key) { return key.endsWith(".CustomerEventCode"); }

} // namespace

// A default text is in the default language, as are the plain files. In another language a text that need not
// be there at all is missed where the plain file has it.
std::vector<zel::String> LocalizedKeys::keysWithoutText(zel::String const& guid) const
{
    auto const isMissing = [&](zel::String const& key) {
        return !zel::LocalizedResource::findInLanguage(guid, key, language());
    };
    std::vector<zel::String> keys;
    for (Row const& row : m_rows)
        if (!row.isOptional && (row.defaultText.empty() || !isDefaultLanguage()) && isMissing(row.key))
            keys.push_back(row.key);
    auto const paths = zel::LocalizedResource::candidates(guid, zel::LanguageImp::nil()); // the plain file
    if (isDefaultLanguage() || paths.empty())
        return keys;
    auto const plain = zel::LocalizedResource::load(paths.front());
    for (Row const& row : m_rows)
        if (row.isOptional && isMissing(row.key) && zel::LocalizedResource::textIn(*plain, row.key))
            keys.push_back(row.key);
    for (zel::String const& key : plain->keys())
        if (!m_used.contains(key) && isUsedBesideTheList(key) && !isForAllLanguages(key) && isMissing(key) &&
            zel::LocalizedResource::textIn(*plain, key))
            keys.push_back(key);
    return keys;
}

bool LocalizedKeys::isUsed(zel::String const& key) const
{
    return m_used.contains(key) || isUsedBesideTheList(key);
}

std::vector<zel::String> LocalizedKeys::notes() const
{
    zel::String const& guid = ModuleCommon::module().guid();
    std::vector<zel::String> notes;
    for (zel::String const& key : keysWithoutText(guid))
        notes.push_back(zel::String("Note: \"") + key + "\" has no text" + inLanguage() + ".");
    auto const texts = zel::LocalizedResource::load(zel::LocalizedResource::getLocalizedResource(guid));
    for (zel::KeyTextFile::Issue const& issue : texts->issues())
        notes.push_back(zel::String("Note: ") + issue.toString());
    for (zel::String const& key : texts->keys())
        if (!isUsed(key))
            notes.push_back(zel::String("Note: the text \"") + key + "\" in " + zel::String(texts->path()) +
                            " belongs to no object of this module.");
    return notes;
}

} // namespace krel5
