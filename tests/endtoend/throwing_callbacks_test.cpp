// Callbacks beside the tests that throw: the verdict that was told stands, and what they threw is not lost.
#include <endtoend/ModuleFolder.h>

namespace {

using test::holds;
using test::Outcome;

struct ThrowingCallbacks : test::ModuleFolder
{
    ThrowingCallbacks() : ModuleFolder(THROWING_MODULE) {}
};

TEST_F(ThrowingCallbacks, AnObserverChangesNothing)
{
    Outcome const pass = module("observed", {"run", "-t", "1", "-d", "1"});
    EXPECT_EQ(pass.status, 0) << pass.err;
    EXPECT_TRUE(holds(pass.out, "\nFinal Result: PASS\n"));
    // The other observer hears of everything, in this order.
    std::size_t at = 0;
    for (char const* line : {"observed an event\n", "looking around\nobserved a text\n",
                             "Percent Done: 100%\nobserved 0\nobserved 100\n", "observed PASS\n"}) {
        EXPECT_NE(at = pass.out.find(line, at), std::string::npos) << line << " in order in:\n" << pass.out;
    }
    std::string const written = log();
    for (std::string const& text : {pass.err, written}) {
        EXPECT_TRUE(holds(text, "std::exception: no percentages\n"));
        EXPECT_TRUE(holds(text, "Unknown \"...\" Exception in TestObserver::onPercentDone(...)"));
        EXPECT_TRUE(holds(text, "no texts"));
        EXPECT_TRUE(holds(text, "Exception in TestObserver::onEvent(...)"));
        EXPECT_TRUE(holds(text, "std::exception: no results\n"));
    }

    Outcome const both = module("observed", {"run"});
    EXPECT_EQ(both.status, 23);
    EXPECT_TRUE(holds(both.err, "Runs: 2, 1 PASS, 1 FAIL\n"));
}

TEST_F(ThrowingCallbacks, TheExitCallbackLeavesItsWordsInTheLog)
{
    struct Case
    {
        char const *name, *line;
    };
    for (Case const& one : std::initializer_list<Case>{
             {"standard", "std::exception: the fan would not stop\n"},
             {"standard", "Unknown Exception in ModuleExit callback function\n"},
             {"library", "Exception in ModuleExit callback function:the lamp is still on\n"},
             {"number", "Unknown Exception in ModuleExit callback function\n"},
         }) {
        Outcome const outcome = module(one.name, {"run", "-t", "2", "-d", "1"});
        EXPECT_EQ(outcome.status, 23) << "the result stands: " << outcome.err;
        EXPECT_TRUE(holds(log(), one.line));
        forgetLog();
    }
}

} // namespace
