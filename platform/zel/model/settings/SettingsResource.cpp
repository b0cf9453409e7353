#include <zel/model/settings/SettingsResource.h>

#include <zel/foundation/FileSystem.h>
#include <zel/foundation/Logger.h>
#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/texts/FileNamePart.h>
#include <zel/model/texts/ModuleFolders.h>
#include <zel/model/values/ValueImp.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <mutex>

namespace zel {
namespace {

Logger& logger() { return LogFactory::getLogger("zel.SettingsResource"); }

using Shared = std::shared_ptr<SettingsResource const>;

struct Cache
{
    std::mutex m_mutex; // guards everything below
    std::unordered_map<String, Shared> m_byGuid;
    std::vector<ModuleFolder> m_folders; // empty: those of the program
};

Cache& cache()
{
    static auto* const instance = new Cache; // never destroyed: exit handlers still read settings
    return *instance;
}

void logIssues(KeyTextFile const& file)
{
    for (KeyTextFile::Issue const& issue : file.issues())
        ZEL_LOG(logger(), issue.isWarning ? LogLevel::Warning : LogLevel::Error) << issue.toString();
}

// A file that is there but cannot be read is taken for what it is: going on to the next folder would run the
// module with settings that nobody meant.
Shared loadFirst(std::vector<ModuleFolder> const& folders, String const& guid)
{
    if (!isFileNamePart(guid)) {
        ZEL_LOG(logger(), LogLevel::Debug) << "no settings file is looked for: the module has no proper guid";
        return std::make_shared<SettingsResource const>(KeyTextFile());
    }
    KeyTextFile file;
    for (ModuleFolder const& folder : folders) {
        std::string const path = folder.path + "/" + guid.toUtf8() + ".w4i";
        if (file.state() != KeyTextFile::State::Absent) {
            std::error_code error;
            if (FileSystem::exists(path) && !std::filesystem::equivalent(path, file.path(), error))
                return std::make_shared<SettingsResource const>(std::move(file), path);
            continue;
        }
        file = KeyTextFile::load(path, folder.writers);
        if (file.state() == KeyTextFile::State::Absent)
            ZEL_LOG(logger(), LogLevel::Debug) << "no settings file " << file.path();
    }
    return std::make_shared<SettingsResource const>(std::move(file));
}

std::optional<bool> readFlag(String const& text)
{
    String const word = text.lowered();
    for (char const* yes : {"true", "yes", "on", "1"})
        if (word == yes)
            return true;
    for (char const* no : {"false", "no", "off", "0"})
        if (word == no)
            return false;
    return std::nullopt;
}

std::optional<std::uint32_t> readSeconds(String const& text)
{
    struct Unit
    {
        char const* ending;
        std::uint64_t seconds;
    };
    constexpr Unit kUnits[] = {{"s", 1}, {"m", 60}, {"h", 60 * 60}, {"d", 24 * 60 * 60}};
    String number = text.lowered();
    std::uint64_t factor = 1;
    for (Unit const& unit : kUnits)
        if (number.endsWith(unit.ending)) {
            number = number.substr(0, number.size() - 1).trimmed();
            factor = unit.seconds;
            break;
        }
    String ignored;
    auto const value = ValueImp::parse(number, DataTypeImp::UINT32(), ignored);
    std::uint64_t const seconds = value ? factor * value->uint32() : 0;
    if (!value || seconds > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    return static_cast<std::uint32_t>(seconds);
}

// What is wrong with the line of the key in either form. Beside a line in the new form, one in the old form must say
// the same.
template <typename T>
std::optional<SettingsError> valueError(SettingsResource const& settings, String const& key,
                                        std::optional<T> (*read)(String const&), char const* complaint)
{
    SettingsResource::Line const line = settings.eitherForm(key);
    if (!line)
        return std::nullopt;
    auto const value = read(line.entry->m_text);
    if (!value)
        return settings.error(line, "\"" + line.entry->m_text + "\" " + complaint);
    String const oldKey = SettingsKeys::oldForm(key);
    SettingsResource::Line const old{oldKey, settings.find(oldKey)};
    if (!old || read(old.entry->m_text) == value)
        return std::nullopt;
    return settings.error(old, "is the old form of " + line.key + ", which says something else in line " +
                                   String::number(line.entry->m_line));
}

std::optional<bool> flagOf(SettingsResource::Line const& line)
{
    return line ? readFlag(line.entry->m_text) : std::nullopt;
}

} // namespace

SettingsResource::SettingsResource(KeyTextFile file, std::string passedOver)
    : m_file(std::move(file)), m_passedOver(std::move(passedOver)),
      m_hasOldForms(std::any_of(keys().begin(), keys().end(), [value = String(".value")](String const& key) {
          return !key.endsWith(value);
      }))
{}

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
    auto const folders = known.m_folders.empty() ? moduleFolders() : known.m_folders;
    auto const settings = read(guid, folders);
    constexpr std::size_t kMaxModules = 256; // guids come from outside, too
    if (known.m_byGuid.size() < kMaxModules)
        known.m_byGuid.emplace(guid, settings);
    return settings;
}

Shared SettingsResource::read(String const& guid, std::vector<ModuleFolder> const& folders)
{
    auto settings = loadFirst(folders, guid);
    logIssues(settings->m_file);
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
    cache().m_folders.clear();
    for (std::string const& folder : folders)
        cache().m_folders.push_back({folder, FileSystem::Writers::CallerOrRoot});
    cache().m_byGuid.clear();
}

std::optional<std::uint32_t> SettingsResource::secondsOf(String const& text) { return readSeconds(text); }

std::optional<String> SettingsResource::text(String const& key) const
{
    auto const* const entry = find(key);
    return entry ? std::optional(entry->m_text) : std::nullopt;
}

String SettingsResource::unknown() const
{
    for (KeyTextFile::Issue const& issue : issues())
        if (!issue.isWarning)
            return issue.toString();
    return String();
}

SettingsResource::Line SettingsResource::eitherForm(String const& key) const
{
    if (auto const* const entry = find(key); entry || !m_hasOldForms)
        return {key, entry};
    String const old = SettingsKeys::oldForm(key);
    return {old, find(old)};
}

SettingsError SettingsResource::error(Line const& line, String const& reason) const
{
    return {String(path()), line.entry ? line.entry->m_line : 0, line.key, reason};
}

String SettingsResource::shown(Line const& line) const
{
    if (!line)
        return String();
    return String(path()) + ":" + String::number(line.entry->m_line) + ": " + line.key + "=" +
           line.entry->m_text;
}

bool SettingsResource::flag(String const& key, bool fallback) const
{
    return flagOf(eitherForm(key)).value_or(fallback);
}

std::optional<SettingsError> SettingsResource::flagError(String const& key) const
{
    return valueError(*this, key, readFlag, "is neither true, yes, on, 1 nor false, no, off, 0");
}

std::optional<std::uint32_t> SettingsResource::seconds(String const& key) const
{
    Line const line = eitherForm(key);
    return line ? readSeconds(line.entry->m_text) : std::nullopt;
}

std::optional<SettingsError> SettingsResource::secondsError(String const& key) const
{
    return valueError(
        *this, key, readSeconds,
        "is no time: expecting a number of seconds up to 4294967295, or of s, m, h or d, as 24h");
}

SettingsResource::Line SettingsResource::enableLine(String const& kind, String const& key) const
{
    return eitherForm(kind + "." + key + "." + SettingsKeys::kEnable);
}

SettingsResource::Enable SettingsResource::enable(Line const& line)
{
    if (!line)
        return Enable::NotSet;
    if (!line.key.endsWith(SettingsKeys::kEnable))
        return Enable::OldForm;
    auto const value = readFlag(line.entry->m_text);
    if (!value)
        return Enable::NotUnderstood;
    return *value ? Enable::Enabled : Enable::Disabled;
}

bool SettingsResource::isEnabled(Line const& line) { return flagOf(line).value_or(true); }

} // namespace zel
