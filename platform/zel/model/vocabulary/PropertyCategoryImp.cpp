#include <zel/model/vocabulary/PropertyCategoryImp.h>

namespace zel {

static VocabularyRow const kRows[] = {
#define ZEL_CONSTANT(accessor, ...) {#accessor, __VA_ARGS__},
#include <zel/model/vocabulary/tables/PropertyCategory.def>
};

VocabularyTable const& PropertyCategoryImp::table()
{
    static VocabularyTable const& table = *new VocabularyTable(kRows);
    return table;
}

#define ZEL_CONSTANT(accessor, ...)                                                                          \
    PropertyCategoryImp const& PropertyCategoryImp::accessor()                                               \
    {                                                                                                        \
        static PropertyCategoryImp const constant(Code::accessor);                                           \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/PropertyCategory.def>

PropertyCategoryImp PropertyCategoryImp::getConstantByString(String const& text)
{
    PropertyCategoryImp category;
    for (String const& part : text.split(',')) {
        String const word = part.trimmed();
        if (word.empty())
            continue;
        int const row = table().find(word);
        category.m_rows.insert(
            static_cast<std::size_t>(row == VocabularyTable::kNone ? int(Code::INVALID) : row));
    }
    return category;
}

String PropertyCategoryImp::toString() const
{
    String text;
    for (std::size_t row = 0; row < table().size(); ++row) {
        if (!m_rows.has(row))
            continue;
        if (!text.empty())
            text += ", ";
        text += table().text(static_cast<int>(row));
    }
    return text;
}

PropertyCategoryImp& PropertyCategoryImp::operator|=(PropertyCategoryImp const& other)
{
    m_rows.insert(other.m_rows);
    return *this;
}

PropertyCategoryImp PropertyCategoryImp::operator|(PropertyCategoryImp const& other) const
{
    PropertyCategoryImp both = *this;
    both |= other;
    return both;
}

} // namespace zel
