#pragma once

#include <zel/foundation/String.h>

#include <optional>
#include <string>
#include <vector>

namespace krel5 {

class KrelString;

/// Looks texts up in a module's localized resource files and logs what is missing. The files are those that
/// exist of the ones that zel::LocalizedResource::find asks for the current language, in its order, those of
/// registered libraries included.
class ModuleResource
{
public:
    explicit ModuleResource(zel::String moduleGuid) : m_moduleGuid(std::move(moduleGuid)) {}

    /// Whether one of the files has the key.
    bool exists(KrelString const& key) const;
    /// Its text, its escapes resolved; empty when no file has it.
    KrelString get(KrelString const& key) const;

private:
    /// Never empty: the one that would be looked for where none exists.
    std::vector<std::string> files() const;

    zel::String m_moduleGuid;
};

} // namespace krel5
