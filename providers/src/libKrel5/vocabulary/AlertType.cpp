#include <krel5/AlertType.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/AlertTypeImp.h>

namespace krel5 {

struct AlertTypeInternalData : VocabularyRecord<zel::AlertTypeImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(AlertType, AlertTypeInternalData, zel::AlertTypeImp)

AlertType::AlertType(KrelString const& text)
    : m_holder(AlertTypeInternalData(zel::AlertTypeImp::getConstantByString(text.zelString())))
{}

#define ZEL_CONSTANT(accessor, text, ...)                                                                    \
    AlertType const& AlertType::accessor()                                                                   \
    {                                                                                                        \
        static AlertType const& constant = sharedConstant(new AlertType(KrelString(text)));                  \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/AlertType.def>

} // namespace krel5
