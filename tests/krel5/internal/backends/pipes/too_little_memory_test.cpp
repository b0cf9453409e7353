// What is handed over while memory is short: an allocation that fails costs what is handed over and a line, never the
// process, and nothing is half taken over. Every allocation fails once, each in a process of its own.
#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>
#include <model/TestDevices.h>

#include <krel5/TestResult.h>

#include <libKrel5/internal/backends/pipes/CommXml.h>
#include <libKrel5/internal/module/CommandLine.h>

#include <zel/foundation/Array.h>
#include <zel/foundation/Logger.h>
#include <zel/model/wire/Serializable.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <new>

namespace {

// How many allocations succeed before one fails; below zero: all do.
std::atomic<int> s_untilFailure{-1};

} // namespace

// Not inlined: the compiler would see half of a pair at times and warn of a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    if (s_untilFailure >= 0 && s_untilFailure-- == 0)
        throw std::bad_alloc();
    if (void* const memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

using namespace krel5;

namespace {

/// Whether the action came to the allocation that fails.
template <typename Action>
bool failsAt(int allocation, Action action)
{
    s_untilFailure = allocation;
    action();
    return s_untilFailure.exchange(-1) < 0;
}

std::string document()
{
    zel::StateManager state;
    for (char const* name : {"known", "one", "two"}) {
        auto device = zel::test::device(name);
        zel::test::add(*device, "Size", "a size that is too long to be kept inside its string");
        state.addDevice(std::move(device), nullptr);
    }
    return zel::Serializable::serializeUtf8(state, "StateManager");
}

/// Receives or sends through a file in the pipe's place, in this process.
void hand(int allocation, bool receives)
{
    test::TemporaryFolder const folder;
    zel::LogFactory::setOverride("debug", "krel5.Comm.Xml");
    zel::LogFactory::createDefaultFileAppender(folder.path("log").c_str());
    folder.write("document", document());
    std::string const pipe =
        std::to_string(::open(folder.path("document").c_str(), receives ? O_RDONLY : O_WRONLY | O_TRUNC));
    char const* const words[] = {"mod", receives ? "-pipeIn" : "-pipeOut", pipe.c_str()};
    CommandLine::addCommonOptions();
    CommandLine::parse(3, words);
    zel::StateManager& state = zel::StateManager::instance();
    auto const known = zel::test::device("known");
    state.addDevice(*known, nullptr);
    CommXml comm(true);
    bool const hasFailed =
        failsAt(allocation, [&] { receives ? comm.receiveDevices() : comm.sendAddDevices(); });
    std::printf("failed %d, devices %d, properties %d\n%s", hasFailed, static_cast<int>(state.deviceCount()),
                static_cast<int>(state.deviceAtIndex(0)->propertyCount()), folder.read("log").c_str());
}

/// What a process of its own tells.
std::string handed(int allocation, bool receives)
{
    auto const outcome = test::runInChild([&] { hand(allocation, receives); });
    EXPECT_EQ(outcome.status, 0) << allocation << outcome.output;
    return outcome.output;
}

bool tells(std::string const& output, char const* what) { return output.find(what) != output.npos; }

constexpr char kUntouched[] = "devices 1, properties 0\n", kWhole[] = "devices 3, properties 1\n";

} // namespace

TEST(TooLittleMemory, costsWhatIsReceivedAndALine)
{
    int failures = 0, inPart = 0;
    std::string output = handed(0, true);
    for (; tells(output, "failed 1") && !testing::Test::HasFailure(); output = handed(++failures, true)) {
        bool const isInPart = tells(output, "; what is known already is taken over in part\n");
        inPart += isInPart;
        EXPECT_TRUE(isInPart || tells(output, kUntouched) || tells(output, kWhole)) << output;
        EXPECT_TRUE(isInPart || tells(output, "; what is known already is not taken over\n") ||
                    tells(output, "too little memory: devices are not received\n") || tells(output, kWhole))
            << output;
        EXPECT_EQ(tells(output, "there is too little memory for it"),
                  tells(output, "Unknown error during deserialization\n"))
            << output;
    }
    EXPECT_TRUE(tells(output, kWhole)) << output;
    EXPECT_GT(failures, inPart);
    EXPECT_GT(inPart, 0);
}

TEST(TooLittleMemory, costsWhatIsSentAndALine)
{
    int failures = 0;
    std::string output = handed(0, false);
    for (; tells(output, "failed 1") && !testing::Test::HasFailure(); output = handed(++failures, false))
        EXPECT_TRUE(tells(output, "doSerialization unknown exception\n") ||
                    tells(output, "too little memory: devices are not handed over\n") ||
                    tells(output, "Wrote "))
            << output;
    EXPECT_TRUE(tells(output, "Wrote ")) << output;
    EXPECT_GT(failures, 0);
}

// The array's own memory is told of as the library tells of things; what fails in a copy beside it as that fails.
TEST(TooLittleMemory, leavesAResultAndAnArrayAsTheyWere)
{
    zel::Array<std::vector<int>> array{{1}};
    std::vector<int> const element{1, 2, 3};
    TestResult result = TestResult::PASS();
    TestResult const& fail = TestResult::FAIL(); // constants are made once, and stay
    auto const append = [&] { array.append(element); };
    auto const merge = [&] { result.merge(fail); };
    auto const refusals = [](auto const& action, auto const& isUntouched) {
        int told = 0;
        auto const refused = [&] {
            try {
                action();
            } catch (std::bad_alloc const&) {
            } catch (zel::NullPointerException const& e) {
                EXPECT_EQ(e.getMessage(), "Asked for array of size: 2");
                ++told;
            }
        };
        for (int allocation = 0; failsAt(allocation, refused); ++allocation)
            EXPECT_TRUE(isUntouched()) << allocation;
        return told;
    };
    EXPECT_EQ(refusals(append, [&] { return array.size() == 1; }), 1);
    EXPECT_EQ(array.size(), 2u);
    EXPECT_EQ(refusals(merge, [&] { return result == TestResult::PASS(); }), 1);
    EXPECT_EQ(result, TestResult::FAIL());
}
