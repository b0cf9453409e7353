#include <libKrel5/values/TextVariables.h>

#include <krel5/InternalException.h>
#include <krel5/InvalidDataTypeException.h>
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

} // namespace krel5
