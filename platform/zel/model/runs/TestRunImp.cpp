#include <zel/model/runs/TestRunImp.h>

#include <zel/model/devices/Guid.h>

#include <atomic>

namespace zel {

namespace {
std::atomic<unsigned> s_runNumber{0}; // tells apart two runs of one test on one device in one process
}

TestRunImp::TestRunImp(TestImp* test, DeviceImp* device) : m_test(test), m_device(device)
{
    m_guid = nameBasedGuid({"TestRun", test ? test->guid() : String(), device ? device->guid() : String(),
                            String::number(++s_runNumber)});
    if (test)
        m_parameters = test->parameters();
}

void TestRunImp::addEvent(TestRunEventImp event)
{
    m_hasErrors |= event.type() == EventTypeImp::ERR();
    m_events.push_back(std::move(event));
}

std::optional<TestRunEventImp> TestRunImp::nextEvent()
{
    if (m_events.empty())
        return std::nullopt;
    std::optional<TestRunEventImp> event(std::move(m_events.front()));
    m_events.pop_front();
    return event;
}

ParameterImp* TestRunImp::parameter(String const& key)
{
    for (ParameterImp& one : m_parameters)
        if (one.key() == key)
            return &one;
    return nullptr;
}

ParameterImp const* TestRunImp::parameter(String const& key) const
{
    return const_cast<TestRunImp*>(this)->parameter(key);
}

String TestRunImp::toString() const
{
    String text = (m_test ? m_test->keyInModule() : String("no test")) + " on ";
    text += m_device ? m_device->name() + " (" + m_device->hwLocator() + ")" : String("no device");
    return text + ", pass " + String::number(m_currentPass);
}

} // namespace zel
