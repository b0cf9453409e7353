#pragma once
// The outcome of a test or of an indicator's query. Its value is also the exit status of a process that ends
// with it.
//
//     return errors == 0 ? TestResult::PASS() : TestResult::FAIL();
//
// Partial results are folded into one with mergeKeepingFail(); merge() would lose a FAIL.
//
// FAIL is also a macro of several test frameworks, GoogleTest among them. Where one of these is included,
// `TestResult::FAIL()` does not compile: write `(TestResult::FAIL)()`, or keep the macro away with
// `#define GTEST_DONT_DEFINE_FAIL 1` in front of <gtest/gtest.h>. This header may be included before and
// after it.
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class TestResultImp;
}

namespace krel5 {

struct TestResultInternalData;

class KREL5_EXPORT TestResult
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
    /// The parentheses keep a macro of the accessor's name from being expanded here.
#define ZEL_CONSTANT(accessor, ...) static TestResult const&(accessor)();
#include <zel/model/vocabulary/tables/TestResult.def>

    /// TESTNOTSTARTED.
    TestResult();
    /// Wraps a constant of the model; for the library's own use.
    explicit TestResult(zel::TestResultImp const& constant);
    TestResult(TestResult const& other);
    TestResult& operator=(TestResult const& other);
    ~TestResult();

    /// The numeric value: 0 for PASS.
    int value() const;
    /// Of several results the one of greatest priority stands for all.
    int priority() const;
    /// Folds another result into this one: this becomes the one of greater priority, and stays on a tie.
    /// Returns this result, so that calls chain. Beware: the priorities put nearly everything above FAIL,
    /// SKIPPED, COMPLETED, NOT SUPPORTED and WARNING among it, so that FAIL merged with one of these is FAIL
    /// no more. For the parts of a verdict take the next one.
    TestResult& merge(TestResult const& other);
    /// As merge(), but FAIL stays: where one of the two is FAIL, so is this.
    TestResult& mergeKeepingFail(TestResult const& other);

    /// Compare the values.
    bool operator==(TestResult const& other) const;
    bool operator!=(TestResult const& other) const;

    /// The text; valid until the next call, an assignment or the end of the handle.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::TestResultImp const& imp() const;

protected:
    /// The value and priority are those of the table; the text decides.
    TestResult(KrelString const& text, int value, int priority);

private:
    TestResultInternalData& data();
    TestResultInternalData const& data() const;

    DataHolder<TestResultInternalData> m_holder;
};

} // namespace krel5
