#include <internal/ModuleResource.h>

#include <krel5/KrelString.h>

#include <zel/foundation/Logger.h>
#include <zel/model/GlobalParameters.h>
#include <zel/model/LocalizedResource.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& instance = zel::LogFactory::getLogger("krel5.ModuleResource");
    return instance;
}

// A line with nothing behind its '=' is a text yet to be written, as in a fresh skeleton.
bool hasText(zel::KeyTextFile::Entry const* entry) { return entry && !entry->m_text.empty(); }

} // namespace

std::vector<std::string> ModuleResource::files() const
{
    std::vector<std::string> existing;
    for (std::string& path :
         zel::LocalizedResource::candidates(m_moduleGuid, zel::GlobalParameters::instance().language()))
        if (zel::LocalizedResource::load(path)->state() == zel::KeyTextFile::State::Read)
            existing.push_back(std::move(path));
    return existing;
}

bool ModuleResource::exists(KrelString const& key) const
{
    auto const paths = files();
    if (paths.empty()) {
        ZEL_LOG(logger(), zel::LogLevel::Warning)
            << "Missing resource file: " << zel::LocalizedResource::getLocalizedResource(m_moduleGuid);
    }
    for (std::string const& path : paths) {
        ZEL_LOG(logger(), zel::LogLevel::Trace)
            << "Checking resource file: " << path << " if resource exists: " << key;
        if (hasText(zel::LocalizedResource::load(path)->find(key.zelString())))
            return true;
        ZEL_LOG(logger(), zel::LogLevel::Debug)
            << "Resource string " << key << " does not exist in file: " << path;
    }
    return false;
}

KrelString ModuleResource::get(KrelString const& key) const
{
    auto const paths = files();
    if (paths.empty()) {
        ZEL_LOG(logger(), zel::LogLevel::Warning)
            << "Missing Strings file : " << zel::LocalizedResource::getLocalizedResource(m_moduleGuid)
            << " for string " << key;
    }
    for (std::string const& path : paths) {
        ZEL_LOG(logger(), zel::LogLevel::Trace)
            << "\nChecking resource file: " << path << " for resource: " << key;
        auto const file = zel::LocalizedResource::load(path);
        if (auto const* const entry = file->find(key.zelString()); hasText(entry))
            return KrelString(zel::LocalizedResource::unescaped(entry->m_text));
        ZEL_LOG(logger(), zel::LogLevel::Debug)
            << "Missing resource string: " << key << " from file: " << path;
    }
    return KrelString();
}

} // namespace krel5
