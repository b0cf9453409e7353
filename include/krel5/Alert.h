#pragma once
// A notice that an indicator raises about a device or about the machine.
//
//     Alert* alert = Alert::createAlert("FanSlow", AlertType::HARDWARE_ISSUE()); // texts "Alert.FanSlow.*"
//     alert->setMessageVariable("rpm", 310u)->setDeviceAssociation(fan)->addTip(tip)->send();
//
// Thread rule: one object is not changed in one thread while another uses it; send() may be called from any
// thread.

#include <krel5/AlertType.h>
#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class AlertImp;
}

namespace krel5 {

class SysInfoDevice;
class Tip;
class Value;
struct AlertInternalData;

class KREL5_EXPORT Alert
{
public:
    /// A new alert of the running module, owned by the library for the life of the process.
    static Alert* createAlert(KrelString const& key, AlertType const& type);

    Alert(Alert const& other);
    Alert& operator=(Alert const& other);
    ~Alert();

    KrelString const& key() const;
    /// Identity of the alert: what setGuid() set, else made from module, key and device, so that the same
    /// alert raised again for a device takes the place of the earlier one.
    KrelString guid() const;

    /// Each of these returns this object.
    Alert* setGuid(KrelString const& guid);
    /// Set a variable of title or message. InvalidDataTypeException, and nothing changed, for a value of type
    /// LOCALIZEDSTRING or LOCALIZEDSTRINGARRAY; InternalException beyond 1000 variables.
    Alert* setTitleVariable(KrelString const& name, Value const& value);
    Alert* setMessageVariable(KrelString const& name, Value const& value);
    /// Replace the whole text, in every language; variables still apply.
    Alert* setTitleOverride(KrelString const& text);
    Alert* setMessageOverride(KrelString const& text);
    /// Seconds since 1970-01-01 00:00 UTC; 0: send() sets the time.
    Alert* setTimeTriggered(unsigned int seconds);
    /// Takes a copy; null is ignored.
    Alert* addTip(Tip* tip);
    /// Ties the alert to the device, by its guid; null: to none.
    Alert* setDeviceAssociation(SysInfoDevice const* device);

    /// Hands a copy of the alert over, from where it is delivered. A time that was set, or that an earlier
    /// send() set, is kept.
    Alert* send();

    /// The model's record; for the library's own use. Lives as long as this object.
    zel::AlertImp& imp();
    zel::AlertImp const& imp() const;

private:
    friend class IndicatorModule;
    explicit Alert(zel::AlertImp const& alert);
    AlertInternalData& data();
    AlertInternalData const& data() const;

    DataHolder<AlertInternalData> m_holder;
};

} // namespace krel5
