#pragma once
// The pattern of a closed vocabulary: constants from one `.def` table, looked up by text, compared by row.
//
// A table `tables/X.def` holds one ZEL_CONSTANT(accessor, text, numbers...) a constant. Who includes it
// says what becomes of a row: a static accessor's declaration, its definition, an enumerator, a
// VocabularyRow. So a constant is added by adding its line, and nothing else.
//
// Thread rule: tables are made on first use and never change; constants are values.

#include <zel/foundation/Export.h>
#include <zel/foundation/FixedText.h>
#include <zel/foundation/String.h>

#include <cstddef>
#include <span>
#include <vector>

namespace zel {

/// One constant as its table row gives it.
struct VocabularyRow
{
    FixedText<40> accessor;      ///< name of the static accessor
    FixedText<40> text;          ///< what toString() returns and getConstantByString() finds
    int number = 0;              ///< the declared code, rank or value, where the vocabulary has one
    int secondNumber = 0;        ///< a second declared number, where the vocabulary has one
    FixedText<20> longText = {}; ///< a longer text, where the vocabulary has one, else ""
};

/// The rows of one vocabulary with their texts, ready for look-up.
class ZEL_EXPORT VocabularyTable
{
public:
    /// Index of "no row": what a text that is in no row gives.
    static constexpr int kNone = -1;

    /// REQUIRES: the rows outlive the table.
    explicit VocabularyTable(std::span<VocabularyRow const> rows);

    std::size_t size() const noexcept { return m_rows.size(); }
    /// The first row of exactly this text, else kNone. Looks at one row after the other: tables are short, and
    /// most modules look nothing up.
    int find(String const& text) const;
    /// "INVALID" for an index that is no row.
    String const& text(int index) const noexcept;
    /// A row with the text "INVALID" and zeros for an index that is no row.
    VocabularyRow const& row(int index) const noexcept;

private:
    bool contains(int index) const noexcept
    {
        return index >= 0 && static_cast<std::size_t>(index) < m_rows.size();
    }

    std::span<VocabularyRow const> m_rows;
    std::vector<String> m_texts;
};

/// Base of a vocabulary whose values are single constants. `Constant` supplies
///   static VocabularyTable const& table();
///   static constexpr int kUnknown;   // row of a text that is in no row
/// and a constructor from a row index. Two constants are equal when they are the same row: two rows of equal
/// text or number stay two constants.
template <typename Constant>
class VocabularyConstant
{
public:
    /// The constant of a text; a text that is in no row gives the row `kUnknown`, by default a constant
    /// outside the table that prints "INVALID" and is equal to no named constant.
    static Constant getConstantByString(String const& text)
    {
        int const index = Constant::table().find(text);
        return Constant(index == VocabularyTable::kNone ? Constant::kUnknown : index);
    }
    /// The first constant that declares this number, else as for an unknown text.
    static Constant getConstantByNumber(int number)
    {
        for (int index = 0; index < count(); ++index) {
            if (Constant::table().row(index).number == number)
                return Constant(index);
        }
        return Constant(Constant::kUnknown);
    }
    static int count() { return static_cast<int>(Constant::table().size()); }

    /// Valid for the life of the process.
    String const& toString() const noexcept { return Constant::table().text(m_index); }
    /// Place in the table's order; VocabularyTable::kNone for the constant outside the table.
    int index() const noexcept { return m_index; }
    bool isValid() const noexcept { return m_index != VocabularyTable::kNone; }
    /// The number that the table declares for this constant; 0 where the vocabulary declares none.
    int number() const noexcept { return row().number; }

    constexpr bool operator==(VocabularyConstant const& other) const noexcept = default;

protected:
    constexpr explicit VocabularyConstant(int index) noexcept : m_index(index) {}
    VocabularyRow const& row() const noexcept { return Constant::table().row(m_index); }

private:
    int m_index;
};

} // namespace zel
