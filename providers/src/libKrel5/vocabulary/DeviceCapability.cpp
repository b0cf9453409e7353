#include <krel5/DeviceCapability.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/CapabilityImp.h>

namespace krel5 {

struct DeviceCapabilityInternalData : VocabularyRecord<zel::CapabilityImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(DeviceCapability, DeviceCapabilityInternalData, zel::CapabilityImp)

DeviceCapability::DeviceCapability(KrelString const& text)
    : m_holder(DeviceCapabilityInternalData(zel::CapabilityImp::getConstantByString(text.zelString())))
{}

DeviceCapability DeviceCapability::operator|(DeviceCapability const& other) const
{
    return DeviceCapability(data().imp | other.data().imp);
}

DeviceCapability& DeviceCapability::operator|=(DeviceCapability const& other)
{
    data().imp |= other.data().imp;
    data().text = data().imp.toString();
    return *this;
}

bool DeviceCapability::isCapable(DeviceCapability const& other) const
{
    return data().imp.isCapable(other.data().imp);
}

unsigned int DeviceCapability::numberOfElements() const
{
    return static_cast<unsigned int>(data().imp.primitiveCapabilityCount());
}

zel::String const& DeviceCapability::UnknownIcon()
{
    static zel::String const& icon = *new zel::String("unknown");
    return icon;
}

} // namespace krel5
