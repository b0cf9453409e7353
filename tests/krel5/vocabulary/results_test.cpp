#include <krel5/TestResult.h>

#include <zel/model/vocabulary/TestResultImp.h>

#include <gtest/gtest.h>

using krel5::KrelString;
using krel5::TestResult;

TEST(TestResult, constantsCarryTheNumbersOfTheTable)
{
    struct
    {
        TestResult const& (*accessor)();
        char const* text;
        int value, priority;
    } const rows[] = {
#define ZEL_CONSTANT(accessor, text, value, priority) {&TestResult::accessor, text, value, priority},
#include <zel/model/vocabulary/tables/TestResult.def>
    };
    EXPECT_EQ(std::size(rows), 40u);
    for (auto const& row : rows) {
        TestResult const& result = row.accessor();
        EXPECT_EQ(&result, &row.accessor());
        EXPECT_EQ(result.toString(), row.text);
        EXPECT_EQ(result.value(), row.value) << row.text;
        EXPECT_EQ(result.priority(), row.priority) << row.text;
        EXPECT_EQ(result == TestResult::PASS(), row.value == 0) << row.text;
    }
    EXPECT_EQ(TestResult::WARN().toString(), "WARNING");
    EXPECT_EQ(TestResult::NODIALTONE().toString(), "NODIALTONE");
    EXPECT_EQ(TestResult::PASS().value(), 0);
    EXPECT_EQ(TestResult::INTERNALERROR().value(), 22);
    EXPECT_EQ(TestResult(), TestResult::TESTNOTSTARTED());
    EXPECT_EQ(TestResult(zel::TestResultImp::getConstantByString("gibberish")), TestResult::UNKNOWNERROR());
}

TEST(TestResult, mergesToTheGreaterPriority)
{
    TestResult result;
    TestResult& same = result.merge(TestResult::PASS()).merge(TestResult::FAIL()).merge(TestResult::PASS());
    EXPECT_EQ(&same, &result);
    EXPECT_EQ(result, TestResult::FAIL());
    EXPECT_EQ(result.priority(), TestResult::FAIL().priority());
    EXPECT_EQ(result.merge(result), TestResult::FAIL());
    EXPECT_EQ(result.merge(TestResult::UNKNOWNERROR()), TestResult::FAIL());
    EXPECT_EQ(TestResult::FAIL().toString(), "FAIL"); // the constants took no part
}

TEST(TestResult, aMergeLeavesTheTextAloneUntilItIsAskedFor)
{
    TestResult result = TestResult::PASS();
    KrelString const& text = result.toString();
    result.merge(TestResult::NOCABLE());
    EXPECT_EQ(text, "PASS");
    EXPECT_EQ(&result.toString(), &text);
    EXPECT_EQ(text, "NO CABLE");
}
