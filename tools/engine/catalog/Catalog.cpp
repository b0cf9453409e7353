#include <engine/catalog/Catalog.h>

#include <engine/catalog/AskModule.h>
#include <engine/catalog/Metadata.h>

#include <zel/enumerator/modules/ModulesFolder.h>
#include <zel/foundation/FileSystem.h>
#include <zel/model/settings/SettingsResource.h>
#include <zel/model/texts/KeyTextFile.h>
#include <zel/model/texts/LocalizedResource.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

namespace engine {

namespace fs = std::filesystem;
using zel::FileSystem;
using zel::String;

namespace {

std::string absolute(std::string const& path)
{
    std::error_code error;
    fs::path const whole = fs::absolute(path, error);
    return (error ? fs::path(path) : whole).lexically_normal().string();
}

/// Paths of programs, each once.
class Programs
{
public:
    explicit Programs(std::vector<std::string>& complaints) : m_complaints(complaints) {}

    void addFolder(std::string const& folder)
    {
        auto const found = zel::ModulesFolder::read(folder);
        for (String const& refused : found.refused)
            m_complaints.push_back(refused.toUtf8());
        for (std::string const& program : found.programs)
            add(program);
    }
    void addNamed(std::string const& given)
    {
        std::string const path = absolute(given);
        std::error_code error;
        auto const status = fs::status(path, error);
        if (!fs::exists(status))
            throw zel::InvalidArgumentException("--modules: there is no \"" + String(given) + "\"");
        if (fs::is_directory(status))
            return addFolder(path.ends_with('/') ? path.substr(0, path.size() - 1) : path);
        if (String const reason = zel::ModulesFolder::refusal(path); !reason.empty())
            m_complaints.push_back((String(path) + ": " + reason).withoutControls(false).toUtf8());
        else
            add(path);
    }
    std::vector<std::string> const& paths() const { return m_paths; }

private:
    void add(std::string const& path)
    {
        if (std::find(m_paths.begin(), m_paths.end(), path) == m_paths.end())
            m_paths.push_back(path);
    }

    std::vector<std::string>& m_complaints;
    std::vector<std::string> m_paths;
};

std::string guidOf(std::string const& program)
{
    return FileSystem::extractBaseFileName(String(program)).toUtf8();
}

std::string metadataPath(std::string const& program)
{
    return FileSystem::folderOf(program) + "/" + guidOf(program) + ".w4m";
}

/// Whether the module's file describes the program as it is now.
bool hasMetadata(std::string const& program)
{
    std::error_code error;
    auto const file = fs::last_write_time(metadataPath(program), error);
    if (error)
        return false;
    auto const built = fs::last_write_time(program, error);
    return !error && file >= built;
}

ModuleAnswer fromFile(std::string const& program)
{
    std::string const path = metadataPath(program);
    auto read = FileSystem::readFile(path, zel::KeyTextFile::kMaxFileBytes, FileSystem::Writers::AsProgram);
    if (read.content)
        return {path, std::move(*read.content), {}};
    return {path, {}, path + ": " + read.reason().toUtf8()};
}

String textOr(String const& guid, String const& key, zel::LanguageImp const& language, String const& fallback)
{
    return zel::LocalizedResource::find(guid, key, language).value_or(fallback);
}

void readTexts(Module& module, zel::LanguageImp const& language)
{
    String const guid = module.record.guid();
    for (String const& library : module.record.librariesList())
        zel::LocalizedResource::registerLibrary(guid, library);
    module.name = textOr(guid, "Module.Name", language, guid).toUtf8();
    module.description = textOr(guid, "Module.Description", language, String()).toUtf8();
    for (ModuleTest& test : module.tests) {
        String const key = test.record.keyInModule();
        test.name = textOr(guid, "Test." + key + ".Name", language, key).toUtf8();
        test.description = textOr(guid, "Test." + key + ".Description", language, String()).toUtf8();
        for (zel::ParameterImp const& parameter : test.record.parameters())
            test.parameterNames.push_back(
                textOr(guid, "Parameter." + parameter.key() + ".Name", language, String()).toUtf8());
    }
}

void readSettings(Module& module)
{
    using Writers = FileSystem::Writers;
    auto const settings = zel::SettingsResource::read(
        module.record.guid(), {{module.folder, Writers::AsProgram}, {".", Writers::CallerOrRoot}});
    module.settingsTrouble = settings->unknown().toUtf8();
    for (ModuleTest& test : module.tests)
        test.record.resolveParameterData(*settings);
    zel::String ignored; // the module itself says what is wrong with it
    auto const text = settings->text("Parameter.UpdateIntervalInSeconds.value");
    auto const seconds =
        text ? zel::ValueImp::parse(*text, zel::DataTypeImp::DOUBLE(), ignored) : std::nullopt;
    if (seconds && seconds->doubleValue() >= 0)
        module.updateSeconds = seconds->doubleValue();
}

} // namespace

Catalog Catalog::read(CatalogRequest const& request)
{
    Catalog catalog;
    Programs programs(catalog.m_complaints);
    for (std::string const& folder : request.folders)
        programs.addFolder(absolute(folder));
    for (std::string const& path : request.named)
        programs.addNamed(path);

    std::vector<std::string> silent;
    for (std::string const& program : programs.paths())
        if (!hasMetadata(program))
            silent.push_back(program);
    auto const answers = askModules(silent, request.askMilliseconds);

    std::string textsFolder;
    std::size_t number = 0;
    for (std::string const& program : programs.paths()) {
        auto const asked = answers.find(program);
        ModuleAnswer const answer = asked == answers.end() ? fromFile(program) : asked->second;
        auto module = std::make_unique<Module>();
        module->program = program;
        module->folder = FileSystem::folderOf(program);
        std::string complaint = answer.error;
        if (complaint.empty()) {
            try {
                readMetadata(answer.metadata, answer.path, guidOf(program), *module);
            } catch (zel::InvalidArgumentException const& error) {
                complaint = error.getMessage().toUtf8();
            }
        }
        for (auto const& known : catalog.m_modules)
            if (complaint.empty() && known->record.guid() == module->record.guid())
                complaint =
                    program + ": there is a module \"" + module->guid() + "\" already: " + known->program;
        if (!complaint.empty()) {
            catalog.complain(complaint);
            continue;
        }
        if (textsFolder != module->folder)
            zel::LocalizedResource::setDefaultPath(textsFolder = module->folder);
        readTexts(*module, request.language);
        readSettings(*module);
        for (ModuleTest& test : module->tests)
            test.number = ++number;
        catalog.m_modules.push_back(std::move(module));
    }
    return catalog;
}

void Catalog::complain(std::string const& line)
{
    m_complaints.push_back(String(line).withoutControls(false).toUtf8());
}

Catalog::Place Catalog::testOfNumber(std::size_t number) const
{
    for (auto const& module : m_modules)
        for (ModuleTest& test : module->tests)
            if (test.number == number)
                return {module.get(), &test};
    return {};
}

std::string wordOf(Module const& module, ModuleTest const& test)
{
    return module.guid() + ":" + test.record.keyInModule().toUtf8();
}

} // namespace engine
