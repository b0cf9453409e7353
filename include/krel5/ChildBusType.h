#pragma once
// The bus by which a device reaches its children.
//
//     drive->addChildBusId(ChildBusType::SCSI(), "0");
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class ChildBusTypeImp;
}

namespace krel5 {

struct ChildBusTypeInternalData;

class KREL5_EXPORT ChildBusType
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static ChildBusType const& accessor();
#include <zel/model/vocabulary/tables/ChildBusType.def>

    /// A type outside the table, with the text "INVALID".
    ChildBusType();
    /// Wraps a constant of the model; for the library's own use.
    explicit ChildBusType(zel::ChildBusTypeImp const& constant);
    ChildBusType(ChildBusType const& other);
    ChildBusType& operator=(ChildBusType const& other);
    ~ChildBusType();

    /// Compare the constants, not the texts.
    bool operator==(ChildBusType const& other) const;
    bool operator!=(ChildBusType const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::ChildBusTypeImp const& imp() const;

private:
    explicit ChildBusType(KrelString const& text);

    ChildBusTypeInternalData& data();
    ChildBusTypeInternalData const& data() const;

    DataHolder<ChildBusTypeInternalData> m_holder;
};

} // namespace krel5
