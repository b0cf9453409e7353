#include <krel5/Tip.h>

#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/Ownership.h>
#include <libKrel5/values/TextVariables.h>

#include <krel5/Value.h>

#include <zel/model/runs/TipImp.h>

namespace krel5 {

struct TipInternalData
{
    zel::TipImp imp;
};

template class DataHolder<TipInternalData>;

Tip* Tip::createTip(KrelString const& key, TipType const& type)
{
    return keepForever(std::unique_ptr<Tip>(new Tip(zel::TipImp(key.zelString(), type.imp()))));
}

Tip::Tip(zel::TipImp const& tip) : m_holder(TipInternalData{tip}) {}
Tip::Tip(Tip const& other) = default;
Tip& Tip::operator=(Tip const& other) = default;
Tip::~Tip() = default;

Tip* Tip::setTitleVariable(KrelString const& name, Value const& value)
{
    setTextVariable(imp().title(), "Tip::setTitleVariable", name, value);
    return this;
}

// Both content setters report under this one name; it is part of the texts that authors know.
Tip* Tip::setContentVariable(KrelString const& name, Value const& value)
{
    setTextVariable(imp().content(), "Tip::setMessageVariable", name, value);
    return this;
}

Tip* Tip::setContentExVariable(KrelString const& name, Value const& value)
{
    setTextVariable(imp().contentEx(), "Tip::setMessageVariable", name, value);
    return this;
}

Tip* Tip::setTitleOverride(KrelString const& text)
{
    imp().title().setOverride(text.zelString());
    return this;
}

Tip* Tip::setContentOverride(KrelString const& text)
{
    imp().content().setOverride(text.zelString());
    return this;
}

Tip* Tip::setContentExOverride(KrelString const& text)
{
    imp().contentEx().setOverride(text.zelString());
    return this;
}

zel::TipImp& Tip::imp() { return data().imp; }
zel::TipImp const& Tip::imp() const { return data().imp; }
TipInternalData& Tip::data() { return m_holder.data(); }
TipInternalData const& Tip::data() const { return m_holder.data(); }

} // namespace krel5
