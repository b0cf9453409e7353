#include <libKrel5/internal/settings/UnreadSettings.h>

#include <libKrel5/objects/Factories.h>
#include <libKrel5/objects/UpdateInterval.h>

#include <zel/model/module/IndicatorImp.h>
#include <zel/model/module/TestImp.h>
#include <zel/model/settings/SettingsKeys.h>

#include <algorithm>
#include <numeric>
#include <unordered_set>

namespace krel5 {
namespace {

namespace Keys = zel::SettingsKeys;

constexpr std::size_t kMaxReports = 100;
constexpr std::size_t kMaxComparedUnits = 256; // of a key that is compared with the known ones
constexpr std::size_t kMaxSlips = 3;           // letters between a key and the one that was probably meant

using KnownKeys = std::unordered_set<zel::String>;

template <typename Owner>
void addKeysOf(Owner const& owner, char const* kind, std::initializer_list<char const*> switches,
               KnownKeys& known)
{
    for (char const* name : switches) {
        zel::String const key = zel::String(kind) + "." + owner.keyInModule() + "." + name;
        known.insert({key, Keys::oldForm(key)});
    }
    for (zel::ParameterImp const& parameter : owner.parameters())
        known.insert(parameter.settingsKey());
}

void addTestKeys(zel::TestImp const& test, KnownKeys& known)
{
    addKeysOf(test, "Test", {Keys::kEnable, Keys::kForceAllEvents}, known);
    for (char const* name : {Keys::kForceResult, Keys::kForceEvent})
        known.insert("Test." + test.keyInModule() + "." + name);
}

KnownKeys knownKeys()
{
    KnownKeys known;
    for (char const* key : {Keys::kTimeOut, Keys::kMinTimePerTest, Keys::kPromptEnable,
                            Keys::kGuiPromptSupported, Keys::kAlwaysUseGuiPrompt})
        known.insert({key, Keys::oldForm(key)});
    for (auto const& parameter : Factories::parameters())
        if (parameter->imp().isGlobalParameter())
            known.insert(parameter->imp().globalSettingsKey());
    for (auto const& test : Factories::tests())
        addTestKeys(test->imp(), known);
    if (Factories::indicators().size() > 0) // without one, nothing has an interval
        known.insert(updateIntervalParameter().globalSettingsKey());
    for (auto const& indicator : Factories::indicators())
        addKeysOf(indicator->imp(), "Indicator", {Keys::kEnable}, known);
    return known;
}

// Insertions, deletions and replacements that turn one text into the other; row by row of the table of all
// prefixes (Wagner, Fischer: The String-to-String Correction Problem, 1974).
std::size_t distance(zel::String const& a, zel::String const& b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0]; // what stood in row[j - 1] before this round
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            std::size_t const replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

// The known key that differs least, or nothing when every one differs by more than a few slips of the finger.
// The forgotten ".value" counts as one.
zel::String probablyMeant(zel::String const& key, KnownKeys const& known)
{
    if (key.size() > kMaxComparedUnits)
        return {};
    if (known.contains(key + ".value"))
        return key + ".value";
    zel::String best;
    zel::String const global("Parameter"), value(".value"); // only global parameters have such keys
    if (key.startsWith(global + ".") && key.size() > global.size() + 1 + value.size())
        for (zel::String const& one : known)
            if (one.endsWith(key.substr(global.size())) && (best.empty() || one < best))
                best = one;
    if (!best.empty())
        return best;
    std::size_t least = kMaxSlips + 1;
    for (zel::String const& one : known) {
        if (one.size() > key.size() + kMaxSlips || key.size() > one.size() + kMaxSlips)
            continue;
        std::size_t const slips = distance(key.lowered(), one.lowered());
        if (slips < least || (slips == least && !best.empty() && one < best)) {
            least = slips;
            best = one;
        }
    }
    return best;
}

} // namespace

std::vector<zel::SettingsError> unreadSettings(zel::SettingsResource const& settings)
{
    std::vector<zel::SettingsError> unread;
    KnownKeys const known = knownKeys();
    for (zel::String const& key : settings.keys()) {
        if (known.contains(key))
            continue;
        if (unread.size() == kMaxReports) {
            unread.push_back(
                settings.error({key, settings.find(key)}, "so is this, and what follows may be"));
            break;
        }
        zel::String const meant = probablyMeant(key, known);
        zel::String reason("nothing here reads this setting");
        if (!meant.empty())
            reason += zel::String("; did you mean ") + meant + "?";
        unread.push_back(settings.error({key, settings.find(key)}, reason));
    }
    return unread;
}

} // namespace krel5
