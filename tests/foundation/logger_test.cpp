#include <zel/foundation/Exception.h>
#include <zel/foundation/LogLine.h>
#include <zel/foundation/Logger.h>

#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

using test::runInChild;
using test::TemporaryFolder;
using zel::LogFactory;
using zel::Logger;
using zel::LogLevel;

namespace {

int thresholdOf(Logger const& logger)
{
    for (int level = 0; level <= 5; ++level)
        if (logger.isEnabled(static_cast<LogLevel>(level)))
            return level;
    return 6;
}

std::string withDigitsAlike(std::string text)
{
    for (char& c : text)
        c = c >= '0' && c <= '9' ? '9' : c;
    return text;
}

class LoggerTest : public testing::Test
{
protected:
    void TearDown() override
    {
        LogFactory::clearOverrides();
        LogFactory::configure("", 4);
    }
    TemporaryFolder m_folder;
    Logger& m_logger = LogFactory::getLogger("test.Logger");
};

} // namespace

TEST_F(LoggerTest, thresholdsComeFromTheNearestRule)
{
    Logger& deep = LogFactory::getLogger("test.Logger.Deep");
    Logger& other = LogFactory::getLogger("tests");
    std::string const file = m_folder.write("modules.xml", "<?xml version=\"1.0\"?><logging>"
                                                           "<logger level=\"Warning\"/><unknown/>"
                                                           "<logger category=\"test.Logger\" level=\"1\"/>"
                                                           "</logging>");
    LogFactory::configure(zel::String(file), 4);
    EXPECT_EQ(thresholdOf(m_logger), 1);
    EXPECT_EQ(thresholdOf(deep), 1);
    EXPECT_EQ(thresholdOf(other), 3);
    EXPECT_EQ(thresholdOf(LogFactory::getLogger("made.later")), 3);

    LogFactory::setOverride("critical", "");
    LogFactory::setOverride("0", "test.Logger.Deep");
    EXPECT_EQ(thresholdOf(m_logger), 5);
    EXPECT_EQ(thresholdOf(deep), 0);
    LogFactory::configure(zel::String(file), 4); // an override outlives a later configuration
    EXPECT_EQ(thresholdOf(m_logger), 5);
    EXPECT_THROW(LogFactory::setOverride("6", ""), zel::InvalidArgumentException);
    EXPECT_EQ(thresholdOf(m_logger), 5);
}

TEST_F(LoggerTest, looksForTheConfigurationInTheBaseDirectory)
{
    m_folder.write("modules.xml", "<logging><logger level=\"trace\"/></logging>");
    LogFactory::setBaseDirectory(m_folder.path());
    LogFactory::configure("modules.xml", 4);
    EXPECT_EQ(thresholdOf(m_logger), 0);
    LogFactory::configure(
        zel::String(m_folder.write("other.xml", "<logging><logger level=\"1\"/></logging>")), 4);
    EXPECT_EQ(thresholdOf(m_logger), 1) << "a whole path is taken as it is";
    LogFactory::setBaseDirectory(zel::CString());
}

