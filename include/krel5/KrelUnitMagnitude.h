#pragma once
// The magnitude in which a measurement is given or read: a power of ten, and beside it a power of two for
// units that are counted in those. BASEUNIT is the plain unit; AUTOSCALEUNIT leaves the choice to the library
// when a measurement is read or printed.
//
//     double gigabytes = size.value(KrelUnitMagnitude::GIGA());
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class UnitMagnitude;
}

namespace krel5 {

struct KrelUnitMagnitudeInternalData;

class KREL5_EXPORT KrelUnitMagnitude
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static KrelUnitMagnitude const& accessor();
#include <zel/model/vocabulary/tables/UnitMagnitude.def>

    /// BASEUNIT.
    KrelUnitMagnitude();
    /// The magnitude of a name; a name that is in no row gives a magnitude with the text "INVALID" and both
    /// powers 0.
    explicit KrelUnitMagnitude(KrelString const& name);
    /// Wraps a constant of the model; for the library's own use.
    explicit KrelUnitMagnitude(zel::UnitMagnitude const& constant);
    KrelUnitMagnitude(KrelUnitMagnitude const& other);
    KrelUnitMagnitude& operator=(KrelUnitMagnitude const& other);
    ~KrelUnitMagnitude();

    /// Compare the constants, not the texts.
    bool operator==(KrelUnitMagnitude const& other) const;
    bool operator!=(KrelUnitMagnitude const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::UnitMagnitude const& imp() const;

protected:
    /// The two powers are those of the table; the name decides.
    KrelUnitMagnitude(KrelString const& name, int powerOfTen, int powerOfTwo);

private:
    KrelUnitMagnitudeInternalData& data();
    KrelUnitMagnitudeInternalData const& data() const;

    DataHolder<KrelUnitMagnitudeInternalData> m_holder;
};

} // namespace krel5
