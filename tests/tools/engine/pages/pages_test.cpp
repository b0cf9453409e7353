// Pages of a session: what stands there, and what other programs make of them.

#include <engine/pages/Pages.h>
#include <engine/pages/Table.h>
#include <engine/pages/Words.h>
#include <engine/report/ReportWriter.h>

#include <foundation/TemporaryFolder.h>
#include <tools/engine/report/Sessions.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

namespace engine::test {

namespace {

using ::test::TemporaryFolder;

/// Texts that would break out of every page.
std::vector<Record> hostileSession()
{
    std::string const text = "\x1b[2J</script></details>]]>\"'&<b onclick='x'>\u202e\u2028\uFFFE\x01" +
                             std::string("\0", 1) + "\xff line 2\nVerdict: PASS\r<img src='http://x/'/>";
    std::vector<Record> records = failedSession();
    for (Record& record : records) {
        if (auto* began = std::get_if<SessionBegan>(&record))
            *began = {began->time, text, text, text, text, text, text, {{text, text}}, text, 9};
        if (auto* run = std::get_if<RunBegan>(&record)) {
            run->test = run->testName = run->again = text;
            run->program = run->moduleVersion = text;
            run->device = {text, text, text, text, text};
            run->parameters = {{text, text}};
        }
        if (auto* event = std::get_if<RunEvent>(&record)) {
            event->message = event->key = event->code = event->file = text;
            event->tips = {text, text};
        }
        if (auto* question = std::get_if<RunQuestion>(&record))
            question->title = question->text = question->answer = text;
        if (auto* ended = std::get_if<RunEnded>(&record))
            ended->note = ended->output = ended->logTail = ended->signal = text;
        if (auto* readings = std::get_if<WatchReadings>(&record)) {
            readings->moduleGuid = text;
            readings->device = {text, text, text, text, text};
            readings->readings[0].name = readings->readings[0].text = text;
            readings->readings.push_back({text, text, text, -1e300, text});
        }
        if (auto* note = std::get_if<WatchNote>(&record)) {
            note->moduleGuid = note->deviceName = note->title = note->message = text;
            note->tips = {text};
        }
        if (auto* skipped = std::get_if<RunSkipped>(&record))
            skipped->moduleGuid = skipped->test = skipped->deviceName = skipped->reason = text;
    }
    return records;
}

/// Pages for the script that looks at them as other programs do.
class OtherPrograms
{
public:
    void add(std::string const& form, std::string const& page)
    {
        m_files += " '" + m_folder.write(std::to_string(++m_count) + "." + form, page) + "'";
    }
    /// False: something to look with is not there.
    bool look()
    {
        // The system's own, which has the packages.
        std::string const command = "PATH=/usr/bin:$PATH python3 -W ignore '" KREL5_CHECK_PAGES
                                    "' '" KREL5_REPORT_SCHEMA "' '" KREL5_OCP_SCHEMA "'" +
                                    m_files + " > '" + m_folder.path("said") + "' 2>&1";
        int const status = std::system(command.c_str());
        EXPECT_TRUE(status == 0 || WEXITSTATUS(status) == 77) << m_folder.read("said");
        return status == 0;
    }

private:
    TemporaryFolder m_folder;
    std::string m_files;
    int m_count = 0;
};

std::string linesOf(std::vector<Record> const& records)
{
    TemporaryFolder const folder;
    ReportWriter report(folder.path("r.jsonl"), [](std::string const& what) { ADD_FAILURE() << what; });
    for (Record const& record : records)
        report.take(record);
    return folder.read("r.jsonl");
}

bool has(std::string const& page, std::string const& text) { return page.find(text) != std::string::npos; }

std::vector<std::vector<Record>> sessions()
{
    std::vector<Record> const stopped = {sessionBegan(),
                                         runBegan(1),
                                         runEnded(1, "USER ABORTED"),
                                         runBegan(2, "b"),
                                         runEnded(2, "EXITED ABNORMALLY"),
                                         runBegan(3, "c"),
                                         runEnded(3, "WARNING"),
                                         runBegan(4, "c"),
                                         runEnded(4, "PASS"),
                                         SessionEnded{at(9), "STOPPED", 24, 9}};
    return {failedSession(), interruptedSession(), hostileSession(), stopped, {sessionBegan()}};
}

} // namespace

TEST(Pages, AreWhatOtherProgramsRead)
{
    OtherPrograms others;
    for (std::vector<Record> const& records : sessions()) {
        Session session = sessionOf(records);
        for (bool const isWritten : {false, true}) {
            session.isWritten = isWritten;
            others.add("html", html(session));
            others.add("junit", junit(session));
            others.add("json", json(session));
            others.add("ocp", ocp(session));
        }
        others.add("jsonl", linesOf(records));
    }
    if (!others.look())
        GTEST_SKIP() << "python3-jsonschema, python3-junitparser or the schema of the OCP form is not there";
}

TEST(TextPage, SaysTheVerdictFirstAndHowToRunItAgain)
{
    std::string const page = text(sessionOf(failedSession()), 0);
    EXPECT_TRUE(page.starts_with("Verdict: FAIL (1 FAIL, 1 NOT SUPPORTED, 1 PASS, 1 not run)\n")) << page;
    for (char const* const line :
         {"Machine:   ACME Roadrunner\n", "Serial:    SN 123\n", "  Memory: 24 GiB\n",
          "Began:     2026-11-22 15:23:09 UTC, 0:23 long\n",
          "Module   Test             Device                   Result         Time    Note\n",
          "storage  Read all blocks  ACME Drive (/dev/sda)    PASS           0:12.5\n",
          "storage  write            ACME Drive 2 (/dev/sda)  FAIL           0:12.5  Block 7 cannot be "
          "read.\n",
          "FAIL  storage: write on ACME Drive 2 (/dev/sda)\n", "    Error 17: Block 7 cannot be read.\n",
          "        Tip: Replace the cable.\n",
          "    Again: krel5-engine run storage:write --device /dev/sda --set Seed=42\n",
          "  storage: erase on ACME Drive: INSUFFICIENT PRIVILEGE, only root may do that\n"})
        EXPECT_TRUE(has(page, line)) << line << page;
    EXPECT_FALSE(has(page, "Was running"));
}

TEST(TextPage, OfACrashNamesWhatWasRunning)
{
    Session session = sessionOf(interruptedSession());
    session.bootId = "one";
    std::string const now =
        "Was running: storage: write on ACME Drive 2 (/dev/sda), since 2026-11-22 15:23:11 UTC, at 40 % "
        "(pass 3)";
    auto const page = [&](std::string const& bootId, Time start) {
        return text(session, 0, MachineStart{bootId, start});
    };
    std::string const restarted = page("two", at(100));
    EXPECT_TRUE(restarted.starts_with(
        "Verdict: DID NOT END (1 DID NOT END, 1 PASS)\nThe session did not end: the machine "
        "went down and was started again at 2026-11-22 15:24:49 UTC.\n"))
        << restarted;
    // wrapped: only the words count
    std::string words = restarted;
    for (std::size_t at = 0; (at = words.find("\n    ", at)) != std::string::npos;)
        words.replace(at, 5, " ");
    EXPECT_TRUE(has(words, now)) << words;
    EXPECT_TRUE(has(words, "1 of 3 planned runs had not begun."));
    EXPECT_TRUE(
        has(page("one", at(-100)), "the engine was killed or crashed; the machine has been up since"));
    // The clock may have been set; the machine's own word for its start counts.
    EXPECT_TRUE(has(page("one", at(100)), "the engine was killed"));
    session.bootId.clear();
    EXPECT_TRUE(has(page("two", at(100)), "the machine went down"));
    EXPECT_TRUE(has(page("two", at(-1)), "the engine was killed"));
    EXPECT_TRUE(has(text(session, 0), "the engine or the machine went down"));
    session.isWritten = true;
    EXPECT_TRUE(has(page("two", at(100)), "The session is still running."));
}

TEST(TextPage, CannotBeForgedByTexts)
{
    Session const session = sessionOf(hostileSession());
    for (std::size_t const width : {0u, 80u, 10u}) {
        std::string const page = text(session, width);
        EXPECT_FALSE(has(page, "\nVerdict: PASS")) << page;
        EXPECT_EQ(page.find_first_of(std::string("\x1b\0\x01\r", 4)), std::string::npos);
    }
    std::string const table = resultTable(session, 80);
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 4);
}

