#include <krel5/PropertyCategory.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/PropertyCategoryImp.h>

namespace krel5 {

struct PropertyCategoryInternalData : VocabularyRecord<zel::PropertyCategoryImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(PropertyCategory, PropertyCategoryInternalData, zel::PropertyCategoryImp)

PropertyCategory::PropertyCategory(KrelString const& text)
    : m_holder(PropertyCategoryInternalData(zel::PropertyCategoryImp::getConstantByString(text.zelString())))
{}

PropertyCategory PropertyCategory::operator|(PropertyCategory const& other) const
{
    return PropertyCategory(data().imp | other.data().imp);
}

PropertyCategory& PropertyCategory::operator|=(PropertyCategory const& other)
{
    data().imp |= other.data().imp;
    data().text = data().imp.toString();
    return *this;
}

bool PropertyCategory::isCapable(PropertyCategory const& other) const
{
    return data().imp.isCapable(other.data().imp);
}

} // namespace krel5