TEST_F(LoggerTest, configurationThatIsNotOneCostsOneLineAndChangesNothing)
{
    struct
    {
        char const* content; // null: a folder stands in its place
        char const* reason;
        mode_t mode = 0; // 0: as written
    } const cases[] = {
        {"", "no element"},
        {"<logging>", "cut off at /logging, line 1, byte 9"},
        {"<other/>", "not <logging>"},
        {"<logging><logger level=\"loud\"/></logging>", "not a level: \"loud\""},
        {"<logging><logger level=\"0\"/><logger category=\"a\"/></logging>", "not a level: \"\""},
        {"\x01\xFF garbage", "XML"},
        {nullptr, "Is a directory"},
        {"<logging><logger level=\"0\"/></logging>", "may be written by its group", 0664},
    };
    for (auto const& c : cases) {
        TemporaryFolder const folder;
        std::string const path = folder.path("modules.xml");
        if (c.content)
            folder.write("modules.xml", c.content);
        else
            std::filesystem::create_directory(path);
        if (c.mode != 0) {
            ASSERT_EQ(::chmod(path.c_str(), c.mode), 0);
        }
        auto const outcome = runInChild([&] {
            LogFactory::configure(zel::String(path), 2);
            ::_exit(thresholdOf(LogFactory::getLogger("a")));
        });
        EXPECT_EQ(outcome.status, 2) << c.reason;
        EXPECT_EQ(test::occurrences(outcome.output, "\n"), 1u) << outcome.output;
        EXPECT_NE(outcome.output.find(path), std::string::npos) << outcome.output;
        EXPECT_NE(outcome.output.find(c.reason), std::string::npos) << outcome.output;
    }
    auto const missing = runInChild([] { LogFactory::configure("/nowhere/modules.xml", 4); });
    EXPECT_EQ(missing.output, "");
}

TEST_F(LoggerTest, writesLinesOfTheDocumentedForm)
{
    std::string const path = m_folder.path("new//folders/a.log");
    ASSERT_TRUE(LogFactory::createDefaultFileAppender(path));
    LogFactory::setOverride("debug", "test");
    bool evaluated = false;
    auto const value = [&evaluated] { return evaluated = true; };
    ZEL_LOG_LINE(m_logger, LogLevel::Debug, 1200)
        << "pass " << 3 << " of " << std::uint64_t{4} << ", " << zel::String("\xC3\xA9") << " " << true;
    ZEL_LOG(m_logger, LogLevel::Trace) << value();
    EXPECT_FALSE(evaluated);
    EXPECT_EQ(LogFactory::currentFile().bytes(), path);
    {
        LogFactory::setOverride("trace", "test");
        zel::TraceScope const scope(m_logger, "doWork", 7);
    }
    std::string const text = m_folder.read("new/folders/a.log");
    std::string const time = "9999-99-99T99:99:99.999Z ";
    EXPECT_EQ(withDigitsAlike(text), time + "debug test.Logger 9999 pass 9 of 9, \xC3\xA9 true\n" + time +
                                         "trace test.Logger 9 entering doWork\n" + time +
                                         "trace test.Logger 9 leaving doWork\n");
    EXPECT_NE(text.find(" 1200 pass 3 of 4, "), std::string::npos) << text;
}

TEST_F(LoggerTest, noTextCanForgeALine)
{
    struct
    {
        std::string message, written;
    } const cases[] = {
        {"plain\twith tab", "plain\twith tab"},
        {"two\nlines", "two\n\tlines"},
        {"two\r\nlines\r\n\n", "two\n\tlines"},
        {"return\rhere", "return\\x0dhere"},
        {"escape \x1B[2J and \x7F", "escape \\x1b[2J and \\x7f"},
        {"second set \xC2\x9B"
         "31m",
         "second set \\x9b"
         "31m"},
        {"\xE2\x80\xAEright to left\xE2\x81\xA9 \xC3\xBC \xC2", "\\u202eright to left\\u2069 \xC3\xBC \xC2"},
        {"short\x7F", "short\\x7f"},
        {"sixteen letters,\x1B, and as many as that again",
         "sixteen letters,\\x1b, and as many as that again"},
        {"cut: \xE2\x80. \xE2@. \x80", "cut: \xE2\x80. \xE2@. \x80"},
        {std::string("zero\0inside, longer than a block", 32), "zero\\x00inside, longer than a block"},
        {std::string(5000, 'x'), std::string(5000, 'x')},
        {std::string(5000, '\n') + "x",
         [] {
             std::string all;
             for (int i = 0; i < 5000; ++i)
                 all += "\n\t";
             return all + "x";
         }()},
    };
    using namespace std::chrono;
    auto const time = sys_days(year{2024} / 2 / 29) + hours(23) + minutes(59) + seconds(58) + milliseconds(7);
    for (auto const& c : cases) {
        zel::LogLine const line(time, LogLevel::Error, "a.B", c.message);
        EXPECT_EQ(line.text(), "2024-02-29T23:59:58.007Z error a.B " + c.written + "\n");
    }
    zel::LogLine const before(sys_seconds(seconds(-1)), LogLevel::Trace, "a", "m");
    EXPECT_EQ(before.text(), "1969-12-31T23:59:59.000Z trace a m\n");
}

