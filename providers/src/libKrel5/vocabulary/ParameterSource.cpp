#include <krel5/ParameterSource.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/ParameterSourceImp.h>

namespace krel5 {

struct ParameterSourceInternalData : VocabularyRecord<zel::ParameterSourceImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(ParameterSource, ParameterSourceInternalData, zel::ParameterSourceImp)

ParameterSource::ParameterSource(KrelString const& text)
    : m_holder(ParameterSourceInternalData(zel::ParameterSourceImp::getConstantByString(text.zelString())))
{}

#define ZEL_CONSTANT(accessor, text, ...)                                                                    \
    ParameterSource const& ParameterSource::accessor()                                                       \
    {                                                                                                        \
        static ParameterSource const& constant = sharedConstant(new ParameterSource(KrelString(text)));      \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/ParameterSource.def>

} // namespace krel5
