// What a diagnostic module cannot have: indicators, and properties that another module made.
#include <libKrel5/devices/DeclaredProperties.h>
#include <libKrel5/internal/files/LocalizedKeys.h>
#include <libKrel5/internal/files/ModuleFiles.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/krel5.h>

#include <foundation/TemporaryFolder.h>
#include <zel/model/module/IndicatorImp.h>
#include <zel/model/settings/SettingsResource.h>
#include <zel/model/texts/LocalizedResource.h>

#include <gtest/gtest.h>

namespace {

using namespace krel5;

IndicatorReturnData update(DiagDevice const&) { return IndicatorReturnData(); }
void updateAll() {}

TEST(ModuleFiles, indicatorsAndPropertiesOfOtherModules)
{
    test::TemporaryFolder folder;
    folder.write("mod.w4i", "Indicator.fan.Enable=true\nIndicator.off.Enable.value=false\n");
    folder.write("mod.w4p", "Indicator.fan.Name=Fan\nIndicator.gone.Name=Gone\n");
    zel::SettingsResource::setSearchFolders({folder.path()});
    zel::LocalizedResource::setDefaultPath(folder.path());
    ModuleCommon::module().setGuid("mod");
    ModuleCommon::module().addEnumerationRequirement("disks", true);
    ModuleCommon::module().addEnumerationRequirement("fans", false);

    Parameter* const most =
        Factories::createParameter("most", DataType::UINT32(), "9000", false, false, "1..");
    Factories::createIndicator("fan", DeviceCapability::Fan(), update)->addParameter(most);
    auto& flags = Factories::createIndicator("off", DeviceCapability::Fan(), update)->imp().flags();
    flags = {true, true, 0};
    Factories::createFreeIndicator("free", DeviceCapability::Memory(), updateAll);
    for (char const* key : {"Theirs", "Ours"})
        DeclaredProperties::create(key, PropertyCategory::SysInfo(), DataType::STRING(),
                                   DeviceCapability::Fan());
    DeclaredProperties::all().at(0).spec->setModuleGuid("other");
    DeclaredProperties::all().at(1).spec->setModuleGuid("mod");

    Metadata const metadata = moduleMetadata();
    std::string const text = metadata.text.toUtf8();
    std::string wrong;
    for (zel::String const& note : metadata.notes)
        wrong += note.toUtf8() + "\n";
    EXPECT_EQ(wrong, "ERROR: Indicator \"fan\" enabled using the old method. Change the line to: "
                     "Indicator.fan.Enable.value=true\n"
                     "WARNING: Indicator \"off\" not enabled in the .w4i file.\n"
                     "WARNING: Indicator \"free\" not enabled in the .w4i file.\n");
    EXPECT_EQ(text.substr(text.find("Module.EnumerationRequirements")),
              "Module.EnumerationRequirements=disks, fans\n"
              "Module.EnumerationCompletionRequirements=disks:true, fans:false\n"
              "DeviceProperty.1.Key=Ours\n"
              "DeviceProperty.1.Category=SysInfo\n"
              "DeviceProperty.1.Type=STRING\n"
              "DeviceProperty.1.Capability=Fan\n"
              "Indicator.1.Key=fan\n"
              "Indicator.1.Capabilities=Fan\n"
              "Indicator.1.Parameter.1.ParameterKey=most\n"
              "Indicator.1.Parameter.1.DataType=UINT32\n"
              "Indicator.1.Parameter.1.ValidDataRange=1..\n"
              "Indicator.1.Parameter.1.Required=false\n"
              "Indicator.2.Key=off\n"
              "Indicator.2.Capabilities=Fan\n"
              "Indicator.2.isDestructive=true\n"
              "Indicator.2.minShutdownSeconds=0\n"
              "Indicator.2.enumeratesOnlyOnce=true\n"
              "Indicator.3.Key=free\n"
              "Indicator.3.Capabilities=Memory\n"
              "Indicator.3.isFreeIndicator=true\n");

    LocalizedKeys const keys = LocalizedKeys::ofModule();
    EXPECT_EQ(keys.listText().toUtf8(), "# localized keys for the module mod\n#!depends mod.w4p \n"
                                        "Module.Name\nModule.Description\nModule.Company\n"
                                        "Parameter.most.Name\nParameter.most.Description\n"
                                        "Property.Ours.Name\nProperty.Ours.Description\n");
    std::string notes;
    for (zel::String const& note : keys.notes())
        notes += note.toUtf8() + "\n";
    EXPECT_NE(notes.find("\"Indicator.gone.Name\""), notes.npos) << notes;
    EXPECT_EQ(notes.find("Indicator.fan"), notes.npos) << "an indicator has texts, though none are listed";
    zel::SettingsResource::setSearchFolders({});
    zel::LocalizedResource::setDefaultPath("");
}

} // namespace
