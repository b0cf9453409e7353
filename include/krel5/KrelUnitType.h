#pragma once
// The unit of a measurement. The HEXADECIMAL units are for counts shown in hexadecimal of that many bits.
//
//     KrelDiscreteMeasurement size(KrelUnitType::BYTES(), 4096);
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class UnitType;
}

namespace krel5 {

struct KrelUnitTypeInternalData;

class KREL5_EXPORT KrelUnitType
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static KrelUnitType const& accessor();
#include <zel/model/vocabulary/tables/UnitType.def>

    /// NOUNIT.
    KrelUnitType();
    /// The unit of a name; a name that is in no row gives a unit with the text "INVALID".
    explicit KrelUnitType(KrelString const& name);
    /// Wraps a constant of the model; for the library's own use.
    explicit KrelUnitType(zel::UnitType const& constant);
    KrelUnitType(KrelUnitType const& other);
    KrelUnitType& operator=(KrelUnitType const& other);
    ~KrelUnitType();

    /// Compare the constants, not the texts.
    bool operator==(KrelUnitType const& other) const;
    bool operator!=(KrelUnitType const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::UnitType const& imp() const;

private:
    KrelUnitTypeInternalData& data();
    KrelUnitTypeInternalData const& data() const;

    DataHolder<KrelUnitTypeInternalData> m_holder;
};

} // namespace krel5
