#include <zel/model/vocabulary/VocabularyTable.h>

#include <algorithm>

namespace zel {

VocabularyTable::VocabularyTable(std::span<VocabularyRow const> rows) : m_rows(rows)
{
    m_texts.reserve(rows.size());
    for (VocabularyRow const& row : rows)
        m_texts.emplace_back(row.text);
}

int VocabularyTable::find(String const& text) const
{
    auto const found = std::find(m_texts.begin(), m_texts.end(), text);
    return found == m_texts.end() ? kNone : static_cast<int>(found - m_texts.begin());
}

String const& VocabularyTable::text(int index) const noexcept
{
    static String const& invalid = *new String("INVALID");
    return contains(index) ? m_texts[static_cast<std::size_t>(index)] : invalid;
}

VocabularyRow const& VocabularyTable::row(int index) const noexcept
{
    static constinit VocabularyRow const invalid = {"INVALID", "INVALID", 0, 0, "INVALID"};
    return contains(index) ? m_rows[static_cast<std::size_t>(index)] : invalid;
}

} // namespace zel
