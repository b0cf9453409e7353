#pragma once
// March tests as data. A march test is a list of elements; an element visits every word in one address order
// and does its operations on each word before it goes on to the next. Written as in the literature, in ASCII:
//
//     inline constexpr MarchTest kMarchCMinus = march("March C-", "any(w0); up(r0,w1); up(r1,w0); ...");
//
// "0" stands for the data background D, "1" for its complement; "r" reads and expects that value. A text that
// does not follow the grammar does not compile.

#include <array>
#include <cstddef>
#include <string_view>

namespace krel5::modules::memory {

enum class MarchOperation : unsigned char { Read0, Read1, Write0, Write1 };

struct MarchElement
{
    static constexpr std::size_t kMaxOperations = 13;

    bool m_down = false; ///< from the highest address to the lowest
    std::size_t m_count = 0;
    std::array<MarchOperation, kMaxOperations> m_operations{};
    std::string_view m_text; ///< as written, for reports
};

struct MarchTest
{
    static constexpr std::size_t kMaxElements = 8;

    std::string_view m_name;
    std::size_t m_count = 0;
    std::array<MarchElement, kMaxElements> m_elements{};

    /// Operations per word: the "n" figure of the literature.
    constexpr std::size_t length() const noexcept
    {
        std::size_t sum = 0;
        for (MarchElement const& element : m_elements) // those that are not used are empty
            sum += element.m_count;
        return sum;
    }
};

namespace detail {

/// Not constexpr: reaching it is the compile error.
void marchTextIsMalformed();

consteval MarchOperation parseOperation(std::string_view text)
{
    if (text == "r0")
        return MarchOperation::Read0;
    if (text == "r1")
        return MarchOperation::Read1;
    if (text == "w0")
        return MarchOperation::Write0;
    if (text != "w1")
        marchTextIsMalformed();
    return MarchOperation::Write1;
}

consteval MarchElement parseElement(std::string_view text)
{
    MarchElement element;
    element.m_text = text;
    auto const open = text.find('(');
    auto const direction = text.substr(0, open); // no operations follow one that is not there
    if (text.back() != ')')
        marchTextIsMalformed();
    if (direction != "up" && direction != "down" && direction != "any")
        marchTextIsMalformed();
    element.m_down = direction == "down";
    for (std::size_t at = open + 1; at < text.size(); at += 3) {
        element.m_operations[element.m_count++] = parseOperation(text.substr(at, 2));
        if (text[at + 2] != ',' && at + 3 != text.size())
            marchTextIsMalformed();
    }
    return element;
}

} // namespace detail

consteval MarchTest march(std::string_view name, std::string_view text)
{
    MarchTest test;
    test.m_name = name;
    while (!text.empty()) {
        auto const end = text.find("; ");
        test.m_elements[test.m_count++] = detail::parseElement(text.substr(0, end));
        text = end == text.npos ? std::string_view() : text.substr(end + 2);
    }
    return test;
}

// What each test finds, where the classes go by the usual names: SAF stuck-at, TF transition, AF address
// decoder; CFin, CFid, CFst inversion, idempotent and state coupling; WDF write disturb, RDF, DRDF and IRF
// (deceptive) read destructive and incorrect read; CFds, CFtr, CFwd, CFrd, CFdrd, CFir the same disturbed by
// a second cell. The simulator of tests/modules/memory injects every one of them and prints the coverage.

/// 10n. SAF, TF, AF, RDF, IRF and unlinked CFin, CFid, CFst. M. Marinescu, "Simple and efficient algorithms
/// for functional RAM testing", ITC 1982, without the redundant read: A. J. van de Goor, "Using march tests
/// to test SRAMs", IEEE Design & Test of Computers 10(1), 1993.
inline constexpr MarchTest kMarchCMinus =
    march("March C-", "any(w0); up(r0,w1); up(r1,w0); down(r0,w1); down(r1,w0); any(r0)");

/// 41n. Every simple static fault of one cell or two, and the realistic linked ones. S. Hamdioui, Z. Al-Ars,
/// A. J. van de Goor, M. Rodgers, "Linked faults in random access memories: concept, fault models, test
/// algorithms, and industrial results", IEEE Transactions on CAD 23(5), 2004.
inline constexpr MarchTest kMarchSL = march("March SL", "any(w0); "
                                                        "up(r0,r0,w1,w1,r1,r1,w0,w0,r0,w1); "
                                                        "up(r1,r1,w0,w0,r0,r0,w1,w1,r1,w0); "
                                                        "down(r0,r0,w1,w1,r1,r1,w0,w0,r0,w1); "
                                                        "down(r1,r1,w0,w0,r0,r0,w1,w1,r1,w0)");

/// 26n. The dynamic faults of one cell or two that a read directly after a write of the same cell sensitises.
/// S. Hamdioui, Z. Al-Ars, A. J. van de Goor, "Testing static and dynamic faults in random access memories",
/// VTS 2002.
inline constexpr MarchTest kMarchRaw = march("March RAW", "any(w0); "
                                                          "up(r0,w0,r0,r0,w1,r1); "
                                                          "up(r1,w1,r1,r1,w0,r0); "
                                                          "down(r0,w0,r0,r0,w1,r1); "
                                                          "down(r1,w1,r1,r1,w0,r0); "
                                                          "any(r0)");

/// 22n. Every simple static fault of one cell or two, the dynamic ones that a read directly after a write
/// sensitises, and the linked ones but a few of those with two aggressors. A. Bosio, S. Di Carlo, G. Di Natale,
/// P. Prinetto, "March AB, a state-of-the-art march test for realistic static linked faults and dynamic faults in
/// SRAMs", IET Computers & Digital Techniques 1(3), 2007.
inline constexpr MarchTest kMarchAB = march("March AB", "any(w1); "
                                                        "down(r1,w0,r0,w0,r0); "
                                                        "down(r0,w1,r1,w1,r1); "
                                                        "up(r1,w0,r0,w0,r0); "
                                                        "up(r0,w1,r1,w1,r1); "
                                                        "any(r1)");

/// 56n. The dynamic faults of one cell or two that two writes in a row to the same cell sensitise: each of the eight
/// sequences of state, write and write is done and read at once, while all other cells hold 0 and while they hold 1:
/// but for the short one in the middle, each element ends in the state that it began with. Our own.
inline constexpr MarchTest kWriteWrite =
    march("Write after write", "any(w0); "
                               "up(r0,w0,w0,r0,w0,w1,r1,w1,w1,r1,w1,w0,r0); "
                               "up(r0,w1,w0,r0,w1,w1,r1,w0,w1,r1,w0,w0,r0); "
                               "any(r0,w1); "
                               "up(r1,w1,w1,r1,w1,w0,r0,w0,w0,r0,w0,w1,r1); "
                               "up(r1,w0,w1,r1,w0,w0,r0,w1,w0,r0,w1,w1,r1); "
                               "any(r1)");

/// The classical moving inversions, run over many backgrounds.
inline constexpr MarchTest kMovingInversions =
    march("Moving inversions", "any(w0); up(r0,w1); down(r1,w0); any(r0)");

} // namespace krel5::modules::memory
