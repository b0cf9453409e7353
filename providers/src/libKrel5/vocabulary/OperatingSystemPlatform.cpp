#include <krel5/OperatingSystemPlatform.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/OperatingSystemPlatformImp.h>

namespace krel5 {

struct OperatingSystemPlatformInternalData : VocabularyRecord<zel::OperatingSystemPlatformImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(OperatingSystemPlatform, OperatingSystemPlatformInternalData,
                        zel::OperatingSystemPlatformImp)

OperatingSystemPlatform::OperatingSystemPlatform(int code, KrelString const& /*text*/)
    : m_holder(
          OperatingSystemPlatformInternalData(zel::OperatingSystemPlatformImp::getConstantByNumber(code)))
{}

int OperatingSystemPlatform::value() const { return data().imp.value(); }

} // namespace krel5
