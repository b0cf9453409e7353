#pragma once

namespace zel {
class LocalizedStringImp;
}

namespace krel5 {

class KrelString;
class Value;

/// Sets a variable of a text. InvalidDataTypeException, naming `where`, for a value of type LOCALIZEDSTRING
/// or LOCALIZEDSTRINGARRAY, and InternalException for what the model refuses; the text then stays as it was.
void setTextVariable(zel::LocalizedStringImp& text, char const* where, KrelString const& name,
                     Value const& value);

} // namespace krel5
