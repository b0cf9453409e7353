// A TPM on paper: that passes, fails, goes on testing, answers nonsense, or not at all.
#include <modules/WarningHost.h>

#include <board/Events.h>
#include <board/TpmTest.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <deque>
#include <fcntl.h>
#include <termios.h>
#include <thread>
#include <tuple>
#include <unistd.h>

namespace krel5::modules::board {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes answer(std::uint16_t tag, std::uint32_t code, Bytes const& more = {})
{
    std::size_t const size = 10 + more.size();
    Bytes bytes = {static_cast<std::uint8_t>(tag >> 8),  static_cast<std::uint8_t>(tag), 0, 0,
                   static_cast<std::uint8_t>(size >> 8), static_cast<std::uint8_t>(size)};
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(code >> shift));
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}
Bytes second(std::uint32_t code, Bytes const& more = {}) { return answer(0x8001, code, more); }
Bytes result(std::uint8_t high, std::uint8_t low) // of TPM2_GetTestResult, with three bytes of its maker's
{
    return second(0, {0, 3, 1, 2, 3, 0, 0, high, low});
}

/// Answers in this order, then no more.
struct PaperTpm
{
    explicit PaperTpm(std::deque<Bytes> all, int of = 2) : answers(std::move(all)), version(of) {}

    std::deque<Bytes> answers;
    int version;
    double time = 0;
    std::vector<Bytes> heard;
    bool isAsked = false;
    int error = 0; ///< of the driver, behind the last answer

    Tpm tpm()
    {
        Tpm one;
        one.version = version;
        one.send = [this](std::span<std::uint8_t const> command) {
            heard.emplace_back(command.begin(), command.end());
            isAsked = true;
            return 0;
        };
        one.receive = [this](Bytes& into) -> std::optional<int> {
            time += 0.05;
            if (!isAsked || (answers.empty() && error == 0))
                return std::nullopt;
            isAsked = false;
            if (answers.empty())
                return error;
            into = answers.front();
            answers.pop_front();
            return 0;
        };
        one.now = [this] { return time; };
        return one;
    }
};

TEST(BoardTpm, isBelievedInWhatItSaysOfItself)
{
    struct Row
    {
        char const* what;
        int version;
        std::deque<Bytes> answers;
        Outcome outcome;
        char const* says;
    } const rows[] = {
        {"sound", 2, {second(0), result(0, 0)}, Outcome::Pass, ""},
        {"fails", 2, {second(0x101)}, Outcome::Fail, "BoardTpmFailed "},
        {"failed, as it says when asked", 2, {second(0), result(1, 1)}, Outcome::Fail, "BoardTpmFailed "},
        {"goes on testing, then sound",
         2,
         {second(0x90A), result(9, 0x0A), result(0, 0), result(0, 0)},
         Outcome::Pass,
         ""},
        {"goes on testing, then fails", 2, {second(0x90A), result(1, 1)}, Outcome::Fail, "BoardTpmFailed "},
        {"busy, so told again", 2, {second(0x922), second(0), result(0, 0)}, Outcome::Pass, ""},
        {"busy, then fails",
         2,
         {second(0x908), second(0x101), result(0, 0)},
         Outcome::Fail,
         "BoardTpmFailed "},
        {"goes on testing behind its answer, then fails",
         2,
         {second(0), result(9, 0x0A), result(1, 1)},
         Outcome::Fail,
         "BoardTpmFailed "},
        {"refuses", 2, {second(0x143)}, Outcome::CannotRun, "BoardTpmCode "},
        {"answers as version 1.2 did", 2, {answer(0x00C4, 0x1E)}, Outcome::CannotRun, "BoardTpmCode "},
        {"no answer", 2, {}, Outcome::Fail, "BoardTpmSilent "},
        {"no second answer", 2, {second(0)}, Outcome::Fail, "BoardTpmSilent "},
        {"too short", 2, {Bytes{0x80, 1, 0}}, Outcome::Fail, "BoardTpmNonsense "},
        {"nothing", 2, {Bytes{}}, Outcome::Fail, "BoardTpmNonsense "},
        {"another size", 2, {Bytes{0x80, 1, 0, 0, 0, 99, 0, 0, 0, 0}}, Outcome::Fail, "BoardTpmNonsense "},
        {"another tag", 2, {answer(0x8002, 0)}, Outcome::Fail, "BoardTpmNonsense "},
        {"a result cut short", 2, {second(0), second(0, {0})}, Outcome::Fail, "BoardTpmNonsense "},
        {"a result longer than its answer",
         2,
         {second(0), second(0, {0xFF, 0xFF, 1, 2})},
         Outcome::Fail,
         "BoardTpmNonsense "},
        {"version 1.2", 1, {answer(0xC4, 0), answer(0xC4, 0, {0, 0, 0, 1, 7})}, Outcome::Pass, ""},
        {"version 1.2 fails", 1, {answer(0xC4, 0x1C)}, Outcome::Fail, "BoardTpmFailed "},
        {"version 1.2 goes on testing, then fails", // its result does not say so
         1,
         {answer(0xC4, 0x802), answer(0xC4, 0x1C), answer(0xC4, 0, {0, 0, 0, 0})},
         Outcome::Fail,
         "BoardTpmFailed "},
        {"version 1.2 is busy, then fails",
         1,
         {answer(0xC4, 0x800), answer(0xC4, 0x1C)},
         Outcome::Fail,
         "BoardTpmFailed "},
        {"version 1.2, cut short",
         1,
         {answer(0xC4, 0), answer(0xC4, 0, {0, 0, 0, 9, 7})},
         Outcome::Fail,
         "BoardTpmNonsense "},
        {"none", 0, {}, Outcome::NotSupported, "BoardTpmNone "},
    };
    for (auto const& row : rows) {
        PaperTpm paper(row.answers, row.version);
        test::WarningHost host;
        EXPECT_EQ(row.outcome, runTpmTest(host, paper.tpm())) << row.what;
        EXPECT_EQ(row.says, test::keysOf(host)) << row.what;
    }
}

