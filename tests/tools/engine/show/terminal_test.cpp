// The same on a real terminal: a process draws, asks and is stopped; what is left is read from the other end.
#include "Screen.h"

#include <engine/report/ReportReader.h>
#include <engine/show/SessionObserver.h>

#include <foundation/TemporaryFolder.h>
#include <tools/engine/report/Sessions.h>

#include <zel/foundation/StopSignal.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace engine::test {

namespace {

using namespace std::chrono_literals;
using ::test::TemporaryFolder;

bool isStopped() { return zel::StopSignal::requested(); }

/// Asks while another run goes on; this one then goes on until somebody stops it.
void runSession(std::string const& path)
{
    zel::StopSignal::install(24);
    auto out = std::make_unique<QueuedStream>(zel::OStream::err());
    std::unique_ptr<ProgressView> view = makeView(*out);
    ReportWriter report(path, [&](std::string const& what) { view->say(what + "\n"); });
    SessionObserver observer(report, *view, {.out = *out});
    observer.take(sessionBegan());
    observer.take(runBegan(1));
    observer.take(runBegan(2, "write", "ACME Drive 2"));
    std::atomic<bool> isOver{false};
    std::thread other([&] {
        observer.take(failure(2));
        for (int percent = 10; !isOver; percent = std::min(percent + 1, 90)) {
            observer.progressed(2, percent, 1, 0, "");
            std::this_thread::sleep_for(5ms); // as a test does
        }
    });
    zel::MessageBoxImp box("Plug", "Is the plug in?", {{1, "Ja", "Yes"}, {2, "Nein", "No"}}, 1, 1, {});
    observer.ask(1, box, isStopped);
    observer.take(runEnded(1, box.answer() == 1 ? "PASS" : "FAIL"));
    while (!isStopped())
        std::this_thread::sleep_for(5ms);
    isOver = true;
    other.join();
    observer.take(runEnded(2, "USER ABORTED"));
    observer.take(SessionEnded{at(60), "STOPPED", 24, 60});
    observer.flush(); // who reads "Verdict" finds the report whole
    view.reset();
    out.reset();
    zel::OStream::out().write(closing(observer.session(), report.path(), 40));
    zel::OStream::out().flush();
}

class RealTerminal
{
public:
    explicit RealTerminal(unsigned short columns) : m_screen(columns)
    {
        winsize const size{24, columns, 0, 0};
        m_child = ::forkpty(&m_master, nullptr, nullptr, &size);
    }
    ~RealTerminal()
    {
        ::kill(m_child, SIGKILL);
        ::waitpid(m_child, nullptr, 0);
        ::close(m_master);
    }

    bool isChild() const { return m_child == 0; }
    void type(std::string const& text)
    {
        ASSERT_EQ(::write(m_master, text.data(), text.size()), ssize_t(text.size()));
    }
    void resize(unsigned short columns)
    {
        winsize const size{24, columns, 0, 0};
        ASSERT_EQ(::ioctl(m_master, TIOCSWINSZ, &size), 0);
        m_screen.resize(columns);
    }
    /// Until the text is to be seen; false at the end of all output, or after a minute.
    bool awaits(std::string const& text)
    {
        auto const end = std::chrono::steady_clock::now() + 60s;
        while (seen().find(text) == std::string::npos) {
            pollfd one{m_master, POLLIN, 0};
            char bytes[4096];
            if (std::chrono::steady_clock::now() > end || ::poll(&one, 1, 1000) < 0)
                return false;
            ssize_t const count =
                (one.revents & (POLLIN | POLLHUP)) ? ::read(m_master, bytes, sizeof bytes) : -2;
            if (count == 0 || count == -1)
                return false;
            if (count > 0)
                m_screen.put(std::string(bytes, static_cast<std::size_t>(count)));
        }
        return true;
    }
    std::string seen() const { return m_screen.text(); }
    bool hasUnknown() const { return m_screen.hasUnknown(); }

private:
    Screen m_screen;
    int m_master = -1;
    pid_t m_child = -1;
};

std::size_t count(std::string const& text, std::string const& what)
{
    std::size_t found = 0;
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; ++at)
        ++found;
    return found;
}

} // namespace

TEST(Terminals, ShowQuestionsStopAndEndWithNothingLeftBehind)
{
    TemporaryFolder const folder;
    ::setenv("TERM", "xterm", 1);
    RealTerminal terminal(100);
    if (terminal.isChild()) {
        try {
            runSession(folder.path("r.jsonl"));
        } catch (std::exception const& error) {
            ::dprintf(STDOUT_FILENO, "%s\n", error.what());
        }
        ::_exit(0);
    }
    ASSERT_TRUE(terminal.awaits("2) Nein (default)\n>")) << terminal.seen();
    EXPECT_EQ(count(terminal.seen(), "%"), 0u) << "drawn over a question:\n" << terminal.seen();
    terminal.resize(40); // nothing is drawn now
    terminal.type("ja\n");
    ASSERT_TRUE(terminal.awaits("PASS  storage: Read all blocks on ACME\n")) << terminal.seen();
    ASSERT_TRUE(terminal.awaits("%  0:")) << terminal.seen();
    EXPECT_EQ(count(terminal.seen(), "cannot be read."), 1u) << terminal.seen();
    terminal.type("\x03");
    ASSERT_TRUE(terminal.awaits("Verdict: STOPPED (1 USER ABORTED, 1\n    PASS)")) << terminal.seen();
    std::string const seen = terminal.seen();
    EXPECT_EQ(count(seen, "Stopping. Press Ctrl-C again to end at o"), 1u) << seen;
    EXPECT_EQ(count(seen, "^C"), 0u) << seen;
    EXPECT_EQ(count(seen, "%"), 0u) << seen;
    EXPECT_EQ(count(seen, "---"), 0u) << seen;
    EXPECT_FALSE(terminal.hasUnknown());
    EXPECT_EQ(readReport(folder.path("r.jsonl")).verdict(), "STOPPED");
}

} // namespace engine::test
