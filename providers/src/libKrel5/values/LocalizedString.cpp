#include <krel5/LocalizedString.h>

#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/Texts.h>
#include <libKrel5/values/TextVariables.h>

#include <krel5/Value.h>

#include <zel/model/values/LocalizedStringImp.h>
#include <zel/model/values/ValueImp.h>

namespace krel5 {

struct LocalizedStringData
{
    zel::LocalizedStringImp imp;
};

template class DataHolder<LocalizedStringData>;

LocalizedString::LocalizedString(KrelString const& key, KrelString const& defaultText)
    : LocalizedString(key, defaultText, KrelString())
{}

LocalizedString::LocalizedString(KrelString const& key, KrelString const& defaultText,
                                 KrelString const& moduleGuid)
    : m_holder(LocalizedStringData{zel::LocalizedStringImp(checkedKey("LocalizedString", key).zelString(),
                                                           defaultText.zelString(), moduleGuid.zelString())})
{}

LocalizedString::LocalizedString(zel::LocalizedStringImp const& text) : m_holder(LocalizedStringData{text}) {}
LocalizedString::LocalizedString(LocalizedString const& other) = default;
LocalizedString& LocalizedString::operator=(LocalizedString const& other) = default;
LocalizedString::~LocalizedString() = default;

KrelString LocalizedString::key() const { return KrelString(data().imp.key()); }
KrelString LocalizedString::localizedString() const { return KrelString(data().imp.resolve()); }

LocalizedString* LocalizedString::setVariable(KrelString const& name, Value const& value)
{
    setTextVariable(data().imp, "LocalizedString::setVariable", name, value);
    return this;
}

bool LocalizedString::variableIsSet(KrelString const& name) const
{
    return data().imp.variableIsSet(name.zelString());
}

Value LocalizedString::valueForVariable(KrelString const& name) const
{
    return Value(data().imp.valueForVariable(name.zelString()));
}

zel::LocalizedStringImp& LocalizedString::imp() { return data().imp; }
zel::LocalizedStringImp const& LocalizedString::imp() const { return data().imp; }
LocalizedStringData& LocalizedString::data() { return m_holder.data(); }
LocalizedStringData const& LocalizedString::data() const { return m_holder.data(); }

// Defined here, where a localized string is known.
KrelString::KrelString(LocalizedString const& text) : KrelString(text.localizedString()) {}

} // namespace krel5
