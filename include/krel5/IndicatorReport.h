#pragma once
// What an indicator module says to a client in its own process.
//
//     void show(IndicatorReport const& report)
//     {
//         for (unsigned int i = 0; i < report.readingCount(); ++i)
//             std::printf("%s: %s\n", report.readingAtIndex(i).key().getUTF8Buffer(),
//                         report.readingAtIndex(i).value().toString().getUTF8Buffer());
//     }
//
// Thread rule: one report is not used from two threads at once. All that it gives out are copies that belong to it, and stay as
// they are, whatever the module does meanwhile, until the last copy of the report is gone.

#include <krel5/DataHolder.h>
#include <krel5/DeviceProperty.h>
#include <krel5/DiagDevice.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

#include <memory>

namespace zel {
class Message;
} // namespace zel

namespace krel5 {

struct IndicatorReportInternalData;

class KREL5_EXPORT IndicatorReport
{
public:
    enum class Kind {
        Nothing,  ///< nothing came in time
        Readings, ///< what an indicator read of deviceAtIndex(0)
        Changes,  ///< what came, went and changed, as the net of it
        Listing,  ///< all devices with their indicators, and all alerts
        Refused,  ///< the module did not do what was asked for; text() says why
        Lost,     ///< so many readings and refusals, lostCount(), were not fetched in time and are gone
        Ended     ///< the module has ended, with status()
    };
    enum class Change {
        DeviceAdded,
        DeviceUpdated,
        DeviceRemoved, ///< with all that was known of it
        PropertyAdded, ///< of the device, with the key changedKey()
        PropertyRemoved,
        AlertAdded,
        AlertUpdated, ///< raised again, with other texts perhaps
        AlertRemoved
    };

    IndicatorReport(); ///< of the kind Nothing
    /// For the library's own use.
    explicit IndicatorReport(std::shared_ptr<zel::Message> message);
    IndicatorReport(IndicatorReport const& other);
    IndicatorReport& operator=(IndicatorReport const& other);
    ~IndicatorReport();

    Kind kind() const;

    // What a report of this kind does not have is empty, or 0. An index beyond the end throws
    // IndexOutOfBoundsException(0, count - 1, index).

    /// Of readings the one device, without its other properties; of changes those that came or changed and are still there.
    unsigned int deviceCount() const;
    DiagDevice const& deviceAtIndex(unsigned int index) const;
    /// By which requests name it (IndicatorClient).
    KrelString deviceGuidAtIndex(unsigned int index) const;

    unsigned int readingCount() const;
    DeviceProperty const& readingAtIndex(unsigned int index) const;

    /// In the order in which they happened.
    unsigned int changeCount() const;
    Change changeAtIndex(unsigned int index) const;
    /// Guid of the device or the alert.
    KrelString changedGuidAtIndex(unsigned int index) const;
    /// Key of the property; empty for other changes.
    KrelString changedKeyAtIndex(unsigned int index) const;

    /// Keys of the indicators that are for the device; of those that are for none.
    unsigned int indicatorCount(unsigned int device) const;
    KrelString indicatorAtIndex(unsigned int device, unsigned int index) const;
    unsigned int freeIndicatorCount() const;
    KrelString freeIndicatorAtIndex(unsigned int index) const;

    /// Of changes the alerts that came or were raised again and are still held. Texts are in the current language.
    unsigned int alertCount() const;
    KrelString alertGuidAtIndex(unsigned int index) const;
    KrelString alertKeyAtIndex(unsigned int index) const;
    KrelString alertTitleAtIndex(unsigned int index) const;
    KrelString alertMessageAtIndex(unsigned int index) const;
    /// Guid; empty: of no device.
    KrelString alertDeviceAtIndex(unsigned int index) const;
    unsigned int alertTipCount(unsigned int alert) const;
    /// Title and content, as "Title: content".
    KrelString alertTipAtIndex(unsigned int alert, unsigned int index) const;

    KrelString text() const;
    unsigned long long lostCount() const;
    int status() const;

private:
    IndicatorReportInternalData& data();
    IndicatorReportInternalData const& data() const;

    DataHolder<IndicatorReportInternalData> m_holder;
};

} // namespace krel5
