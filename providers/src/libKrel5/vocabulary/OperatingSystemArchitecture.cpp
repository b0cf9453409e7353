#include <krel5/OperatingSystemArchitecture.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/OperatingSystemArchitectureImp.h>

namespace krel5 {

struct OperatingSystemArchitectureInternalData : VocabularyRecord<zel::OperatingSystemArchitectureImp>
{
    OperatingSystemArchitectureInternalData()
        : OperatingSystemArchitectureInternalData(zel::OperatingSystemArchitectureImp())
    {}
    explicit OperatingSystemArchitectureInternalData(zel::OperatingSystemArchitectureImp const& constant)
        : VocabularyRecord(constant), longText(constant.longText())
    {}

    KrelString longText;
};

KREL5_VOCABULARY_HANDLE(OperatingSystemArchitecture, OperatingSystemArchitectureInternalData,
                        zel::OperatingSystemArchitectureImp)

OperatingSystemArchitecture::OperatingSystemArchitecture(int code, KrelString const& /*text*/,
                                                         KrelString const& /*longText*/)
    : m_holder(OperatingSystemArchitectureInternalData(
          zel::OperatingSystemArchitectureImp::getConstantByNumber(code)))
{}

int OperatingSystemArchitecture::value() const { return data().imp.value(); }

KrelString const& OperatingSystemArchitecture::longText() const { return data().longText; }

} // namespace krel5
