// What stands on disk: every record comes back, whatever its texts, and whatever happens to the file.
#include "Sessions.h"

#include <engine/report/RecordJson.h>
#include <engine/report/ReportFolder.h>
#include <engine/report/ReportReader.h>
#include <engine/report/ReportWriter.h>
#include <engine/report/UtcTime.h>
#include <engine/report/linux/MachineStart.h>

#include <foundation/TemporaryFolder.h>

#include <zel/foundation/Exception.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

static std::atomic<bool> s_diskHangs{false};

// In place of the C library's: a disk that does not answer.
extern "C" int fdatasync(int descriptor)
{
    while (s_diskHangs)
        ::usleep(1000);
    return static_cast<int>(::syscall(SYS_fdatasync, descriptor));
}

namespace engine::test {

namespace {

using ::test::TemporaryFolder;

std::string lineOf(Record const& record)
{
    listing::JsonWriter json(listing::JsonWriter::Layout::OneLine);
    json.beginObject();
    writeMembers(json, record);
    return json.end().take();
}

/// Written, read and written again.
std::string again(Record const& record)
{
    std::string const line = lineOf(record);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    return lineOf(readRecord(listing::parseJson(line, "line", kReportLimits), "line").value());
}

std::string written(std::vector<Record> const& records)
{
    TemporaryFolder const folder;
    ReportWriter report(folder.path("r.jsonl"), [](std::string const& what) { ADD_FAILURE() << what; });
    for (Record const& record : records)
        EXPECT_TRUE(report.take(record));
    EXPECT_TRUE(report.flush());
    return folder.read("r.jsonl");
}

/// A file may grow up to that size, for as long as this is there.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit const limit{bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &m_before); }

private:
    rlimit m_before{};
    struct Ignored
    {
        Ignored() { std::signal(SIGXFSZ, SIG_IGN); }
    } m_ignored;
};

std::string refusal(std::string const& text)
{
    try {
        readReport(text, "r");
    } catch (zel::ParseException const& error) {
        return error.what();
    }
    return {};
}

} // namespace

TEST(Records, ComeBackAsTheyWere)
{
    for (Record const& record : failedSession())
        EXPECT_EQ(again(record), lineOf(record));
    std::string const hostile[] = {"\x1b[31m\a\b\f\n\r\t\x7f\x01", "\"\\'</script>]]>&amp;<!--",
                                   "\u202e\u2066\u200f\u2028",     "\U0001F600 \uFFFE \uFFFF",
                                   std::string("a\0b", 3),         std::string(1u << 20, '"')};
    for (std::string const& text : hostile) {
        RunEvent event{at(1), 18446744073709551615u, text, text, text, text, text, -2147483647 - 1,
                       text,  {text, "", text}};
        Record const read =
            readRecord(listing::parseJson(lineOf(event), "line", kReportLimits), "line").value();
        RunEvent const& back = std::get<RunEvent>(read);
        EXPECT_EQ(back.message, text);
        EXPECT_EQ(back.tips, event.tips);
        EXPECT_EQ(back.line, event.line);
        EXPECT_EQ(back.run, event.run);
        SessionBegan began = sessionBegan();
        began.facts = {{text, text}, {text, "the same name again"}};
        Record const readBegan =
            readRecord(listing::parseJson(lineOf(began), "line", kReportLimits), "line").value();
        EXPECT_EQ(std::get<SessionBegan>(readBegan).facts, began.facts);
    }
    RunEvent malformed = failure(1);
    malformed.message = "\xff\xc3(\xe2\x82";
    EXPECT_EQ(again(malformed), lineOf(malformed));
    RunEnded ended = runEnded(1, "EXITED ABNORMALLY");
    ended.exitStatus.reset();
    ended.seconds = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(again(ended), lineOf(ended));
    ended.exitStatus = -1;
    EXPECT_EQ(again(ended), lineOf(ended));
}

