#include <krel5/DeviceState.h>

#include <internal/VocabularyHandle.h>

#include <zel/model/DeviceStateImp.h>

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
#include <zel/model/vocabulary/DeviceState.def>

} // namespace krel5
