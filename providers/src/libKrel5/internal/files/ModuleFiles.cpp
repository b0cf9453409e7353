#include <libKrel5/internal/files/ModuleFiles.h>

#include <libKrel5/internal/files/LocalizedKeys.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <zel/foundation/FileSystem.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>
#include <zel/foundation/System.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.ModuleCommon");
    return s_logger;
}

zel::String fileName(char const* extension) { return ModuleCommon::module().guid() + extension; }

} // namespace

bool ModuleFiles::write(zel::String const& name, zel::String const& content)
{
    try {
        zel::FileSystem::writeFileAtomically(name.toUtf8(), content.toUtf8());
        return true;
    } catch (zel::SystemException const& e) {
        ZEL_LOG(logger(), zel::LogLevel::Error) << e.getMessage();
        ErrorReporting::tell(e.getMessage());
        zel::OStream::out() << "Error opening " << name << " for writing." << zel::endl;
        return false;
    }
}

void ModuleFiles::writeMetadata()
{
    // Nobody tells the library when the module was built; its program file does.
    zel::ModuleImp& module = ModuleCommon::module();
    if (module.buildDate().empty())
        module.setBuildDate(zel::FileSystem::modificationDate(zel::System::executablePath().bytes()));
    zel::String const name = fileName(".w4m");
    Metadata const metadata = moduleMetadata();
    if (!write(name, metadata.text))
        return;
    for (zel::String const& note : metadata.notes)
        ErrorReporting::tell(note);
    zel::OStream::out() << "Created " << name << zel::endl;
}

void ModuleFiles::writeLocalizedKeys()
{
    LocalizedKeys const keys = LocalizedKeys::ofModule();
    zel::String const name = fileName(".w4k");
    if (!write(name, keys.listText()))
        return;
    zel::OStream::out() << "Created " << name << zel::endl;
    zel::String const texts = fileName(".w4p");
    if (!zel::FileSystem::exists(texts.toUtf8()) && write(texts, keys.skeletonText()))
        zel::OStream::out() << "Created " << texts << zel::endl;
    for (zel::String const& note : keys.notes())
        ErrorReporting::tell(note);
}

} // namespace krel5