TEST(Records, ThatSayWhatTheyCannotAreRefusedWithTheReason)
{
    struct
    {
        char const* line;
        char const* reason;
    } const cases[] = {
        {R"([])", "is an object"},
        {R"({"time":"2026-11-22T15:23:09Z"})", "no \"record\""},
        {R"({"record":"run-began","run":1})", "no \"time\""},
        {R"({"record":"run-progress","time":"2026-02-31T15:23:09Z","run":1})", "\"time\" is no time"},
        {R"({"record":"run-progress","time":"2026-11-22 15:23:09","run":1})", "\"time\" is no time"},
        {R"({"record":"run-progress","time":"2026-11-22T15:23:09Z","run":-1})", "\"run\" is no whole number"},
        {R"({"record":"run-progress","time":"2026-11-22T15:23:09Z","run":1,"percent":4294967296})",
         "\"percent\" is no"},
        {R"({"record":"run-progress","time":"2026-11-22T15:23:09Z","run":1,"pass":4294967296})",
         "\"pass\" is no"},
        {R"({"record":"run-ended","time":"2026-11-22T15:23:09Z","run":1})", "no \"result\""},
        {R"({"record":"run-ended","time":"2026-11-22T15:23:09Z","run":1,"result":7})",
         "\"result\" is no text"},
        {R"({"record":"run-ended","time":"2026-11-22T15:23:09Z","run":1,"result":"PASS","seconds":-1.5})",
         "\"seconds\" is no"},
        {R"({"record":"run-event","time":"2026-11-22T15:23:09Z","run":1,"tips":["a",1]})",
         "\"tips\" is no text"},
        {R"({"record":"run-began","time":"2026-11-22T15:23:09Z","run":1,"device":[]})",
         "\"device\" is no object"},
    };
    for (auto const& one : cases)
        try {
            readRecord(listing::parseJson(one.line, "f", kReportLimits, 7), "f");
            ADD_FAILURE() << one.line;
        } catch (zel::ParseException const& error) {
            EXPECT_NE(std::string(error.what()).find(one.reason), std::string::npos) << error.what();
            EXPECT_TRUE(std::string(error.what()).starts_with("f:7: ")) << error.what();
        }
    EXPECT_FALSE(readRecord(listing::parseJson(R"({"record":"weather","time":1})", "f", kReportLimits), "f"));
}

