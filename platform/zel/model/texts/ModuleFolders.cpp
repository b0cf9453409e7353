#include <zel/model/texts/ModuleFolders.h>

#include <zel/foundation/System.h>

namespace zel {

std::vector<ModuleFolder> moduleFolders()
{
    using Writers = FileSystem::Writers;
    std::string const program = System::executablePath().bytes();
    ModuleFolder const working{".", Writers::CallerOrRoot};
    if (program.empty())
        return {working};
    return {{FileSystem::folderOf(program), Writers::AsProgram}, working};
}

} // namespace zel
