// What a person sees of a session: in place on a terminal, line after line elsewhere; and how he is asked.
#include "Screen.h"

#include <engine/report/ReportReader.h>
#include <engine/show/PlainView.h>
#include <engine/show/SessionHead.h>
#include <engine/show/SessionObserver.h>
#include <engine/show/TerminalView.h>

#include <foundation/TemporaryFolder.h>
#include <tools/Listings.h>
#include <tools/engine/report/Sessions.h>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <sys/resource.h>
#include <thread>

namespace engine::test {

namespace {

using namespace std::chrono_literals;
using ::test::TemporaryFolder;

class Captured final : public zel::OStream
{
public:
    void write(std::string_view utf8) override
    {
        std::lock_guard<std::mutex> const guard(m_mutex);
        text += utf8;
        ++writes;
    }
    void flush() override {}
    bool failed() const override { return false; }

    std::string text;
    int writes = 0;

private:
    std::mutex m_mutex;
};

/// A terminal with a clock of its own.
struct Terminal
{
    explicit Terminal(std::size_t columns, std::size_t rows = 10) : size{columns, rows}, screen(columns) {}

    TerminalView::World world()
    {
        return {[this] { return size; }, [this] { return now; }, [this] { return isStopping; },
                [] { return false; }, false};
    }
    std::string seen()
    {
        screen.put(out.text);
        out.text.clear();
        EXPECT_FALSE(screen.hasUnknown());
        return screen.text();
    }
    void resize(std::size_t columns)
    {
        seen();
        size.columns = columns;
        screen.resize(columns);
    }

    TerminalSize size;
    Screen screen;
    Captured out;
    Moment now = Moment() + 1h;
    bool isStopping = false;
    TerminalView view{out, world()};
};

LiveRun live(RunId id, int percent, Moment began)
{
    LiveRun run;
    run.run = id;
    run.title = "storage: Read all blocks on ACME Drive " + std::to_string(id);
    run.began = run.leftAt = began;
    run.percent = percent;
    return run;
}

zel::MessageBoxImp question()
{
    return {
        "Plug", "Is the plug in?", {{1, "Ja", "Yes"}, {2, "Nein", "No"}, {3, "Abbrechen", "Cancel"}}, 1, 2,
        {}};
}

bool never() { return false; }
bool always() { return true; }

/// An observer with everything around it that it needs.
struct Observed
{
    explicit Observed(
        std::function<bool()> canAsk = [] { return false; }, std::vector<std::string> typed = {})
        : answers(std::move(typed)),
          observer(report, view,
                   {std::move(canAsk),
                    [this](zel::String& line, std::function<bool()> const& stopped) {
                        if (answers.empty() || stopped())
                            return false;
                        line = zel::String(answers.front());
                        answers.erase(answers.begin());
                        return true;
                    },
                    out})
    {}

