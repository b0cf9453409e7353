#include <zel/model/vocabulary/CapabilityImp.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <numeric>
#include <string_view>

namespace zel {

static constexpr int kRowCount = static_cast<int>(CapabilityImp::Code::kCount);

static constexpr VocabularyRow kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/Capability.def>
};

// The rows in the order of their texts, of equal texts the first one first. Made by the compiler: every module
// names a capability when it starts, and few need more of them, so the table's strings would be made in vain.
static constexpr auto kRowsByText = [] {
    std::array<short, kRowCount> rows{};
    std::iota(rows.begin(), rows.end(), short{0});
    auto const text = [](short row) { return std::string_view(kRows[row].text); };
    std::sort(rows.begin(), rows.end(), [text](short left, short right) {
        return text(left) != text(right) ? text(left) < text(right) : left < right;
    });
    return rows;
}();

// As table().find().
static int rowOf(String const& word)
{
    auto const isBefore = [&word](short row, String const&) {
        std::string_view const text(kRows[row].text);
        return std::lexicographical_compare(text.begin(), text.end(), word.ucs2(), word.ucs2() + word.size());
    };
    auto const found = std::lower_bound(kRowsByText.begin(), kRowsByText.end(), word, isBefore);
    return found != kRowsByText.end() && word == String(kRows[*found].text) ? *found : VocabularyTable::kNone;
}

VocabularyTable const& CapabilityImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

// A set has words that live on the heap, so its constants cannot be made before the process runs.
CapabilityImp const& CapabilityImp::constant(Code code)
{
    static std::vector<CapabilityImp> const& constants = *[] {
        auto* all = new std::vector<CapabilityImp>;
        all->reserve(kRowCount);
        for (int row = 0; row < kRowCount; ++row)
            all->emplace_back(static_cast<Code>(row));
        return all;
    }();
    return constants[static_cast<std::size_t>(code)];
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    CapabilityImp const& CapabilityImp::accessor() { return constant(Code::accessor); }
#include <zel/model/vocabulary/tables/Capability.def>

CapabilityImp::CapabilityImp(Code code)
{
    if (code != Code::NIL)
        m_rows.insert(static_cast<std::size_t>(code));
}

CapabilityImp::CapabilityImp(String const& text)
{
    std::vector<String> words;
    for (String const& part : text.split(',')) {
        String word = part.trimmed();
        int const row = rowOf(word);
        if (row > static_cast<int>(Code::NIL))
            m_rows.insert(static_cast<std::size_t>(row));
        else if (row == VocabularyTable::kNone && !word.empty())
            words.push_back(std::move(word));
    }
    addWords(std::move(words));
}

CapabilityImp CapabilityImp::getConstantByString(String const& text) { return CapabilityImp(text); }

String CapabilityImp::toString() const
{
    if (isEmpty())
        return String(kRows[static_cast<int>(Code::NIL)].text);
    String text;
    auto append = [&text](String const& member) {
        if (!text.empty())
            text += ", ";
        text += member;
    };
    for (int row = 0; row < kRowCount; ++row) {
        if (m_rows.has(static_cast<std::size_t>(row)))
            append(String(kRows[row].text));
    }
    for (String const& word : m_words)
        append(word);
    return text;
}

bool CapabilityImp::isCapable(CapabilityImp const& other) const
{
    return isAll() ||
           (m_rows.includes(other.m_rows) &&
            std::includes(m_words.begin(), m_words.end(), other.m_words.begin(), other.m_words.end()));
}

CapabilityImp CapabilityImp::intersect(CapabilityImp const& other) const
{
    if (isAll())
        return other;
    if (other.isAll())
        return *this;
    CapabilityImp common;
    common.m_rows = m_rows.intersection(other.m_rows);
    std::set_intersection(m_words.begin(), m_words.end(), other.m_words.begin(), other.m_words.end(),
                          std::back_inserter(common.m_words));
    return common;
}

bool CapabilityImp::intersects(CapabilityImp const& other) const { return !intersect(other).isEmpty(); }

std::size_t CapabilityImp::primitiveCapabilityCount() const noexcept
{
    constexpr std::size_t kNotPrimitive = 3; // NIL, ALL, INVALID
    return isAll() ? kRowCount - kNotPrimitive : m_rows.count() + m_words.size();
}

int CapabilityImp::rank() const
{
    if (m_rows.empty())
        return 0;
    int greatest = m_words.empty() ? -1 : 0; // no row ranks below -1; a word ranks 0
    for (int row = 0; row < kRowCount; ++row) {
        if (m_rows.has(static_cast<std::size_t>(row)))
            greatest = std::max(greatest, kRows[row].number);
    }
    return greatest;
}

// Keeps the words sorted and each once, so that equal sets compare equal member by member.
void CapabilityImp::addWords(std::vector<String> words)
{
    if (isAll()) {
        m_words.clear();
        return;
    }
    if (words.empty())
        return;
    m_words.insert(m_words.end(), std::make_move_iterator(words.begin()),
                   std::make_move_iterator(words.end()));
    std::sort(m_words.begin(), m_words.end());
    m_words.erase(std::unique(m_words.begin(), m_words.end()), m_words.end());
}

CapabilityImp& CapabilityImp::operator|=(CapabilityImp const& other)
{
    m_rows.insert(other.m_rows);
    addWords(other.m_words);
    return *this;
}

CapabilityImp CapabilityImp::operator|(CapabilityImp const& other) const
{
    CapabilityImp both = *this;
    both |= other;
    return both;
}

} // namespace zel
