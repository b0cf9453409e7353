#include <krel5/TipType.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/TipTypeImp.h>

namespace krel5 {

struct TipTypeInternalData : VocabularyRecord<zel::TipTypeImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(TipType, TipTypeInternalData, zel::TipTypeImp)

TipType::TipType(KrelString const& text)
    : m_holder(TipTypeInternalData(zel::TipTypeImp::getConstantByString(text.zelString())))
{}

#define ZEL_CONSTANT(accessor, text, ...)                                                                    \
    TipType const& TipType::accessor()                                                                       \
    {                                                                                                        \
        static TipType const& constant = sharedConstant(new TipType(KrelString(text)));                      \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/TipType.def>

} // namespace krel5
