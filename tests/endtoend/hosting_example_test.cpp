// The example of a program that hosts a module, as its user runs it.
#include <endtoend/ModuleFolder.h>

namespace {

using test::holds;
using test::Outcome;

struct HostingExample : test::ModuleFolder
{
    HostingExample() : ModuleFolder(HOST_EXAMPLE) {}
};

TEST_F(HostingExample, WatchesUntilItsOwnSignalHandlerSaysSo)
{
    for (int const signal : {SIGTERM, SIGINT}) {
        test::Start start;
        start.name = "host";
        start.stopWhen = "Used = ";
        start.stops = 1;
        start.stopSignal = signal;
        Outcome const outcome = module(std::move(start));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "") << "the library has not heard the signal";
        EXPECT_TRUE(holds(outcome.out, "device Memory in use\nMemory in use: Used = "));
        EXPECT_TRUE(holds(outcome.out, "%\nthe module ended with 0\n"));
    }
}

TEST_F(HostingExample, SaysWhyItsModuleDoesNotRun)
{
    Outcome const wrong = module("host", {"-nonsense"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_TRUE(holds(wrong.err, "-nonsense"));
    EXPECT_TRUE(holds(wrong.out, "the module ended with 22\n"));
    Outcome const version = module("host", {"-version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(holds(version.out, "Version: 1.0.1\n"));
}

} // namespace
