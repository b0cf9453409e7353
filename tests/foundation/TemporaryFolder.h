#pragma once

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <stdlib.h>
#include <string>

namespace test {

/// A folder of its own for one test, removed with all that is in it.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "foundation-XXXXXX").string();
        if (!::mkdtemp(name.data()))
            throw std::runtime_error("no temporary folder");
        m_path = name;
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;

    std::string path(std::string const& name = "") const
    {
        return name.empty() ? m_path : m_path + "/" + name;
    }

    /// Whatever the umask: nobody but the owner may write the file.
    std::string write(std::string const& name, std::string const& content) const
    {
        namespace fs = std::filesystem;
        std::ofstream(path(name), std::ios::binary) << content;
        std::error_code ignored;
        fs::permissions(path(name), fs::perms::group_write | fs::perms::others_write,
                        fs::perm_options::remove, ignored);
        return path(name);
    }
    std::string read(std::string const& name) const
    {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    std::size_t entryCount() const
    {
        std::size_t count = 0;
        for ([[maybe_unused]] auto const& entry : std::filesystem::directory_iterator(m_path))
            ++count;
        return count;
    }

private:
    std::string m_path;
};

} // namespace test
