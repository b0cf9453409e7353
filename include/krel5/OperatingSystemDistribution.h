#pragma once
// The edition of an operating system, within its platform. Two editions have the same text;
// they are two constants and compare unequal.
//
//     bool suse = system.getDistribution() == OperatingSystemDistribution::LIN_SUSE();
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>
#include <krel5/OperatingSystemPlatform.h>

namespace zel {
class OperatingSystemDistributionImp;
}

namespace krel5 {

struct OperatingSystemDistributionInternalData;

class KREL5_EXPORT OperatingSystemDistribution
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static OperatingSystemDistribution const& accessor();
#include <zel/model/vocabulary/tables/OperatingSystemDistribution.def>

    /// ALL_DISTRIBUTIONS.
    OperatingSystemDistribution();
    /// Wraps a constant of the model; for the library's own use.
    explicit OperatingSystemDistribution(zel::OperatingSystemDistributionImp const& constant);
    OperatingSystemDistribution(OperatingSystemDistribution const& other);
    OperatingSystemDistribution& operator=(OperatingSystemDistribution const& other);
    ~OperatingSystemDistribution();

    /// The code of the constant: -1 for all, else counted from 0 in the order of the table, across platforms.
    int value() const;
    /// The platform that it belongs to.
    OperatingSystemPlatform platform() const;

    /// Compare the constants, not the texts.
    bool operator==(OperatingSystemDistribution const& other) const;
    bool operator!=(OperatingSystemDistribution const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::OperatingSystemDistributionImp const& imp() const;

private:
    OperatingSystemDistribution(OperatingSystemPlatform const& platform, int code, KrelString const& text);

    OperatingSystemDistributionInternalData& data();
    OperatingSystemDistributionInternalData const& data() const;

    DataHolder<OperatingSystemDistributionInternalData> m_holder;
};

} // namespace krel5
