#include <libKrel5/basics/FactoryRules.h>

#include <libKrel5/basics/ModuleIdentity.h>

#include <krel5/InvalidInitException.h>
#include <krel5/InvalidKeyException.h>
#include <krel5/KrelString.h>

namespace krel5 {

void checkOpenForFactories(char const* function, KrelString const& key)
{
    if (ModuleIdentity::isClosedForFactories())
        throw InvalidInitException(KrelString("Cannot call ") + function +
                                   " after calling start (object key = " + key + ")");
}

void checkKeyOfNewObject(char const* kind, KrelString const& key)
{
    if (key.size() == 0 || key.zelString().contains(" "))
        throw InvalidKeyException(kind, key);
}

} // namespace krel5
