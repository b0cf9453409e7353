#pragma once
// What happened to a state since somebody last asked, as the net of it.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <cstddef>
#include <vector>

namespace zel {

/// One difference, named by the guids of what it concerns: whoever passes it on looks the record up.
struct Change
{
    enum class Kind {
        ModuleAdded,
        DeviceAdded,
        DeviceUpdated,
        DeviceRemoved, ///< stands for the end of all that the device had, too
        PropertyAdded,
        PropertyRemoved,
        PropertySpecAdded,
        TestAdded,
        IndicatorAdded,
        IndicatorRunAdded,
        AlertAdded,
        AlertUpdated,
        AlertRemoved,
        AssociationAdded,
        AssociationRemoved
    };
    Kind kind;
    String guid;                   ///< of the module, device, specification, test, indicator or alert
    String otherGuid = String();   ///< the other end of an association; device of an indicator run, or empty
    String propertyKey = String(); ///< of a property

    bool operator==(Change const&) const = default;
};

/// Changes in the order in which they happened, folded to their net:
///   - of equal changes the last one stays;
///   - what was added and taken away again is not mentioned, and neither is what happened to it meanwhile;
///   - what was taken away and came back is both.
/// So nobody has to take changes: however often things happen, the list holds no more than a few entries for
/// each thing that is there now or was there when changes were last taken. Folding waits until the list has
/// grown fourfold (never below kUnfolded), so that noting a change costs constant time.
class ZEL_EXPORT ChangeList
{
public:
    static constexpr std::size_t kUnfolded = 16384;

    void note(Change change)
    {
        m_changes.push_back(std::move(change));
        if (m_changes.size() >= m_foldAt)
            fold();
    }
    /// The net, oldest first; the list is empty then.
    std::vector<Change> take();
    void clear();
    /// How many are held now, folded or not yet.
    std::size_t size() const noexcept { return m_changes.size(); }

private:
    void fold();

    std::vector<Change> m_changes;
    std::size_t m_foldAt = kUnfolded;
};

} // namespace zel
