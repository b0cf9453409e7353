#pragma once

#include <zel/foundation/String.h>
#include <zel/model/texts/VersionImp.h>
#include <zel/model/vocabulary/LanguageImp.h>

#include <mutex>

namespace zel {

/// What holds for the whole process: the language of texts, the customer and variant whose texts are wanted,
/// the base directory. Thread rule: every operation may be used from any thread; texts are returned by value.
class ZEL_EXPORT GlobalParameters
{
public:
    static GlobalParameters& instance();

    /// Version of this library and its platform.
    static VersionImp engineVersion();
    static LanguageImp defaultLanguage() { return LanguageImp::en(); }

    /// `en` until it is set.
    LanguageImp language() const;
    void setLanguage(LanguageImp const& language);
    String customer() const;
    void setCustomer(String const& customer);
    String variant() const;
    void setVariant(String const& variant);
    /// "." until it is set.
    String baseDirectory() const;
    void setBaseDirectory(String const& path);
    /// Whether "PropertyOverride." lines of a settings file are to be applied; false until it is set.
    bool propertyOverridesEnabled() const;
    void setPropertyOverridesEnabled(bool enabled);

private:
    mutable std::mutex m_mutex; // guards everything below
    LanguageImp m_language = LanguageImp::en();
    String m_customer, m_variant, m_baseDirectory = String(".");
    bool m_propertyOverridesEnabled = false;
};

} // namespace zel
