#pragma once

#include <zel/model/vocabulary/VocabularySet.h>
#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// What a device property is: a set of categories. ALL contains every category.
class ZEL_EXPORT PropertyCategoryImp
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/PropertyCategory.def>
        kCount ///< number of rows, no category
    };
#define ZEL_CONSTANT(accessor, ...) static PropertyCategoryImp const& accessor();
#include <zel/model/vocabulary/tables/PropertyCategory.def>

    /// The empty set.
    PropertyCategoryImp() = default;
    explicit PropertyCategoryImp(Code code) { m_rows.insert(static_cast<std::size_t>(code)); }

    /// The set that a text names: one word, or several separated by commas, as toString() writes them. A word
    /// that is not in the table gives the category INVALID; "" is the empty set.
    static PropertyCategoryImp getConstantByString(String const& text);

    /// The members' texts in the table's order, joined by ", "; "" for the empty set.
    String toString() const;

    bool isEmpty() const noexcept { return m_rows.empty(); }
    /// Whether every category of `other` is in this set.
    bool isCapable(PropertyCategoryImp const& other) const noexcept { return m_rows.includes(other.m_rows); }
    PropertyCategoryImp& operator|=(PropertyCategoryImp const& other);
    PropertyCategoryImp operator|(PropertyCategoryImp const& other) const;
    bool operator==(PropertyCategoryImp const&) const = default;

    static VocabularyTable const& table();

private:
    VocabularySet<static_cast<std::size_t>(Code::kCount), static_cast<std::size_t>(Code::ALL)> m_rows;
};

} // namespace zel
