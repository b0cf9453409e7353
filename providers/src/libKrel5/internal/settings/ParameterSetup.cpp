#include <libKrel5/internal/settings/ParameterSetup.h>

#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/internal/settings/PropertyOverrides.h>
#include <libKrel5/internal/settings/SettingsRefusal.h>
#include <libKrel5/internal/settings/UnreadSettings.h>
#include <libKrel5/objects/Factories.h>
#include <libKrel5/objects/UpdateInterval.h>

#include <krel5/ParameterNotSetException.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>
#include <zel/model/module/IndicatorImp.h>
#include <zel/model/module/TestImp.h>
#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/settings/SettingsResource.h>

#include <algorithm>

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

void report(zel::SettingsError const& error, zel::String const& consequence)
{
    ZEL_LOG(logger(), zel::LogLevel::Error) << error.toString();
    ErrorReporting::tell(error.toString() + "; " + consequence);
}

void checkForcedEvent(zel::TestImp& test, zel::SettingsResource const& settings)
{
    if (settings.isEmpty())
        return;
    zel::String const key = test.settingsPrefix() + Keys::kForceEvent;
    auto const* const entry = settings.find(key);
    if (!entry || Factories::events().find(entry->m_text))
        return;
    zel::SettingsError error = settings.error({key, entry}, "this module has no such event");
    error.m_parameter = zel::String("ForceEvent");
    test.addSettingsError(error);
}

// It switches nothing on. Without indicators the key is free for others.
void resolveUpdateInterval(zel::SettingsResource const& settings)
{
    if (Factories::indicators().size() == 0)
        return;
    if (auto const error = updateIntervalParameter().resolve(settings))
        report(*error, "it counts as not set");
}

/// Of a test or an indicator.
template <typename Owner>
void reportErrors(Owner const& owner, char const* kind)
{
    for (zel::SettingsError const& error : owner.settingsErrors())
        report(error, zel::String("the ") + kind + " \"" + owner.keyInModule() + "\" does not run");
}

void warnOfOldForms(zel::SettingsResource const& settings)
{
    if (!settings.hasOldForms())
        return;
    std::vector<zel::String> keys;
    if (moduleTakesOverrides()) {
        keys.push_back(Keys::kPropertyOverrides);
    } else {
        keys.insert(keys.end(), std::begin(Keys::kTimes), std::end(Keys::kTimes));
        keys.insert(keys.end(), std::begin(Keys::kSwitches), std::end(Keys::kSwitches));
    }
    for (auto const& test : Factories::tests())
        for (char const* name : {Keys::kEnable, Keys::kForceAllEvents})
            keys.push_back(test->imp().settingsPrefix() + name);
    for (auto const& indicator : Factories::indicators())
        keys.push_back(indicator->imp().settingsPrefix() + Keys::kEnable);
    for (zel::String const& key : keys)
        if (auto const line = settings.eitherForm(key); line && line.key != key)
            ZEL_LOG(logger(), zel::LogLevel::Warning)
                << settings.error(line, "is the old form of " + key).toString();
}

// Of nothing in this module; what may have been meant for something is refused with that.
void warnOfStrangeKeys(std::vector<UnreadSetting> const& unread)
{
    for (UnreadSetting const& one : unread) {
        if ((one.concernsEveryRun && !moduleTakesOverrides()) || !one.functions.empty())
            continue;
        ZEL_LOG(logger(), zel::LogLevel::Warning) << one.error.toString();
        ErrorReporting::tell("WARNING: " + one.error.toString());
    }
}

void takeMistypedKeys(std::vector<UnreadSetting> const& unread, zel::ModuleFunctionImp& function)
{
    for (UnreadSetting const& one : unread)
        if (std::find(one.functions.begin(), one.functions.end(), &function) != one.functions.end())
            function.addSettingsError(one.error);
}

// Of a file that cannot be read no line counts; of any other one an inventory takes the parameters that it can.
char const* consequenceOf(zel::SettingsResource const& settings)
{
    if (!moduleTakesOverrides())
        return "no test runs";
    auto const& issues = settings.issues();
    bool const isUnread = !issues.empty() && issues.front().line == 0;
    return isUnread ? "no property is overridden, and parameters have their defaults"
                    : "no property is overridden";
}

