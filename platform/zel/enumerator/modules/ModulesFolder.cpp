#include <zel/enumerator/modules/ModulesFolder.h>

#include <zel/enumerator/root/Text.h>
#include <zel/foundation/FileSystem.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace zel {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostEntries = 1000; // a folder of programs has a handful

/// Why the program is not started; empty when it may be.
String refusalOf(std::string const& path, fs::file_status const& status)
{
    constexpr auto kExecutable = fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec;
    if (status.type() == fs::file_type::symlink)
        return "is a symbolic link";
    if (status.type() != fs::file_type::regular)
        return "is no program";
    if ((status.permissions() & kExecutable) == fs::perms::none)
        return "is not executable";
    return FileSystem::distrust(path, FileSystem::Writers::AsProgram);
}

/// Who may set a link chooses what runs, and may do so between this look and the start of a module.
String distrustOf(std::string const& folder)
{
    std::error_code error;
    if (fs::is_symlink(fs::symlink_status(folder, error)))
        return "is a symbolic link";
    return FileSystem::distrust(folder, FileSystem::Writers::AsProgram);
}

std::vector<std::string> namesIn(std::string const& path, std::error_code& error)
{
    std::vector<std::string> names;
    for (fs::directory_iterator one(path, error), end; !error && one != end && names.size() < kMostEntries;
         one.increment(error))
        names.push_back(one->path().filename().string());
    std::sort(names.begin(), names.end(), text::naturalLess);
    return names;
}

} // namespace

ModulesFolder ModulesFolder::read(std::string const& path)
{
    ModulesFolder found;
    auto const refuse = [&found](std::string const& what, String const& reason) {
        found.refused.push_back((String(what) + ": " + reason).withoutControls(false));
    };
    std::error_code error;
    auto const names = namesIn(path, error);
    if (error && error != std::errc::no_such_file_or_directory)
        refuse(path, String(error.message()));
    if (names.size() == kMostEntries)
        refuse(path, "holds " + String::number(std::uint64_t{kMostEntries}) +
                         " files or more, and the rest is not looked at");
    if (String const distrust = distrustOf(path); !distrust.empty()) {
        if (!names.empty())
            refuse(path, distrust + ", so no module in it is started");
        return found;
    }
    for (std::string const& name : names) {
        std::string const program = path + "/" + name;
        auto const status = fs::symlink_status(program, error);
        if (name.find('.') != std::string::npos || status.type() == fs::file_type::directory ||
            status.type() == fs::file_type::not_found)
            continue;
        if (String const reason = refusalOf(program, status); !reason.empty())
            refuse(program, reason);
        else
            found.programs.push_back(program);
    }
    return found;
}

String ModulesFolder::refusal(std::string const& program)
{
    if (String const distrust = distrustOf(FileSystem::folderOf(program)); !distrust.empty())
        return "its folder " + distrust;
    std::error_code error;
    return refusalOf(program, fs::symlink_status(program, error));
}

} // namespace zel
