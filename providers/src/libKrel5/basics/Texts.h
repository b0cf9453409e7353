#pragma once
// What the handles that hold localized strings share.

namespace zel {
class LocalizedStringImp;
class String;
} // namespace zel

namespace krel5 {

class KrelString;
class Value;

/// Sets a variable of a text. InvalidDataTypeException, naming `where`, for a value of type LOCALIZEDSTRING
/// or LOCALIZEDSTRINGARRAY, and InternalException for what the model refuses; the text then stays as it was.
void setTextVariable(zel::LocalizedStringImp& text, char const* where, KrelString const& name,
                     Value const& value);

/// `cache` holding `text`. A cache that holds it already is left alone, so that the buffers it handed out
/// stay valid.
KrelString const& cached(KrelString& cache, zel::String const& text);

/// The key, when it holds no blank, else InvalidKeyException for "create{what}".
KrelString const& checkedKey(char const* what, KrelString const& key);

} // namespace krel5
