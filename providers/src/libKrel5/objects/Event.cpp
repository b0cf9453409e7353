#include <krel5/Event.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/Texts.h>
#include <libKrel5/values/ModuleResource.h>
#include <libKrel5/values/TextVariables.h>

#include <krel5/Value.h>

#include <zel/model/runs/TestRunEventImp.h>
#include <zel/model/values/ValueImp.h>

namespace krel5 {
namespace {

constexpr unsigned int kMaxTips = 100;

zel::LocalizedStringImp withVariablesOf(zel::LocalizedStringImp const& message, zel::String const& key)
{
    zel::LocalizedStringImp text(key, zel::String(), message.moduleGuid());
    for (auto const& [name, value] : message.variables())
        text.setVariable(name, value);
    return text;
}

zel::String tipKey(zel::TestRunEventImp const& event, unsigned int number)
{
    return zel::String("Event.") + event.key() + ".Tip." + zel::String::number(number);
}

} // namespace

struct EventInternalData
{
    EventInternalData() = default;
    EventInternalData(zel::String const& initialKey, int eventCode)
        : imp(zel::EventTypeImp::UNINITIALIZED(), initialKey, eventCode, zel::String::number(eventCode),
              zel::LocalizedStringImp(zel::String("Event.") + initialKey + ".Message"))
    {}

    zel::TestRunEventImp imp;
    mutable KrelString key, customerCode, message, tip; // what the accessors hand out
};

template class DataHolder<EventInternalData>;

Event::Event(KrelString const& key, int eventCode)
    : m_holder(EventInternalData(checkedKey("Event", key).zelString(), eventCode))
{}

Event::Event(Event const& other) = default;
Event& Event::operator=(Event const& other) = default;
Event::~Event() = default;

int Event::eventCode() const { return imp().eventCode(); }
KrelString const& Event::key() const { return cached(data().key, imp().key()); }
KrelString const& Event::localizedMessage() const
{
    return cached(data().message, imp().message().resolve());
}

KrelString const& Event::customerEventCode() const
{
    ModuleResource const resource(imp().message().moduleGuid());
    KrelString const resourceKey(zel::String("Event.") + imp().key() + ".CustomerEventCode");
    KrelString const code = resource.exists(resourceKey) ? resource.get(resourceKey) : KrelString();
    return cached(data().customerCode, code.zelString());
}

unsigned int Event::localizedTipCount() const
{
    ModuleResource const resource(imp().message().moduleGuid());
    unsigned int count = 0;
    while (count < kMaxTips && resource.exists(KrelString(tipKey(imp(), count + 1))))
        ++count;
    return count;
}

KrelString const& Event::getLocalizedTip(unsigned int index) const
{
    requireIndex(index, localizedTipCount());
    return cached(data().tip, withVariablesOf(imp().message(), tipKey(imp(), index + 1)).resolve());
}

Event* Event::setVariable(KrelString const& name, Value const& value)
{
    setTextVariable(imp().message(), "Event::setVariable", name, value);
    return this;
}

zel::TestRunEventImp Event::createEventToSend(zel::EventTypeImp const& type, zel::String const& moduleGuid,
                                              zel::String const& sourceFile, int sourceLine) const
{
    Event stamped(*this);
    stamped.imp().setModuleGuid(moduleGuid);
    zel::TestRunEventImp event = stamped.imp();
    event.setType(type);
    event.setSource(sourceFile, sourceLine);
    if (KrelString const& code = stamped.customerEventCode(); code.size() > 0)
        event.setEventCodeString(code.zelString());
    unsigned int const tips = stamped.localizedTipCount();
    for (unsigned int number = 1; number <= tips; ++number)
        event.addTip(withVariablesOf(event.message(), tipKey(event, number)));
    return event;
}

zel::TestRunEventImp& Event::imp() { return data().imp; }
zel::TestRunEventImp const& Event::imp() const { return data().imp; }
EventInternalData& Event::data() { return m_holder.data(); }
EventInternalData const& Event::data() const { return m_holder.data(); }

} // namespace krel5
