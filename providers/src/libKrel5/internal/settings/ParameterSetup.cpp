#include <libKrel5/internal/settings/ParameterSetup.h>

#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/internal/settings/UnreadSettings.h>
#include <libKrel5/objects/Factories.h>
#include <libKrel5/objects/UpdateInterval.h>

#include <krel5/ParameterNotSetException.h>
#include <krel5/ParameterNotValidException.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>
#include <zel/model/module/IndicatorImp.h>
#include <zel/model/module/TestImp.h>
#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/settings/SettingsResource.h>

namespace krel5 {
namespace {

namespace Keys = zel::SettingsKeys;

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

void report(zel::SettingsError const& error)
{
    ZEL_LOG(logger(), zel::LogLevel::Error) << error.toString();
    ErrorReporting::tell(error.toString());
}

void checkOldForm(char const* kind, zel::String const& key, zel::SettingsResource const& settings)
{
    if (settings.enable(kind, key) != zel::SettingsResource::Enable::OldForm)
        return;
    zel::String const old = zel::String(kind) + "." + key + "." + Keys::kEnableOldForm;
    zel::String const reason = "is the old form of " + zel::String(kind) + "." + key + "." + Keys::kEnable;
    ZEL_LOG(logger(), zel::LogLevel::Warning) << settings.error(old, *settings.find(old), reason).toString();
}

void checkForcedEvent(Test const& test, zel::SettingsResource const& settings)
{
    zel::String const key = "Test." + test.imp().keyInModule() + "." + Keys::kForceEvent;
    auto const* const entry = settings.find(key);
    if (entry && !Factories::events().find(entry->m_text))
        report(settings.error(key, *entry, "this module has no such event; none is sent"));
}

// A switch that nobody can read keeps what it is without its line; whoever wrote it must hear of that before
// a test runs that was meant to be off.
void checkSwitches(zel::SettingsResource const& settings)
{
    auto const check = [&settings](zel::String const& key, zel::DataTypeImp const& type) {
        if (auto error = settings.misfit(key, type)) {
            error->m_reason += "; it counts as not set";
            report(*error);
        }
    };
    for (char const* key : {Keys::kTimeOut, Keys::kMinTimePerTest})
        check(key, zel::DataTypeImp::UINT32());
    for (char const* key : {Keys::kPromptEnable, Keys::kGuiPromptSupported, Keys::kAlwaysUseGuiPrompt})
        check(key, zel::DataTypeImp::BOOLEAN());
    for (auto const& test : Factories::tests())
        for (char const* name : {Keys::kEnable, Keys::kEnableOldForm, Keys::kForceAllEvents})
            check("Test." + test->imp().keyInModule() + "." + name, zel::DataTypeImp::BOOLEAN());
    for (auto const& test : Factories::tests()) {
        checkForcedEvent(*test, settings);
        checkOldForm("Test", test->imp().keyInModule(), settings);
    }
    for (auto const& indicator : Factories::indicators())
        checkOldForm("Indicator", indicator->imp().keyInModule(), settings);
    for (auto const& indicator : Factories::indicators())
        for (char const* name : {Keys::kEnable, Keys::kEnableOldForm})
            check("Indicator." + indicator->imp().keyInModule() + "." + name, zel::DataTypeImp::BOOLEAN());
}

// As the other numbers of seconds that are the whole module's. Without indicators the key is free for others.
void resolveUpdateInterval(zel::SettingsResource const& settings)
{
    if (Factories::indicators().size() == 0)
        return;
    if (auto error = updateIntervalParameter().resolve(settings)) {
        error->m_reason += "; it counts as not set";
        report(*error);
    }
}

/// Of a test or an indicator.
template <typename Owner>
void resolve(Owner& owner, zel::SettingsResource const& settings)
{
    auto const errors = owner.resolveParameterData(settings);
    for (zel::SettingsError const& error : errors)
        report(error);
    if (!errors.empty())
        throw ParameterNotValidException(KrelString(owner.keyInModule()),
                                         KrelString(errors.front().m_parameter));
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
    if (!settings->passedOver().empty())
        ErrorReporting::tell(zel::String("WARNING: ") + settings->passedOver() + " is not read; " +
                             settings->path() + " comes first");
    checkSwitches(*settings);
    resolveUpdateInterval(*settings);
    for (auto const& test : Factories::tests())
        handDownGlobalParameters(*test);
    for (zel::SettingsError const& unread : unreadSettings(*settings)) {
        ZEL_LOG(logger(), zel::LogLevel::Warning) << unread.toString();
        ErrorReporting::tell("WARNING: " + unread.toString());
    }
    for (auto const& test : Factories::tests()) {
        resolve(test->imp(), *settings);
        requireSet(test->imp());
    }
    for (auto const& indicator : Factories::indicators())
        resolve(indicator->imp(), *settings);
}

} // namespace krel5
