#include <krel5/ChildBusType.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/ChildBusTypeImp.h>

namespace krel5 {

struct ChildBusTypeInternalData : VocabularyRecord<zel::ChildBusTypeImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(ChildBusType, ChildBusTypeInternalData, zel::ChildBusTypeImp)

ChildBusType::ChildBusType(KrelString const& text)
    : m_holder(ChildBusTypeInternalData(zel::ChildBusTypeImp::getConstantByString(text.zelString())))
{}

#define ZEL_CONSTANT(accessor, text, ...)                                                                    \
    ChildBusType const& ChildBusType::accessor()                                                             \
    {                                                                                                        \
        static ChildBusType const& constant = sharedConstant(new ChildBusType(KrelString(text)));            \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/ChildBusType.def>

} // namespace krel5
