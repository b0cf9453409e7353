#pragma once
// The module `misbehaving` in a folder of its own, run by hand.

#include <endtoend/ModuleFolder.h>

#include <map>

namespace test {

class ModuleTest : public ModuleFolder
{
protected:
    // Texts and settings stand beside the program, so each test has a program of its own.
    ModuleTest() : ModuleFolder(MISBEHAVING_MODULE, "misbehaving") {}

    void SetUp() override
    {
        ModuleFolder::SetUp();
        if (IsSkipped())
            return;
        // Which number a test has follows from the listing, as it does for a technician.
        std::string const listing = module({"enum"}).out;
        std::size_t at = 0;
        while ((at = listing.find("\n  ", at)) != std::string::npos) {
            std::size_t const open = listing.find(" (", at), close = listing.find(")", open);
            m_numbers[listing.substr(at + 3, open - at - 3)] = listing.substr(open + 2, close - open - 2);
            ++at;
        }
    }

    using ModuleFolder::module;
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

    std::map<std::string, std::string> m_numbers;
};

} // namespace test
