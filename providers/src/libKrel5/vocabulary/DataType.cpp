#include <krel5/DataType.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/DataTypeImp.h>

namespace krel5 {

struct DataTypeInternalData : VocabularyRecord<zel::DataTypeImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(DataType, DataTypeInternalData, zel::DataTypeImp)

DataType::DataType(KrelString const& name)
    : m_holder(DataTypeInternalData(zel::DataTypeImp::getConstantByString(name.zelString())))
{}

#define ZEL_CONSTANT(accessor, text, ...)                                                                    \
    DataType const& DataType::accessor()                                                                     \
    {                                                                                                        \
        static DataType const& constant = sharedConstant(new DataType(KrelString(text)));                    \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/DataType.def>

} // namespace krel5
