#include <inventory/Report.h>

#include <krel5/SysInfoDevice.h>
#include <krel5/SysInfoModule.h>
#include <krel5/Value.h>

#include <zel/model/state/StateManager.h>

#include <algorithm>
#include <vector>

namespace krel5::modules::inventory {

namespace {

using C = zel::CapabilityImp;

/// One for every few square millimetres of silicon: who counts machines or drives does not want to read them.
bool isPartOfProcessor(zel::DeviceImp const& device)
{
    return device.deviceType().intersects(C::CPUCore() | C::CPUThread() | C::CPUCache());
}

class Reporter
{
public:
    Reporter(zel::StateManager const& found, Declarations const& declarations, bool all)
        : m_found(found), m_declarations(declarations), m_all(all)
    {}

    void run()
    {
        for (std::size_t i = m_found.deviceCount(); i-- > 0;) // the stack gives back the first one first
            if (zel::DeviceImp const& device = *m_found.deviceAtIndex(i); !m_found.parentOf(device))
                m_waiting.push_back({&device, nullptr});
        while (!m_waiting.empty()) {
            auto const [theirs, above] = m_waiting.back();
            m_waiting.pop_back();
            zel::DeviceImp* const mine = m_all || !isPartOfProcessor(*theirs) ? add(*theirs, above) : nullptr;
            auto const& children = m_found.childrenOf(*theirs);
            for (auto child = children.rbegin(); child != children.rend(); ++child)
                m_waiting.push_back({*child, mine ? mine : above});
        }
        zel::StateManager::instance().completeDevices(m_places);
    }

private:
    struct Waiting
    {
        zel::DeviceImp const* theirs;
        zel::DeviceImp* above; ///< record of this module below which it is to stand; null: none
    };

    /// Null when the filter leaves it out. The library keeps the record that it took for the life of the process.
    zel::DeviceImp* add(zel::DeviceImp const& theirs, zel::DeviceImp* above)
    {
        auto record = zel::DeviceImp::restored({theirs.guid(), theirs.name(), theirs.description(),
                                                theirs.osLocator(), theirs.hwLocator(), theirs.deviceType(),
                                                theirs.deviceCapabilities(), theirs.busClass()});
        record->setState(theirs.state());
        for (zel::String const& bus : theirs.childBusIds())
            record->addChildBusId(bus);
        SysInfoDevice device(record.get());
        for (zel::PropertyImp const* const property : inOrder(theirs))
            addProperty(device, *property);
        if (zel::DeviceImp* const known = zel::StateManager::instance().matchingDevice(*record)) {
            known->mergeFrom(*record); // came by pipe, from whoever asked
            place(*known, above);
            return known;
        }
        SysInfoModule::addDevice(&device);
        if (zel::StateManager::instance().matchingDevice(*record) != record.get())
            return nullptr;
        place(*record, above);
        return record.release();
    }

    /// A module adds devices without a parent; that each has one comes to the state with the last step.
    void place(zel::DeviceImp const& mine, zel::DeviceImp const* above)
    {
        auto bare = zel::DeviceImp::restored({mine.guid(), "", "", "", "", C(), C(), C()});
        m_places.addDevice(std::move(bare), above ? m_places.device(above->guid()) : nullptr);
    }

    /// As groups are shown; what only some other module knows comes last.
    std::vector<zel::PropertyImp const*> inOrder(zel::DeviceImp const& theirs) const
    {
        std::vector<zel::PropertyImp const*> all;
        for (std::size_t i = 0; i < theirs.propertyCount(); ++i)
            all.push_back(&theirs.getProperty(i));
        auto const place = [this](zel::PropertyImp const* property) {
            Declaration const* const known = m_declarations.find(property->key());
            return known ? known->group : ~0u;
        };
        std::stable_sort(all.begin(), all.end(), [&place](auto const* left, auto const* right) {
            return place(left) < place(right);
        });
        return all;
    }

    void addProperty(SysInfoDevice& device, zel::PropertyImp const& theirs)
    {
        if (Declaration const* const known = m_declarations.find(theirs.key())) {
            if (known->isDetail && !m_all)
                return;
            known->property->setValue(Value(theirs.value()));
            device.addProperty(known->property);
            return;
        }
        DeviceProperty foreign(theirs.spec().get()); // of a module in the modules folder
        foreign.setValue(Value(theirs.value()));
        device.addProperty(&foreign);
    }

    zel::StateManager const& m_found;
    Declarations const& m_declarations;
    bool m_all;
    std::vector<Waiting> m_waiting;
    zel::StateManager m_places; ///< every device that was reported, with nothing but its place
};

} // namespace

void report(zel::StateManager const& found, Declarations const& declarations, bool all)
{
    Reporter(found, declarations, all).run();
}

} // namespace krel5::modules::inventory
