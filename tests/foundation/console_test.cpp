#include <zel/foundation/Console.h>

#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <stdlib.h>

using test::runInChild;
using zel::Console;

namespace {

// Whoever hangs is ended.
void readFrom(int descriptor)
{
    ::alarm(20);
    ::dup2(descriptor, STDIN_FILENO);
}

// Two questions whether somebody can be asked, then every line, the length alone of a long one.
std::string shown()
{
    std::string text = Console::canAsk() ? "asks" : "nobody";
    text += Console::canAsk() ? " asks" : " nobody";
    for (zel::String line; Console::readLine(line, [] { return false; });)
        text += "[" + (line.size() > 100 ? std::to_string(line.size()) : line.toUtf8()) + "]";
    return text;
}

} // namespace

TEST(Console, readsLinesOfWhatIsPipedIn)
{
    std::string const longest(64u << 10, 'x');
    struct
    {
        std::string input, shown;
    } const cases[] = {
        {"", "nobody nobody"},
        {"y\n", "asks asks[y]"},
        {"one\ntwo\n", "asks asks[one][two]"},
        {"\n\nno end", "asks asks[][][no end]"},
        {longest + "\nnext\n", "asks asks[65536][next]"},
        {longest + "abc\nnext\n", "asks asks[65536][abc][next]"},
        {"x\n" + longest + "abc\n", "asks asks[x][65536][abc]"},
    };
    test::TemporaryFolder const folder;
    for (auto const& c : cases) {
        std::string const path = folder.write("input", c.input);
        auto const outcome = runInChild([&] {
            readFrom(::open(path.c_str(), O_RDONLY));
            std::fputs(shown().c_str(), stdout);
        });
        EXPECT_EQ(outcome.output, c.shown) << outcome.signal;
    }
    auto const unreadable = runInChild([] {
        readFrom(::open("/", O_RDONLY));
        std::fputs(shown().c_str(), stdout);
    });
    EXPECT_EQ(unreadable.output, "nobody nobody");
}

TEST(Console, waitsForAWriterThatIsSlowToBegin)
{
    auto const outcome = runInChild([] {
        int ends[2];
        if (::pipe(ends) != 0)
            ::_exit(1);
        readFrom(ends[0]);
        if (::fork() == 0) {
            ::usleep(20000);
            ::_exit(::write(ends[1], "late\n", 5) == 5 ? 0 : 1);
        }
        ::close(ends[1]);
        std::fputs(shown().c_str(), stdout);
    });
    EXPECT_EQ(outcome.output, "asks asks[late]") << outcome.signal;
}

TEST(Console, aStopEndsTheWaitForALine)
{
    static int s_asked = 0;
    auto const outcome = runInChild([] {
        int ends[2];
        if (::pipe(ends) != 0)
            ::_exit(1);
        readFrom(ends[0]);
        zel::String line;
        ::_exit(!Console::readLine(line, [] { return ++s_asked == 3; }) && s_asked == 3 ? 5 : 2);
    });
    EXPECT_EQ(outcome.status, 5) << outcome.signal;
}

TEST(Console, aTerminalShowsWhatIsTyped)
{
    auto const outcome = runInChild([] {
        int const person = ::posix_openpt(O_RDWR | O_NOCTTY);
        if (::grantpt(person) != 0 || ::unlockpt(person) != 0 || Console::echoes())
            ::_exit(1);
        readFrom(::open(::ptsname(person), O_RDWR | O_NOCTTY));
        ::_exit(Console::echoes() && Console::canAsk() ? 5 : 2);
    });
    EXPECT_EQ(outcome.status, 5) << outcome.signal;
}
