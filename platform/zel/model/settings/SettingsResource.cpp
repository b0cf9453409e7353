#include <zel/model/settings/SettingsResource.h>

#include <zel/foundation/FileSystem.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/texts/FileNamePart.h>
#include <zel/model/values/ValueImp.h>

#include <filesystem>
#include <mutex>

namespace zel {
namespace {

Logger& logger() { return LogFactory::getLogger("zel.SettingsResource"); }

using Shared = std::shared_ptr<SettingsResource const>;

struct Cache
{
    std::mutex m_mutex; // guards everything below
    std::unordered_map<String, Shared> m_byGuid;
    std::vector<std::string> m_folders;
};

Cache& cache()
{
    static auto* const instance = new Cache; // never destroyed: exit handlers still read settings
    return *instance;
}

std::vector<std::string> defaultFolders()
{
    std::string const program = System::executablePath().bytes();
    if (program.empty())
        return {"."};
    return {FileSystem::folderOf(program), "."};
}

void logIssues(KeyTextFile const& file)
{
    for (KeyTextFile::Issue const& issue : file.issues())
        ZEL_LOG(logger(), issue.isWarning ? LogLevel::Warning : LogLevel::Error) << issue.toString();
}

// A file that is there but cannot be read is taken for what it is: going on to the next folder would run the
// module with settings that nobody meant.
Shared loadFirst(std::vector<std::string> const& folders, String const& guid)
{
    if (!isFileNamePart(guid)) {
        ZEL_LOG(logger(), LogLevel::Debug) << "no settings file is looked for: the module has no proper guid";
        return std::make_shared<SettingsResource const>(KeyTextFile());
    }
    KeyTextFile file;
    for (std::string const& folder : folders) {
        std::string const path = folder + "/" + guid.toUtf8() + ".w4i";
        if (file.state() != KeyTextFile::State::Absent) {
            std::error_code error;
            if (FileSystem::exists(path) && !std::filesystem::equivalent(path, file.path(), error))
                return std::make_shared<SettingsResource const>(std::move(file), path);
            continue;
        }
        file = KeyTextFile::load(path);
        if (file.state() == KeyTextFile::State::Absent)
            ZEL_LOG(logger(), LogLevel::Debug) << "no settings file " << file.path();
    }
    return std::make_shared<SettingsResource const>(std::move(file));
}

std::optional<bool> readFlag(String const& text)
{
    String reason;
    auto const value = ValueImp::parse(text, DataTypeImp::BOOLEAN(), reason);
    return value ? std::optional(value->boolean()) : std::nullopt;
}

} // namespace

String SettingsError::toString() const
{
    String where;
    if (!m_file.empty())
        where = m_file + String(":") + String::number(m_line) + String(": ");
    return where + m_key + String(": ") + m_reason;
}

Shared SettingsResource::ofModule(String const& guid)
{
    Cache& known = cache();
    std::lock_guard const lock(known.m_mutex);
    if (auto const found = known.m_byGuid.find(guid); found != known.m_byGuid.end())
        return found->second;
    auto const folders = known.m_folders.empty() ? defaultFolders() : known.m_folders;
    auto const settings = loadFirst(folders, guid);
    logIssues(settings->m_file);
    constexpr std::size_t kMaxModules = 256; // guids come from outside, too
    if (known.m_byGuid.size() < kMaxModules)
        known.m_byGuid.emplace(guid, settings);
    return settings;
}

void SettingsResource::clearCache()
{
    std::lock_guard const lock(cache().m_mutex);
    cache().m_byGuid.clear();
}

void SettingsResource::setSearchFolders(std::vector<std::string> folders)
{
    std::lock_guard const lock(cache().m_mutex);
    cache().m_folders = std::move(folders);
    cache().m_byGuid.clear();
}

std::optional<String> SettingsResource::text(String const& key) const
{
    auto const* const entry = find(key);
    return entry ? std::optional(entry->m_text) : std::nullopt;
}

bool SettingsResource::flag(String const& key, bool fallback) const
{
    auto const* const entry = find(key);
    if (!entry)
        return fallback;
    auto const value = readFlag(entry->m_text);
    if (!value) {
        String const reason =
            String("is neither true nor false and is taken as ") + String(fallback ? "true" : "false");
        ZEL_LOG(logger(), LogLevel::Warning) << error(key, *entry, reason).toString();
    }
    return value.value_or(fallback);
}

SettingsError SettingsResource::error(String const& key, KeyTextFile::Entry const& entry,
                                      String const& reason) const
{
    return {String(path()), entry.m_line, key, reason};
}

std::optional<SettingsError> SettingsResource::misfit(String const& key, DataTypeImp const& type) const
{
    auto const* const entry = find(key);
    String reason;
    if (!entry || ValueImp::parse(entry->m_text, type, reason))
        return std::nullopt;
    return error(key, *entry, reason);
}

SettingsResource::Enable SettingsResource::enable(String const& kind, String const& key) const
{
    String const prefix = kind + String(".") + key + String(".");
    if (auto const* const entry = find(prefix + SettingsKeys::kEnable))
        if (auto const value = readFlag(entry->m_text))
            return *value ? Enable::Enabled : Enable::Disabled;
    return find(prefix + SettingsKeys::kEnableOldForm) ? Enable::OldForm : Enable::NotSet;
}

bool SettingsResource::isEnabled(String const& kind, String const& key) const
{
    switch (enable(kind, key)) {
    case Enable::NotSet:
    case Enable::Enabled:
        return true;
    case Enable::Disabled:
        return false;
    case Enable::OldForm:
        return flag(kind + String(".") + key + String(".") + SettingsKeys::kEnableOldForm, true);
    }
    return true;
}

} // namespace zel