TEST(HtmlPage, UnfoldsWhatFailed)
{
    std::string const page = html(sessionOf(failedSession()));
    EXPECT_TRUE(has(page, "<p class=\"verdict failed\">FAIL</p>"));
    EXPECT_TRUE(has(page, "<section id=\"run-1\">\n<details><summary><b class=\"passed\">PASS</b>"));
    EXPECT_TRUE(has(page, "<section id=\"run-2\">\n<details open=\"open\">"));
    EXPECT_TRUE(
        has(page, "<pre><code>krel5-engine run storage:write --device /dev/sda --set Seed=42</code></pre>"));
    EXPECT_TRUE(has(page, "<li>Replace the cable.</li>"));
    EXPECT_TRUE(has(page, "<th scope=\"row\">Seed</th><td>42</td>"));
    EXPECT_TRUE(has(html(sessionOf(interruptedSession())), "Was running: storage: write on ACME Drive 2"));
    EXPECT_TRUE(has(html(sessionOf(hostileSession())),
                    "&lt;/script&gt;&lt;/details&gt;]]&gt;&quot;&#39;&amp;&lt;b onclick"));
    if (char const* const keep = std::getenv("KREL5_KEEP_HTML")) // to look at it
        std::ofstream(keep) << page;
}

// A picture for each device that has temperatures, and least and most of everything.
TEST(Pages, ShowWhatWasReadBesideTheTests)
{
    Session const session = sessionOf(failedSession());
    std::string const page = html(session);
    EXPECT_TRUE(has(page, "<h3>ACME Drive (/dev/sda)</h3>\n<svg class=\"readings\"")) << page;
    EXPECT_TRUE(has(page, "<polyline class=\"curve c0\" points=\""));
    EXPECT_TRUE(
        has(page,
            "<td>Temperature</td><td class=\"time\">-5 °C</td><td class=\"time\">61 °C</td><td>40 °C</td>"));
    EXPECT_TRUE(has(page, "Alert: A drive is hot (ACME Drive): It has 61 degrees"));
    std::string const mail = text(session, 0);
    EXPECT_TRUE(has(mail, "ACME Drive (/dev/sda)  Temperature  -5 °C  61 °C  40 °C\n")) << mail;
    EXPECT_TRUE(has(mail, "While the tests ran:\n  15:23:20 Alert: A drive is hot"));
    EXPECT_FALSE(has(html(sessionOf(interruptedSession())), "<svg")) << "nothing was watched";
}

