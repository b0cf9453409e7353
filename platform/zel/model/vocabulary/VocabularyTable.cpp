#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

VocabularyTable::VocabularyTable(std::span<VocabularyRow const> rows) : m_rows(rows)
{
    m_texts.reserve(rows.size());
    m_indexByText.reserve(rows.size());
    for (VocabularyRow const& row : rows) {
        m_texts.emplace_back(row.text);
        m_indexByText.emplace(m_texts.back(),
                              static_cast<int>(m_texts.size()) - 1); // keeps the first of equals
    }
}

int VocabularyTable::find(String const& text) const
{
    auto const found = m_indexByText.find(text);
    return found == m_indexByText.end() ? kNone : found->second;
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
