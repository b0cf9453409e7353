#pragma once
// Standard output is the same whether one test runs or many; which run is which stands on standard error.

#include <krel5/TestResult.h>

#include <zel/foundation/String.h>

#include <utility>
#include <vector>

namespace zel {
class TestRunImp;
}

namespace krel5 {

/// Tells the person at the console which of several runs begins, and at its own end, however that comes, what
/// became of all: "Runs: 4, 2 PASS, 1 FAIL, 1 not made". A run that has begun and not ended by then is named.
class RunAccount
{
public:
    /// `isTold`: there is a person at a console. A single run needs no account.
    RunAccount(std::size_t count, bool isTold) : m_count(count), m_isTold(isTold && count > 1) {}
    ~RunAccount();
    RunAccount(RunAccount const&) = delete;
    RunAccount& operator=(RunAccount const&) = delete;

    void begin(zel::TestRunImp const& run);
    void end(TestResult const& result);

private:
    std::size_t m_count, m_begun = 0;
    bool m_isTold;
    zel::String m_current; // the run that has begun and not ended; empty: none
    std::vector<std::pair<zel::String, std::size_t>> m_results; // in order of their first coming
};

} // namespace krel5
