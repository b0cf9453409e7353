#include <krel5/OperatingSystemMajorVersion.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/OperatingSystemMajorVersionImp.h>

namespace krel5 {

struct OperatingSystemMajorVersionInternalData : VocabularyRecord<zel::OperatingSystemMajorVersionImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(OperatingSystemMajorVersion, OperatingSystemMajorVersionInternalData,
                        zel::OperatingSystemMajorVersionImp)

// By code, not by text: two rows may have the same text.
OperatingSystemMajorVersion::OperatingSystemMajorVersion(OperatingSystemPlatform const& /*platform*/,
                                                         int code, KrelString const& /*text*/)
    : m_holder(OperatingSystemMajorVersionInternalData(
          zel::OperatingSystemMajorVersionImp::getConstantByNumber(code)))
{}

int OperatingSystemMajorVersion::value() const { return data().imp.value(); }

OperatingSystemPlatform OperatingSystemMajorVersion::platform() const
{
    return OperatingSystemPlatform(data().imp.platform());
}

} // namespace krel5
