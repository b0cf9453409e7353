#include <internal/LocalizedKeys.h>

#include <internal/Factories.h>
#include <internal/ModuleCommon.h>

#include <krel5/KrelString.h>

#include <zel/model/GlobalParameters.h>
#include <zel/model/LocalizedResource.h>
#include <zel/model/LocalizedStringImp.h>

#include <algorithm>

namespace krel5 {
namespace {

// Texts that an object may have but need not: their keys are no news when they stand in a text file, and no
// loss when they do not.
bool isOptionalText(zel::String const& key)
{
    return (key.startsWith("Event.") && (key.contains(".Tip.") || key.endsWith(".CustomerEventCode"))) ||
           key.startsWith("Alert.") || key.startsWith("Tip.");
}

} // namespace

void LocalizedKeys::add(zel::String const& key, zel::String const& defaultText)
{
    m_rows.push_back({key, defaultText});
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
    for (auto const& declared : Factories::properties()) {
        zel::PropertyCategoryImp const& category = declared->spec->category();
        if (!category.isCapable(zel::PropertyCategoryImp::Internal()) &&
            !category.isCapable(zel::PropertyCategoryImp::LinkInFromDevice()))
            keys.addNamed("Property", declared->spec->keyInModule());
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
        text += zel::LocalizedResource::escaped(row.key) + "\n";
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

bool LocalizedKeys::hasKey(zel::String const& key) const
{
    return std::any_of(m_rows.begin(), m_rows.end(), [&](Row const& row) { return row.key == key; });
}

std::vector<zel::String> LocalizedKeys::notes() const
{
    zel::String const& guid = ModuleCommon::module().guid();
    zel::LanguageImp const language = zel::GlobalParameters::instance().language();
    std::vector<zel::String> notes;
    auto const plain = zel::LocalizedResource::load(zel::LocalizedResource::getLocalizedResource(guid));
    if (plain->state() != zel::KeyTextFile::State::Read)
        return notes;
    for (Row const& row : m_rows)
        if (!zel::LocalizedResource::find(guid, row.key, language))
            notes.push_back(zel::String("Note: \"") + row.key + "\" has no text.");
    for (zel::String const& key : plain->keys())
        if (!hasKey(key) && !isOptionalText(key))
            notes.push_back(zel::String("Note: the text \"") + key + "\" in " + zel::String(plain->path()) +
                            " belongs to no object of this module.");
    return notes;
}

} // namespace krel5
