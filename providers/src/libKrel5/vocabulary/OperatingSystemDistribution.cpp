#include <krel5/OperatingSystemDistribution.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/OperatingSystemDistributionImp.h>

namespace krel5 {

struct OperatingSystemDistributionInternalData : VocabularyRecord<zel::OperatingSystemDistributionImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(OperatingSystemDistribution, OperatingSystemDistributionInternalData,
                        zel::OperatingSystemDistributionImp)

// By code, not by text: two rows may have the same text.
OperatingSystemDistribution::OperatingSystemDistribution(OperatingSystemPlatform const& /*platform*/,
                                                         int code, KrelString const& /*text*/)
    : m_holder(OperatingSystemDistributionInternalData(
          zel::OperatingSystemDistributionImp::getConstantByNumber(code)))
{}

int OperatingSystemDistribution::value() const { return data().imp.value(); }

OperatingSystemPlatform OperatingSystemDistribution::platform() const
{
    return OperatingSystemPlatform(data().imp.platform());
}

} // namespace krel5
