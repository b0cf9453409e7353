#include <krel5/OperatingSystemMinorVersion.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/OperatingSystemMinorVersionImp.h>

namespace krel5 {

struct OperatingSystemMinorVersionInternalData : VocabularyRecord<zel::OperatingSystemMinorVersionImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(OperatingSystemMinorVersion, OperatingSystemMinorVersionInternalData,
                        zel::OperatingSystemMinorVersionImp)

OperatingSystemMinorVersion::OperatingSystemMinorVersion(OperatingSystemPlatform const& platform, int number)
    : OperatingSystemMinorVersion(zel::OperatingSystemMinorVersionImp(platform.imp(), number))
{}

int OperatingSystemMinorVersion::value() const { return data().imp.value(); }

OperatingSystemPlatform OperatingSystemMinorVersion::platform() const
{
    return OperatingSystemPlatform(data().imp.platform());
}

} // namespace krel5
