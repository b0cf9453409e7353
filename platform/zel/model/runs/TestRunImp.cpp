#include <zel/model/runs/TestRunImp.h>

#include <zel/foundation/Exception.h>
#include <zel/model/devices/Guid.h>

#include <algorithm>
#include <atomic>

namespace zel {

namespace {
std::atomic<unsigned> s_runNumber{0}; // tells apart two runs of one test on one device in one process

using Parameters = std::deque<ParameterImp>;

// Null when there is none.
ParameterImp* find(Parameters& parameters, String const& key)
{
    auto const found = std::find_if(parameters.begin(), parameters.end(),
                                    [&key](ParameterImp const& one) { return one.key() == key; });
    return found == parameters.end() ? nullptr : &*found;
}

// What stands in the way of the value; empty: nothing, and the parameter has it.
String give(Parameters& parameters, TestRunImp::ParameterValue const& given)
{
    ParameterImp* const parameter = find(parameters, given.key);
    if (!parameter)
        return "the test has no parameter \"" + given.key + "\"";
    bool const isText = given.value.type() == DataTypeImp::STRING();
    auto const error = isText && parameter->type() != DataTypeImp::STRING()
                           ? parameter->setValueText(given.value.toString(), given.source)
                           : parameter->setValue(given.value, given.source);
    return error ? "parameter \"" + given.key + "\": " + error->m_reason : String();
}
} // namespace

TestRunImp::TestRunImp(TestImp* test, DeviceImp* device) : m_test(test), m_device(device)
{
    m_guid = nameBasedGuid({"TestRun", test ? test->guid() : String(), device ? device->guid() : String(),
                            String::number(++s_runNumber)});
    if (test)
        m_parameters = test->parameters();
}

TestRunImp TestRunImp::restored(String const& guid, String const& testGuidOrKey, String const& deviceGuid)
{
    if (guid.empty())
        throw StateException("A test run from outside has no guid");
    TestRunImp run(nullptr, nullptr);
    run.m_guid = guid;
    run.m_testName = testGuidOrKey;
    run.m_deviceName = deviceGuid;
    return run;
}

void TestRunImp::bind(TestImp& test, DeviceImp& device)
{
    String wrong;
    if (testGuidOrKey() != test.guid() && testGuidOrKey() != test.keyInModule())
        wrong = "it is of the test \"" + testGuidOrKey() + "\", not of \"" + test.guid() + "\"";
    else if (deviceGuid() != device.guid())
        wrong = "it is of the device \"" + deviceGuid() + "\", not of \"" + device.guid() + "\"";
    Parameters parameters = test.parameters();
    for (ParameterValue const& given : m_restoredParameters)
        if (wrong.empty())
            wrong = give(parameters, given);
    if (!wrong.empty())
        throw StateException("Test run \"" + m_guid + "\": " + wrong);
    m_test = &test;
    m_device = &device;
    m_parameters = std::move(parameters);
}

std::vector<TestRunImp::ParameterValue> TestRunImp::givenParameters() const
{
    if (!m_test)
        return m_restoredParameters;
    std::vector<ParameterValue> given;
    for (ParameterImp const& one : m_parameters)
        if (one.isSet())
            given.push_back({one.key(), one.value(), one.valueSource()});
    return given;
}

TestRunImp TestRunImp::unbound() const
{
    TestRunImp copy(*this);
    copy.m_testName = testGuidOrKey();
    copy.m_deviceName = deviceGuid();
    copy.m_restoredParameters = givenParameters();
    copy.m_parameters.clear();
    copy.m_test = nullptr;
    copy.m_device = nullptr;
    return copy;
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

ParameterImp* TestRunImp::parameter(String const& key) { return find(m_parameters, key); }

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
