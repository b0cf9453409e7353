#include <zel/foundation/Exception.h>
#include <zel/foundation/StackTrace.h>

#include <gtest/gtest.h>

#include <thread>

namespace {

__attribute__((noinline)) zel::StackTrace fileLocalFunction()
{
    return zel::StackTrace::getCurrentStackTrace();
}

__attribute__((noinline)) void throwingFunction(int line)
{
    throw zel::ParseException(zel::String::number(line));
}

} // namespace

TEST(StackTrace, beginsAtTheCallerAndNamesFileLocalFunctions)
{
    std::string const text = fileLocalFunction().toString().toUtf8();
    std::string const first = text.substr(0, text.find('\n'));
    EXPECT_EQ(first.find("  #0 "), 0u) << text;
    EXPECT_NE(first.find("fileLocalFunction()"), std::string::npos) << text;
    EXPECT_NE(first.find("[foundation_test+0x"), std::string::npos) << text;
    EXPECT_NE(text.find("\n  #1 "), std::string::npos) << text;
}

TEST(StackTrace, ofAnExceptionShowsWhoThrew)
{
    try {
        throwingFunction(12);
        GTEST_FAIL();
    } catch (zel::Exception const& exception) {
        EXPECT_STREQ(exception.what(), "12");
        std::string const text = exception.getStackTrace().toUtf8();
        EXPECT_NE(text.find("throwingFunction(int)"), std::string::npos) << text;
        EXPECT_EQ(text.find("getCurrentStackTrace"), std::string::npos) << text;
    }
}

TEST(StackTrace, rendersAddressesThatBelongToNothing)
{
    zel::StackTrace const trace({nullptr, reinterpret_cast<void*>(0x1234), reinterpret_cast<void*>(-1)});
    EXPECT_EQ(trace.toString(), zel::String("  #0 [0x0]\n  #1 [0x1234]\n  #2 [0xffffffffffffffff]\n"));
    EXPECT_EQ(zel::StackTrace().toString(), zel::String());
    EXPECT_TRUE(zel::StackTrace::getCurrentStackTrace(100000).empty());
}

TEST(StackTrace, isRenderedInManyThreadsAtOnce)
{
    zel::StackTrace const trace = fileLocalFunction();
    zel::String const expected = trace.toString();
    std::vector<std::thread> threads;
    std::vector<zel::String> results(4);
    for (zel::String& result : results)
        threads.emplace_back([&] { result = trace.toString(); });
    for (std::thread& thread : threads)
        thread.join();
    for (zel::String const& result : results)
        EXPECT_EQ(result, expected);
}
