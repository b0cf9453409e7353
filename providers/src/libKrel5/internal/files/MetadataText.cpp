// The metadata file, line by line: what stands in it and in which order is written here and nowhere else.
#include <libKrel5/internal/files/ModuleFiles.h>

#include <libKrel5/devices/DeclaredProperties.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/objects/Factories.h>

#include <zel/foundation/Exception.h>
#include <zel/model/module/IndicatorImp.h>
#include <zel/model/module/TestImp.h>
#include <zel/model/settings/ParameterImp.h>
#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/settings/SettingsResource.h>

namespace krel5 {
namespace {

using zel::String;

char const* const kHeader[] = {
    "#<header>", "# <addr>", "#  The authors of this module", "#  All rights reserved.",
    "# </addr>", "# <desc>",
};

String number(std::size_t value) { return String::number(static_cast<std::uint64_t>(value)); }

class Writer
{
public:
    void raw(String const& line) { m_made.text += line + "\n"; }
    /// The value stands as it is: who reads the line takes everything behind the first '='. A line end in it
    /// would begin a line that nobody meant.
    void line(String const& key, String const& value)
    {
        String const oneLine = value.replaced("\n", " ").replaced("\r", " ");
        if (oneLine != value)
            note(String("WARNING: the value of ") + key + " holds a line end; a blank stands in its place.");
        raw(key + "=" + oneLine);
    }
    void flag(String const& key, bool value) { line(key, value ? "true" : "false"); }
    void flagIfSet(String const& key, bool value)
    {
        if (value)
            line(key, "true");
    }
    void lineIfAny(String const& key, String const& value)
    {
        if (!value.empty())
            line(key, value);
    }
    void note(String const& line) { m_made.notes.push_back(line); }
    Metadata&& made() { return std::move(m_made); }

private:
    Metadata m_made;
};

template <typename List, typename AsText>
String joined(List const& list, AsText asText)
{
    String text;
    bool first = true;
    for (auto const& one : list) {
        text += String(first ? "" : ", ") + asText(one);
        first = false;
    }
    return text;
}

void writeHeader(Writer& out, String const& guid)
{
    for (char const* line : kHeader)
        out.raw(line);
    out.raw(String("#  The ") + guid + " metadata file");
    out.raw("# </desc>");
    out.raw("#</header>");
}

void writeModule(Writer& out, zel::ModuleImp const& module)
{
    auto const itself = [](String const& one) { return one; };
    out.line("Module.Type", module.type().toString());
    out.line("Module.Guid", module.guid());
    out.line("Module.Version", module.version().toString());
    out.line("Module.BuildDate", module.buildDate());
    out.line("Module.Capabilities", module.supportedCapabilities().toString());
    out.flag("Module.EnumTests", module.choosesOwnTests());
    out.line("Module.LocalizedLibraries", joined(module.librariesList(), itself));
    out.line("Module.EnumerationRequirements",
             joined(module.enumerationRequirements(), [](auto const& one) { return one.module; }));
    out.line("Module.EnumerationCompletionRequirements",
             joined(module.enumerationRequirements(),
                    [](auto const& one) { return one.module + ":" + (one.completion ? "true" : "false"); }));
}

// Specifications of other modules, which a link may bring in, belong into their own metadata.
void writeProperties(Writer& out, String const& guid)
{
    std::size_t n = 0;
    for (auto const& declared : DeclaredProperties::all()) {
        zel::PropertySpecImp const& spec = *declared->spec;
        if (spec.moduleGuid() != guid)
            continue;
        String const prefix = String("DeviceProperty.") + number(++n) + ".";
        out.line(prefix + "Key", spec.keyInModule());
        out.line(prefix + "Category", spec.category().toString());
        out.line(prefix + "Type", spec.type().toString());
        out.line(prefix + "Capability", spec.deviceCapability().toString());
    }
}

void writeParameter(Writer& out, String const& prefix, zel::ParameterImp const& parameter)
{
    out.line(prefix + "ParameterKey", parameter.key());
    out.line(prefix + "DataType", parameter.type().toString());
    out.lineIfAny(prefix + "ValidDataRange", parameter.validDataRange());
    if (!parameter.isRequired())
        out.line(prefix + "Required", "false");
}

void writeGlobalParameters(Writer& out)
{
    std::size_t n = 0;
    for (auto const& parameter : Factories::parameters())
        if (parameter->imp().isGlobalParameter())
            writeParameter(out, String("Parameter.") + number(++n) + ".", parameter->imp());
}

template <typename Parameters>
void writeOwnParameters(Writer& out, String const& prefix, Parameters const& parameters)
{
    std::size_t m = 0;
    for (zel::ParameterImp const& parameter : parameters)
        if (!parameter.isGlobalParameter())
            writeParameter(out, prefix + "Parameter." + number(++m) + ".", parameter);
}

// What an author should mend in the settings file; the metadata is written in any case.
void checkEnabled(Writer& out, char const* kind, String const& key)
{
    namespace Keys = zel::SettingsKeys;
    using Enable = zel::SettingsResource::Enable;
    auto const settings = zel::SettingsResource::ofModule(ModuleCommon::module().guid());
    auto const line = settings->enableLine(kind, key);
    switch (zel::SettingsResource::enable(line)) {
    case Enable::Enabled:
        return;
    case Enable::OldForm: {
        String const old = line.entry->m_text;
        out.note(String("ERROR: ") + kind + " \"" + key +
                 "\" enabled using the old method. Change the line to: " + kind + "." + key + "." +
                 Keys::kEnable + "=" + (old.empty() ? String("true") : old));
        return;
    }
    case Enable::Disabled:
    case Enable::NotUnderstood:
    case Enable::NotSet:
        out.note(String("WARNING: ") + kind + " \"" + key + "\" not enabled in the .w4i file.");
        return;
    }
    throw zel::InvalidArgumentException("Obsolete usage encountered.");
}

String capabilityList(std::vector<zel::CapabilityImp> const& list)
{
    return joined(list, [](zel::CapabilityImp const& one) { return one.toString(); });
}

void writeTest(Writer& out, std::size_t n, zel::TestImp const& test)
{
    checkEnabled(out, "Test", test.keyInModule());
    String const prefix = String("Test.") + number(n) + ".";
    zel::TestImp::Flags const& flags = test.flags();
    out.line(prefix + "TestKey", test.keyInModule());
    out.line(prefix + "Capabilities", test.deviceCapabilities().toString());
    out.line(prefix + "OptionalDeviceCapabilities", test.optionalDeviceCapabilities().toString());
    out.flagIfSet(prefix + "isInteractive", flags.interactive);
    out.flagIfSet(prefix + "createsOwnGUI", flags.createsOwnGui);
    out.flagIfSet(prefix + "isDestructive", flags.destructive);
    out.flag(prefix + "supportsParallelTesting", flags.supportsParallelTesting);
    if (flags.minShutdownSeconds != zel::TestImp::kDefaultMinShutdownSeconds)
        out.line(prefix + "minShutdownSeconds", String::number(flags.minShutdownSeconds));
    out.lineIfAny(prefix + "deviceExistenceRequirements", capabilityList(test.existenceRequirements()));
    out.lineIfAny(prefix + "deviceAbsenceRequirements", capabilityList(test.absenceRequirements()));
    out.lineIfAny(prefix + "devicePropertyRequirements",
                  joined(test.propertyRequirements(), [](zel::DeviceRequirement const& one) {
                      return one.toString() + ":<MorvaneIncValidDataRange>" + one.validRange +
                             "</MorvaneIncValidDataRange>";
                  }));
    out.flagIfSet(prefix + "enumeratesOnlyOnce", flags.enumeratesOnlyOnce);
    writeOwnParameters(out, prefix, test.parameters());
}

void writeIndicator(Writer& out, std::size_t n, zel::IndicatorImp const& indicator)
{
    checkEnabled(out, "Indicator", indicator.keyInModule());
    String const prefix = String("Indicator.") + number(n) + ".";
    zel::IndicatorImp::Flags const& flags = indicator.flags();
    out.line(prefix + "Key", indicator.keyInModule());
    out.line(prefix + "Capabilities", indicator.deviceCapabilities().toString());
    out.flagIfSet(prefix + "isDestructive", flags.destructive);
    out.flagIfSet(prefix + "isFreeIndicator", indicator.isFree());
    if (flags.minShutdownSeconds != zel::TestImp::kDefaultMinShutdownSeconds)
        out.line(prefix + "minShutdownSeconds", String::number(flags.minShutdownSeconds));
    out.flagIfSet(prefix + "enumeratesOnlyOnce", flags.enumeratesOnlyOnce);
    writeOwnParameters(out, prefix, indicator.parameters());
}

} // namespace

Metadata moduleMetadata()
{
    zel::ModuleImp const& module = ModuleCommon::module();
    Writer out;
    writeHeader(out, module.guid());
    writeModule(out, module);
    writeProperties(out, module.guid());
    writeGlobalParameters(out);
    std::size_t n = 0;
    for (auto const& test : Factories::tests())
        writeTest(out, ++n, test->imp());
    n = 0;
    for (auto const& indicator : Factories::indicators())
        writeIndicator(out, ++n, indicator->imp());
    return out.made();
}

} // namespace krel5
