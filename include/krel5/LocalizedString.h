#pragma once
// A text that is named by a key and resolved when it is read, with variables filled in.
//
//     LocalizedString* text = DiagModule::createLocalizedString("ReadingBlock", "Reading block {block}\n");
//     text->setVariable("block", 17u);
//     DiagModule::progress(text);                       // "Reading block 17", or its translation
//
// The text is that of the key in the module's `.w4p` files for the current language; else the default text;
// else the key itself. Each `{name}` in it whose variable is set is replaced by the variable's value, which stays
// within its line: control characters in it, line feeds too, are written as escapes (`\x0a`).
// Thread rule: one object is not changed in one thread while another uses it.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class LocalizedStringImp;
}

namespace krel5 {

class Value;
struct LocalizedStringData;

class KREL5_EXPORT LocalizedString
{
public:
    /// `defaultText` shows where no resource file has the key. InvalidKeyException when the key holds a
    /// blank.
    LocalizedString(KrelString const& key, KrelString const& defaultText);
    /// The same with the text of another module, by its guid.
    LocalizedString(KrelString const& key, KrelString const& defaultText, KrelString const& moduleGuid);
    /// For the library's own use.
    explicit LocalizedString(zel::LocalizedStringImp const& text);
    LocalizedString(LocalizedString const& other);
    LocalizedString& operator=(LocalizedString const& other);
    virtual ~LocalizedString();

    KrelString key() const;
    /// The text in the current language, with the variables that are set.
    KrelString localizedString() const;

    /// Sets or replaces a variable and returns this object. InvalidDataTypeException, and nothing changed,
    /// for a value of type LOCALIZEDSTRING or LOCALIZEDSTRINGARRAY; InternalException beyond 1000 variables.
    LocalizedString* setVariable(KrelString const& name, Value const& value);
    bool variableIsSet(KrelString const& name) const;
    /// An empty STRING when the variable is not set.
    Value valueForVariable(KrelString const& name) const;

    /// The model's text; for the library's own use. Lives as long as this object.
    zel::LocalizedStringImp& imp();
    zel::LocalizedStringImp const& imp() const;

private:
    LocalizedStringData& data();
    LocalizedStringData const& data() const;

    DataHolder<LocalizedStringData> m_holder;
};

} // namespace krel5
