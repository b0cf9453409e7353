#include <libKrel5/basics/Texts.h>

#include <krel5/InvalidKeyException.h>
#include <krel5/KrelString.h>

namespace krel5 {

KrelString const& cached(KrelString& cache, zel::String const& text)
{
    if (!(cache.zelString() == text))
        cache = KrelString(text);
    return cache;
}

KrelString const& checkedKey(char const* what, KrelString const& key)
{
    if (key.zelString().contains(zel::String(" ")))
        throw InvalidKeyException(what, key);
    return key;
}

} // namespace krel5
