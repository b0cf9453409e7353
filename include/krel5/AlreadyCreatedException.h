#pragma once

#include <krel5/KrelException.h>

namespace krel5 {

/// This module has created something of this kind with this key before. After the text stands what every
/// KrelException ends with.
class KREL5_EXPORT AlreadyCreatedException : public KrelException
{
public:
    /// Text: A {kind} with the key "{key}" already exists in this module.
    AlreadyCreatedException(KrelString const& kind, KrelString const& key);
    AlreadyCreatedException(AlreadyCreatedException const& other);
    AlreadyCreatedException& operator=(AlreadyCreatedException const& other);
    ~AlreadyCreatedException() override;
};

} // namespace krel5
