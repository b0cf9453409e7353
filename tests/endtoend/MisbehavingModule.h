#pragma once
// The module `misbehaving` in a folder of its own, run by hand.

#include <endtoend/ModuleFolder.h>

#include <map>

namespace test {

class ModuleTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (::geteuid() != 0)
            GTEST_SKIP() << "modules run as root only";
        // Texts and settings stand beside the program, so each test has a program of its own.
        std::filesystem::copy_file(MISBEHAVING_MODULE, m_folder.path("misbehaving"));
        // Which number a test has follows from the listing, as it does for a technician.
        std::string const listing = module({"enum"}).out;
        std::size_t at = 0;
        while ((at = listing.find("\n  ", at)) != std::string::npos) {
            std::size_t const open = listing.find(" (", at), close = listing.find(")", open);
            m_numbers[listing.substr(at + 3, open - at - 3)] = listing.substr(open + 2, close - open - 2);
            ++at;
        }
    }

    Outcome module(Start start)
    {
        start.folder = m_folder.path();
        return test::run(m_folder.path("misbehaving"), start);
    }
    Outcome module(std::vector<std::string> arguments)
    {
        Start start;
        start.arguments = std::move(arguments);
        return module(start);
    }
    Start startOf(std::string const& testKey)
    {
        Start start;
        EXPECT_TRUE(m_numbers.contains(testKey)) << testKey;
        start.arguments = {"run", "-t", m_numbers[testKey], "-d", "1"};
        return start;
    }
    Outcome runTest(std::string const& testKey) { return module(startOf(testKey)); }
    void settings(std::string const& text) { m_folder.write("misbehaving.w4i", text); }
    /// The text of the newest log file.
    std::string log()
    {
        std::string all;
        for (auto const& entry : std::filesystem::directory_iterator(m_folder.path("logs")))
            all += m_folder.read("logs/" + entry.path().filename().string());
        return all;
    }

    test::TemporaryFolder m_folder;
    std::map<std::string, std::string> m_numbers;
};

} // namespace test
