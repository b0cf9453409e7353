#include "RandomState.h"

#include <zel/foundation/Exception.h>

#include <cmath>
#include <limits>

namespace zel::test {
namespace {

using Units = std::vector<String::Unit>;

// What tells a careless writer from a careful one.
std::vector<Units> const& snippets()
{
    static std::vector<Units> const s_all = [] {
        std::vector<Units> all{
            {0},      {1},      {0x1F},   {'\t'},   {'\n'},           {'\r'},           {'\r', '\n'},
            {0x7F},   {0x85},   {0xFFFE}, {0xFFFF}, {0xFFFD},         {0xD800},         {0xDC00},
            {0xDFFF}, {0x202E}, {0x2028}, {0xE9},   {0xDC00, 0xD800}, {0xD83D, 0xDE00}, {0xD83D}};
        for (char const* text : {"]]>", "<",    ">",       "&",       "\"",  "'",  "&amp;", "&#10;",
                                 "\\",  "\\\\", "\\u0041", "\\u00",   "u",   " ",  "  ",    "<!--",
                                 "{n}", "#2",   "All",     "INVALID", "NIL", ", ", "-1",    "ordinary"}) {
            all.emplace_back();
            for (; *text; ++text)
                all.back().push_back(static_cast<String::Unit>(*text));
        }
        return all;
    }();
    return s_all;
}

} // namespace

String Random::text()
{
    Units units;
    for (std::size_t count = below(5); count > 0; --count) {
        Units const& one = snippets()[below(snippets().size())];
        units.insert(units.end(), one.begin(), one.end());
        if (below(4) == 0)
            units.push_back(static_cast<String::Unit>(m_numbers()));
    }
    return String(units.data(), units.size());
}

double Random::real()
{
    double const corners[] = {0.0,  -0.0,  0.1,  1.0 / 3, 5e-324, std::numeric_limits<double>::max(),
                              1e20, -1e-7, 1e15, 123456,  -42.5,  std::numeric_limits<double>::infinity()};
    double const corner = corners[below(std::size(corners))];
    return chance() ? corner
                    : std::ldexp(static_cast<double>(m_numbers()), static_cast<int>(below(200)) - 100);
}

LocalizedStringImp Random::localized()
{
    LocalizedStringImp text(this->text(), this->text(), this->text());
    if (chance())
        text.setOverride(this->text());
    for (std::size_t count = below(4); count > 0; --count) {
        ValueImp const value = this->value();
        if (value.type() != DataTypeImp::LOCALIZEDSTRING() &&
            value.type() != DataTypeImp::LOCALIZEDSTRINGARRAY())
            text.setVariable(this->text(), value);
    }
    return text;
}

CapabilityImp Random::capability()
{
    CapabilityImp capability;
    for (std::size_t count = below(4); count > 0; --count) {
        auto const row = below(static_cast<std::size_t>(CapabilityImp::Code::kCount));
        capability |= below(3) ? CapabilityImp(static_cast<CapabilityImp::Code>(row)) : CapabilityImp(text());
    }
    return capability;
}

ValueImp Random::value() { return value(constant<DataTypeImp>()); }

ValueImp Random::value(DataTypeImp const& type)
{
    using Code = DataTypeImp::Code;
    switch (type.code()) {
    case Code::UINT32:
        return ValueImp(number());
    case Code::INT32:
        return ValueImp(static_cast<int>(number()));
    case Code::UINT64:
        return ValueImp(static_cast<std::uint64_t>(m_numbers()));
    case Code::DOUBLE:
    case Code::PERCENT:
        return ValueImp(real(), type);
    case Code::STRING:
        return ValueImp(text());
    case Code::BOOLEAN:
        return ValueImp(chance());
    case Code::STRINGARRAY:
        return ValueImp(some<String>([this] { return text(); }));
    case Code::UINT32ARRAY:
        return ValueImp(some<std::uint32_t>([this] { return number(); }));
    case Code::INT32ARRAY:
        return ValueImp(some<std::int32_t>([this] { return static_cast<std::int32_t>(number()); }));
    case Code::DISCRETEMEASUREMENT:
        return ValueImp(measurement());
    case Code::DISCRETEMEASUREMENTARRAY:
        return ValueImp(some<DiscreteMeasurement>([this] { return measurement(); }));
    case Code::NONDISCRETEMEASUREMENT:
        return ValueImp(NonDiscreteMeasurement(constant<UnitType>(), real(), constant<UnitMagnitude>(),
                                               static_cast<int>(below(31))));
    case Code::LOCALIZEDSTRING:
        return ValueImp(localized());
    case Code::LOCALIZEDSTRINGARRAY:
        return ValueImp(some<LocalizedStringImp>([this] { return localized(); }));
    }
    return ValueImp();
}

TestRunEventImp Random::event()
{
    TestRunEventImp event(constant<EventTypeImp>(), text(), static_cast<int>(number()), text(), localized());
    event.setSource(text(), static_cast<int>(number()));
    if (chance())
        event.setDevice({text(), text(), text()});
    for (std::size_t count = below(3); count > 0; --count)
        event.addTip(localized());
    return event;
}

MessageBoxImp Random::box()
{
    std::vector<MessageBoxImp::Answer> answers(1 + below(3));
    for (auto& answer : answers)
        answer = {static_cast<int>(number()), text(), text()};
    std::size_t const count = answers.size();
    MessageBoxImp box(text(), text(), std::move(answers), below(count), below(count),
                      {static_cast<MessageBoxImp::Type>(below(6)), static_cast<MessageBoxImp::Look>(below(4)),
                       static_cast<MessageBoxImp::Surface>(below(3))});
    box.setWords({text(), text(), text(), text()});
    if (chance())
        box.cutShort();
    if (chance())
        box.setAnswer(static_cast<int>(number()));
    return box;
}

RandomState::RandomState(unsigned seed) : m_random(seed)
{
    addModules();
    addSpecifications();
    addDevices();
    addFunctions();
    associate();
    addRuns();
    addAlerts();
}

void RandomState::addModules()
{
    for (std::size_t count = m_random.below(4); count > 0; --count) {
        ModuleImp& one = m_modules.emplace_back(m_random.text());
        one.setGuid(m_random.name());
        one.setType(m_random.constant<ModuleTypeImp>());
        one.setVersion({m_random.number(), m_random.number(), m_random.text()});
        one.setBuildDate(m_random.text());
        one.addSupportedCapabilities(m_random.capability());
        one.setChoosesOwnTests(m_random.chance());
        for (std::size_t more = m_random.below(3); more > 0; --more) {
            one.registerLibrary(m_random.text());
            one.registerLocalizedLibrary(m_random.text());
            one.addEnumerationRequirement(m_random.text(), m_random.chance());
        }
        m_state.addModule(one, false);
    }
}

void RandomState::addSpecifications()
{
    for (std::size_t count = 1 + m_random.below(12); count > 0; --count) {
        PropertyCategoryImp category;
        for (std::size_t more = m_random.below(3); more > 0; --more)
            category |= PropertyCategoryImp(static_cast<PropertyCategoryImp::Code>(
                m_random.below(static_cast<std::size_t>(PropertyCategoryImp::Code::kCount))));
        bool const isCommon = m_random.below(4) == 0; // the same key under different specifications
        auto const one =
            std::make_shared<PropertySpecImp>(isCommon ? String("key") : m_random.text(), category,
                                              m_random.constant<DataTypeImp>(), m_random.capability());
        if (m_random.chance())
            one->setModuleGuid(m_random.text());
        one->setDefaultName(m_random.text());
        one->setAlias(m_random.text());
        if (!m_specifications.empty() && m_random.chance())
            one->setGroup(m_specifications[m_random.below(m_specifications.size())]);
        if (m_random.chance())
            m_state.addPropertySpec(one, false);
        m_specifications.push_back(one);
    }
}

void RandomState::addDevices()
{
    for (std::size_t count = m_random.below(8); count > 0; --count) {
        auto device = DeviceImp::restored({m_random.name(), m_random.text(), m_random.text(), m_random.text(),
                                           m_random.text(), m_random.capability(), m_random.capability(),
                                           m_random.capability()});
        device->setState(m_random.constant<DeviceStateImp>());
        device->setDeviceID(m_random.number());
        device->setComplete(m_random.chance());
        for (std::size_t more = m_random.below(3); more > 0; --more)
            device->addChildBusId(m_random.text());
        addProperties(*device);
        std::size_t const known = m_state.deviceCount();
        bool const hasParent = known > 0 && m_random.chance();
        m_state.addDevice(std::move(device),
                          hasParent ? m_state.deviceAtIndex(m_random.below(known)) : nullptr);
    }
}

void RandomState::addProperties(DeviceImp& device)
{
    for (std::size_t count = m_random.below(m_random.below(5) ? 6 : 50); count > 0; --count) {
        auto const& spec = m_specifications[m_random.below(m_specifications.size())];
        if (device.property(spec->keyInModule()))
            continue;
        PropertyImp property(spec, m_random.chance() ? m_random.value(spec->type()) : m_random.value());
        property.setDiscoveredLater(m_random.chance());
        if (m_random.chance())
            property.restoreSpecGuid(m_random.text());
        PropertyImp& added = device.addProperty(&property);
        PropertyImp& group = device.getProperty(m_random.below(device.propertyCount()));
        if (&group == &added || m_random.chance())
            continue;
        group.addChild(&added);
        added.setPartOfGroup(true);
    }
}

void RandomState::give(ModuleFunctionImp& function)
{
    if (m_random.chance())
        function.setModuleGuid(m_random.name());
    function.setIndex(m_random.number());
    function.restoreSwitch(static_cast<SettingsResource::Enable>(m_random.below(5)), m_random.chance(),
                           m_random.text());
    for (std::size_t count = m_random.below(3); count > 0; --count)
        function.addSettingsError({m_random.text(), static_cast<int>(m_random.number()), m_random.text(),
                                   m_random.text(), m_random.text()});
    for (std::size_t count = m_random.below(4); count > 0; --count) {
        DataTypeImp const type = m_random.constant<DataTypeImp>();
        ParameterImp parameter(m_random.name(), m_random.below(3) ? String() : m_random.text(), type,
                               m_random.below(3) ? String() : m_random.text(), m_random.chance(),
                               m_random.chance());
        parameter.setModuleGuid(m_random.text());
        if (m_random.chance()) // refused or not: both are states that a parameter may be in
            static_cast<void>(parameter.setValue(m_random.value(type), ParameterSourceImp::CLIENT()));
        function.addParameter(parameter);
    }
}

void RandomState::addFunctions()
{
    for (std::size_t count = m_random.below(4); count > 0; --count) {
        TestImp& test = m_tests.emplace_back(m_random.name(), m_random.capability());
        give(test);
        test.addOptionalDeviceCapabilities(m_random.capability());
        test.flags() = {m_random.chance(), m_random.chance(), m_random.chance(), m_random.chance(),
                        m_random.chance(), m_random.chance(), m_random.number()};
        if (m_random.chance())
            test.setForcedResult(m_random.constant<TestResultImp>());
        if (m_random.chance())
            test.setForcedEvent(m_random.text());
        test.setForceAllEvents(m_random.chance());
        for (std::size_t more = m_random.below(3); more > 0; --more) {
            test.addExistenceRequirement(m_random.capability());
            test.addAbsenceRequirement(m_random.capability());
            test.addPropertyRequirement({m_random.text(), "1..5, \\,", m_random.chance()});
            test.addForcingLine(m_random.text());
        }
        m_state.addTest(test);
    }
    for (std::size_t count = m_random.below(4); count > 0; --count) {
        IndicatorImp& one =
            m_indicators.emplace_back(m_random.name(), m_random.capability(), m_random.chance());
        give(one);
        one.flags() = {m_random.chance(), m_random.chance(), m_random.number()};
        m_state.addIndicator(one);
    }
}

void RandomState::associate()
{
    std::size_t const devices = m_state.deviceCount();
    for (TestImp& test : m_tests) {
        if (!m_modules.empty())
            m_state.associate(m_modules[m_random.below(m_modules.size())], test, false);
        if (devices > 0)
            m_state.associate(*m_state.deviceAtIndex(m_random.below(devices)), test, false);
    }
    for (IndicatorImp& indicator : m_indicators) {
        if (!m_modules.empty())
            m_state.associate(m_modules[m_random.below(m_modules.size())], indicator, false);
        if (devices > 0)
            m_state.associate(*m_state.deviceAtIndex(m_random.below(devices)), indicator, false);
    }
    for (std::size_t i = 0; i < devices; ++i)
        if (!m_modules.empty())
            m_state.associate(m_modules[m_random.below(m_modules.size())], *m_state.deviceAtIndex(i), false);
}

void RandomState::addRuns()
{
    for (std::size_t count = m_random.below(4); count > 0; --count) {
        bool const isBound = !m_tests.empty() && m_state.deviceCount() > 0 && m_random.chance();
        TestRunImp run = isBound
                             ? TestRunImp(&m_tests[m_random.below(m_tests.size())], m_state.deviceAtIndex(0))
                             : TestRunImp::restored(m_random.name(), m_random.text(), m_random.text());
        if (!isBound)
            run.restoreParameter(
                {m_random.text(), m_random.value(), m_random.constant<ParameterSourceImp>()});
        run.setState(m_random.constant<TestStateImp>());
        run.setFinalResult(m_random.constant<TestResultImp>());
        run.setResultNote(m_random.text());
        run.setCurrentPass(m_random.number());
        run.setPercentComplete(static_cast<int>(m_random.below(102)) - 1);
        run.setEstimatedTimeLeft(m_random.number());
        run.setProgressInformation(m_random.text());
        run.setMinTime(m_random.number());
        run.setBeginningTime(m_random.number());
        for (std::size_t more = m_random.below(3); more > 0; --more)
            run.addEvent(m_random.event());
        if (m_random.chance())
            run.nextEvent();
        run.restoreFindings(run.hasErrors(), m_random.chance());
        m_state.addTestRun(std::move(run));
    }
    for (IndicatorImp& indicator : m_indicators) {
        DeviceImp* const device =
            m_state.deviceCount() > 0 && m_random.chance() ? m_state.deviceAtIndex(0) : nullptr;
        IndicatorRunImp run(indicator, device,
                            std::abs(m_random.real()) < 1e300 ? m_random.number() / 7.0 : 0);
        run.restoreClock(60.0 * static_cast<double>(m_random.below(100)) + 5, m_random.chance());
        if (m_random.chance())
            run.forceUpdate();
        m_state.addIndicatorRun(std::move(run));
    }
}

void RandomState::addAlerts()
{
    for (std::size_t count = m_random.below(4); count > 0; --count) {
        AlertImp alert(m_random.text(), m_random.name(), m_random.constant<AlertTypeImp>());
        alert.setDeviceGuid(m_random.text());
        if (m_random.chance())
            alert.setGuid(m_random.name());
        alert.setTimeTriggered(m_random.number());
        if (m_random.chance()) {
            alert.title() = m_random.localized();
            alert.message() = m_random.localized();
        }
        for (std::size_t more = m_random.below(3); more > 0; --more) {
            TipImp tip(m_random.text(), m_random.constant<TipTypeImp>());
            if (m_random.chance())
                tip.title() = m_random.localized();
            if (m_random.chance())
                tip.content() = m_random.localized();
            if (m_random.chance())
                tip.contentEx() = m_random.localized();
            alert.addTip(tip);
        }
        m_state.addAlert(alert);
    }
}

} // namespace zel::test
