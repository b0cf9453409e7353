// The module "inventory": what this machine is made of.

#include <inventory/Report.h>

#include <krel5/Alert.h>
#include <krel5/AlertType.h>
#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/Parameter.h>
#include <krel5/SysInfoModule.h>
#include <krel5/Value.h>

#include <zel/enumerator/Enumerator.h>
#include <zel/model/state/StateManager.h>

namespace {

using namespace krel5;
using namespace krel5::modules::inventory;

Declarations const* s_declarations = nullptr;
Parameter* s_root = nullptr;

/// Who reads the report must see that it may be short.
void alert(char const* key, AlertType const& type, zel::String const& reason)
{
    Alert* const alert = Alert::createAlert(key, type);
    alert->setGuid(KrelString(key) + ":" + reason); // one for each reason
    alert->setMessageVariable("Reason", Value(reason.toUtf8()))->send();
}

void discover()
{
    zel::Enumerator& enumerator = zel::Enumerator::instance();
    enumerator.setDetail(SysInfoModule::collectSysInfo());
    if (std::string const root = s_root->value().toString().getUTF8Buffer(); root != "/")
        enumerator.setRoot(root);
    zel::StateManager found;
    enumerator.findDevices(zel::CapabilityImp::ALL(), found);
    report(found, *s_declarations, SysInfoModule::collectSysInfo());
    for (zel::RootFailure const& failure : enumerator.failures())
        alert("DevicesMayBeMissing", AlertType::OS_ISSUE(), failure.toString());
    for (zel::TableDamage const& damage : enumerator.tableDamages())
        alert("DevicesMayBeMissing", AlertType::SOFTWARE_ISSUE(), damage.what);
    for (zel::String const& failure : enumerator.moduleFailures())
        alert("ModuleFailed", AlertType::SOFTWARE_ISSUE(), failure);
}

} // namespace

int main(int argc, char** argv)
{
    SysInfoModule::setCmdLineArgs(argc, argv);
    SysInfoModule::setVersion(1, 0, "1");
    SysInfoModule::setModuleCapabilities(DeviceCapability::ALL());
    SysInfoModule::setDiscoverDevicesCallback(discover);
    Declarations const declarations;
    s_declarations = &declarations;
    s_root = SysInfoModule::createParameter("Root", DataType::STRING(), "/", false, true);
    return SysInfoModule::start();
}
