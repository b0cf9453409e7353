// krel5-engine report and last, as far as they are more than the pages that they print.
#include <engine/commands/ReportCommands.h>
#include <engine/report/ReportFolder.h>
#include <engine/report/ReportWriter.h>

#include <foundation/TemporaryFolder.h>
#include <tools/engine/report/Sessions.h>

#include <zel/foundation/Exception.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace engine::test {

namespace {

using ::test::TemporaryFolder;

/// A user who is not root, with a state folder of his own.
class SomeUser
{
public:
    SomeUser()
    {
        ::setenv("XDG_STATE_HOME", m_folder.path().c_str(), 1);
        if (m_isRoot && (::chown(m_folder.path().c_str(), 65534, 65534) != 0 || ::seteuid(65534) != 0))
            throw std::runtime_error("cannot become somebody else");
    }
    ~SomeUser()
    {
        ::unsetenv("XDG_STATE_HOME");
        if (m_isRoot && ::seteuid(0) != 0)
            std::abort();
    }
    TemporaryFolder const& folder() const { return m_folder; }

private:
    bool const m_isRoot = ::geteuid() == 0;
    TemporaryFolder m_folder;
};

std::string keep(std::string const& path, std::vector<Record> const& records)
{
    ReportWriter report(path, [](std::string const& what) { ADD_FAILURE() << what; });
    for (Record const& record : records)
        report.take(record);
    return report.path();
}

template <typename Call>
std::string printed(Call call)
{
    ::testing::internal::CaptureStdout();
    call();
    return ::testing::internal::GetCapturedStdout();
}

} // namespace

TEST(LastCommand, SaysWhatWasRunning)
{
    SomeUser const user;
    EXPECT_EQ(showLast(false), 22) << "there is none";
    std::string const path = keep("", interruptedSession());
    EXPECT_TRUE(path.starts_with(user.folder().path("krel5/2"))) << path;
    std::string const said = printed([] { EXPECT_EQ(showLast(false), 0); });
    EXPECT_TRUE(said.starts_with(
        "Verdict: DID NOT END (1 DID NOT END, 1 PASS)\nThe session did not end: the engine was "
        "killed or crashed;"))
        << said;
    EXPECT_NE(said.find("Was running: storage: write on ACME Drive 2 (/dev/sda)"), std::string::npos) << said;
    EXPECT_TRUE(said.ends_with("Report: " + path + "\n")) << said;
    EXPECT_NE(printed([] { EXPECT_EQ(showLast(true), 0); }).find("\"state\": \"interrupted\""),
              std::string::npos);
}

TEST(ReportCommand, WritesPages)
{
    TemporaryFolder const folder;
    std::string const path = keep(folder.path("r.jsonl"), failedSession());
    EXPECT_TRUE(printed([&] { EXPECT_EQ(writeReport({path, "text", ""}), 0); }).starts_with("Verdict: FAIL"));
    EXPECT_EQ(writeReport({path, "html", folder.path("r.html")}), 0);
    EXPECT_TRUE(folder.read("r.html").starts_with("<!DOCTYPE html>"));
    EXPECT_THROW(writeReport({path, "pdf", ""}), zel::InvalidArgumentException);
    EXPECT_THROW(writeReport({path, "html", folder.path("missing/r.html")}), zel::InvalidArgumentException);
    EXPECT_THROW(writeReport({folder.path("none"), "html", ""}), zel::ParseException);
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    ASSERT_EQ(::symlink(path.c_str(), folder.path("link").c_str()), 0);
    ASSERT_EQ(::link(path.c_str(), folder.path("same").c_str()), 0);
    std::string const before = folder.read("r.jsonl");
    for (std::string const& output : {path, folder.path("same"), folder.path("link"), folder.path("fifo")})
        EXPECT_THROW(writeReport({path, "html", output}), zel::InvalidArgumentException) << output;
    EXPECT_EQ(folder.read("r.jsonl"), before);
    EXPECT_EQ(folder.read("same"), before);
    folder.write("damaged", folder.read("r.jsonl") + "nonsense\n");
    EXPECT_EQ(writeReport({folder.path("damaged"), "html", folder.path("r.html")}), 22);
    EXPECT_NE(folder.read("r.html").find("The report is damaged: "), std::string::npos);
}

} // namespace engine::test
