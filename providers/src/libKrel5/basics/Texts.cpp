#include <libKrel5/basics/Texts.h>

#include <krel5/InternalException.h>
#include <krel5/InvalidDataTypeException.h>
#include <krel5/InvalidKeyException.h>
#include <krel5/Value.h>

#include <zel/foundation/Exception.h>
#include <zel/model/values/LocalizedStringImp.h>

namespace krel5 {

void setTextVariable(zel::LocalizedStringImp& text, char const* where, KrelString const& name,
                     Value const& value)
{
    DataType const type = value.type();
    if (type == DataType::LOCALIZEDSTRING() || type == DataType::LOCALIZEDSTRINGARRAY())
        throw InvalidDataTypeException(where, type);
    try {
        text.setVariable(name.zelString(), value.getZELValue());
    } catch (zel::Exception const& e) {
        throw InternalException(e);
    }
}

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