TEST_F(LoggerTest, aLongMessageOfManyPartsArrivesWhole)
{
    ASSERT_TRUE(LogFactory::createDefaultFileAppender(m_folder.path("long.log")));
    std::string expected = " error test.Logger 1 ";
    {
        zel::LoggerStream stream(m_logger, LogLevel::Error, 1);
        for (int i = 0; i < 300; ++i) {
            stream << i << zel::String("\xE4\xB8\xAD") << std::string(static_cast<std::size_t>(i % 7), 'x');
            expected +=
                std::to_string(i) + "\xE4\xB8\xAD" + std::string(static_cast<std::size_t>(i % 7), 'x');
        }
    }
    EXPECT_TRUE(m_folder.read("long.log").ends_with(expected + "\n"));
    std::string const large(300, 'y'); // more than the stream holds without memory of its own
    ZEL_LOG_LINE(m_logger, LogLevel::Error, 2) << zel::String(large) << "z";
    EXPECT_TRUE(m_folder.read("long.log").ends_with(" error test.Logger 2 " + large + "z\n"));
}

TEST_F(LoggerTest, linesOfManyThreadsStayWhole)
{
    ASSERT_TRUE(LogFactory::createDefaultFileAppender(m_folder.path("many.log")));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([this] {
            for (int i = 0; i < 500; ++i)
                ZEL_LOG_LINE(m_logger, LogLevel::Error, 1) << std::string(100, 'x') << "end";
        });
    for (std::thread& thread : threads)
        thread.join();
    std::string const text = m_folder.read("many.log");
    EXPECT_EQ(test::occurrences(text, " error test.Logger 1 " + std::string(100, 'x') + "end\n"), 2000u);
    EXPECT_EQ(test::occurrences(text, "\n"), 2000u);
}

