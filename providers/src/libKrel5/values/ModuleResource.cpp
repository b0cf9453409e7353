#include <libKrel5/values/ModuleResource.h>

#include <krel5/KrelString.h>

#include <zel/foundation/Logger.h>
#include <zel/model/texts/GlobalParameters.h>
#include <zel/model/texts/LocalizedResource.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& instance = zel::LogFactory::getLogger("krel5.ModuleResource");
    return instance;
}

} // namespace

std::vector<std::string> ModuleResource::files() const
{
    std::vector<std::string> existing;
    for (std::string& path :
         zel::LocalizedResource::searchPath(m_moduleGuid, zel::GlobalParameters::instance().language()))
        if (zel::LocalizedResource::load(path)->state() == zel::KeyTextFile::State::Read)
            existing.push_back(std::move(path));
    if (existing.empty())
        existing.push_back(zel::LocalizedResource::getLocalizedResource(m_moduleGuid));
    return existing;
}

bool ModuleResource::exists(KrelString const& key) const
{
    for (std::string const& path : files()) {
        ZEL_LOG(logger(), zel::LogLevel::Trace)
            << "Checking resource file: " << path << " if resource exists: " << key;
        auto const file = zel::LocalizedResource::load(path);
        if (file->state() != zel::KeyTextFile::State::Read)
            ZEL_LOG(logger(), zel::LogLevel::Warning) << "Missing resource file: " << path;
        else if (zel::LocalizedResource::textIn(*file, key.zelString()))
            return true;
        else
            ZEL_LOG(logger(), zel::LogLevel::Debug)
                << "Resource string " << key << " does not exist in file: " << path;
    }
    return false;
}

KrelString ModuleResource::get(KrelString const& key) const
{
    for (std::string const& path : files()) {
        ZEL_LOG(logger(), zel::LogLevel::Trace)
            << "\nChecking resource file: " << path << " for resource: " << key;
        auto const file = zel::LocalizedResource::load(path);
        if (file->state() != zel::KeyTextFile::State::Read)
            ZEL_LOG(logger(), zel::LogLevel::Warning)
                << "Missing Strings file : " << path << " for string " << key;
        else if (auto const text = zel::LocalizedResource::textIn(*file, key.zelString()))
            return KrelString(*text);
        else
            ZEL_LOG(logger(), zel::LogLevel::Debug)
                << "Missing resource string: " << key << " from file: " << path;
    }
    return KrelString();
}

} // namespace krel5
