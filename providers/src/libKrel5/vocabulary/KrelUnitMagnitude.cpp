#include <krel5/KrelUnitMagnitude.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/UnitMagnitude.h>

namespace krel5 {

struct KrelUnitMagnitudeInternalData : VocabularyRecord<zel::UnitMagnitude>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(KrelUnitMagnitude, KrelUnitMagnitudeInternalData, zel::UnitMagnitude)

KrelUnitMagnitude::KrelUnitMagnitude(KrelString const& name)
    : m_holder(KrelUnitMagnitudeInternalData(zel::UnitMagnitude::getConstantByString(name.zelString())))
{}

KrelUnitMagnitude::KrelUnitMagnitude(KrelString const& name, int /*powerOfTen*/, int /*powerOfTwo*/)
    : KrelUnitMagnitude(name)
{}

} // namespace krel5
