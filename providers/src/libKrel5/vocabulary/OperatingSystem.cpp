#include <krel5/OperatingSystem.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/OperatingSystemImp.h>

namespace krel5 {

struct OperatingSystemInternalData : VocabularyRecord<zel::OperatingSystemImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(OperatingSystem, OperatingSystemInternalData, zel::OperatingSystemImp)

OperatingSystem::OperatingSystem(OperatingSystemPlatform const& platform,
                                 OperatingSystemArchitecture const& architecture,
                                 OperatingSystemMajorVersion const& major,
                                 OperatingSystemDistribution const& distribution,
                                 OperatingSystemMinorVersion const& minor)
    : OperatingSystem(zel::OperatingSystemImp(platform.imp(), architecture.imp(), major.imp(),
                                              distribution.imp(), minor.imp()))
{}

OperatingSystem::OperatingSystem(OperatingSystemPlatform const& platform,
                                 OperatingSystemMajorVersion const& major,
                                 OperatingSystemDistribution const& distribution,
                                 OperatingSystemMinorVersion const& minor)
    : OperatingSystem(platform, OperatingSystemArchitecture::ALL_ARCHITECTURES(), major, distribution, minor)
{}

OperatingSystem OperatingSystem::getCurrentOperatingSystem()
{
    return OperatingSystem(zel::OperatingSystemImp::getCurrentOperatingSystem());
}

OperatingSystemPlatform OperatingSystem::getPlatform() const
{
    return OperatingSystemPlatform(data().imp.getPlatform());
}

OperatingSystemArchitecture OperatingSystem::getArchitecture() const
{
    return OperatingSystemArchitecture(data().imp.getArchitecture());
}

OperatingSystemMajorVersion OperatingSystem::getMajor() const
{
    return OperatingSystemMajorVersion(data().imp.getMajor());
}

OperatingSystemMinorVersion OperatingSystem::getMinor() const
{
    return OperatingSystemMinorVersion(data().imp.getMinor());
}

OperatingSystemDistribution OperatingSystem::getDistribution() const
{
    return OperatingSystemDistribution(data().imp.getDistribution());
}

} // namespace krel5