TEST(BoardTpm, isToldOnceAndAskedAndAStopIsHeeded)
{
    PaperTpm paper({second(0), result(0, 0)});
    test::WarningHost host;
    runTpmTest(host, paper.tpm());
    ASSERT_EQ(2u, paper.heard.size());
    EXPECT_EQ((Bytes{0x80, 1, 0, 0, 0, 11, 0, 0, 1, 0x43, 1}), paper.heard[0]) << "TPM2_SelfTest(YES)";
    EXPECT_EQ((Bytes{0x80, 1, 0, 0, 0, 10, 0, 0, 1, 0x7C}), paper.heard[1]) << "TPM2_GetTestResult";
    PaperTpm silent(std::deque<Bytes>{});
    test::WarningHost stopping;
    stopping.m_pollsBeforeStop = 3;
    EXPECT_EQ(Outcome::Stopped, runTpmTest(stopping, silent.tpm()));
    EXPECT_LT(silent.time, 0.5);
}

TEST(BoardTpm, whatItsDriverSaysIsTold)
{
    for (auto const& [error, outcome, says] : {std::tuple(ETIME, Outcome::Fail, "BoardTpmBroken "),
                                               {EIO, Outcome::Fail, "BoardTpmBroken "},
                                               {ENOMEM, Outcome::CannotRun, "BoardTpmRefused "}}) {
        PaperTpm paper({second(0)});
        paper.error = error;
        test::WarningHost host;
        EXPECT_EQ(outcome, runTpmTest(host, paper.tpm())) << error;
        EXPECT_EQ(says, test::keysOf(host)) << error;
    }
    test::WarningHost host;
    EXPECT_EQ(Outcome::CannotRun, runTpmTest(host, tpmAt("/dev/null/tpm", 2)));
    EXPECT_EQ("BoardTpmRefused ", test::keysOf(host));
}

// Through a device file: a terminal, at whose other end a TPM fails behind its self-test.
TEST(BoardTpm, isAskedThroughItsDeviceFile)
{
    int const other = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_TRUE(other >= 0 && ::grantpt(other) == 0 && ::unlockpt(other) == 0);
    termios raw{};
    ::cfmakeraw(&raw);
    ASSERT_EQ(0, ::tcsetattr(other, TCSANOW, &raw));
    std::vector<std::size_t> sizes;
    std::thread answering; // ends when nobody has the terminal open
    {
        Tpm const tpm = tpmAt(::ptsname(other), 2);
        answering = std::thread([&] {
            for (Bytes const& one : {second(0), result(1, 1)}) {
                std::uint8_t command[64];
                ssize_t const count = ::read(other, command, sizeof command);
                sizes.push_back(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
                if (::write(other, one.data(), one.size()) < 0)
                    return;
            }
        });
        test::WarningHost host;
        EXPECT_EQ(Outcome::Fail, runTpmTest(host, tpm));
        EXPECT_EQ("BoardTpmFailed ", test::keysOf(host));
    }
    answering.join();
    EXPECT_EQ((std::vector<std::size_t>{11, 10}), sizes);
    ::close(other);
}

} // namespace
} // namespace krel5::modules::board
