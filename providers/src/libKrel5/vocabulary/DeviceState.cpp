#include <krel5/DeviceState.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/DeviceStateImp.h>

namespace krel5 {

struct DeviceStateInternalData : VocabularyRecord<zel::DeviceStateImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(DeviceState, DeviceStateInternalData, zel::DeviceStateImp)

DeviceState::DeviceState(KrelString const& text)
    : m_holder(DeviceStateInternalData(zel::DeviceStateImp::getConstantByString(text.zelString())))
{}

#define ZEL_CONSTANT(accessor, text, ...)                                                                    \
    DeviceState const& DeviceState::accessor()                                                               \
    {                                                                                                        \
        static DeviceState const& constant = sharedConstant(new DeviceState(KrelString(text)));              \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/DeviceState.def>

} // namespace krel5
