#include <libKrel5/internal/settings/UnreadSettings.h>

#include <libKrel5/internal/settings/PropertyOverrides.h>
#include <libKrel5/objects/Factories.h>
#include <libKrel5/objects/UpdateInterval.h>

#include <zel/foundation/Spelling.h>
#include <zel/model/module/IndicatorImp.h>
#include <zel/model/module/TestImp.h>
#include <zel/model/settings/SettingsKeys.h>

#include <algorithm>
#include <unordered_map>

namespace krel5 {
namespace {

namespace Keys = zel::SettingsKeys;

constexpr std::size_t kMaxReports = 100;

/// What a setting is for.
struct Purpose
{
    std::vector<zel::ModuleFunctionImp*> functions;
    bool concernsEveryRun = false;

    void add(zel::ModuleFunctionImp* function)
    {
        if (function && std::find(functions.begin(), functions.end(), function) == functions.end())
            functions.push_back(function);
    }
    void join(Purpose const& other)
    {
        for (zel::ModuleFunctionImp* const one : other.functions)
            add(one);
        concernsEveryRun |= other.concernsEveryRun;
    }
};

template <typename Visit>
void forEachParameterOf(zel::ModuleFunctionImp& function, Visit visit)
{
    for (zel::ParameterImp const& parameter : function.parameters()) {
        visit(parameter.settingsKey(), &function, false);
        if (parameter.isGlobalParameter())
            visit(parameter.globalSettingsKey(), &function, false);
    }
}

/// Calls `visit(key, function, concernsEveryRun)` for every key that something reads, with the function that
/// it is for (null: none). Some come more than once. Those that shipped files hold come first; ends early once
/// `isEnough()`.
template <typename Visit, typename Enough>
void forEachKnownKey(Visit visit, Enough isEnough)
{
    zel::ModuleFunctionImp* const nobody = nullptr;
    auto const withOldForm = [&](zel::String const& key, zel::ModuleFunctionImp* function,
                                 bool concernsEveryRun) {
        visit(key, function, concernsEveryRun);
        visit(Keys::oldForm(key), function, concernsEveryRun);
    };
    for (auto const& test : Factories::tests())
        withOldForm(test->imp().settingsPrefix() + Keys::kEnable, &test->imp(), false);
    if (isEnough())
        return;
    if (moduleTakesOverrides()) {
        withOldForm(Keys::kPropertyOverrides, nobody, false);
    } else {
        for (char const* key : Keys::kTimes)
            withOldForm(key, nobody, true);
        for (char const* key : Keys::kSwitches)
            withOldForm(key, nobody, true);
    }
    for (auto const& parameter : Factories::parameters())
        if (parameter->imp().isGlobalParameter())
            visit(parameter->imp().globalSettingsKey(), nobody, false);
    for (auto const& test : Factories::tests()) {
        withOldForm(test->imp().settingsPrefix() + Keys::kForceAllEvents, &test->imp(), false);
        forEachParameterOf(test->imp(), visit);
        for (char const* name : {Keys::kForceResult, Keys::kForceEvent})
            visit(test->imp().settingsPrefix() + name, &test->imp(), false);
    }
    if (Factories::indicators().size() > 0) // without one, nothing has an interval
        visit(updateIntervalParameter().globalSettingsKey(), nobody, false);
    for (auto const& indicator : Factories::indicators()) {
        withOldForm(indicator->imp().settingsPrefix() + Keys::kEnable, &indicator->imp(), false);
        forEachParameterOf(indicator->imp(), visit);
    }
}

/// The usual case, at each start, without a table of all keys.
bool everyLineIsRead(zel::SettingsResource const& settings)
{
    std::vector<zel::KeyTextFile::Entry const*> read;
    auto const isAll = [&] { return read.size() == settings.keys().size(); };
    if (!isAll())
        forEachKnownKey(
            [&](zel::String const& key, zel::ModuleFunctionImp*, bool) {
                auto const* const entry = settings.find(key);
                if (entry && std::find(read.begin(), read.end(), entry) == read.end())
                    read.push_back(entry);
            },
            isAll);
    return isAll();
}

/// Every key that something reads.
class KnownKeys
{
public:
    KnownKeys();

