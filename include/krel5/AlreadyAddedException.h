#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

/// Something with this key was added to the same owner before. After the text stands what every KrelException
/// ends with.
class KREL5_EXPORT AlreadyAddedException : public KrelException
{
public:
    /// Text: {owner} "{ownerName}" already has a {kind} with the key "{key}"
    AlreadyAddedException(KrelString const& owner, KrelString const& ownerName, KrelString const& kind,
                          KrelString const& key);
    AlreadyAddedException(AlreadyAddedException const& other);
    AlreadyAddedException& operator=(AlreadyAddedException const& other);
    ~AlreadyAddedException() override;
};

} // namespace krel5
