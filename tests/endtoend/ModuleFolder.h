#pragma once
// A folder of its own for one module, as a technician has it: the program, what stands beside it, its logs.

#include <endtoend/ModuleProcess.h>
#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

namespace test {

inline bool has(std::string const& text, std::string const& what)
{
    return text.find(what) != std::string::npos;
}

inline ::testing::AssertionResult holds(std::string const& text, std::string const& what)
{
    if (has(text, what))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "\"" << what << "\" is not in:\n" << text;
}

/// Skips its tests for who is not root: modules run for nobody else.
class ModuleFolder : public ::testing::Test
{
protected:
    /// `file`: what the copy of the program is called in the folder.
    explicit ModuleFolder(std::string program, std::string file = "module")
        : m_program(std::move(program)), m_file(std::move(file))
    {}

    void SetUp() override
    {
        if (::geteuid() != 0)
            GTEST_SKIP() << "modules run as root only";
        std::filesystem::copy_file(m_program, program());
    }

    std::string program() const { return m_folder.path(m_file); }

    Outcome module(Start start)
    {
        start.folder = m_folder.path();
        return run(program(), start);
    }
    /// Called as `name`, which is also the module's name.
    Outcome module(std::string const& name, std::vector<std::string> arguments)
    {
        Start start;
        start.name = name;
        start.arguments = std::move(arguments);
        return module(std::move(start));
    }

    /// The text of all log files.
    std::string log() const
    {
        std::string all;
        for (auto const& entry : std::filesystem::directory_iterator(m_folder.path("logs")))
            all += m_folder.read("logs/" + entry.path().filename().string());
        return all;
    }
    void forgetLog() { std::filesystem::remove_all(m_folder.path("logs")); }

    TemporaryFolder m_folder;

private:
    std::string m_program, m_file;
};

} // namespace test
