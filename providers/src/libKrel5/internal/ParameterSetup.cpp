#include <internal/ParameterSetup.h>

#include <internal/ErrorReporting.h>
#include <internal/Factories.h>
#include <internal/ModuleCommon.h>

#include <krel5/ParameterNotSetException.h>
#include <krel5/ParameterNotValidException.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>
#include <zel/model/SettingsResource.h>
#include <zel/model/TestImp.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.ModuleCommon");
    return s_logger;
}

void handDownGlobalParameters(Test& test)
{
    if (test.imp().usesNoGlobalParameters())
        return;
    for (auto const& parameter : Factories::parameters())
        if (parameter->imp().isGlobalParameter() && !test.imp().parameter(parameter->key().zelString()))
            test.addParameter(parameter.get());
}

void resolve(zel::TestImp& test, zel::SettingsResource const& settings)
{
    auto const errors = test.resolveParameterData(settings);
    for (zel::SettingsError const& error : errors) {
        ZEL_LOG(logger(), zel::LogLevel::Error) << error.toString();
        ErrorReporting::tell(error.toString());
    }
    if (!errors.empty())
        throw ParameterNotValidException(KrelString(test.keyInModule()), KrelString(errors.front().m_key));
}

void requireSet(zel::TestImp& test)
{
    for (zel::ParameterImp* one = test.firstParameter(); one; one = test.nextParameter()) {
        if (one->isSet() || !one->isRequired())
            continue;
        zel::String const text =
            zel::String("Parameter not set: maybe you are using the old method of setting parameters; try "
                        "changing it to:\n") +
            "Test." + test.keyInModule() + "." + one->key() + ".value=YOUR VALUE HERE\n";
        ZEL_LOG_LINE(logger(), zel::LogLevel::Warning, 436) << text;
        zel::OStream::err() << text;
        throw ParameterNotSetException(KrelString(test.keyInModule()), KrelString(one->key()));
    }
}

} // namespace

void setUpParameters()
{
    auto const settings = zel::SettingsResource::ofModule(ModuleCommon::module().guid());
    for (auto const& issue : settings->issues())
        ErrorReporting::tell(issue.toString());
    for (auto const& test : Factories::tests()) {
        handDownGlobalParameters(*test);
        resolve(test->imp(), *settings);
        requireSet(test->imp());
    }
}

} // namespace krel5
