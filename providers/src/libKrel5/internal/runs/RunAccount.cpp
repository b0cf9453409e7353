#include <libKrel5/internal/runs/RunAccount.h>

#include <libKrel5/internal/module/ErrorReporting.h>

#include <krel5/KrelString.h>

#include <zel/model/runs/TestRunImp.h>

#include <algorithm>

namespace krel5 {
namespace {

zel::String number(std::size_t value) { return zel::String::number(std::uint64_t{value}); }

} // namespace

void RunAccount::begin(zel::TestRunImp const& run)
{
    ++m_begun;
    m_current = run.test() ? "\"" + run.test()->keyInModule() + "\"" : zel::String();
    if (run.device())
        m_current += " on " + run.device()->name() + " (" + run.device()->osLocator() + ")";
    m_current = m_current.withoutControls(false);
    if (m_isTold)
        ErrorReporting::tell("Run " + number(m_begun) + " of " + number(m_count) + ": " + m_current);
}

void RunAccount::end(TestResult const& result)
{
    zel::String const text = result.toString().zelString();
    auto const known =
        std::find_if(m_results.begin(), m_results.end(), [&](auto const& one) { return one.first == text; });
    if (known != m_results.end())
        ++known->second;
    else
        m_results.emplace_back(text, 1);
    m_current = zel::String();
}

RunAccount::~RunAccount()
{
    if (!m_current.empty())
        ErrorReporting::tell("An exception ended the test " + m_current);
    if (!m_isTold)
        return;
    zel::String text = "Runs: " + number(m_count);
    for (auto const& [result, count] : m_results)
        text += ", " + number(count) + " " + result;
    if (!m_current.empty())
        text += ", 1 without a result";
    if (m_begun < m_count)
        text += ", " + number(m_count - m_begun) + " not made";
    ErrorReporting::tell(text);
}

} // namespace krel5
