#pragma once
// One indicator that an indicator module offers: a function that samples a device and returns a reading.
// Made by the indicator facade; belongs to the library and lives as long as the process.
// Thread rule: used by the module's main flow only.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/IndicatorReturnData.h>

namespace zel {
class IndicatorImp;
} // namespace zel

namespace krel5 {

class DeviceCapability;
class DiagDevice;
class KrelString;
class Parameter;
struct IndicatorInternalData;

class KREL5_EXPORT Indicator
{
public:
    using DeviceCallback = IndicatorReturnData (*)(DiagDevice const&);
    using FreeCallback = void (*)();

    /// For the library's own use. Throws InvalidKeyException for a key that is empty or holds a blank,
    /// InvalidCreationException for a null callback.
    Indicator(KrelString const& key, DeviceCapability const& capability, DeviceCallback callback);
    Indicator(KrelString const& key, DeviceCapability const& capability, FreeCallback callback);
    Indicator(Indicator const& other);
    Indicator& operator=(Indicator const& other);
    ~Indicator();

    KrelString const& key() const;
    /// Texts "Indicator.{key}.Name" and ".Description" in the current language, else the key.
    KrelString const& localizedName() const;
    KrelString const& localizedDescription() const;
    DeviceCapability deviceCapabilities() const;
    bool hasCapability(DeviceCapability const& capability) const;
    /// Null is a programming error. Throws AlreadyAddedException when the key is there already. Returns this.
    Indicator* addParameter(Parameter const* parameter);

    /// Calls the device function. Throws InternalException on a free indicator.
    IndicatorReturnData runIndicator(DiagDevice const& device) const;
    /// Calls the free function. Throws InternalException on a device indicator.
    void runIndicator() const;

    /// The record behind the handle. For the library's own use.
    zel::IndicatorImp& imp();
    zel::IndicatorImp const& imp() const;

private:
    IndicatorInternalData& data();
    IndicatorInternalData const& data() const;

    DataHolder<IndicatorInternalData> m_holder;
};

} // namespace krel5
