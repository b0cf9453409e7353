#include <zel/model/wire/FunctionWire.h>

#include <zel/foundation/Exception.h>
#include <zel/model/wire/ConstantWire.h>
#include <zel/model/wire/DatumWire.h>
#include <zel/model/wire/WordWire.h>

namespace zel::wire {
namespace {

using Enable = SettingsResource::Enable;

constexpr Word<Enable> kEnables[] = {{Enable::NotSet, "notSet"},
                                     {Enable::Enabled, "enabled"},
                                     {Enable::Disabled, "disabled"},
                                     {Enable::NotUnderstood, "notUnderstood"},
                                     {Enable::OldForm, "oldForm"}};

void writeParameter(XmlWriter& writer, ParameterImp const& parameter, String const& moduleOfFunction)
{
    writer.open("parameter");
    writer.text("key", parameter.key());
    writeConstant(writer, "type", parameter.type());
    writer.textIfAny("default", parameter.defaultText());
    writer.textIfAny("range", parameter.validDataRange());
    writer.flag("required", parameter.isRequired());
    writer.flag("global", parameter.isGlobalParameter());
    if (parameter.moduleGuid() != moduleOfFunction)
        writer.text("module", parameter.moduleGuid());
    if (parameter.isSet()) {
        writeConstant(writer, "source", parameter.valueSource());
        writeValue(writer, parameter.value());
    }
    writer.close("parameter");
}

// With a source, the value that it brought; without one, the default stands.
ParameterImp readParameter(XmlReader& reader)
{
    ParameterImp parameter(reader.required("key"), reader.text("default"),
                           readConstant(reader, "type", DataTypeImp::STRING()), reader.text("range"),
                           reader.flag("required"), reader.flag("global"));
    parameter.setModuleGuid(reader.text("module"));
    auto const source = readConstant(reader, "source", ParameterSourceImp::NOTSET());
    if (source == ParameterSourceImp::NOTSET())
        return parameter;
    ValueReader value(reader, parameter.type());
    for (XmlReader::Children children(reader); children.next();)
        value.take();
    if (auto const error = parameter.setValue(value.finish(), source))
        reader.fail("parameter \"" + parameter.key() + "\": " + error->m_reason);
    return parameter;
}

void writeSettings(XmlWriter& writer, ModuleFunctionImp const& function)
{
    for (SettingsError const& error : function.settingsErrors()) {
        writer.open("settingsError");
        writer.textIfAny("file", error.m_file);
        writer.number("line", error.m_line);
        writer.textIfAny("key", error.m_key);
        writer.textIfAny("reason", error.m_reason);
        writer.textIfAny("parameter", error.m_parameter);
        writer.close("settingsError");
    }
}

void writeAttributes(XmlWriter& writer, ModuleFunctionImp const& function, unsigned minShutdownSeconds)
{
    writer.text("guid", function.guid());
    writer.text("key", function.keyInModule());
    writer.textIfAny("module", function.moduleGuid());
    writer.number("index", function.index());
    writeCapabilities(writer, "capabilities", function.deviceCapabilities());
    if (minShutdownSeconds != ModuleFunctionImp::kDefaultMinShutdownSeconds)
        writer.number("minShutdownSeconds", minShutdownSeconds);
    if (function.enabledInSettings() != Enable::NotSet)
        writeWord(writer, "enable", function.enabledInSettings(), kEnables);
    writer.flag("switchedOff", function.isSwitchedOff());
    writer.textIfAny("switchedOffBy", function.switchedOffBy());
}

void writeChildren(XmlWriter& writer, ModuleFunctionImp const& function)
{
    for (ParameterImp const& parameter : function.parameters())
        writeParameter(writer, parameter, function.moduleGuid());
    writeSettings(writer, function);
}

void readAttributes(XmlReader& reader, ModuleFunctionImp& function)
{
    if (reader.has("module"))
        function.setModuleGuid(reader.required("module"));
    if (reader.has("guid") && reader.text("guid") != function.guid())
        reader.fail("guid", "\"" + reader.text("guid") + "\" does not follow from module and key");
    function.setIndex(reader.number<unsigned>("index", 0));
    function.restoreSwitch(readWord(reader, "enable", Enable::NotSet, kEnables), reader.flag("switchedOff"),
                           reader.text("switchedOffBy"));
}

unsigned readMinShutdownSeconds(XmlReader const& reader)
{
    return reader.number<unsigned>("minShutdownSeconds", ModuleFunctionImp::kDefaultMinShutdownSeconds);
}

void readChild(XmlReader& reader, ModuleFunctionImp& function)
{
    if (reader.name() == "settingsError") {
        function.addSettingsError({reader.text("file"), reader.number<int>("line", 0), reader.text("key"),
                                   reader.text("reason"), reader.text("parameter")});
        return;
    }
    if (reader.name() != "parameter")
        return;
    constexpr std::size_t kMost = 1000; // each is compared with those before it
    if (function.parameters().size() >= kMost)
        reader.fail("more than 1000 parameters of one test or indicator");
    ParameterImp const parameter = readParameter(reader);
    if (!function.addParameter(parameter))
        reader.fail("parameter \"" + parameter.key() + "\" twice");
}

void writeRequirements(XmlWriter& writer, TestImp const& test)
{
    auto const capabilities = [&writer](std::string_view element, std::vector<CapabilityImp> const& all) {
        for (CapabilityImp const& one : all) {
            writer.open(element);
            writer.text("capabilities", one.toString());
            writer.close(element);
        }
    };
    capabilities("exists", test.existenceRequirements());
    capabilities("absent", test.absenceRequirements());
    for (DeviceRequirement const& one : test.propertyRequirements()) {
        writer.open("requirement");
        writer.text("key", one.propertyKey);
        writer.textIfAny("range", one.validRange);
        writer.flag("exclusion", one.exclusion);
        writer.close("requirement");
    }
}

void readRequirement(XmlReader& reader, TestImp& test)
{
    try {
        test.addPropertyRequirement({reader.required("key"), reader.text("range"), reader.flag("exclusion")});
    } catch (InvalidArgumentException const& e) {
        reader.fail("range", e.getMessage());
    }
}

void readTestChild(XmlReader& reader, TestImp& test)
{
    if (reader.name() == "exists")
        test.addExistenceRequirement(readCapabilities(reader, "capabilities"));
    else if (reader.name() == "absent")
        test.addAbsenceRequirement(readCapabilities(reader, "capabilities"));
    else if (reader.name() == "requirement")
        readRequirement(reader, test);
    else if (reader.name() == "forcing")
        test.addForcingLine(reader.required("line"));
    else
        readChild(reader, test);
}

} // namespace

void writeTest(XmlWriter& writer, TestImp const& test)
{
    TestImp::Flags const& flags = test.flags();
    writer.open("test");
    writeAttributes(writer, test, flags.minShutdownSeconds);
    writeCapabilities(writer, "optionalCapabilities", test.optionalDeviceCapabilities());
    writer.flag("interactive", flags.interactive);
    writer.flag("createsOwnGui", flags.createsOwnGui);
    writer.flag("destructive", flags.destructive);
    writer.flag("parallel", flags.supportsParallelTesting);
    writer.flag("once", flags.enumeratesOnlyOnce);
    writer.flag("noGlobalParameters", flags.usesNoGlobalParameters);
    if (test.forcedResult())
        writeConstant(writer, "forcedResult", *test.forcedResult());
    if (test.forcedEvent())
        writer.text("forcedEvent", *test.forcedEvent());
    writer.flag("forceAllEvents", test.getForceAllEvents());
    writeChildren(writer, test);
    writeRequirements(writer, test);
    for (String const& line : test.forcingLines()) {
        writer.open("forcing");
        writer.text("line", line);
        writer.close("forcing");
    }
    writer.close("test");
}

std::unique_ptr<TestImp> readTest(XmlReader& reader)
{
    auto test = std::make_unique<TestImp>(reader.required("key"), readCapabilities(reader, "capabilities"));
    readAttributes(reader, *test);
    test->addOptionalDeviceCapabilities(readCapabilities(reader, "optionalCapabilities"));
    test->flags() = {reader.flag("interactive"),    reader.flag("createsOwnGui"),
                     reader.flag("destructive"),    reader.flag("parallel"),
                     reader.flag("once"),           reader.flag("noGlobalParameters"),
                     readMinShutdownSeconds(reader)};
    if (reader.has("forcedResult"))
        test->setForcedResult(readConstant(reader, "forcedResult", TestResultImp()));
    if (reader.has("forcedEvent"))
        test->setForcedEvent(reader.text("forcedEvent"));
    test->setForceAllEvents(reader.flag("forceAllEvents"));
    for (XmlReader::Children children(reader); children.next();)
        readTestChild(reader, *test);
    return test;
}

void writeIndicator(XmlWriter& writer, IndicatorImp const& indicator)
{
    IndicatorImp::Flags const& flags = indicator.flags();
    writer.open("indicator");
    writeAttributes(writer, indicator, flags.minShutdownSeconds);
    writer.flag("free", indicator.isFree());
    writer.flag("destructive", flags.destructive);
    writer.flag("once", flags.enumeratesOnlyOnce);
    writeChildren(writer, indicator);
    writer.close("indicator");
}

std::unique_ptr<IndicatorImp> readIndicator(XmlReader& reader)
{
    auto indicator = std::make_unique<IndicatorImp>(
        reader.required("key"), readCapabilities(reader, "capabilities"), reader.flag("free"));
    readAttributes(reader, *indicator);
    indicator->flags() = {reader.flag("destructive"), reader.flag("once"), readMinShutdownSeconds(reader)};
    for (XmlReader::Children children(reader); children.next();)
        readChild(reader, *indicator);
    return indicator;
}

} // namespace zel::wire
