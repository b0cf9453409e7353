#include <krel5/EventType.h>

#include <internal/VocabularyHandle.h>

#include <zel/model/EventTypeImp.h>

namespace krel5 {

struct EventTypeInternalData : VocabularyRecord<zel::EventTypeImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(EventType, EventTypeInternalData, zel::EventTypeImp)

EventType::EventType(KrelString const& text)
    : m_holder(EventTypeInternalData(zel::EventTypeImp::getConstantByString(text.zelString())))
{}

#define ZEL_CONSTANT(accessor, text, ...)                                                                    \
    EventType const& EventType::accessor()                                                                   \
    {                                                                                                        \
        static EventType const& constant = sharedConstant(new EventType(KrelString(text)));                  \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/EventType.def>

} // namespace krel5
