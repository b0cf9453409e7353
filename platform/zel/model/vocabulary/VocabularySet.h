#pragma once
// A set of rows of one vocabulary, one of which (its "All") stands for every row, those yet to come included.

#include <bitset>
#include <cstddef>

namespace zel {

/// Set of up to `Size` rows. Once the row `AllRow` is in, the set contains everything, and holds that row
/// only, so that equal sets have equal bits.
template <std::size_t Size, std::size_t AllRow>
class VocabularySet
{
public:
    void insert(std::size_t row)
    {
        if (row == AllRow)
            m_rows.reset();
        if (!isAll())
            m_rows.set(row);
    }
    void insert(VocabularySet const& other)
    {
        if (other.isAll())
            m_rows = other.m_rows;
        else if (!isAll())
            m_rows |= other.m_rows;
    }
    bool isAll() const noexcept { return m_rows[AllRow]; }
    bool empty() const noexcept { return m_rows.none(); }
    bool has(std::size_t row) const noexcept { return m_rows[row]; }
    /// Whether every element of `other` is in this set; the empty set is in every set.
    bool includes(VocabularySet const& other) const noexcept
    {
        return isAll() || (other.m_rows & ~m_rows).none();
    }
    VocabularySet intersection(VocabularySet const& other) const noexcept
    {
        if (isAll())
            return other;
        VocabularySet common = *this;
        if (!other.isAll())
            common.m_rows &= other.m_rows;
        return common;
    }
    /// Number of rows, not counting rows that are unset because `AllRow` stands for them.
    std::size_t count() const noexcept { return m_rows.count(); }
    bool operator==(VocabularySet const&) const noexcept = default;

private:
    std::bitset<Size> m_rows;
};

} // namespace zel
