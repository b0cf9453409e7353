#include <zel/model/state/Changes.h>

#include <zel/foundation/Exception.h>

#include <algorithm>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace zel {
namespace {

using Kind = Change::Kind;

enum class Effect { Adds, Updates, Removes };

// What has the same subject is folded against each other: the coming, changing and going of one thing.
enum class Subject {
    Module,
    Device,
    Property,
    PropertySpec,
    Test,
    Indicator,
    IndicatorRun,
    Alert,
    Association
};

std::pair<Subject, Effect> meaningOf(Kind kind)
{
    switch (kind) {
    case Kind::ModuleAdded:
        return {Subject::Module, Effect::Adds};
    case Kind::DeviceAdded:
        return {Subject::Device, Effect::Adds};
    case Kind::DeviceUpdated:
        return {Subject::Device, Effect::Updates};
    case Kind::DeviceRemoved:
        return {Subject::Device, Effect::Removes};
    case Kind::PropertyAdded:
        return {Subject::Property, Effect::Adds};
    case Kind::PropertyRemoved:
        return {Subject::Property, Effect::Removes};
    case Kind::PropertySpecAdded:
        return {Subject::PropertySpec, Effect::Adds};
    case Kind::TestAdded:
        return {Subject::Test, Effect::Adds};
    case Kind::IndicatorAdded:
        return {Subject::Indicator, Effect::Adds};
    case Kind::IndicatorRunAdded:
        return {Subject::IndicatorRun, Effect::Adds};
    case Kind::AlertAdded:
        return {Subject::Alert, Effect::Adds};
    case Kind::AlertUpdated:
        return {Subject::Alert, Effect::Updates};
    case Kind::AlertRemoved:
        return {Subject::Alert, Effect::Removes};
    case Kind::AssociationAdded:
        return {Subject::Association, Effect::Adds};
    case Kind::AssociationRemoved:
        return {Subject::Association, Effect::Removes};
    }
    throw AssertionException("a kind of change is known", __FILE__, __LINE__);
}

struct SubjectHash
{
    std::size_t operator()(Change const* one) const
    {
        return (one->guid.hash() * 31 + one->otherGuid.hash()) * 31 + one->propertyKey.hash();
    }
};

struct SameSubject
{
    static std::tuple<Subject, String const&, String const&, String const&> subjectOf(Change const& one)
    {
        return {meaningOf(one.kind).first, one.guid, one.otherGuid, one.propertyKey};
    }
    bool operator()(Change const* a, Change const* b) const { return subjectOf(*a) == subjectOf(*b); }
};

// Walks from the newest change to the oldest, so that the end of a thing is known before its beginning.
class Folding
{
public:
    explicit Folding(std::vector<Change> const& changes) : m_changes(changes), m_stays(changes.size(), true)
    {
        for (std::size_t i = changes.size(); i-- > 0;)
            look(i);
    }
    bool stays(std::size_t index) const { return m_stays[index]; }

private:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    struct Later // what is known of the subject's later life
    {
        std::size_t removal = kNone; // one whose addition has not been met
        bool isAdded = false;
        bool isUpdated = false;
        bool isRemoved = false;
    };

    void look(std::size_t index)
    {
        Change const& change = m_changes[index];
        auto const [subject, effect] = meaningOf(change.kind);
        if (subject != Subject::Device && isOfRemovedDevice(change)) {
            m_stays[index] = false;
            return;
        }
        Later& later = m_later[&change];
        switch (effect) {
        case Effect::Adds:
            if (later.removal != kNone)
                m_stays[index] = m_stays[std::exchange(later.removal, kNone)] = false;
            else
                m_stays[index] = !std::exchange(later.isAdded, true);
            break;
        case Effect::Updates:
            m_stays[index] = !later.isRemoved && !std::exchange(later.isUpdated, true);
            break;
        case Effect::Removes:
            m_stays[index] = later.removal == kNone;
            later = {later.removal == kNone ? index : later.removal, false, false, true};
            break;
        }
        if (change.kind == Kind::DeviceRemoved)
            m_removedDevices.insert(&change.guid);
    }

    bool isOfRemovedDevice(Change const& change) const
    {
        return !m_removedDevices.empty() &&
               (m_removedDevices.contains(&change.guid) || m_removedDevices.contains(&change.otherGuid));
    }

    struct TextHash
    {
        std::size_t operator()(String const* text) const { return text->hash(); }
    };
    struct SameText
    {
        bool operator()(String const* a, String const* b) const { return *a == *b; }
    };

    std::vector<Change> const& m_changes;
    std::vector<bool> m_stays;
    std::unordered_map<Change const*, Later, SubjectHash, SameSubject> m_later;
    std::unordered_set<String const*, TextHash, SameText> m_removedDevices;
};

} // namespace

void ChangeList::fold()
{
    std::vector<Change> net;
    {
        Folding const folding(m_changes);
        for (std::size_t i = 0; i < m_changes.size(); ++i)
            if (folding.stays(i))
                net.push_back(std::move(m_changes[i]));
    }
    m_changes = std::move(net);
    m_foldAt = std::max(kUnfolded, 4 * m_changes.size());
}

std::vector<Change> ChangeList::take()
{
    fold();
    m_foldAt = kUnfolded;
    return std::exchange(m_changes, {});
}

void ChangeList::clear()
{
    m_changes.clear();
    m_foldAt = kUnfolded;
}

} // namespace zel
