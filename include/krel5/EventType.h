#pragma once
// How grave an event is that a module reports.
//
//     DiagModule::sendEvent(event, EventType::WARNING(), __FILE__, __LINE__);
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class EventTypeImp;
}

namespace krel5 {

struct EventTypeInternalData;

class KREL5_EXPORT EventType
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static EventType const& accessor();
#include <zel/model/vocabulary/tables/EventType.def>

    /// UNINITIALIZED.
    EventType();
    /// Wraps a constant of the model; for the library's own use.
    explicit EventType(zel::EventTypeImp const& constant);
    EventType(EventType const& other);
    EventType& operator=(EventType const& other);
    ~EventType();

    /// Compare the constants, not the texts.
    bool operator==(EventType const& other) const;
    bool operator!=(EventType const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::EventTypeImp const& imp() const;

private:
    explicit EventType(KrelString const& text);

    EventTypeInternalData& data();
    EventTypeInternalData const& data() const;

    DataHolder<EventTypeInternalData> m_holder;
};

} // namespace krel5
