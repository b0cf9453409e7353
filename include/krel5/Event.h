#pragma once
// A message that a test sends while it runs.
//
//     Event* s_badBlock = DiagModule::createEvent("BadBlock"); // text: "Event.BadBlock.Message"
//
//     s_badBlock->setVariable("block", 17u); // in the test
//     DiagModule::error(s_badBlock, __FILE__, __LINE__);
//
// Tips for the person are the texts "Event.{key}.Tip.1", "Event.{key}.Tip.2" and so on, as far as the
// module's text files have them; "Event.{key}.CustomerEventCode" is the code that the customer's own service
// knows it by. Thread rule: one object is not used from two threads at once.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class EventTypeImp;
class TestRunEventImp;
} // namespace zel

namespace krel5 {

class Value;
struct EventInternalData;

class KREL5_EXPORT Event
{
public:
    /// Use DiagModule::createEvent. InvalidKeyException when the key holds a blank.
    Event(KrelString const& key, int eventCode);
    Event(Event const& other);
    Event& operator=(Event const& other);
    ~Event();

    int eventCode() const;
    /// These texts are owned by the event and stay until they are read again, or it is assigned or destroyed.
    KrelString const& key() const;
    /// Empty when the text files have none.
    KrelString const& customerEventCode() const;
    KrelString const& localizedMessage() const;
    unsigned int localizedTipCount() const;
    /// From 0; IndexOutOfBoundsException beyond the last one.
    KrelString const& getLocalizedTip(unsigned int index) const;

    /// Sets a variable of message and tips and returns this object. InvalidDataTypeException, and nothing
    /// changed, for a value of type LOCALIZEDSTRING or LOCALIZEDSTRINGARRAY; InternalException beyond 1000
    /// variables.
    Event* setVariable(KrelString const& name, Value const& value);

    /// For the library's own use: the record that is sent, with its variables as they are now. `moduleGuid`
    /// names the module whose texts it shows; file and line are where the module raised it.
    zel::TestRunEventImp createEventToSend(zel::EventTypeImp const& type, zel::String const& moduleGuid,
                                           zel::String const& sourceFile, int sourceLine) const;
    /// The model's record; for the library's own use. Lives as long as this object.
    zel::TestRunEventImp& imp();
    zel::TestRunEventImp const& imp() const;

private:
    EventInternalData& data();
    EventInternalData const& data() const;

    DataHolder<EventInternalData> m_holder;
};

} // namespace krel5
