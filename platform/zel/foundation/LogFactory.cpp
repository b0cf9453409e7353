#include <zel/foundation/Logger.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>
#include <zel/foundation/LogFile.h>
#include <zel/foundation/LogLine.h>
#include <zel/foundation/OStream.h>
#include <zel/foundation/System.h>
#include <zel/foundation/XmlDocument.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>

namespace zel {
namespace {

constexpr std::size_t kConfigurationLimit = 1u << 20;

/// Levels of category subtrees; the empty category is the root of all.
using Rules = std::map<std::string, int>;

/// The rule of the nearest category at or above `category`; null when there is none.
int const* nearestRule(Rules const& rules, std::string category)
{
    for (;;) {
        if (auto const found = rules.find(category); found != rules.end())
            return &found->second;
        if (category.empty())
            return nullptr;
        std::size_t const dot = category.rfind('.');
        category.erase(dot == std::string::npos ? 0 : dot);
    }
}

Rules readRules(XmlElement const& root)
{
    if (root.name != "logging")
        throw ParseException(String("the top element is <") + String(root.name) + ">, not <logging>");
    Rules rules;
    for (XmlElement const& element : root.children) {
        if (element.name != "logger")
            continue; // room for later settings
        std::string const* category = element.attribute("category");
        std::string const* level = element.attribute("level");
        std::optional<LogLevel> const value = level ? logLevelFromText(String(*level)) : std::nullopt;
        if (!value)
            throw ParseException(String("not a level: \"") + String(level ? *level : "") + "\"");
        rules[category ? *category : std::string()] = static_cast<int>(*value);
    }
    return rules;
}

Rules readConfiguration(std::string const& path)
{
    String reason;
    FileSystem::ReadResult const file =
        FileSystem::readFile(path, kConfigurationLimit, FileSystem::Writers::CallerOrRoot);
    if (file.absent())
        return {};
    if (file.content) {
        try {
            return readRules(XmlDocument::parse(*file.content));
        } catch (Exception const& exception) {
            reason = exception.getMessage();
        }
    } else {
        reason = file.reason();
    }
    OStream::err() << String("Ignoring the logging configuration ") + String(path) + ": " + reason + "\n";
    return {};
}

} // namespace

/// Everything that LogFactory knows. Never destroyed: destructors of other statics may log.
struct LogRegistry
{
    std::mutex mutex; // guards all below
    std::map<std::string, std::unique_ptr<Logger>, std::less<>> loggers;
    std::string baseDirectory;
    int defaultLevel = static_cast<int>(LogLevel::Error);
    Rules configured, overridden;

    static LogRegistry& instance()
    {
        static LogRegistry& s_registry = *new LogRegistry;
        return s_registry;
    }

    void applyTo(Logger& logger) const
    {
        int const* level = nearestRule(overridden, logger.category());
        if (!level)
            level = nearestRule(configured, logger.category());
        logger.m_threshold.store(level ? *level : defaultLevel, std::memory_order_relaxed);
    }
    void applyToAll() const
    {
        for (auto const& [category, logger] : loggers)
            applyTo(*logger);
    }
};

Logger& LogFactory::getLogger(char const* category)
{
    std::string_view const name = category ? category : "";
    LogRegistry& registry = LogRegistry::instance();
    std::lock_guard<std::mutex> guard(registry.mutex);
    auto found = registry.loggers.find(name);
    if (found == registry.loggers.end()) {
        auto logger = std::make_unique<Logger>(std::string(name));
        registry.applyTo(*logger);
        found = registry.loggers.emplace(std::string(name), std::move(logger)).first;
    }
    return *found->second;
}

void LogFactory::setBaseDirectory(CString const& path)
{
    LogRegistry& registry = LogRegistry::instance();
    std::lock_guard<std::mutex> guard(registry.mutex);
    registry.baseDirectory = path.bytes();
}

void LogFactory::configure(String const& configurationFile, int defaultLevel)
{
    LogRegistry& registry = LogRegistry::instance();
    std::string path = configurationFile.toUtf8();
    {
        std::lock_guard<std::mutex> guard(registry.mutex);
        if (!path.empty() && path.front() != '/' && !registry.baseDirectory.empty())
            path = registry.baseDirectory + "/" + path;
    }
    Rules rules = path.empty() ? Rules() : readConfiguration(path);
    std::lock_guard<std::mutex> guard(registry.mutex);
    registry.defaultLevel =
        std::clamp(defaultLevel, static_cast<int>(LogLevel::Trace), static_cast<int>(LogLevel::Critical));
    registry.configured = std::move(rules);
    registry.applyToAll();
}

void LogFactory::setOverride(String const& level, String const& rootCategory)
{
    std::optional<LogLevel> const value = logLevelFromText(level);
    if (!value)
        throw InvalidArgumentException(String("Not a log level: \"") + level +
                                       "\". Levels are trace, debug, information, warning, error, critical");
    LogRegistry& registry = LogRegistry::instance();
    std::lock_guard<std::mutex> guard(registry.mutex);
    registry.overridden[rootCategory.trimmed().toUtf8()] = static_cast<int>(*value);
    registry.applyToAll();
}

void LogFactory::clearOverrides()
{
    LogRegistry& registry = LogRegistry::instance();
    std::lock_guard<std::mutex> guard(registry.mutex);
    registry.overridden.clear();
    registry.applyToAll();
}

bool LogFactory::createDefaultFileAppender(CString const& path) { return LogFile::prepare(path.bytes()); }

CString LogFactory::currentFile() { return CString(LogFile::path()); }

void LogFactory::writeInSignalHandler(std::string_view line) noexcept { LogFile::writeInSignalHandler(line); }

} // namespace zel