    TemporaryFolder folder;
    Captured out;
    std::vector<std::string> answers;
    PlainView view{out};
    ReportWriter report{folder.path("r.jsonl"), [this](std::string const& what) { view.say(what + "\n"); }};
    SessionObserver observer;
};

} // namespace

TEST(LiveLines, FitAndTellTheMost)
{
    Moment const began{}, now = began + 30s;
    LiveRun run = live(1, 45, began);
    run.secondsLeft = 40;
    run.leftAt = now - 5s;
    run.text = "block 7";
    EXPECT_EQ(liveLine(run, now, 110), "storage: Read all blocks on ACME Drive 1: block 7                  "
                                       "[#########-----------] 45%  0:30  0:35 left");
    EXPECT_EQ(liveLine(run, now, 79),
              "storage: Read all blocks on ACME .. [#########-----------] 45%  0:30  0:35 left");
    EXPECT_EQ(liveLine(run, now, 50), "storage: Read .. [####------] 45%  0:30  0:35 left");
    EXPECT_EQ(liveLine(run, now, 24), "storage: Re..  45%  0:30");
    for (std::size_t columns = 0; columns < 130; ++columns)
        EXPECT_LE(liveLine(run, now, columns).size(), columns);
    run.pass = 3;
    EXPECT_NE(liveLine(run, now, 100).find("0:30  pass 3  0:35 left"), std::string::npos);
}

TEST(LiveLines, GuessTheTimeThatIsLeft)
{
    Moment const began{};
    LiveRun run = live(1, 3, began);
    EXPECT_EQ(timeLeft(run, began + 30s), "") << "too early to say";
    run.percent = 25;
    EXPECT_EQ(timeLeft(run, began + 30s), "1:30 left");
    run.secondsLeft = 10;
    EXPECT_EQ(timeLeft(run, began + 4s), "0:06 left");
    EXPECT_EQ(timeLeft(run, began + 60s), "") << "it said less than it took";
    run.forSeconds = 3600;
    EXPECT_EQ(timeLeft(run, began + 60s), "59:00 left");
    run.percent = 500;
    run.forSeconds = run.secondsLeft = 0;
    EXPECT_EQ(timeLeft(run, began + 60s), "");
    EXPECT_LE(liveLine(run, began + 60s, 60).size(), 60u);
}

TEST(TerminalViews, DrawInPlaceAndLeaveNothingBehind)
{
    Terminal terminal(60);
    terminal.view.say("Session begins.\n");
    for (int percent = 0; percent <= 100; percent += 5) {
        terminal.now += 200ms;
        terminal.view.show({live(1, percent, terminal.now), live(2, percent / 2, terminal.now)});
        if (percent == 50)
            terminal.view.say("PASS  something\n");
    }
    std::string seen = terminal.seen();
    EXPECT_EQ(std::count(seen.begin(), seen.end(), '\n'), 4) << seen;
    EXPECT_TRUE(seen.starts_with("Session begins.\nPASS  something\nstorage: Read")) << seen;
    EXPECT_NE(seen.find("100%"), std::string::npos) << seen;
    terminal.now += 200ms;
    terminal.view.show({});
    terminal.view.say("PASS  all\n");
    EXPECT_EQ(terminal.seen(), "Session begins.\nPASS  something\nPASS  all\n");
    EXPECT_EQ(terminal.screen.column(), 0u);
}

TEST(TerminalViews, DrawAtMostTenTimesASecond)
{
    Terminal terminal(60);
    Moment const began = terminal.now;
    for (int i = 0; i < 1000; ++i) {
        terminal.now += 1ms;
        terminal.view.show({live(1, i / 10, began)});
        terminal.view.tick();
    }
    EXPECT_LE(terminal.out.writes, 11);
    EXPECT_GE(terminal.out.writes, 9);
    int const before = terminal.out.writes;
    for (int i = 0; i < 30; ++i) { // nothing new: only the time goes on
        terminal.now += 100ms;
        terminal.view.tick();
    }
    EXPECT_LE(terminal.out.writes - before, 4);
    EXPECT_NE(terminal.seen().find("99%  0:03"), std::string::npos) << terminal.seen();
}

TEST(TerminalViews, BreakWhatStaysAtWords)
{
    std::string const line = "storage: Sequential read: Error 23: /dev/vda may not be opened at all.\n";
    struct
    {
        std::size_t columns;
        char const* seen;
    } const cases[] = {
        {120, "storage: Sequential read: Error 23: /dev/vda may not be opened at all.\nPASS\n"},
        {71, "storage: Sequential read: Error 23: /dev/vda may not be opened at all.\nPASS\n"},
        {70, "storage: Sequential read: Error 23: /dev/vda may not be opened at\n    all.\nPASS\n"},
        {30, "storage: Sequential read:\n    Error 23: /dev/vda may\n    not be opened at all.\nPASS\n"},
    };
    for (auto const& one : cases) {
        Terminal terminal(one.columns);
        terminal.view.say(line + "PASS\n");
        EXPECT_EQ(terminal.seen(), one.seen);
    }
}

TEST(TerminalViews, SurviveEverySize)
{
    Terminal terminal(100);
    terminal.view.say("first\n");
    for (std::size_t const columns : {100u, 30u, 7u, 50u, 13u, 120u, 2u}) {
        terminal.resize(columns);
        terminal.now += 1s;
        terminal.view.show({live(1, 10, terminal.now), live(2, 20, terminal.now), live(3, 30, terminal.now)});
        std::string const seen = terminal.seen();
        if (columns == 2) // what stays is taken apart, too, and stays so
            break;
        EXPECT_TRUE(seen.starts_with(columns > 10 ? "first\nsto" : "first\n.  10%\n")) << columns << "\n"
                                                                                       << seen;
        EXPECT_EQ(std::count(seen.begin(), seen.end(), '\n'), 4) << columns << "\n" << seen;
    }
    terminal.now += 1s;
    terminal.view.show({});
    EXPECT_EQ(terminal.seen().find("storage"), std::string::npos) << terminal.seen();

    Terminal low(40, 3);
    std::vector<LiveRun> runs;
    for (RunId id = 1; id <= 9; ++id)
        runs.push_back(live(id, 10, low.now));
    low.view.show(runs);
    std::string const seen = low.seen();
    EXPECT_EQ(std::count(seen.begin(), seen.end(), '\n'), 2) << seen;
    EXPECT_NE(seen.find("... and 8 more"), std::string::npos) << seen;
}

TEST(TerminalViews, TakeInWhatAStopSignalSays)
{
    for (std::size_t const columns : {60u, 20u}) {
        Terminal terminal(columns);
        terminal.view.say("begin\n");
        terminal.view.show({live(1, 10, terminal.now), live(2, 20, terminal.now)});
        terminal.out.write("^C\nStopping. Press Ctrl-C again to end at once.\n");
        terminal.isStopping = true;
        terminal.now += 1s;
        terminal.view.say("USER ABORTED\n");
        terminal.now += 1s;
        terminal.view.show({});
        std::string text = terminal.seen();
        EXPECT_EQ(text, columns == 60
                            ? "begin\nStopping. Press Ctrl-C again to end at once.\nUSER ABORTED\n"
                            : "begin\nStopping. Press Ctrl\n-C again to end at o\nnce.\nUSER ABORTED\n");
    }
}

TEST(TerminalViews, GiveTheTerminalAwayForAQuestion)
{
    Terminal terminal(60);
    terminal.view.show({live(1, 10, terminal.now)});
    terminal.view.pause();
    EXPECT_EQ(terminal.seen(), "\n");
    terminal.out.write("Plug in? ");
    terminal.now += 5s;
    terminal.view.show({live(1, 20, terminal.now)});
    terminal.view.say("PASS  another run\n");
    terminal.view.tick();
    EXPECT_EQ(terminal.seen(), "Plug in?\n");
    terminal.out.write("yes\n");
    terminal.view.resume();
    EXPECT_TRUE(terminal.seen().starts_with("Plug in? yes\nPASS  another run\nstorage: Read"))
        << terminal.seen();
}

TEST(PlainViews, SayEachTenPercentOnce)
{
    Captured out;
    Moment now{};
    PlainView view(out, [&] { return now; });
    LiveRun run = live(1, -1, now);
    view.began(run, 3);
    for (run.percent = 0; run.percent <= 100; ++run.percent) {
        now += 1s;
        view.show({run});
        view.show({run});
    }
    run.percent = 5; // starts again: the next pass
    view.show({run});
    EXPECT_EQ(std::count(out.text.begin(), out.text.end(), '\n'), 11) << out.text;
    EXPECT_TRUE(out.text.starts_with("Run 1 of 3: storage: Read all blocks on ACME Drive 1\n"
                                     "storage: Read all blocks on ACME Drive 1: 10%, 0:11, 1:39 left\n"))
        << out.text;
    EXPECT_EQ(out.text.find('\x1b'), std::string::npos);
}

TEST(SessionHeads, NameTheMachine)
{
    namespace saved = listing::test;
    listing::Machine const machine = saved::machine(saved::device(
        "System", "System",
        saved::properties(saved::text("SerialNumber", "SN 7") + ", " +
                          saved::text("OperatingSystemName", "Debian 12")) +
            R"(, "children": [)" + saved::device("HardDrive", "DISK:0", R"(, "osLocator": "/dev/sda")") +
            ", " + saved::device("PCI", "PCI:0") + "]"));
    Plan plan;
    plan.name = "quick";
    SessionBegan const head = sessionHead(machine, plan, 12, "5.0.0", "krel5-engine run");
    EXPECT_EQ(head.serial, "SN 7");
    EXPECT_EQ(head.system, "Debian 12");
    EXPECT_EQ(head.machine, machine.name().toUtf8());
    EXPECT_EQ(head.plannedRuns, 12u);
    ASSERT_EQ(head.facts.size(), 1u);
    EXPECT_EQ(head.facts[0].first, "HardDrive");
    EXPECT_NE(head.facts[0].second.find("(/dev/sda)"), std::string::npos) << head.facts[0].second;
}

TEST(SessionObservers, KeepAndShowASession)
{
    Observed observed;
    for (Record const& record : failedSession())
        EXPECT_TRUE(observed.observer.take(record));
    EXPECT_TRUE(observed.observer.flush());
    for (char const* const line :
         {"Run 1 of 3: storage: Read all blocks on ACME Drive (/dev/sda)\n",
          "storage: Read all blocks on ACME Drive (/dev/sda): 10%",
          "storage: write on ACME Drive 2 (/dev/sda): Error 17: Block 7 cannot be read.\n",
          "PASS  storage: Read all blocks on ACME Drive (/dev/sda)  0:12.5\n",
          "FAIL  storage: write on ACME Drive 2 (/dev/sda)  0:12.5\n"})
        EXPECT_NE(observed.out.text.find(line), std::string::npos) << line << observed.out.text;
    EXPECT_EQ(readReport(observed.folder.path("r.jsonl")).verdict(), "FAIL");
    std::string const end = closing(observed.observer.session(), observed.report.path(), 0);
    EXPECT_TRUE(end.starts_with("Module ")) << end;
    EXPECT_TRUE(end.ends_with("Report:  " + observed.folder.path("r.jsonl") +
                              "\nVerdict: FAIL (1 FAIL, 1 NOT SUPPORTED, 1 PASS, 1 not run)\n"))
        << end;
    EXPECT_NE(end.find("Tip: Replace the cable."), std::string::npos);
    EXPECT_NE(end.find("Again: krel5-engine run storage:write"), std::string::npos);
    EXPECT_NE(end.find("Not tested:\n  storage: smart on ACME Drive (/dev/sda): NOT SUPPORTED\n  storage: "
                       "erase on ACME Drive: INSUFFICIENT PRIVILEGE, only"),
              std::string::npos);
}

TEST(SessionObservers, ShowTextsThatDoNoHarm)
{
    Observed observed;
    RunBegan began = runBegan(1, "read", "\x1b[2J\u202eevil");
    RunEvent event = failure(1);
    event.message = "one\nVerdict: PASS\r\x07";
    RunEnded ended = runEnded(1, "FAIL");
    ended.note = "\x1b]0;title\x07";
    observed.observer.take(sessionBegan());
    observed.observer.take(began);
    observed.observer.progressed(1, 50, 1, 5, "\x1b[31m");
    observed.observer.take(event);
    observed.observer.take(ended);
    EXPECT_EQ(observed.out.text.find_first_of("\x1b\r\x07"), std::string::npos) << observed.out.text;
    EXPECT_EQ(observed.out.text.find("\nVerdict"), std::string::npos);
    EXPECT_EQ(observed.out.text.find("\u202e"), std::string::npos);
}

TEST(SessionObservers, ShowSomeOfAFlood)
{
    Observed observed;
    observed.observer.take(sessionBegan());
    observed.observer.take(runBegan(1));
    auto const tell = [&](std::string const& key, std::string const& message) {
        RunEvent event = failure(1);
        event.key = key;
        event.message = message;
        observed.observer.take(event);
    };
    std::string const title = "storage: Read all blocks on ACME Drive (/dev/sda): Error 17: ";
    for (int i = 0; i < 38; ++i)
        tell("heat", "It is hot.");
    for (int i = 0; i < 200; ++i)
        tell("block", "Block " + std::to_string(i));
    std::string const end = std::string(10'000, 'x') + " end";
    tell("long", end);
    std::string expected = "Run 1 of 3: storage: Read all blocks on ACME Drive (/dev/sda)\n" + title +
                           "It is hot.\n" + title + "Block 0\n" + title + "Block 1\n" + title + "Block 2\n";
    EXPECT_EQ(observed.out.text.substr(0, expected.size()), expected);
    EXPECT_EQ(observed.out.text.size() - expected.size(),
              title.size() - std::string("Error 17: ").size() + SessionObserver::kMostEventColumns + 1);
    for (int i = 0; i < 100; ++i)
        tell("key " + std::to_string(i), "something");
    auto const count = [&] {
        return static_cast<std::size_t>(std::count(observed.out.text.begin(), observed.out.text.end(), '\n'));
    };
    EXPECT_EQ(count(), 1 + SessionObserver::kMostEventLines);
    observed.out.text.clear();
    observed.observer.take(runEnded(1, "FAIL"));
    EXPECT_TRUE(observed.out.text.starts_with(
        title + "... 197 more\n" + title + "... 37 more\n" +
        "storage: Read all blocks on ACME Drive (/dev/sda): ... 55 other events\nFAIL  "))
        << observed.out.text;
    EXPECT_TRUE(observed.observer.flush());
    auto const events = readReport(observed.folder.path("r.jsonl")).runs.at(0).events;
    EXPECT_EQ(events.size(), 339u);
    EXPECT_EQ(events.at(238).message, end);
}

TEST(SessionObservers, AskThePerson)
{
    Observed observed([] { return true; }, {"vielleicht", "ja"});
    observed.observer.take(runBegan(1));
    zel::MessageBoxImp box = question();
    observed.observer.ask(1, box, never);
    EXPECT_EQ(box.answer(), 1);
    EXPECT_TRUE(box.hasAnswer());
    EXPECT_NE(observed.out.text.find(
                  "storage: Read all blocks on ACME Drive (/dev/sda) asks:\nPlug\nIs the plug in?\n  1) Ja"),
              std::string::npos)
        << observed.out.text;

    zel::MessageBoxImp late = question();
    observed.answers = {"ja"};
    observed.observer.ask(1, late, always);
    EXPECT_TRUE(late.wasCutShort());
    EXPECT_EQ(late.answer(), 3);
}

TEST(SessionObservers, TakeTheDefaultWhereNobodyIs)
{
    Observed observed;
    observed.observer.take(runBegan(1));
    zel::MessageBoxImp box = question();
    observed.observer.ask(1, box, never);
    EXPECT_FALSE(box.hasAnswer());
    EXPECT_EQ(box.answer(), 2);
    EXPECT_NE(observed.out.text.find(
                  "asks: Plug: Is the plug in?\n    Nobody can be asked; the answer is \"Nein\".\n"),
              std::string::npos)
        << observed.out.text;
}

// Two tests ask at once, others report meanwhile.
TEST(SessionObservers, AskOneQuestionAfterTheOther)
{
    TemporaryFolder const folder;
    Captured out;
    PlainView view(out);
    ReportWriter report(folder.path("r.jsonl"), {});
    std::atomic<int> asking{0}, most{0};
    SessionObserver observer(report, view,
                             {[] { return true; },
                              [&](zel::String& line, std::function<bool()> const&) {
                                  most = std::max(most.load(), ++asking);
                                  std::this_thread::yield();
                                  line = zel::String("1");
                                  --asking;
                                  return true;
                              },
                              out});
    std::vector<std::thread> threads;
    for (RunId id = 1; id <= 4; ++id) {
        observer.take(runBegan(id));
        threads.emplace_back([&, id] {
            for (int i = 0; i < 20; ++i) {
                zel::MessageBoxImp box = question();
                observer.ask(id, box, never);
                EXPECT_EQ(box.answer(), 1);
                observer.progressed(id, i * 5, 1, 0, "");
                observer.take(RunProgress{at(i), id, i * 5, 1});
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(most, 1);
}

TEST(SessionObservers, DoNotBeginWhatCannotBeWritten)
{
    Observed observed;
    EXPECT_TRUE(observed.observer.take(sessionBegan()) && observed.observer.flush());
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit const none{1, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &none);
    observed.observer.take(runBegan(1));
    bool const isKept = observed.observer.flush();
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_FALSE(isKept);
    EXPECT_FALSE(observed.observer.take(runBegan(2)));
    EXPECT_EQ(1u, observed.observer.session().runs.size()) << "only the one of which nobody knew it yet";
    EXPECT_NE(observed.out.text.find("is not complete: File too large"), std::string::npos)
        << observed.out.text;
    EXPECT_EQ(observed.out.text.find("Run 2"), std::string::npos);
}

} // namespace engine::test
