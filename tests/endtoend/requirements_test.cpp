// What tests ask for beside the device they test, on this machine: it has a CPU and memory, and no tape drive.
#include <endtoend/ModuleFolder.h>

namespace {

using test::has;
using test::holds;
using test::Outcome;

struct Requirements : test::ModuleFolder
{
    Requirements() : ModuleFolder(REQUIRING_MODULE) {}
};

TEST_F(Requirements, HoldForTheMachineNotForWhatTheModuleTests)
{
    struct Case
    {
        std::string key, number;
        bool isOffered;
    };
    std::string const listing = module("requiring", {"enum"}).out;
    for (Case const& one : std::initializer_list<Case>{{"wipe", "1", false},
                                                       {"withoutTape", "2", true},
                                                       {"withCpu", "3", true},
                                                       {"withTape", "4", false}}) {
        EXPECT_EQ(has(listing, "\n  " + one.key + " (" + one.number + ") : "), one.isOffered) << listing;
        Outcome const outcome = module("requiring", {"run", "-t", one.number});
        EXPECT_EQ(has(outcome.out, "Final Result: PASS"), one.isOffered) << outcome.out;
        EXPECT_EQ(outcome.status, one.isOffered ? 0 : 32) << outcome.err;
    }
    EXPECT_FALSE(has(listing, "CPU")) << "a device that no test tests is not offered: " << listing;
}

TEST_F(Requirements, BringOptionalDevices)
{
    Outcome const cpu = module("requiring", {"run", "-t", "5", "-d", "1"});
    EXPECT_EQ(cpu.status, 0) << cpu.err;
    EXPECT_TRUE(holds(cpu.out, "companions: all of them CPUs\nfirst: cpu0")) << "a text outlives its handle";
    Outcome const tape = module("requiring", {"run", "-t", "6", "-d", "1"});
    EXPECT_EQ(tape.status, 0) << tape.err;
    EXPECT_TRUE(holds(tape.out, "companions: none\n"));
    EXPECT_TRUE(holds(tape.out, "Index 0 is out of bounds [0, -1]"));
}

TEST_F(Requirements, LeaveWhatTheModuleTestsAsItIs)
{
    EXPECT_EQ(module("requiring", {"-m"}).status, 0);
    EXPECT_TRUE(holds(m_folder.read("requiring.w4m"), "Module.Capabilities=Memory\n"));
    std::string const chosen = module("chooses", {"enum"}).out;
    EXPECT_TRUE(holds(chosen, "asked about Memory\n"));
    EXPECT_FALSE(has(chosen, "asked about CPU")) << "the callback sees devices that the module tests";
    Outcome const none = module("tape", {"enum", "-ll", "debug"});
    EXPECT_TRUE(holds(none.out, "No devices discovered\n")) << "there are CPUs, which is not what counts";
    EXPECT_TRUE(holds(log(), " No devices discovered\n"));
}

} // namespace