TEST(JunitPage, TellsFailuresFromErrors)
{
    std::string const page = junit(sessionOf(failedSession()));
    EXPECT_TRUE(has(page, "tests=\"4\" failures=\"1\" errors=\"0\" skipped=\"2\"")) << page;
    EXPECT_TRUE(has(page, "<failure message=\"FAIL: Block 7 cannot be read.\" type=\"FAIL\">")) << page;
    EXPECT_TRUE(has(page, "Again: krel5-engine run storage:write")) << page;
    EXPECT_TRUE(
        has(junit(sessionOf(interruptedSession())), "<error message=\"DID NOT END: at 40 % (pass 3)\""));
    EXPECT_TRUE(has(junit(sessionOf({sessionBegan()})), "errors=\"1\""))
        << "a session without its end is no success";
}

TEST(OcpPage, GivesItsVerdict)
{
    EXPECT_TRUE(
        has(ocp(sessionOf(failedSession())), R"("testRunEnd":{"status":"COMPLETE","result":"FAIL"})"));
    EXPECT_TRUE(
        has(ocp(sessionOf(failedSession())), R"("diagnosis":{"verdict":"storage-write-fail","type":"FAIL")"));
    std::string const cut = ocp(sessionOf(interruptedSession()));
    EXPECT_TRUE(has(cut, R"j("error":{"symptom":"did-not-end","message":"at 40 % (pass 3)")j")) << cut;
    EXPECT_TRUE(has(cut, R"("testRunEnd":{"status":"ERROR","result":"NOT_APPLICABLE"})")) << cut;
}

TEST(Tables, FitTheTerminal)
{
    std::vector<TableRow> const rows = {{"a", "name of some length", "RESULT"},
                                        {"\u540d\u540d", std::string(60, 'x'), "EXITED ABNORMALLY"}};
    std::string const shown = table(rows, 40, {2});
    EXPECT_EQ(shown, "a     name of some ..  RESULT\n\u540d\u540d  xxxxxxxxxxxxx..  EXITED ABNORMALLY\n");
    EXPECT_EQ(table({}, 40, {}), "");
}

} // namespace engine::test
