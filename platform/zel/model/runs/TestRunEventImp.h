#pragma once

#include <zel/model/values/LocalizedStringImp.h>
#include <zel/model/vocabulary/EventTypeImp.h>

#include <optional>
#include <vector>

namespace zel {

/// A message of a test run: what happened, where in the module it was raised, on which device, and what a
/// person may do about it.
class ZEL_EXPORT TestRunEventImp
{
public:
    /// The device as it was when the event was raised.
    struct Device
    {
        String m_guid, m_name, m_description;
        bool operator==(Device const&) const = default;
    };

    TestRunEventImp() = default;
    TestRunEventImp(EventTypeImp const& type, String key, int eventCode, String eventCodeString,
                    LocalizedStringImp message);

    EventTypeImp const& type() const noexcept { return m_type; }
    void setType(EventTypeImp const& type) { m_type = type; }
    String const& key() const noexcept { return m_key; }
    int eventCode() const noexcept { return m_eventCode; }
    /// What people quote: the customer's code where there is one, else the number.
    String const& eventCodeString() const noexcept { return m_eventCodeString; }
    void setEventCodeString(String const& text) { m_eventCodeString = text; }
    LocalizedStringImp const& message() const noexcept { return m_message; }
    LocalizedStringImp& message() noexcept { return m_message; }
    void setMessage(LocalizedStringImp const& message) { m_message = message; }

    /// The module whose texts the event shows; stamps message and tips.
    void setModuleGuid(String const& guid);
    /// Of the message and of every tip that is there. Errors as LocalizedStringImp::setVariable.
    void setVariable(String const& name, ValueImp const& value);

    String const& sourceFile() const noexcept { return m_sourceFile; }
    int sourceLine() const noexcept { return m_sourceLine; }
    void setSource(String const& file, int line);

    std::optional<Device> const& device() const noexcept { return m_device; }
    void setDevice(Device const& device) { m_device = device; }

    std::size_t tipCount() const noexcept { return m_tips.size(); }
    /// Throws IndexOutOfBoundsException.
    LocalizedStringImp const& tip(std::size_t index) const;
    void addTip(LocalizedStringImp const& tip) { m_tips.push_back(tip); }

    bool operator==(TestRunEventImp const&) const = default;

private:
    EventTypeImp m_type;
    String m_key;
    int m_eventCode = 0;
    String m_eventCodeString;
    LocalizedStringImp m_message;
    String m_sourceFile;
    int m_sourceLine = 0;
    std::optional<Device> m_device;
    std::vector<LocalizedStringImp> m_tips;
};

} // namespace zel
