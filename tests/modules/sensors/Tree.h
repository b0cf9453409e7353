#pragma once
// A machine of files, made by hand.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>

namespace krel5::modules::sensors::test {

class Tree
{
public:
    Tree()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "sensorsXXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            std::abort();
        m_folder = pattern;
    }
    ~Tree()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    std::string root() const { return m_folder.string(); }
    std::string path(std::string const& file) const { return (m_folder / file).string(); }
    void write(std::string const& file, std::string const& content) const
    {
        std::filesystem::create_directories((m_folder / file).parent_path());
        std::ofstream(m_folder / file) << content;
    }
    void remove(std::string const& file) const { std::filesystem::remove_all(m_folder / file); }
    /// `file` leads to what stands at `target`, both relative to the root, by a link as the kernel makes them.
    void link(std::string const& file, std::string const& target) const
    {
        std::filesystem::create_directories((m_folder / file).parent_path());
        std::filesystem::create_symlink(
            std::filesystem::path(target).lexically_relative(std::filesystem::path(file).parent_path()),
            m_folder / file);
    }
    void fifo(std::string const& file) const
    {
        remove(file);
        ASSERT_EQ(::mkfifo(path(file).c_str(), 0600), 0);
    }

private:
    std::filesystem::path m_folder;
};

} // namespace krel5::modules::sensors::test