void tellWhatConcernsTheWholeModule(zel::SettingsResource const& settings,
                                    std::vector<UnreadSetting> const& unread)
{
    char const* const consequence = consequenceOf(settings);
    for (auto const& issue : settings.issues())
        ErrorReporting::tell(issue.toString() +
                             (issue.isWarning ? zel::String() : zel::String("; ") + consequence));
    if (!settings.passedOver().empty())
        ErrorReporting::tell(zel::String("WARNING: ") + settings.passedOver() + " is not read; " +
                             settings.path() + " comes first");
    if (moduleTakesOverrides())
        return;
    for (zel::SettingsError const& error : moduleWideErrors(settings, unread))
        report(error, consequence);
}

// A line that is there and says something wrong refuses the test; it is not a line that is missing.
bool hasError(zel::TestImp const& test, zel::String const& parameter)
{
    auto const& errors = test.settingsErrors();
    return std::any_of(errors.begin(), errors.end(),
                       [&](zel::SettingsError const& one) { return one.m_parameter == parameter; });
}

[[noreturn]] void throwNotSet(zel::String const& settingsKey, zel::String const& owner,
                              zel::String const& key)
{
    zel::String const text =
        zel::String("Parameter not set: maybe you are using the old method of setting parameters; try "
                    "changing it to:\n") +
        settingsKey + "=YOUR VALUE HERE\n";
    ZEL_LOG_LINE(logger(), zel::LogLevel::Warning, 436) << text;
    zel::OStream::err() << text;
    throw ParameterNotSetException(KrelString(owner), KrelString(key));
}

void requireSet(zel::TestImp& test)
{
    for (zel::ParameterImp* one = test.firstParameter(); one; one = test.nextParameter())
        if (!one->isSet() && one->isRequired() && !hasError(test, one->key()))
            throwNotSet(one->settingsKey(), test.keyInModule(), one->key());
}

// An inventory has no tests that could hand a parameter down to a run, and an indicator module looks for devices before the
// first indicator runs: each takes its value from the module's own line. One that cannot be taken counts as not set, since
// neither is a verdict.
void resolveParametersOfModule(zel::SettingsResource const& settings, bool onlyGlobal)
{
    for (auto const& parameter : Factories::parameters()) {
        if (onlyGlobal && !parameter->imp().isGlobalParameter())
            continue;
        zel::ParameterImp resolved = parameter->imp();
        auto const error = resolved.resolve(settings);
        if (error)
            report(*error, "it counts as not set");
        else if (resolved.isRequired() && !resolved.isSet() && settings.unknown().empty())
            throwNotSet(resolved.globalSettingsKey(), ModuleCommon::module().guid(), resolved.key());
        parameter->bindTo(resolved);
    }
}

} // namespace

void setUpParameters()
{
    auto const settings = zel::SettingsResource::ofModule(ModuleCommon::module().guid());
    for (auto const& test : Factories::tests())
        handDownGlobalParameters(*test);
    std::vector<UnreadSetting> const unread = unreadSettings(*settings);
    tellWhatConcernsTheWholeModule(*settings, unread);
    warnOfOldForms(*settings);
    resolveUpdateInterval(*settings);
    if (moduleTakesOverrides()) {
        resolveParametersOfModule(*settings, false);
        setUpPropertyOverrides(*settings);
    } else if (Factories::indicators().size() > 0) {
        resolveParametersOfModule(*settings, true);
    }
    warnOfStrangeKeys(unread);
    for (auto const& test : Factories::tests()) {
        test->imp().resolveParameterData(*settings);
        checkForcedEvent(test->imp(), *settings);
        takeMistypedKeys(unread, test->imp());
        reportErrors(test->imp(), "test");
        if (settings->unknown().empty()) // what is not set may stand where nobody can read it
            requireSet(test->imp());
    }
    for (auto const& indicator : Factories::indicators()) {
        indicator->imp().resolveParameterData(*settings);
        takeMistypedKeys(unread, indicator->imp());
        reportErrors(indicator->imp(), "indicator");
    }
}

} // namespace krel5
