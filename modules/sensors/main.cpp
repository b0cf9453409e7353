// The module "sensors": what this machine says of its own health while it runs.

#include <sensors/Declarations.h>
#include <sensors/Watch.h>

#include <krel5/DeviceCapability.h>
#include <krel5/Indicator.h>
#include <krel5/IndicatorModule.h>
#include <krel5/IndicatorReturnData.h>

#include <zel/enumerator/Enumerator.h>
#include <zel/enumerator/root/Root.h>

namespace {

using namespace krel5;
using namespace krel5::modules::sensors;

/// What the library finds by itself when a person starts the module: nothing. The module looks in a thread of its own, because one
/// sensor that blocks would hold up the start.
struct NoMachine final : zel::Root
{
    bool isLive() const override { return false; }
    std::optional<std::string> read(std::string const&, std::size_t) const override { return std::nullopt; }
    std::vector<std::string> list(std::string const&) const override { return {}; }
    std::optional<std::string> resolve(std::string const&) const override { return std::nullopt; }
    std::optional<std::string> linkName(std::string const&) const override { return std::nullopt; }
};

Watch* s_watch = nullptr;

} // namespace

int main(int argc, char** argv)
{
    IndicatorModule::setCmdLineArgs(argc, argv);
    IndicatorModule::setVersion(1, 0, "1");
    DeviceCapability const watched{watchedCapabilities()};
    IndicatorModule::setModuleCapabilities(watched);
    IndicatorModule::setEnumerationCallback([] { s_watch->enumerate(); });
    Declarations const declarations;
    Watch watch(declarations);
    s_watch = &watch;
    zel::Enumerator::instance().setRoot(std::make_unique<NoMachine>());
    IndicatorModule::createIndicator("readings", watched,
                                     [](DiagDevice const& device) { return s_watch->read(device); });
    IndicatorModule::createFreeIndicator("devices", watched, [] { s_watch->follow(); });
    return IndicatorModule::start();
}
