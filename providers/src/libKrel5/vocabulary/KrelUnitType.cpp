#include <krel5/KrelUnitType.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/UnitType.h>

namespace krel5 {

struct KrelUnitTypeInternalData : VocabularyRecord<zel::UnitType>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(KrelUnitType, KrelUnitTypeInternalData, zel::UnitType)

KrelUnitType::KrelUnitType(KrelString const& name)
    : m_holder(KrelUnitTypeInternalData(zel::UnitType::getConstantByString(name.zelString())))
{}

#define ZEL_CONSTANT(accessor, text, ...)                                                                    \
    KrelUnitType const& KrelUnitType::accessor()                                                             \
    {                                                                                                        \
        static KrelUnitType const& constant = sharedConstant(new KrelUnitType(KrelString(text)));            \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/UnitType.def>

} // namespace krel5
