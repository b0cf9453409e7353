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

    void join(Purpose const& other)
    {
        for (zel::ModuleFunctionImp* const one : other.functions)
            if (std::find(functions.begin(), functions.end(), one) == functions.end())
                functions.push_back(one);
        concernsEveryRun |= other.concernsEveryRun;
    }
};

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

    void addOfEveryRun(char const* key);
    void addFunction(zel::ModuleFunctionImp& function, char const* kind,
                     std::initializer_list<char const*> switches);
    void add(zel::String const& key, Purpose const& purpose) { m_purposes[key].join(purpose); }
    Purpose namedBy(zel::String const& key) const;
    std::vector<zel::String> probablyMeant(zel::String const& key) const;
    std::vector<zel::String> nearest(zel::String const& key) const;

    std::unordered_map<zel::String, Purpose> m_purposes;
    std::vector<Function> m_functions;
};

KnownKeys::KnownKeys()
{
    if (moduleTakesOverrides())
        for (zel::String const& key :
             {zel::String(Keys::kPropertyOverrides), Keys::oldForm(Keys::kPropertyOverrides)})
            add(key, {});
    else
        for (char const* key : {Keys::kTimeOut, Keys::kMinTimePerTest, Keys::kPromptEnable,
                                Keys::kGuiPromptSupported, Keys::kAlwaysUseGuiPrompt})
            addOfEveryRun(key);
    for (auto const& parameter : Factories::parameters())
        if (parameter->imp().isGlobalParameter())
            add(parameter->imp().globalSettingsKey(), {});
    for (auto const& test : Factories::tests()) {
        addFunction(test->imp(), "Test", {Keys::kEnable, Keys::kForceAllEvents});
        for (char const* name : {Keys::kForceResult, Keys::kForceEvent})
            add("Test." + test->imp().keyInModule() + "." + name, {{&test->imp()}});
    }
    if (Factories::indicators().size() > 0) // without one, nothing has an interval
        add(updateIntervalParameter().globalSettingsKey(), {});
    for (auto const& indicator : Factories::indicators())
        addFunction(indicator->imp(), "Indicator", {Keys::kEnable});
}

void KnownKeys::addOfEveryRun(char const* key)
{
    add(key, {{}, true});
    add(Keys::oldForm(key), {{}, true});
}

void KnownKeys::addFunction(zel::ModuleFunctionImp& function, char const* kind,
                            std::initializer_list<char const*> switches)
{
    zel::String const begin = zel::String(kind) + "." + function.keyInModule() + ".";
    m_functions.push_back({begin.lowered(), &function});
    for (char const* name : switches) {
        add(begin + name, {{&function}});
        add(Keys::oldForm(begin + name), {{&function}});
    }
    for (zel::ParameterImp const& parameter : function.parameters()) {
        add(parameter.settingsKey(), {{&function}});
        if (parameter.isGlobalParameter())
            add(parameter.globalSettingsKey(), {{&function}});
    }
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
