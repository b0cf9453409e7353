#include <zel/model/wire/StateReader.h>

#include <zel/foundation/Exception.h>
#include <zel/model/runs/TestRunImp.h>
#include <zel/model/wire/AlertWire.h>
#include <zel/model/wire/FunctionWire.h>
#include <zel/model/wire/ModuleWire.h>
#include <zel/model/wire/Rings.h>
#include <zel/model/wire/RunWire.h>
#include <zel/model/wire/StateWriter.h>

namespace zel::wire {

StateBuilder& StateReader::read()
{
    m_reader.openRoot();
    checkRoot();
    for (XmlReader::Children records(m_reader); records.next();)
        readRecord();
    m_specifications.finish(m_reader);
    for (auto const& entry : m_specifications.entries())
        if (entry.isListed && !m_builder.add(entry.specification))
            m_reader.fail("property specification \"" + entry.specification->keyInModule() + "\" twice");
    placeDevices();
    m_reader.finish();
    return m_builder;
}

void StateReader::checkRoot()
{
    if (m_reader.raw("format") != kStateFormat)
        m_reader.fail("no serialized state");
    if (m_reader.raw("version") != std::to_string(kStateVersion))
        m_reader.fail("version", "version \"" + m_reader.text("version") +
                                     "\" of the form is not known, only " + String::number(kStateVersion));
}

template <typename Record>
void StateReader::add(std::unique_ptr<Record> record)
{
    if (!m_builder.add(record))
        m_reader.fail("guid \"" + record->guid() + "\" twice");
}

void StateReader::readRecord()
{
    if (m_reader.is("device"))
        readDevice();
    else if (m_reader.is("specification"))
        m_specifications.read(m_reader);
    else if (m_reader.is("module"))
        add(readModule(m_reader));
    else if (m_reader.is("test"))
        add(readTest(m_reader));
    else if (m_reader.is("indicator"))
        add(readIndicator(m_reader));
    else if (m_reader.is("tie"))
        readTie();
    else if (m_reader.is("testRun"))
        readRun();
    else if (m_reader.is("indicatorRun"))
        readIndicatorRunOfState();
    else if (m_reader.is("alert"))
        add(readAlert(m_reader));
}

void StateReader::readDevice()
{
    if (m_reader.has("parent"))
        m_parents.emplace_back(m_builder.state().deviceCount(), m_reader.required("parent"));
    add(m_devices.read());
}

template <typename Record, typename Find>
Record* StateReader::tied(std::string_view attribute, Find find) const
{
    if (!m_reader.has(attribute))
        return nullptr;
    String const guid = m_reader.text(attribute);
    Record* const record = find(guid);
    if (!record)
        m_reader.fail(attribute, "\"" + guid + "\" is not known");
    return record;
}

template <typename Left, typename Right>
bool StateReader::tie(Left* left, Right* right)
{
    if (!left || !right)
        return false;
    if (!m_builder.associate(*left, *right))
        m_reader.fail("a tie twice");
    return true;
}

void StateReader::readTie()
{
    StateManager const& state = m_builder.state();
    auto* const module = tied<ModuleImp>("module", [&](String const& guid) { return state.module(guid); });
    auto* const device = tied<DeviceImp>("device", [&](String const& guid) { return state.device(guid); });
    auto* const test = tied<TestImp>("test", [&](String const& guid) { return state.test(guid); });
    auto* const indicator =
        tied<IndicatorImp>("indicator", [&](String const& guid) { return state.indicator(guid); });
    int const ends = (module != nullptr) + (device != nullptr) + (test != nullptr) + (indicator != nullptr);
    bool const isTied = ends == 2 && (tie(module, device) || tie(module, test) || tie(module, indicator) ||
                                      tie(device, test) || tie(device, indicator));
    if (!isTied)
        m_reader.fail("a tie between nobody");
}

void StateReader::readRun()
{
    bool const isBound = m_reader.flag("bound");
    TestRunImp run = readTestRun(m_reader);
    if (!m_runs.insert(run.guid()).second)
        m_reader.fail("test run \"" + run.guid() + "\" twice");
    if (isBound)
        bind(run);
    m_builder.state().addTestRun(std::move(run));
}

void StateReader::readIndicatorRunOfState()
{
    IndicatorRunImp run = readIndicatorRun(m_reader);
    bind(run);
    StateManager& state = m_builder.state();
    if (state.indicatorRun(run.indicator(), run.device()))
        m_reader.fail("an indicator run twice");
    state.addIndicatorRun(std::move(run));
}

template <typename Run>
void StateReader::bind(Run& run)
{
    try {
        m_builder.state().bind(run);
    } catch (StateException const& e) {
        m_reader.fail(e.getMessage());
    }
}

void StateReader::placeDevices()
{
    std::vector<std::size_t> steps(m_parents.empty() ? 0 : m_builder.state().deviceCount(), kNoParent);
    for (auto const& [device, guid] : m_parents) {
        steps[device] = m_builder.indexOfDevice(guid);
        if (steps[device] == kNoParent)
            m_reader.fail("device \"" + guid + "\", below which another one stands, is not known");
    }
    for (std::size_t const closer : ringClosers(steps))
        m_reader.fail("device \"" + m_builder.state().deviceAtIndex(closer)->guid() +
                      "\" stands below itself");
    for (auto const& one : m_parents)
        m_builder.place(one.first, steps[one.first]);
}

} // namespace zel::wire
