#pragma once
// What an alert is about.
//
//     Alert* alert = Alert::createAlert("disk.full", AlertType::HARDWARE_ISSUE());
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class AlertTypeImp;
}

namespace krel5 {

struct AlertTypeInternalData;

class KREL5_EXPORT AlertType
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static AlertType const& accessor();
#include <zel/model/vocabulary/tables/AlertType.def>

    /// A type outside the table, with the text "INVALID".
    AlertType();
    /// Wraps a constant of the model; for the library's own use.
    explicit AlertType(zel::AlertTypeImp const& constant);
    AlertType(AlertType const& other);
    AlertType& operator=(AlertType const& other);
    ~AlertType();

    /// Compare the constants, not the texts.
    bool operator==(AlertType const& other) const;
    bool operator!=(AlertType const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::AlertTypeImp const& imp() const;

private:
    explicit AlertType(KrelString const& text);

    AlertTypeInternalData& data();
    AlertTypeInternalData const& data() const;

    DataHolder<AlertTypeInternalData> m_holder;
};

} // namespace krel5
