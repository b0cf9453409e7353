// The tables of events and texts of the shipped modules against the text files beside them. Every module's tables
// stand in this one unit, so that it does not compile when two modules mean different things by one name.

#include <cpu/Events.h>
#include <cpu/Texts.h>
#include <memory/Events.h>
#include <memory/Texts.h>
#include <storage/Events.h>
#include <storage/Texts.h>

#include <common/TestHost.h>

#include <zel/model/texts/KeyTextFile.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <span>

namespace krel5::modules::test {
namespace {

namespace fs = std::filesystem;

// Whoever writes a key where a fault is raised, past the table, is told by the compiler.
static_assert(!std::is_constructible_v<Report, char const*, TextValues>);
static_assert(!std::is_constructible_v<Report, std::string, TextValues>);
static_assert(std::is_constructible_v<Report, EventKey, TextValues>);

struct Module
{
    std::string m_name;
    std::span<EventKey const> m_events;
    std::span<LocalText const> m_texts;
};

Module const kModules[] = {{"cpu", cpu::kEvents, cpu::kTexts},
                           {"memory", memory::kEvents, memory::kTexts},
                           {"storage", storage::kEvents, storage::kTexts},
                           {"inventory", {}, {}}}; // runs no tests

fs::path folderOf(Module const& module) { return fs::path(MODULES_FOLDER) / module.m_name; }

using Lines = std::map<std::string, std::string>;

/// The lines of "<module>.w4p" or "<module>.<language>.w4p".
Lines linesOf(Module const& module, std::string const& ending)
{
    auto const read = zel::KeyTextFile::load(folderOf(module) / (module.m_name + ending));
    EXPECT_EQ(read.state(), zel::KeyTextFile::State::Read) << read.path();
    for (auto const& issue : read.issues())
        ADD_FAILURE() << issue.toString().toUtf8();
    Lines lines;
    for (zel::String const& key : read.keys())
        lines[key.toUtf8()] = zel::KeyTextFile::unescaped(read.find(key)->m_text).toUtf8();
    return lines;
}

/// Whether the line belongs to one of the events: a message, a tip that comes after the one before it, a code.
bool isOfAnEvent(std::string const& key, std::set<std::string> const& events, Lines const& lines)
{
    static std::regex const s_form(R"(Event\.([^.]+)\.(?:Message|CustomerEventCode|Tip\.([1-9][0-9]?)))");
    std::smatch part;
    if (!std::regex_match(key, part, s_form) || !events.contains(part[1]))
        return false;
    int const tip = part[2].matched ? std::stoi(part[2]) : 1;
    return tip == 1 || lines.contains("Event." + part[1].str() + ".Tip." + std::to_string(tip - 1));
}

TEST(ModuleTables, AreThoseOfEveryModule)
{
    std::set<fs::path> looked, there;
    for (Module const& module : kModules)
        looked.insert(folderOf(module));
    for (auto const& folder : fs::directory_iterator(MODULES_FOLDER))
        if (fs::exists(folder.path() / "main.cpp"))
            there.insert(folder.path());
    EXPECT_EQ(looked, there);
}

TEST(ModuleTables, HaveTheEventsOfTheTextFilesAndNoOthers)
{
    for (Module const& module : kModules) {
        std::set<std::string> events;
        for (EventKey const& event : module.m_events)
            EXPECT_TRUE(events.insert(event.text()).second) << "twice: " << event.text();
        for (std::string const ending : {".w4p", ".de.w4p"}) {
            SCOPED_TRACE(module.m_name + ending);
            Lines lines = linesOf(module, ending);
            for (std::string const& event : events)
                EXPECT_NE(lines["Event." + event + ".Message"], "") << event;
            for (auto const& [key, text] : lines)
                EXPECT_TRUE(key.rfind("Event.", 0) != 0 || isOfAnEvent(key, events, lines))
                    << "of no event: " << key;
        }
    }
}

TEST(ModuleTables, HaveTheTextsOfTheTextFilesAndNoOthers)
{
    for (Module const& module : kModules) {
        SCOPED_TRACE(module.m_name);
        Lines english = linesOf(module, ".w4p");
        EXPECT_EQ(english.erase("Text.Running"), module.m_events.empty() ? 0u : 1u) << "DiagHost's own";
        for (LocalText const& text : module.m_texts) {
            EXPECT_EQ(english[text.m_key], text.m_english) << text.m_key;
            english.erase(text.m_key);
        }
        for (auto const& [key, text] : english)
            EXPECT_NE(key.rfind("Text.", 0), 0u) << "of no text: " << key;
    }
}

} // namespace
} // namespace krel5::modules::test
