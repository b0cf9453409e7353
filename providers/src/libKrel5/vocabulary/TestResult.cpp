#include <krel5/TestResult.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/foundation/Array.h>
#include <zel/model/vocabulary/TestResultImp.h>

namespace krel5 {

struct TestResultInternalData
{
    TestResultInternalData() : TestResultInternalData(zel::TestResultImp()) {}
    explicit TestResultInternalData(zel::TestResultImp const& result) : imp(result), text(result.toString())
    {}

    zel::TestResultImp imp;
    mutable KrelString text; // cache; after a merge the old text until toString() is called
};

KREL5_HANDLE_OPERATIONS(TestResult, TestResultInternalData, zel::TestResultImp)

TestResult::TestResult(KrelString const& text, int /*value*/, int /*priority*/)
    : m_holder(TestResultInternalData(zel::TestResultImp::getConstantByString(text.zelString())))
{}

int TestResult::value() const { return data().imp.value(); }

int TestResult::priority() const { return data().imp.priority(); }

TestResult& TestResult::merge(TestResult const& other)
{
    zel::Array<zel::TestResultImp> const results{data().imp, other.data().imp};
    data().imp = zel::TestResultImp::overallResult(results);
    return *this;
}

TestResult& TestResult::mergeKeepingFail(TestResult const& other)
{
    if (*this == FAIL())
        return *this;
    return other == FAIL() ? *this = other : merge(other);
}

// Only a merge makes the cache stale. A constant's never is, so that threads may read constants together.
KrelString const& TestResult::toString() const
{
    TestResultInternalData const& record = data();
    if (record.text.zelString() != record.imp.toString())
        record.text = record.imp.toString();
    return record.text;
}

} // namespace krel5
