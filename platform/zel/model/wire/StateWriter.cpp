#include <zel/model/wire/StateWriter.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/xml/XmlReader.h>
#include <zel/model/wire/AlertWire.h>
#include <zel/model/wire/DeviceWire.h>
#include <zel/model/wire/FunctionWire.h>
#include <zel/model/wire/ModuleWire.h>
#include <zel/model/wire/RunWire.h>

namespace zel::wire {
namespace {

class StateWriter
{
public:
    StateWriter(StateManager const& state, std::string& out) : m_state(state), m_writer(out) {}

    void write(std::string_view elementName)
    {
        m_writer.open(elementName);
        m_writer.raw("format", kStateFormat);
        m_writer.number("version", kStateVersion);
        for (ModuleImp const* one = m_state.nextModule(nullptr); one; one = m_state.nextModule(one))
            writeModule(m_writer, *one);
        writeDevices();
        for (std::size_t i = 0; i < m_state.testCount(); ++i)
            writeTest(m_writer, *m_state.testAtIndex(i));
        for (std::size_t i = 0; i < m_state.indicatorCount(); ++i)
            writeIndicator(m_writer, *m_state.indicatorAtIndex(i));
        writeTies();
        writeRuns();
        for (std::size_t i = 0; i < m_state.alertCount(); ++i)
            writeAlert(m_writer, *m_state.alertAtIndex(i));
        m_writer.close(elementName);
    }

private:
    void writeDevices()
    {
        for (std::size_t i = 0; i < m_state.propertySpecCount(); ++i)
            m_names.add(*m_state.propertySpecAtIndex(i), true);
        eachDevice([this](DeviceImp const& one) { m_names.addAllOf(one); });
        m_names.write(m_writer);
        eachDevice(
            [this](DeviceImp const& one) { writeDevice(m_writer, one, m_state.parentOf(one), m_names); });
    }

    template <typename Visit>
    void eachDevice(Visit visit) const
    {
        for (std::size_t i = 0; i < m_state.deviceCount(); ++i)
            visit(*m_state.deviceAtIndex(i));
    }

    bool holds(DeviceImp const& device) const { return m_state.device(device.guid()) == &device; }
    bool holds(TestImp const& test) const { return m_state.test(test.guid()) == &test; }
    bool holds(IndicatorImp const& indicator) const
    {
        return m_state.indicator(indicator.guid()) == &indicator;
    }

    // An end that the state ties but does not hold is nobody.
    template <typename Left, typename Right>
    void writeTies(char const* left, Left const& one, char const* right, std::vector<Right*> const& others)
    {
        for (Right const* other : others) {
            if (!holds(*other))
                continue;
            m_writer.open("tie");
            m_writer.text(left, one.guid());
            m_writer.text(right, other->guid());
            m_writer.close("tie");
        }
    }

    void writeTies()
    {
        for (ModuleImp const* one = m_state.nextModule(nullptr); one; one = m_state.nextModule(one)) {
            writeTies("module", *one, "test", m_state.testsOf(*one));
            writeTies("module", *one, "indicator", m_state.indicatorsOf(*one));
            writeTies("module", *one, "device", m_state.devicesOf(*one));
        }
        eachDevice([this](DeviceImp const& one) {
            writeTies("device", one, "test", m_state.testsOf(one));
            writeTies("device", one, "indicator", m_state.indicatorsOf(one));
        });
    }

    void writeRuns()
    {
        for (std::size_t i = 0; i < m_state.testRunCount(); ++i) {
            TestRunImp const& one = m_state.testRunAtIndex(i);
            bool const isBound = one.test() && one.device() && holds(*one.test()) && holds(*one.device());
            writeTestRun(m_writer, one, isBound);
        }
        for (std::size_t i = 0; i < m_state.indicatorRunCount(); ++i) {
            IndicatorRunImp const& one = m_state.indicatorRunAtIndex(i);
            if (holds(one.indicator()) && (!one.device() || holds(*one.device())))
                writeIndicatorRun(m_writer, one);
        }
    }

    StateManager const& m_state;
    XmlWriter m_writer;
    SpecificationNames m_names;
};

} // namespace

std::string writeState(StateManager const& state, std::string_view elementName)
{
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    if (!XmlReader::isName(elementName))
        throw InvalidArgumentException("\"" + String(elementName) + "\" is no name of an element");
    StateWriter(state, out).write(elementName);
    out += '\n';
    return out;
}

} // namespace zel::wire
