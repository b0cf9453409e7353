#pragma once

#include <zel/model/runs/TipImp.h>
#include <zel/model/values/LocalizedStringImp.h>
#include <zel/model/vocabulary/AlertTypeImp.h>

#include <cstdint>
#include <vector>

namespace zel {

/// A notice that an indicator raised. Its texts are "Alert.{key}.Title" and "Alert.{key}.Message".
class ZEL_EXPORT AlertImp
{
public:
    AlertImp() = default;
    AlertImp(String const& moduleGuid, String const& key, AlertTypeImp const& type);

    /// Identity of the alert: what was set, else made from module, key and device, so that the same alert
    /// raised twice for a device is the same alert.
    String const& guid() const noexcept { return m_guid; }
    void setGuid(String const& guid);
    bool hasOwnGuid() const noexcept { return m_guidWasSet; } ///< it was set
    String const& key() const noexcept { return m_key; }
    AlertTypeImp const& type() const noexcept { return m_type; }
    String const& moduleGuid() const noexcept { return m_moduleGuid; }
    /// Stamps the texts and the tips too.
    void setModuleGuid(String const& guid);

    LocalizedStringImp const& title() const noexcept { return m_title; }
    LocalizedStringImp& title() noexcept { return m_title; }
    LocalizedStringImp const& message() const noexcept { return m_message; }
    LocalizedStringImp& message() noexcept { return m_message; }

    /// Seconds since 1970-01-01 00:00 UTC; 0: not yet.
    std::uint32_t timeTriggered() const noexcept { return m_timeTriggered; }
    void setTimeTriggered(std::uint32_t seconds) noexcept { m_timeTriggered = seconds; }
    /// Empty: no device.
    String const& deviceGuid() const noexcept { return m_deviceGuid; }
    void setDeviceGuid(String const& guid);

    std::size_t tipCount() const noexcept { return m_tips.size(); }
    /// Throws IndexOutOfBoundsException.
    TipImp const& tip(std::size_t index) const;
    void addTip(TipImp const& tip);

    bool operator==(AlertImp const&) const = default;

private:
    void renewGuid();

    String m_guid, m_key, m_moduleGuid, m_deviceGuid;
    AlertTypeImp m_type;
    bool m_guidWasSet = false;
    LocalizedStringImp m_title, m_message;
    std::uint32_t m_timeTriggered = 0;
    std::vector<TipImp> m_tips;
};

} // namespace zel
