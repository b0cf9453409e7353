#include <zel/model/texts/GlobalParameters.h>

namespace zel {

GlobalParameters& GlobalParameters::instance()
{
    static auto* const parameters = new GlobalParameters; // never destroyed: exit handlers still read it
    return *parameters;
}

// The numbers come from the build, so that the version is written in one place.
VersionImp GlobalParameters::engineVersion()
{
    return VersionImp(ZEL_VERSION_MAJOR, ZEL_VERSION_MINOR, String::number(ZEL_VERSION_PATCH));
}

LanguageImp GlobalParameters::language() const
{
    std::lock_guard const lock(m_mutex);
    return m_language;
}

void GlobalParameters::setLanguage(LanguageImp const& language)
{
    std::lock_guard const lock(m_mutex);
    m_language = language;
}

String GlobalParameters::customer() const
{
    std::lock_guard const lock(m_mutex);
    return m_customer;
}

void GlobalParameters::setCustomer(String const& customer)
{
    std::lock_guard const lock(m_mutex);
    m_customer = customer;
}

String GlobalParameters::variant() const
{
    std::lock_guard const lock(m_mutex);
    return m_variant;
}

void GlobalParameters::setVariant(String const& variant)
{
    std::lock_guard const lock(m_mutex);
    m_variant = variant;
}

String GlobalParameters::baseDirectory() const
{
    std::lock_guard const lock(m_mutex);
    return m_baseDirectory;
}

void GlobalParameters::setBaseDirectory(String const& path)
{
    std::lock_guard const lock(m_mutex);
    m_baseDirectory = path;
}

bool GlobalParameters::propertyOverridesEnabled() const
{
    std::lock_guard const lock(m_mutex);
    return m_propertyOverridesEnabled;
}

void GlobalParameters::setPropertyOverridesEnabled(bool enabled)
{
    std::lock_guard const lock(m_mutex);
    m_propertyOverridesEnabled = enabled;
}

} // namespace zel
