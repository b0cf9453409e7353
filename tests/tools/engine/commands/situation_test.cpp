// How much of the machine is looked at for the tests that matter.
#include <tools/engine/Workshop.h>

#include <engine/commands/Situation.h>
#include <engine/commands/WhyCommand.h>

#include <set>

using namespace engine;
using namespace engine::test;

namespace {

class SituationTest : public ::testing::Test
{
protected:
    SituationTest()
    {
        for (char const* const folder : {"machine/proc", "machine/sys/class/hwmon/hwmon0", "modules"})
            fs::create_directories(m_shop.path(folder));
        m_shop.write("machine/proc/meminfo", "MemTotal:       2048 kB\n");
        m_shop.write("machine/sys/class/hwmon/hwmon0/temp1_input", "30000\n");
        m_shop.addModule("modules/ram", head("ram") + engine::test::test(1, "plain", "Memory") +
                                            engine::test::test(2, "cool", "Memory",
                                                               "deviceExistenceRequirements=TempSensor\n"));
        m_shop.addModule("modules/air", head("air") + engine::test::test(1, "warm", "TempSensor"));
        m_shop.addModule("modules/own", head("own", true) + engine::test::test(1, "any", "Memory"));
    }
    /// With the tests of these modules and keys; nothing: all.
    Situation look(std::optional<std::set<std::string>> const& words)
    {
        SituationRequest request;
        request.modules = {m_shop.path("modules")};
        request.isAlone = true;
        request.root = m_shop.path("machine");
        return lookAround(request, [&](Catalog const& catalog) -> std::optional<std::vector<Catalog::Place>> {
            if (!words)
                return std::nullopt;
            std::vector<Catalog::Place> places;
            for (auto const& module : catalog.modules())
                for (ModuleTest& one : module->tests)
                    if (words->count(wordOf(*module, one)) > 0)
                        places.push_back({module.get(), &one});
            return places;
        });
    }
    static std::string devicesOf(Situation const& situation, std::string const& word)
    {
        std::string names;
        for (auto const& module : situation.catalog.modules())
            for (ModuleTest const& one : module->tests)
                if (wordOf(*module, one) == word)
                    for (auto const* device : one.devices)
                        names += device->deviceType().toString().toUtf8() + " ";
        return names;
    }
    static bool knowsSensors(Situation const& situation)
    {
        for (std::size_t i = 0; i < situation.machine->deviceCount(); ++i)
            if (situation.machine->deviceAtIndex(i)->deviceType() == zel::CapabilityImp::TempSensor())
                return true;
        return false;
    }

    Workshop m_shop;
};

} // namespace

TEST_F(SituationTest, whatNoTestNeedsIsNotLookedFor)
{
    {
        Situation const all = look(std::nullopt);
        EXPECT_TRUE(knowsSensors(all));
        EXPECT_EQ("TempSensor ", devicesOf(all, "air:warm"));
    }
    {
        Situation const plain = look(std::set<std::string>{"ram:plain"});
        EXPECT_FALSE(knowsSensors(plain));
        EXPECT_EQ("Memory ", devicesOf(plain, "ram:plain"));
        EXPECT_EQ("", devicesOf(plain, "air:warm"));
        EXPECT_TRUE(plain.gaps.empty()) << "a module that nobody wants is not asked: " << plain.gaps.front();
    }
    {
        Situation const cool = look(std::set<std::string>{"ram:cool"});
        EXPECT_EQ("Memory ", devicesOf(cool, "ram:cool")) << "what it needs beside is looked for";
    }
    Situation const own = look(std::set<std::string>{"own:any"});
    EXPECT_TRUE(knowsSensors(own)) << "a module that chooses may go by anything";
}

TEST_F(SituationTest, whyPromisesNoRunThatWouldBeRefused)
{
    std::string const runs = "It runs on this device.";
    std::string const would = "It would run on this device, but for the above.";
    auto const says = [](std::string const& text, std::string const& what) {
        return text.find(what) != std::string::npos;
    };
    std::string const asRoot = whyText(look(std::nullopt), "ram:plain", true);
    EXPECT_TRUE(says(asRoot, runs) && !says(asRoot, "NO ")) << asRoot;
    std::string const asOther = whyText(look(std::nullopt), "ram:plain", false);
    EXPECT_TRUE(says(asOther, "NO   run by root") && says(asOther, would) && !says(asOther, runs)) << asOther;
    m_shop.write("modules/ram.w4i", "what is this\n");
    std::string const unread = whyText(look(std::nullopt), "ram:plain", true);
    EXPECT_TRUE(says(unread, "NO   its module's settings can be read") && says(unread, would) &&
                !says(unread, runs))
        << unread;
}
