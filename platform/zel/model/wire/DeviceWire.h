#pragma once

#include <zel/model/devices/DeviceImp.h>
#include <zel/model/wire/SpecificationWire.h>

#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zel::wire {

/// `parent` is the device below which it stands, null: none. The device's specifications were added to the names and
/// written.
void writeDevice(XmlWriter& writer, DeviceImp const& device, DeviceImp const* parent,
                 SpecificationNames& names);

/// Reads devices of one document.
class DeviceReader
{
public:
    DeviceReader(XmlReader& reader, Specifications& specifications)
        : m_reader(reader), m_specifications(specifications)
    {}

    /// The element is open; it is read to its end. Its attribute "parent" is the caller's to read before.
    std::unique_ptr<DeviceImp> read();

private:
    using Properties = std::vector<std::unique_ptr<PropertyImp>>;

    CapabilityImp const& capabilities(std::string_view attribute);
    void readProperty();
    void readChildBus(DeviceImp& device);
    void tieGroups(DeviceImp& device);
    void refuseSecond(Specifications::Entry const& entry);

    XmlReader& m_reader;
    Specifications& m_specifications;
    std::unordered_map<std::string_view, CapabilityImp> m_capabilities; // by their bytes: few differ
    Properties m_properties;                                            // of the device being read
    std::vector<std::size_t> m_lastDeviceWith; // by number of the key: the device that had it last
    std::size_t m_device = 0;
    bool m_hasGroups = false;
};

} // namespace zel::wire