TEST_F(LoggerTest, noFileIsMadeBeforeTheFirstLine)
{
    auto const outcome = runInChild([&] {
        LogFactory::createDefaultFileAppender(m_folder.path("logs/a.log"));
        ZEL_LOG(m_logger, LogLevel::Debug) << "below the threshold";
        ::_exit(LogFactory::currentFile().bytes() == m_folder.path("logs/a.log") ? 1 : 0);
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(m_folder.entryCount(), 0u);
}

TEST_F(LoggerTest, aProcessThatContinuesTheFileOfAnotherSaysSoOnce)
{
    auto const writeTwice = [&] {
        for (int i = 0; i < 2; ++i) {
            LogFactory::createDefaultFileAppender(m_folder.path("a.log"));
            m_logger.log(LogLevel::Error, "1 own");
        }
    };
    runInChild(writeTwice);
    EXPECT_EQ(test::occurrences(m_folder.read("a.log"), "\n"), 2u);
    runInChild(writeTwice);
    std::string const text = m_folder.read("a.log");
    EXPECT_EQ(test::occurrences(text, "\n"), 5u) << text;
    EXPECT_EQ(test::occurrences(text, "Z information zel.LogFile 1 a new process begins; "), 1u) << text;

    m_folder.write("empty.log", "");
    runInChild([&] {
        LogFactory::createDefaultFileAppender(m_folder.path("empty.log"));
        m_logger.log(LogLevel::Error, "1 own");
        writeTwice();
    });
    EXPECT_EQ(test::occurrences(m_folder.read("empty.log"), "\n"), 1u) << "nobody's lines stand above";
    EXPECT_EQ(test::occurrences(m_folder.read("a.log"), "a new process begins; "), 2u)
        << "coming from another file";
}

TEST_F(LoggerTest, aPlaceOfOnesOwnOrOfRootTakesTheLog)
{
    std::filesystem::create_directory(m_folder.path("own"));
    std::filesystem::create_directory(m_folder.path("shared"));
    std::filesystem::create_directory(m_folder.path("closed"));
    for (std::string const& folder : {m_folder.path(), m_folder.path("closed")})
        ASSERT_EQ(::chmod(folder.c_str(), 0555), 0);
    ASSERT_EQ(::chmod(m_folder.path("shared").c_str(), 0777), 0);
    bool const isRoot = ::geteuid() == 0;
    constexpr uid_t kSomebody = 65534;
    if (isRoot) {
        ASSERT_EQ(::chown(m_folder.path("own").c_str(), kSomebody, kSomebody), 0);
    }
    std::string const closed = m_folder.path("closed/new/a.log");
    std::pair<std::string, std::string> const cases[] = {
        {m_folder.path("own/a.log"), ""},
        {m_folder.path("shared/a.log"), ""},
        {closed, "Cannot open the log file " + closed + ": Permission denied\n"},
    };
    for (auto const& [path, complaint] : cases) {
        auto const outcome = runInChild([&, &path = path] {
            if (isRoot && ::seteuid(kSomebody) != 0)
                ::_exit(77); // no second user in this container
            LogFactory::createDefaultFileAppender(path);
            m_logger.log(LogLevel::Error, "1 own");
        });
        if (outcome.status == 77)
            GTEST_SKIP() << "no second user";
        EXPECT_EQ(outcome.output, complaint) << path;
        EXPECT_EQ(std::filesystem::exists(path), complaint.empty()) << path;
    }
    ASSERT_EQ(::chmod(m_folder.path().c_str(), 0755), 0);
}

TEST_F(LoggerTest, aFileThatCannotBeOpenedOrIsNotOursCostsOneLine)
{
    m_folder.write("file", "");
    std::string const victim = m_folder.write("victim", "");
    std::filesystem::create_symlink(victim, m_folder.path("link"));
    std::filesystem::create_hard_link(victim, m_folder.path("second"));
    std::filesystem::create_directory(m_folder.path("folder"));
    std::filesystem::create_directory_symlink("folder", m_folder.path("linked"));
    std::filesystem::create_directory_symlink("loop", m_folder.path("loop"));
    ASSERT_EQ(::mkfifo(m_folder.path("fifo").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo(m_folder.path("unread").c_str(), 0600), 0);
    int const reader = ::open(m_folder.path("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct Case
    {
        std::string path, reason;
    };
    std::vector<Case> cases = {
        {m_folder.path("file/below/a.log"), "its folder is no folder, or a link to one"},
        {m_folder.path("linked/a.log"), "its folder is no folder, or a link to one"},
        {m_folder.path("loop/below/a.log"), "its folder is no folder, or a link to one"},
        {m_folder.path("link"), "Too many levels of symbolic links"},
        {m_folder.path("second"), "it has further names"},
        {m_folder.path("fifo"), "it is no regular file"},
        {m_folder.path("unread"), "No such device or address"}, // and nobody waits for a reader
        {"/dev/full", "it is no regular file"},
        {m_folder.path(), "Is a directory"},
        {m_folder.path("folder/"), "it names no file"},
        {"/proc/nowhere/a.log", "No such file or directory"},
    };
    std::string const foreign = m_folder.write("foreign", "");
    std::filesystem::create_directory(m_folder.path("theirs"));
    constexpr uid_t kSomebody = 65534;
    if (::chown(foreign.c_str(), kSomebody, kSomebody) == 0 &&
        ::chown(m_folder.path("theirs").c_str(), kSomebody, kSomebody) == 0) { // only root can
        cases.push_back({foreign, "it belongs to somebody else"});
        cases.push_back({m_folder.path("theirs/a.log"), "its folder belongs to somebody else"});
    }
    for (Case const& c : cases) {
        auto const outcome = runInChild([&] {
            bool const isNamed = LogFactory::createDefaultFileAppender(c.path);
            m_logger.log(LogLevel::Critical, "lost");
            m_logger.log(LogLevel::Critical, "lost");
            ::_exit(LogFactory::currentFile().bytes() == c.path || isNamed == c.path.ends_with('/') ? 1 : 0);
        });
        EXPECT_EQ(outcome.status, 0) << c.path;
        EXPECT_EQ(outcome.output, "Cannot open the log file " + c.path + ": " + c.reason + "\n");
    }
    ::close(reader);
    auto const exhausted = runInChild([&logger = m_logger, path = m_folder.path("folder/a.log")] {
        LogFactory::createDefaultFileAppender(path);
        rlimit const nothing{};
        ::setrlimit(RLIMIT_NOFILE, &nothing);
        logger.log(LogLevel::Critical, "lost");
    });
    EXPECT_EQ(exhausted.output,
              "Cannot open the log file " + m_folder.path("folder/a.log") + ": Too many open files\n");
    EXPECT_EQ(m_folder.read("victim") + m_folder.read("foreign"), "");
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.path("folder")));
}

TEST_F(LoggerTest, aFileThatCannotBeWrittenCostsOneLineAndTheEarlierFileStaysAfterAFailedOpen)
{
    auto const full = runInChild([&] {
        rlimit const nothing{};
        ::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &nothing);
        LogFactory::createDefaultFileAppender(m_folder.path("full.log"));
        for (int i = 0; i < 3; ++i)
            m_logger.log(LogLevel::Critical, "lost");
        ::_exit(LogFactory::currentFile().empty() ? 0 : 1);
    });
    EXPECT_EQ(full.status, 0);
    EXPECT_EQ(full.output,
              "Cannot write to the log file " + m_folder.path("full.log") + ": File too large\n");

    auto const kept = runInChild([&] {
        LogFactory::createDefaultFileAppender(m_folder.path("kept.log"));
        m_logger.log(LogLevel::Critical, "first");
        for (std::string const& refused : {m_folder.path(), std::string("/dev/null")}) {
            LogFactory::createDefaultFileAppender(refused);
            m_logger.log(LogLevel::Critical, "still here");
            if (LogFactory::currentFile().bytes() != m_folder.path("kept.log"))
                ::_exit(1);
        }
    });
    EXPECT_EQ(kept.status, 0);
    EXPECT_EQ(test::occurrences(m_folder.read("kept.log"), "still here\n"), 2u);
}

TEST_F(LoggerTest, aLineThatWasCutEndsBeforeTheNextOne)
{
    for (rlim_t const room : {0u, 50u}) {
        std::string const name = std::to_string(room) + ".log";
        runInChild([&] {
            ::signal(SIGXFSZ, SIG_IGN);
            rlimit limit{room, RLIM_INFINITY};
            ::setrlimit(RLIMIT_FSIZE, &limit);
            LogFactory::createDefaultFileAppender(m_folder.path(name));
            m_logger.log(LogLevel::Critical, std::string(100, 'x'));
            limit.rlim_cur = RLIM_INFINITY;
            ::setrlimit(RLIMIT_FSIZE, &limit);
            m_logger.log(LogLevel::Critical, "1 whole");
            m_logger.log(LogLevel::Critical, "2 whole");
        });
        std::string const text = withDigitsAlike(m_folder.read(name));
        std::string const begin = "9999-99-99T99:99:99.999Z critical test.Logger ";
        std::string const cut = room == 0 ? "" : (begin + std::string(100, 'x')).substr(0, room) + "\n";
        EXPECT_EQ(text, cut + begin + "9 whole\n" + begin + "9 whole\n");
    }
}
