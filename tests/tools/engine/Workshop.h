#pragma once
// Modules that are nothing but their metadata, and a machine that is nothing but its records.

#include <engine/catalog/Assignment.h>
#include <engine/catalog/Catalog.h>

#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace engine::test {

namespace fs = std::filesystem;

/// Head of a metadata file.
inline std::string head(std::string const& guid, bool choosesOwnTests = false)
{
    return "Module.Type=DIAG\nModule.Guid=" + guid + "\nModule.Version=1.0.1\nModule.BuildDate=2026-11-22\n" +
           "Module.Capabilities=Memory\nModule.EnumTests=" + (choosesOwnTests ? "true" : "false") + "\n";
}

/// A test's lines; `more`: further ones, as "isDestructive=true\n".
inline std::string test(int number, std::string const& key, std::string const& capabilities,
                        std::string more = std::string())
{
    std::string const prefix = "Test." + std::to_string(number) + ".";
    std::string text = prefix + "TestKey=" + key + "\n" + prefix + "Capabilities=" + capabilities + "\n";
    for (std::size_t end; !more.empty(); more = more.substr(end + 1)) {
        end = more.find('\n');
        text += prefix + more.substr(0, end + 1);
    }
    return text;
}

inline std::string parameter(int number, std::string const& key, std::string const& type,
                             std::string const& range)
{
    std::string const prefix = "Parameter." + std::to_string(number) + ".";
    return prefix + "ParameterKey=" + key + "\n" + prefix + "DataType=" + type + "\n" +
           (range.empty() ? "" : prefix + "ValidDataRange=" + range + "\n") + prefix + "Required=false\n";
}

/// A folder of modules, gone with the object, and the machine that they are for.
class Workshop
{
public:
    Workshop()
    {
        std::string name = (fs::temp_directory_path() / "krel5-catalog-XXXXXX").string();
        if (!::mkdtemp(name.data()))
            throw std::runtime_error("no folder " + name);
        m_folder = name;
    }
    ~Workshop() { fs::remove_all(m_folder); }
    Workshop(Workshop const&) = delete;
    Workshop& operator=(Workshop const&) = delete;

    std::string path(std::string const& name) const { return m_folder + "/" + name; }
    void write(std::string const& name, std::string const& text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
    }
    /// A program; without metadata a script that answers as it says.
    void addProgram(std::string const& name, std::string const& script = "exit 3") const
    {
        write(name, "#!/bin/sh\n" + script + "\n");
        fs::permissions(path(name), fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
    }
    void addModule(std::string const& name, std::string const& metadata) const
    {
        addProgram(name);
        write(name + ".w4m", metadata);
    }
    zel::DeviceImp& addDevice(char const* type, char const* name, char const* place, char const* osPlace = "")
    {
        return machine.addDevice(zel::DeviceImp::createGeneric(zel::CapabilityImp(type),
                                                               zel::CapabilityImp(type), name, osPlace, "",
                                                               place, zel::CapabilityImp()),
                                 nullptr);
    }
    /// Reads the folder and ties its tests to the machine.
    void open(char const* language = "en")
    {
        CatalogRequest request;
        request.folders = {m_folder};
        request.language = zel::LanguageImp::getConstantByString(language);
        request.askMilliseconds = 2000;
        catalog = std::make_unique<Catalog>(Catalog::read(request));
        assignTests(*catalog, machine, nullptr);
        numbered = testedDevices(*catalog, machine);
    }

    std::unique_ptr<Catalog> catalog; // outlives the machine, which has its tests
    zel::StateManager machine;
    std::vector<zel::DeviceImp*> numbered;

private:
    std::string m_folder;
};

/// What `work` refuses; empty when it does not.
template <typename Work>
std::string refusal(Work work)
{
    try {
        work();
    } catch (zel::InvalidArgumentException const& error) {
        return error.getMessage().toUtf8();
    }
    return {};
}

} // namespace engine::test
