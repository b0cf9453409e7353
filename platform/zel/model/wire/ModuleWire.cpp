#include <zel/model/wire/ModuleWire.h>

#include <zel/model/wire/ConstantWire.h>

namespace zel::wire {
namespace {

void writeNames(XmlWriter& writer, std::string_view element, std::vector<String> const& names)
{
    for (String const& name : names) {
        writer.open(element);
        writer.text("name", name);
        writer.close(element);
    }
}

String readName(XmlReader const& reader, std::vector<String> const& others)
{
    constexpr std::size_t kMost = 1000; // each is compared with those before it
    if (others.size() >= kMost)
        reader.fail("more than 1000 libraries of one module");
    return reader.required("name");
}

} // namespace

void writeModule(XmlWriter& writer, ModuleImp const& module)
{
    writer.open("module");
    writer.text("guid", module.guid());
    writer.textIfAny("name", module.name());
    writeConstant(writer, "type", module.type());
    writer.number("major", module.version().majorVersion());
    writer.number("minor", module.version().minorVersion());
    writer.textIfAny("revision", module.version().revision());
    writer.textIfAny("buildDate", module.buildDate());
    writeCapabilities(writer, "capabilities", module.supportedCapabilities());
    writer.flag("choosesOwnTests", module.choosesOwnTests());
    writeNames(writer, "library", module.libraries());
    writeNames(writer, "localizedLibrary", module.librariesList());
    for (auto const& requirement : module.enumerationRequirements()) {
        writer.open("requires");
        writer.text("module", requirement.module);
        writer.flag("completion", requirement.completion);
        writer.close("requires");
    }
    writer.close("module");
}

std::unique_ptr<ModuleImp> readModule(XmlReader& reader)
{
    auto module = std::make_unique<ModuleImp>(reader.text("name"));
    module->setGuid(reader.required("guid"));
    module->setType(readConstant(reader, "type", ModuleTypeImp::UNINITIALIZED()));
    module->setVersion(
        {reader.number<unsigned>("major", 0), reader.number<unsigned>("minor", 0), reader.text("revision")});
    module->setBuildDate(reader.text("buildDate"));
    module->addSupportedCapabilities(readCapabilities(reader, "capabilities"));
    module->setChoosesOwnTests(reader.flag("choosesOwnTests"));
    for (XmlReader::Children children(reader); children.next();) {
        if (reader.name() == "library")
            module->registerLibrary(readName(reader, module->libraries()));
        else if (reader.name() == "localizedLibrary")
            module->registerLocalizedLibrary(readName(reader, module->librariesList()));
        else if (reader.name() == "requires")
            module->addEnumerationRequirement(reader.required("module"), reader.flag("completion"));
    }
    return module;
}

} // namespace zel::wire