TEST(UtcTimes, AreReadAndWritten)
{
    EXPECT_EQ(utcText(at(0)), "2026-11-22T15:23:09.042Z");
    EXPECT_EQ(utcTime(utcText(at(0))), at(0));
    EXPECT_EQ(utcText(Time(std::chrono::milliseconds(-1))), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(utcTime("1969-12-31T23:59:59.999Z"), Time(std::chrono::milliseconds(-1)));
    EXPECT_EQ(utcTime("2024-02-29T00:00:00.5Z"), utcTime("2024-02-29T00:00:00.500000000Z"));
    for (char const* const wrong :
         {"", "Z", "2026-11-22T15:23:09", "2026-11-22T15:23:09.Z", "2026-13-01T00:00:00Z",
          "2026-11-22T24:00:00Z", "9999-01-01T00:00:00Z", "2026-11-22T15:23:09.1234567890Z"})
        EXPECT_FALSE(utcTime(wrong)) << wrong;
    EXPECT_EQ(readableSpan(59.96, true), "1:00");
    EXPECT_EQ(readableSpan(9.44, true), "0:09.4");
    EXPECT_EQ(readableSpan(3723), "1:02:03");
}

TEST(Reports, AreReadBackByRun)
{
    Session const session = readReport(written(failedSession()), "r");
    EXPECT_EQ(session.stage(), Stage::Ended);
    EXPECT_EQ(session.verdict(), "FAIL");
    EXPECT_FALSE(session.isTorn);
    EXPECT_TRUE(session.damage.empty());
    ASSERT_EQ(session.runs.size(), 3u);
    EXPECT_EQ(session.bootId, MachineStart::current().id);
    EXPECT_EQ(session.runs[1].events.at(0).tips.size(), 2u);
    EXPECT_EQ(session.runs[1].questions.at(0).answer, "Yes");
    EXPECT_EQ(session.runs[1].ended->logTail, "error 5\n");
    EXPECT_EQ(session.runs[0].progress->percent, 10);
    EXPECT_EQ(session.gradeOf(session.runs[2]), Grade::NotTested);
    EXPECT_EQ(session.skipped.at(0).reason, "only root may do that");
    EXPECT_EQ(session.began.facts.at(1).second, "24 GiB");
}

// Whatever byte is the last on disk: no run has a result that was not written whole, and none is lost that was.
TEST(Reports, CutAtAnyByteSayWhatIsCertain)
{
    std::string const whole = written(failedSession());
    for (std::size_t size = 0; size < whole.size(); ++size) {
        std::string const cut = whole.substr(0, size);
        for (char const* const tail : {"", "zeros"}) {
            std::string const text = *tail ? cut + std::string(4096, '\0') : cut;
            std::size_t const lines = static_cast<std::size_t>(std::count(cut.begin(), cut.end(), '\n'));
            bool const isWhole = size > 0 && whole[size] == '\n'; // only its end is missing
            if (lines + isWhole == 0) {
                EXPECT_NE(refusal(text), "") << size;
                continue;
            }
            Session const session = readReport(text, "r");
            ASSERT_TRUE(session.damage.empty()) << size << session.damage.at(0);
            ASSERT_EQ(session.isTorn, *tail || whole[size - 1] != '\n') << size;
            SessionBuilder expected;
            std::vector<Record> const records = failedSession();
            for (std::size_t i = 0; i < lines + isWhole; ++i)
                expected.add(records[i]);
            ASSERT_EQ(session.runs.size(), expected.session().runs.size()) << size;
            ASSERT_EQ(session.verdict(), expected.session().verdict()) << size;
            for (std::size_t i = 0; i < session.runs.size(); ++i)
                ASSERT_EQ(session.resultOf(session.runs[i]),
                          expected.session().resultOf(expected.session().runs[i]));
        }
    }
}

TEST(Reports, WithDamageTellWhere)
{
    std::string text = written(failedSession());
    std::size_t const second = text.find('\n') + 1;
    text.insert(second, "{\"record\":\"run-be\nnonsense\n{\"record\":\"weather\"}\n");
    Session const session = readReport(text, "r");
    EXPECT_EQ(session.runs.size(), 3u);
    ASSERT_EQ(session.damage.size(), 2u);
    EXPECT_TRUE(session.damage[0].starts_with("r:2: no JSON")) << session.damage[0];
    EXPECT_TRUE(session.damage[1].starts_with("r:3: no JSON")) << session.damage[1];
    std::string const lost = text.substr(0, second) + text.substr(text.find("\"run-event\"") - 10);
    EXPECT_NE(readReport(lost, "r").damage.at(0).find("of run 2, which did not begin"), std::string::npos);
    // A PASS of which lines are missing is none.
    Session const passed = readReport(written({sessionBegan()}) + "\x01\n" +
                                          written({sessionBegan(), SessionEnded{at(3), "PASS", 0, 3.0}})
                                              .substr(written({sessionBegan()}).size()),
                                      "r");
    EXPECT_EQ(passed.verdict(), "PASS");
    EXPECT_EQ(passed.grade(), Grade::Broken);
}

TEST(Reports, ThatAreNoneAreRefused)
{
    std::string const head = written({sessionBegan()});
    auto const with = [&](std::string const& from, std::string const& to) {
        std::string text = head;
        return text.replace(text.find(from), from.size(), to);
    };
    struct
    {
        std::string text, reason;
    } const cases[] = {{"", "r:1: no report"},
                       {"\n\n", "r:1: no JSON"},
                       {"{}\n", "r:1: no report"},
                       {"[1]\n", "r:1: no report"},
                       {lineOf(failure(1)) + "\n", "r:1: no report"},
                       {with("\"formatVersion\":1", "\"formatVersion\":2"), "newer than this program knows"},
                       {with("\"formatVersion\":1", "\"formatVersion\":\"1\""), "no \"formatVersion\""},
                       {with("session-began", "run-began"), "does not begin with the beginning"},
                       {std::string(100, '[') + "\n", "nested deeper"}};
    for (auto const& one : cases)
        EXPECT_NE(refusal(one.text).find(one.reason), std::string::npos)
            << one.reason << ": " << refusal(one.text);
    EXPECT_THROW(readReport("/nowhere/at/all.jsonl"), zel::ParseException);
}

TEST(Reports, KeepBoundedEvents)
{
    std::vector<Record> records = {sessionBegan(), runBegan(1)};
    RunEvent event = failure(1);
    event.message.assign(1u << 20, 'x');
    records.insert(records.end(), 20, event);
    records.push_back(runEnded(1, "FAIL"));
    std::string const text = written(records);
    EXPECT_LT(text.size(), ReportWriter::kRunBytes + 10000);
    Session const session = readReport(text, "r");
    EXPECT_EQ(session.runs[0].ended->result, "FAIL");
    EXPECT_NE(session.runs[0].events.back().message.find("left out"), std::string::npos);

    SessionBuilder builder;
    builder.add(runBegan(1));
    for (std::size_t i = 0; i < SessionBuilder::kMostEvents + 5; ++i)
        EXPECT_EQ(builder.add(failure(1)), "");
    EXPECT_EQ(builder.session().runs[0].events.size(), SessionBuilder::kMostEvents);
    EXPECT_EQ(builder.session().runs[0].eventsLeftOut, 5u);
}

TEST(Reports, KeepABoundedCurveWithItsPeaks)
{
    SessionBuilder builder;
    builder.add(sessionBegan());
    for (int i = 0; i < 100'000; ++i)
        builder.add(warmth(i == 77'777 ? 99 : 40 + i % 3, i));
    Session const& session = builder.session();
    ASSERT_EQ(session.watched.size(), 2u);
    WatchedSeries const& one = session.watched[0];
    EXPECT_LT(one.points.size(), SessionBuilder::kMostPoints);
    EXPECT_GT(one.points.size(), SessionBuilder::kMostPoints / 3);
    EXPECT_EQ(one.mostText, "99 °C");
    EXPECT_TRUE(std::any_of(one.points.begin(), one.points.end(),
                            [](auto const& point) { return point.value == 99; }));
    EXPECT_TRUE(std::is_sorted(one.points.begin(), one.points.end(),
                               [](auto const& a, auto const& b) { return a.time < b.time; }));
    EXPECT_LT(one.points.front().time, at(1000));
    EXPECT_GT(one.points.back().time, at(99'000));
    EXPECT_TRUE(session.watched[1].points.empty()) << "no number";
}

// Weeks of them do not make a report that nobody can read.
TEST(Reports, HoldABoundedNumberOfReadings)
{
    TemporaryFolder const folder;
    ReportWriter report(folder.path("r.jsonl"), [](std::string const& what) { ADD_FAILURE() << what; });
    report.take(sessionBegan());
    WatchReadings record = warmth(1, 1);
    record.readings[1].text = std::string(1u << 20, 'x');
    for (int i = 0; i < 40; ++i)
        report.take(record);
    ASSERT_TRUE(report.flush());
    EXPECT_LT(std::filesystem::file_size(folder.path("r.jsonl")), ReportWriter::kWatchBytes + 4096);
    Session const session = readReport(folder.path("r.jsonl"));
    ASSERT_EQ(session.notes.size(), 1u);
    EXPECT_EQ(session.notes[0].what, "leftOut");
    EXPECT_TRUE(session.damage.empty());
}

// A run waits for what it must not begin without, and for nothing else.
TEST(ReportWriter, WorkBehindARecordOnDiskKeepsNobodyWaitingForIt)
{
    TemporaryFolder const folder;
    std::string const path = folder.path("r.jsonl");
    ReportWriter report(path, [](std::string const& what) { ADD_FAILURE() << what; });
    std::atomic<bool> mayGoOn{false}, isDone{false};
    std::atomic<std::size_t> linesThen{0};
    report.take(sessionBegan());
    report.behindSync([&] {
        linesThen = readReport(folder.read("r.jsonl"), "r").runs.size();
        while (!mayGoOn)
            ::usleep(1000);
        isDone = true;
    });
    report.take(runBegan(1));
    ASSERT_TRUE(report.flush());
    EXPECT_FALSE(isDone);
    mayGoOn = true;
    ASSERT_TRUE(report.finish());
    EXPECT_TRUE(isDone);
    EXPECT_EQ(1u, linesThen) << "it came before the record";
}

TEST(ReportWriter, TellsOnceThatTheDiskIsFull)
{
    TemporaryFolder const folder;
    std::vector<std::string> told;
    ReportWriter report(folder.path("r.jsonl"), [&](std::string const& what) { told.push_back(what); });
    EXPECT_TRUE(report.take(sessionBegan()) && report.flush());
    std::string const before = folder.read("r.jsonl");
    {
        FileSizeLimit const limit(before.size() + 100);
        report.take(runBegan(1));
        EXPECT_FALSE(report.flush());
        EXPECT_EQ(folder.read("r.jsonl"), before) << "a part of a line stayed";
        EXPECT_FALSE(report.take(runBegan(2)));
        EXPECT_FALSE(report.flush());
    }
    ASSERT_EQ(told.size(), 1u);
    EXPECT_NE(told[0].find(folder.path("r.jsonl") + " is not complete: File too large"), std::string::npos)
        << told[0];
    EXPECT_FALSE(report.take(runBegan(3))) << "what is missing stays missing";
    EXPECT_FALSE(report.flush());
    EXPECT_FALSE(report.isComplete());
    Session const session = readReport(folder.read("r.jsonl"), "r");
    EXPECT_EQ(session.runs.size(), 1u);
    EXPECT_EQ(told.size(), 1u);
}

TEST(ReportWriter, WritesNewFilesOfItsOwnOnly)
{
    TemporaryFolder const folder;
    auto const refused = [&](std::string const& path) {
        try {
            ReportWriter(path, {});
        } catch (zel::SystemException const& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    folder.write("there.jsonl", "mine");
    EXPECT_NE(refused(folder.path("there.jsonl")).find("there.jsonl: File exists"), std::string::npos);
    EXPECT_EQ(folder.read("there.jsonl"), "mine");
    ASSERT_EQ(::symlink("elsewhere", folder.path("link.jsonl").c_str()), 0);
    EXPECT_NE(refused(folder.path("link.jsonl")).find("File exists"), std::string::npos);
    ASSERT_EQ(::mkdir(folder.path("real").c_str(), 0755), 0);
    ASSERT_EQ(::symlink("real", folder.path("linked").c_str()), 0);
    EXPECT_NE(refused(folder.path("linked/r.jsonl")), "");
    EXPECT_NE(refused(folder.path("missing/r.jsonl")).find("missing: No such file"), std::string::npos);
    EXPECT_NE(refused(folder.path("")), "");
    EXPECT_EQ(folder.entryCount(), 4u);

    ReportWriter report(folder.path("real/r.jsonl"), {});
    struct stat status;
    ASSERT_EQ(::stat(report.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST(ReportFolders, AreMadeForTheirOwnerAlone)
{
    TemporaryFolder const folder;
    ReportFolder const reports{folder.path("state/deep"), "krel5"};
    EXPECT_EQ(reports.newest(), std::nullopt);
    ::umask(0);
    std::string first;
    for (int second : {0, 100000, 2}) { // 100000: of the next day
        std::string const name = ReportFolder::fileName(at(second), 42);
        first = ReportFile::create(reports.foldersOf(at(second)), name).path();
    }
    ::umask(022);
    EXPECT_EQ(first, folder.path("state/deep/krel5/2026-11-22/krel5-20261122T152311Z-42.jsonl"));
    EXPECT_EQ(reports.newest(), folder.path("state/deep/krel5/2026-11-23/krel5-20261123T190949Z-42.jsonl"));
    struct stat status;
    for (char const* const made :
         {"state", "state/deep", "state/deep/krel5", "state/deep/krel5/2026-11-22"}) {
        ASSERT_EQ(::stat(folder.path(made).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0700u) << made;
    }
    auto const refused = [&](std::string const& name) {
        try {
            ReportFile::create(ReportFile::Folders{folder.path(), {name, "2026-11-22"}}, "r.jsonl");
        } catch (zel::SystemException const& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    ASSERT_EQ(::symlink("state", folder.path("link").c_str()), 0);
    EXPECT_NE(refused("link"), "");
    try { // nobody makes folders there, and that is what is told
        ReportFile::create(ReportFile::Folders{"/sys/missing/deep", {"krel5"}}, "r.jsonl");
        ADD_FAILURE() << "was made";
    } catch (zel::SystemException const& error) {
        EXPECT_EQ(std::string(error.what()).find(std::strerror(ENOENT)), std::string::npos) << error.what();
    }
    ASSERT_EQ(::mkdir(folder.path("open").c_str(), 0700), 0);
    ASSERT_EQ(::chmod(folder.path("open").c_str(), 0777), 0);
    EXPECT_NE(refused("open").find("others can write there"), std::string::npos);
    if (::geteuid() == 0) {
        ASSERT_EQ(::mkdir(folder.path("other").c_str(), 0700), 0);
        ASSERT_EQ(::chown(folder.path("other").c_str(), 65534, 65534), 0);
        EXPECT_NE(refused("other").find("belongs to somebody else"), std::string::npos);
    }
    folder.write("file", "");
    EXPECT_NE(refused("file"), "");
}

// Whether an engine still writes is asked of the file: a process id may be anybody's by now.
TEST(Reports, OfAnEngineThatWasKilledDidNotEnd)
{
    TemporaryFolder const folder;
    std::string const path = folder.path("r.jsonl");
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    pid_t const child = ::fork();
    if (child == 0) {
        ReportWriter report(path, {});
        for (Record const& record : interruptedSession())
            report.take(record);
        report.flush();
        [[maybe_unused]] auto const said = ::write(ready[1], "x", 1);
        for (;;)
            ::pause();
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_EQ(readReport(path).stage(), Stage::Running);
    EXPECT_EQ(readReport(path).verdict(), "RUNNING");
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(ready[0]);
    ::close(ready[1]);
    Session const session = readReport(path);
    EXPECT_EQ(session.stage(), Stage::Interrupted);
    EXPECT_EQ(session.verdict(), "DID NOT END");
    ASSERT_EQ(session.runs.size(), 2u);
    EXPECT_EQ(session.resultOf(session.runs[1]), "DID NOT END");
    EXPECT_EQ(session.runs[1].progress->percent, 40);
    EXPECT_EQ(session.runs[1].progress->pass, 3u);
}

TEST(Verdicts, FailBeatsEverything)
{
    std::vector<Record> records = interruptedSession();
    EXPECT_EQ(sessionOf(records).grade(), Grade::Broken);
    records.push_back(runEnded(2, "FAIL"));
    EXPECT_EQ(sessionOf(records).verdict(), "FAIL");
    EXPECT_EQ(sessionOf(records).grade(), Grade::Failed);
    records.push_back(SessionEnded{at(60), "STOPPED", 24, 60});
    EXPECT_EQ(sessionOf(records).grade(), Grade::Failed);
    EXPECT_EQ(gradeOf("NO SUCH RESULT"), Grade::Broken);
    EXPECT_EQ(gradeOf("NO DEVICE"), Grade::NotTested);
    EXPECT_GT(gradeOf("FAIL"), gradeOf("EXITED ABNORMALLY"));
    EXPECT_GT(gradeOf("USER ABORTED"), gradeOf("NOT SUPPORTED"));
    EXPECT_EQ(sessionOf({sessionBegan(), SessionEnded{at(1), "SPLENDID", 0, 1}}).grade(), Grade::Broken);
}

TEST(ReportFiles, OfADiskThatDoesNotAnswerHoldNobodyUpTwice)
{
    TemporaryFolder const folder;
    std::string told;
    {
        ReportWriter report(
            folder.path("r.jsonl"), [&](std::string const& what) { told += what + "\n"; },
            std::chrono::milliseconds(300));
        EXPECT_TRUE(report.take(sessionBegan()));
        EXPECT_TRUE(report.take(runBegan(1)) && report.flush());
        s_diskHangs = true;
        zel::Stopwatch const watch;
        EXPECT_TRUE(report.take(runEnded(1, "PASS"))) << "nobody waits yet";
        EXPECT_FALSE(report.flush());
        for (int i = 0; i < 100; ++i)
            EXPECT_FALSE(report.take(runBegan(2)));
        EXPECT_GE(watch.getElapsed(), 0.3);
        EXPECT_LT(watch.getElapsed(), 5);
        EXPECT_EQ("The report " + folder.path("r.jsonl") + " is not complete: its disk does not answer\n",
                  told);
        s_diskHangs = false;
        for (int i = 0; i < 5000 && folder.read("r.jsonl").find("\"run-ended\"") == std::string::npos; ++i)
            ::usleep(1000);
        EXPECT_FALSE(report.take(runEnded(2, "PASS"))) << "what is late once has no PASS";
    }
    EXPECT_EQ("PASS", readReport(folder.path("r.jsonl")).runs.at(0).ended->result) << "it came in the end";
}

} // namespace engine::test
