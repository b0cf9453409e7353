#include <zel/model/texts/LocalizedResource.h>

#include <zel/foundation/FileSystem.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/model/texts/FileNamePart.h>
#include <zel/model/texts/GlobalParameters.h>

#include <algorithm>
#include <mutex>

namespace zel {
namespace {

Logger& logger() { return LogFactory::getLogger("zel.LocalizedResource"); }

using Shared = std::shared_ptr<KeyTextFile const>;

struct Service
{
    std::mutex m_mutex; // guards everything below
    std::string m_folder;
    std::unordered_map<std::string, Shared> m_byPath;
    std::unordered_map<String, std::vector<String>> m_libraries; // by the module's guid
};

Service& service()
{
    static auto* const instance = new Service; // never destroyed: exit handlers still show texts
    return *instance;
}

// "zh-cn" is followed by "zh": what both have in common is written once.
std::vector<std::string> tagsOf(LanguageImp const& language)
{
    std::vector<std::string> tags;
    if (language == LanguageImp::nil())
        return tags;
    tags.push_back(language.toString().toUtf8());
    if (std::size_t const hyphen = tags[0].find('-'); hyphen != std::string::npos)
        tags.push_back(tags[0].substr(0, hyphen));
    return tags;
}

// What the person named for texts; a text that cannot stand in a file name counts as not given.
std::string asPart(String const& text) { return isFileNamePart(text) ? "-" + text.toUtf8() : std::string(); }

std::vector<String> resourcesOf(String const& moduleGuid)
{
    std::lock_guard const lock(service().m_mutex);
    std::vector<String> names{moduleGuid};
    if (auto const found = service().m_libraries.find(moduleGuid); found != service().m_libraries.end())
        names.insert(names.end(), found->second.begin(), found->second.end());
    return names;
}

std::string stemOf(String const& guid) { return LocalizedResource::defaultPath() + "/" + guid.toUtf8(); }

std::string plainPath(String const& guid) { return stemOf(guid) + ".w4p"; }

std::optional<String> firstOf(std::vector<std::string> const& paths, String const& key)
{
    if (key.empty())
        return std::nullopt;
    for (std::string const& path : paths)
        if (auto text = LocalizedResource::textIn(*LocalizedResource::load(path), key))
            return text;
    return std::nullopt;
}

void logIssues(KeyTextFile const& file)
{
    for (KeyTextFile::Issue const& issue : file.issues())
        ZEL_LOG(logger(), LogLevel::Warning) << issue.toString();
}

} // namespace

std::optional<String> LocalizedResource::find(String const& moduleGuid, String const& key,
                                              LanguageImp const& language)
{
    return firstOf(searchPath(moduleGuid, language), key);
}

std::optional<String> LocalizedResource::findInLanguage(String const& moduleGuid, String const& key,
                                                        LanguageImp const& language)
{
    std::vector<std::string> paths = searchPath(moduleGuid, language);
    if (language != GlobalParameters::defaultLanguage())
        for (String const& resource : resourcesOf(moduleGuid))
            std::erase(paths, plainPath(resource));
    return firstOf(paths, key);
}

std::vector<std::string> LocalizedResource::searchPath(String const& moduleGuid, LanguageImp const& language)
{
    std::vector<std::string> paths;
    for (String const& resource : resourcesOf(moduleGuid))
        for (std::string& path : candidates(resource, language))
            paths.push_back(std::move(path));
    return paths;
}

std::optional<String> LocalizedResource::textIn(KeyTextFile const& file, String const& key)
{
    auto const* const entry = file.find(key);
    return entry && !entry->m_text.empty() ? std::optional(unescaped(entry->m_text)) : std::nullopt;
}

std::vector<std::string> LocalizedResource::candidates(String const& moduleGuid, LanguageImp const& language)
{
    std::vector<std::string> paths;
    if (!isFileNamePart(moduleGuid))
        return paths;
    std::string const stem = stemOf(moduleGuid);
    std::string const variant = asPart(GlobalParameters::instance().variant());
    std::string const customer = asPart(GlobalParameters::instance().customer());
    for (std::string const& tag : tagsOf(language))
        for (std::string const& suffix : {variant + customer, variant, customer, std::string()}) {
            std::string path = stem + "." + tag + suffix + ".w4p";
            if (std::find(paths.begin(), paths.end(), path) == paths.end())
                paths.push_back(std::move(path));
        }
    paths.push_back(plainPath(moduleGuid));
    return paths;
}

std::string LocalizedResource::getLocalizedResource(String const& moduleGuid)
{
    auto const paths = candidates(moduleGuid, GlobalParameters::instance().language());
    for (std::string const& path : paths)
        if (load(path)->state() != KeyTextFile::State::Absent)
            return path;
    return paths.empty() ? std::string() : paths.back();
}

Shared LocalizedResource::load(std::string const& path)
{
    std::lock_guard const lock(service().m_mutex);
    auto& known = service().m_byPath;
    if (auto const found = known.find(path); found != known.end())
        return found->second;
    auto const file = std::make_shared<KeyTextFile const>(KeyTextFile::load(path));
    logIssues(*file);
    constexpr std::size_t kMaxFiles = 4096; // guids come from outside, too
    if (known.size() < kMaxFiles)
        known.emplace(path, file);
    return file;
}

String LocalizedResource::unescaped(String const& text) { return KeyTextFile::unescaped(text); }

String LocalizedResource::escaped(String const& text) { return KeyTextFile::escaped(text); }

String LocalizedResource::escapedKey(String const& key)
{
    String const safe = escaped(key).replaced("=", "\\=");
    return safe.startsWith("#") ? String("\\") + safe : safe;
}

void LocalizedResource::registerLibrary(String const& moduleGuid, String const& library)
{
    std::lock_guard const lock(service().m_mutex);
    auto& libraries = service().m_libraries[moduleGuid];
    if (std::find(libraries.begin(), libraries.end(), library) == libraries.end())
        libraries.push_back(library);
}

std::string LocalizedResource::defaultPath()
{
    std::lock_guard const lock(service().m_mutex);
    std::string& folder = service().m_folder;
    if (folder.empty()) {
        std::string const program = System::executablePath().bytes();
        folder = program.empty() ? std::string(".") : FileSystem::folderOf(program);
    }
    return folder;
}

void LocalizedResource::setDefaultPath(std::string const& folder)
{
    std::lock_guard const lock(service().m_mutex);
    service().m_folder = folder;
    service().m_byPath.clear();
}

void LocalizedResource::clearCache()
{
    std::lock_guard const lock(service().m_mutex);
    service().m_byPath.clear();
}

} // namespace zel
