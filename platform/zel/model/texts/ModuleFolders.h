#pragma once
// Where the files of a module stand that say how it is to work.

#include <zel/foundation/FileSystem.h>

#include <string>
#include <vector>

namespace zel {

struct ModuleFolder
{
    std::string path;
    FileSystem::Writers writers; ///< who may be able to write a file in it that is to be read
};

/// The folder of the running program, then the working directory, in which files count only when nobody but
/// root and the caller could have written them. The first folder that has the file counts, also when that file
/// cannot be used: going on to the next would work with what nobody meant.
ZEL_EXPORT std::vector<ModuleFolder> moduleFolders();

} // namespace zel
