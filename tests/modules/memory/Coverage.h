#pragma once
// Runs an algorithm on simulated memory and counts what it finds.

#include <memory/Algorithms.h>
#include <modules/memory/FaultyMemory.h>

#include <cstdio>
#include <string>

namespace krel5::modules::memory::test {

/// The slices one after the other on the calling thread.
struct InlineRunner
{
    bool operator()(TestHost& host, unsigned count, std::uint64_t, Work const& work, ProgressSpan span) const
    {
        WorkerControl control;
        for (unsigned worker = 0; worker < count && !host.stopRequested(); ++worker)
            work(worker, control);
        host.progress(span.m_to);
        return !host.stopRequested();
    }
};

inline constexpr auto kAllAlgorithms = {Algorithm::Quick,    Algorithm::Standard, Algorithm::Thorough,
                                        Algorithm::Patterns, Algorithm::Fade,     Algorithm::Random};

/// Of memory that is only simulated: nothing ever breaks.
inline BrokenPages s_noBrokenPages(4096);

/// Stops the run as soon as a fault is reported at a place where it was put.
class Detective : public TestHost, public FaultReporter
{
public:
    /// Right is a report of a word in `words` with a wrong bit in `bits`.
    Detective(std::vector<std::size_t> words, std::uint64_t bits) : m_words(std::move(words)), m_bits(bits) {}

    void report(PassName const&, WordFault const& fault) override
    {
        m_found = true;
        for (auto const word : m_words)
            m_right = m_right || (fault.m_index == word && ((fault.m_expected ^ fault.m_actual) & m_bits));
    }
    void report(PassName const&, BrokenPage const&) override {}
    void progress(int percent) override { m_progress.push_back(percent); }
    bool stopRequested() override { return m_right; }
    void fault(Fault const&) override {}
    void problem(Report const&) override {}
    void note(Report const&) override {}

    bool m_found = false;
    bool m_right = false;
    std::vector<int> m_progress; ///< after each pass

private:
    std::vector<std::size_t> m_words;
    std::uint64_t m_bits;
};

inline char const* nameOf(Algorithm algorithm)
{
    static constexpr char const* kNames[] = {"quick", "standard", "thorough", "patterns", "fade", "random"};
    return kNames[static_cast<int>(algorithm)];
}

/// Puts each of the primitives, which '&' joins, onto the same cells.
template <typename Word>
void injectAll(FaultyMemory<Word>& memory, std::string_view fault, Cell aggressor, Cell victim)
{
    while (!fault.empty()) {
        memory.inject({parsePrimitive(fault), victim, aggressor});
        auto const next = fault.find('&');
        fault = next == fault.npos ? std::string_view() : fault.substr(next + 1);
    }
}

/// One row of the table that the coverage test prints.
class CoverageRow
{
public:
    CoverageRow(Algorithm algorithm, std::string name) : m_algorithm(algorithm), m_name(std::move(name)) {}

    /// `words` and `bits`: where a report is right.
    template <typename Word>
    void add(FaultyMemory<Word>& memory, std::size_t size, std::vector<std::size_t> words, std::uint64_t bits,
             unsigned slices = 1)
    {
        run(SimulatedMemory<Word>{&memory}, size, std::move(words), bits, slices);
    }

    /// On any memory that a checker takes.
    template <typename Memory>
    void run(Memory const& memory, std::size_t size, std::vector<std::size_t> words, std::uint64_t bits,
             unsigned slices = 1)
    {
        Detective detective(std::move(words), bits);
        Checker<Memory, InlineRunner> checker(detective, detective, memory, size, slices, s_noBrokenPages);
        runAlgorithm(m_algorithm, checker, 4711);
        ++m_injected;
        m_found += detective.m_found;
        m_right += detective.m_right;
    }

    void print() const
    {
        std::printf("%-9s %-54s injected %6d  found %6d  at right address %6d  %6.2f %%\n",
                    nameOf(m_algorithm), m_name.c_str(), m_injected, m_found, m_right,
                    m_injected ? 100.0 * m_right / m_injected : 0.0);
    }

    Algorithm m_algorithm;
    std::string m_name;
    int m_injected = 0;
    int m_found = 0;
    int m_right = 0;
};

} // namespace krel5::modules::memory::test
