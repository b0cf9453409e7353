#pragma once

#include <zel/model/texts/VersionImp.h>
#include <zel/model/vocabulary/CapabilityImp.h>
#include <zel/model/vocabulary/ModuleTypeImp.h>

#include <vector>

namespace zel {

/// The record of one module.
class ZEL_EXPORT ModuleImp
{
public:
    /// Another module that must enumerate before this one, or together with it.
    struct EnumerationRequirement
    {
        String module;
        bool completion = false; ///< the other module's enumeration must have completed
    };

    explicit ModuleImp(String name) : m_name(std::move(name)) {}

    String const& name() const noexcept { return m_name; }
    String const& guid() const noexcept { return m_guid; }
    void setGuid(String const& guid) { m_guid = guid; }
    ModuleTypeImp const& type() const noexcept { return m_type; }
    void setType(ModuleTypeImp const& type) { m_type = type; }
    VersionImp const& version() const noexcept { return m_version; }
    void setVersion(VersionImp const& version) { m_version = version; }
    /// "YYYY-MM-DD"; may be empty.
    String const& buildDate() const noexcept { return m_buildDate; }
    void setBuildDate(String const& date) { m_buildDate = date; }

    /// The devices that the module is for: the union of what its tests and indicators take, and what it sets.
    CapabilityImp const& supportedCapabilities() const noexcept { return m_capabilities; }
    void addSupportedCapabilities(CapabilityImp const& capabilities) { m_capabilities |= capabilities; }
    void setSupportedCapabilities(CapabilityImp const& capabilities) { m_capabilities = capabilities; }

    /// Whether the module decides itself which of its tests apply to a device.
    bool choosesOwnTests() const noexcept { return m_choosesOwnTests; }
    void setChoosesOwnTests(bool chooses) { m_choosesOwnTests = chooses; }

    std::vector<String> const& libraries() const noexcept { return m_libraries; }
    void registerLibrary(String const& name) { addOnce(m_libraries, name); }
    /// Libraries that bring texts of their own.
    std::vector<String> const& librariesList() const noexcept { return m_localizedLibraries; }
    void registerLocalizedLibrary(String const& name) { addOnce(m_localizedLibraries, name); }

    std::vector<EnumerationRequirement> const& enumerationRequirements() const noexcept
    {
        return m_requirements;
    }
    void addEnumerationRequirement(String const& module, bool completion)
    {
        m_requirements.push_back({module, completion});
    }

private:
    static void addOnce(std::vector<String>& list, String const& name);

    String m_name, m_guid, m_buildDate;
    ModuleTypeImp m_type = ModuleTypeImp::DIAG();
    VersionImp m_version;
    CapabilityImp m_capabilities;
    bool m_choosesOwnTests = false;
    std::vector<String> m_libraries, m_localizedLibraries;
    std::vector<EnumerationRequirement> m_requirements;
};

} // namespace zel
