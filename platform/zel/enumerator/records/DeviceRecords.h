#pragma once
// From descriptions to device records of a state manager.

#include <zel/enumerator/records/DeviceSink.h>

#include <cstddef>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace zel {

class DeviceImp;
class StateManager;

/// Collects the descriptions of one scan and makes records of them.
/// Thread rule: none; one scan, one collector.
class ZEL_EXPORT DeviceRecords : public DeviceSink
{
public:
    /// Keeps what has at least one of `wanted`.
    explicit DeviceRecords(CapabilityImp wanted, bool detail = false);

    /// Throws InvalidArgumentException, and takes nothing, when a property is no row of Properties.def or its
    /// value cannot be read as the type that the row names.
    void add(DeviceDescription device) override;
    /// Kept if it concerns what is wanted: once for each table, of the classes that are wanted.
    void tell(TableDamage const& damage) override;
    bool wantsDetail() const override { return m_detail; }
    std::size_t count() const noexcept { return m_devices.size(); }
    std::vector<DeviceDescription> const& devices() const noexcept { return m_devices; }
    std::vector<TableDamage> const& damages() const noexcept { return m_damages; }

    /// Adds the devices to `state`, each below its parent if that is among them, with the specifications of
    /// their properties. A device that is there already takes over what is new.
    void fill(StateManager& state) const;

private:
    using Key = std::pair<String, String>; ///< type and location
    static Key keyOf(CapabilityImp const& type, String const& locator);

    CapabilityImp m_wanted;
    bool m_detail;
    std::vector<DeviceDescription> m_devices;
    std::vector<TableDamage> m_damages;
    std::map<Key, std::size_t> m_index; ///< into m_devices
};

/// The record of one device, with its properties.
ZEL_EXPORT std::unique_ptr<DeviceImp> makeRecord(DeviceDescription const& device);

} // namespace zel