    bool contains(zel::String const& key) const { return m_purposes.contains(key); }
    UnreadSetting describe(zel::SettingsResource const& settings, zel::String const& key) const;

private:
    struct Function
    {
        zel::String begin; ///< of its keys, in small letters: "test.memory."
        zel::ModuleFunctionImp* record;
    };

    Purpose namedBy(zel::String const& key) const;
    std::vector<zel::String> probablyMeant(zel::String const& key) const;
    std::vector<zel::String> nearest(zel::String const& key) const;

    std::unordered_map<zel::String, Purpose> m_purposes;
    std::vector<Function> m_functions;
};

KnownKeys::KnownKeys()
{
    forEachKnownKey(
        [this](zel::String const& key, zel::ModuleFunctionImp* function, bool concernsEveryRun) {
            Purpose& purpose = m_purposes[key];
            purpose.add(function);
            purpose.concernsEveryRun |= concernsEveryRun;
        },
        [] { return false; });
    for (auto const& test : Factories::tests())
        m_functions.push_back({test->imp().settingsPrefix().lowered(), &test->imp()});
    for (auto const& indicator : Factories::indicators())
        m_functions.push_back({indicator->imp().settingsPrefix().lowered(), &indicator->imp()});
}

/// "Test.memory.enabel": somebody meant that test, whatever else.
Purpose KnownKeys::namedBy(zel::String const& key) const
{
    Purpose purpose;
    for (Function const& function : m_functions)
        if ((key.lowered() + ".").startsWith(function.begin))
            purpose.functions.push_back(function.record);
    return purpose;
}

// All that differ least from the key: any of them may have been meant.
std::vector<zel::String> KnownKeys::nearest(zel::String const& key) const
{
    std::vector<zel::String> known;
    known.reserve(m_purposes.size());
    for (auto const& [one, purpose] : m_purposes)
        known.push_back(one);
    return zel::nearestSpellings(key, known);
}

// The known keys that differ least, in the order of the alphabet, or none when every one differs by more than a
// few slips of the finger. The forgotten ".value" counts as one; "Parameter." may be a test's by mistake.
std::vector<zel::String> KnownKeys::probablyMeant(zel::String const& key) const
{
    if (contains(key + ".value"))
        return {key + ".value"};
    std::vector<zel::String> meant;
    zel::String const global("Parameter"), value(".value"); // only global parameters have such keys
    if (key.startsWith(global + ".") && key.size() > global.size() + 1 + value.size())
        for (auto const& [one, purpose] : m_purposes)
            if (one.endsWith(key.substr(global.size())))
                meant.push_back(one);
    if (meant.empty())
        meant = nearest(key);
    std::sort(meant.begin(), meant.end());
    return meant;
}

UnreadSetting KnownKeys::describe(zel::SettingsResource const& settings, zel::String const& key) const
{
    std::vector<zel::String> const meant = probablyMeant(key);
    Purpose purpose = namedBy(key);
    for (zel::String const& one : meant)
        purpose.join(m_purposes.at(one));
    zel::String reason("nothing here reads this setting");
    if (!meant.empty())
        reason += zel::String("; did you mean ") + meant.front() + "?";
    UnreadSetting unread{settings.error({key, settings.find(key)}, reason), purpose.functions,
                         purpose.concernsEveryRun};
    unread.error.m_parameter = key;
    return unread;
}

} // namespace

std::vector<UnreadSetting> unreadSettings(zel::SettingsResource const& settings)
{
    std::vector<UnreadSetting> unread;
    if (everyLineIsRead(settings))
        return unread;
    KnownKeys const known;
    for (zel::String const& key : settings.keys()) {
        if (known.contains(key) || (moduleTakesOverrides() && isOverrideKey(key)))
            continue;
        if (unread.size() == kMaxReports) {
            zel::SettingsResource::Line const line{key, settings.find(key)};
            unread.push_back({settings.error(line, "so is this, and what follows may be"), {}, true});
            break;
        }
        unread.push_back(known.describe(settings, key));
    }
    return unread;
}

} // namespace krel5
