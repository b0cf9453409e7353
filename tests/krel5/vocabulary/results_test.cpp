#include <krel5/TestResult.h>

#include <zel/model/vocabulary/TestResultImp.h>

#include <gtest/gtest.h>

using krel5::KrelString;
using krel5::TestResult;

TEST(TestResult, constantsCarryTheNumbersOfTheTable)
{
    zel::VocabularyTable const& table = zel::TestResultImp::table();
    for (int index = 0; index < zel::TestResultImp::count(); ++index) {
        zel::VocabularyRow const& row = table.row(index);
        TestResult const result{zel::TestResultImp(static_cast<zel::TestResultImp::Code>(index))};
        EXPECT_EQ(result.toString(), static_cast<char const*>(row.text));
        EXPECT_EQ(result.value(), row.number) << row.text;
        EXPECT_EQ(result.priority(), row.secondNumber) << row.text;
        EXPECT_EQ(result == TestResult::PASS(), row.number == 0) << row.text;
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

// What merge() makes of a FAIL is why the other fold is there.
TEST(TestResult, failStaysWhereItIsMeantTo)
{
    for (TestResult const& other :
         {TestResult::SKIPPED(), TestResult::COMPLETED(), TestResult::NOTSUPPORTED(), TestResult::WARN(),
          TestResult::PASS(), TestResult::FAIL()}) {
        bool const isGreater = other.priority() > TestResult::FAIL().priority();
        EXPECT_EQ(TestResult(TestResult::FAIL()).merge(other), isGreater ? other : TestResult::FAIL());
        TestResult first = TestResult::FAIL(), second = other;
        EXPECT_EQ(&first.mergeKeepingFail(other), &first);
        EXPECT_EQ(first, TestResult::FAIL()) << other.toString().getUTF8Buffer();
        EXPECT_EQ(second.mergeKeepingFail(TestResult::FAIL()), TestResult::FAIL());
        EXPECT_EQ(TestResult(TestResult::PASS()).mergeKeepingFail(other), other) << "else as merge()";
    }
    EXPECT_EQ(TestResult(TestResult::SKIPPED()).mergeKeepingFail(TestResult::NOTSUPPORTED()),
              TestResult::SKIPPED());
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
