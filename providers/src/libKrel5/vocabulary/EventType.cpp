#include <krel5/EventType.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/EventTypeImp.h>

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
#include <zel/model/vocabulary/tables/EventType.def>

} // namespace krel5
