#pragma once
// A piece of advice that goes with an alert.
//
//     Tip* tip = Tip::createTip("CleanFan", TipType::TEXT_TIP()); // texts "Tip.CleanFan.Title", ".Content"
//     alert->addTip(tip->setContentVariable("fan", "CPU fan"));
//
// Thread rule: one object is not changed in one thread while another uses it.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>
#include <krel5/TipType.h>

namespace zel {
class TipImp;
}

namespace krel5 {

class Value;
struct TipInternalData;

class KREL5_EXPORT Tip
{
public:
    /// A new tip, owned by the library for the life of the process.
    static Tip* createTip(KrelString const& key, TipType const& type);

    Tip(Tip const& other);
    Tip& operator=(Tip const& other);
    ~Tip();

    /// Set a variable of title, content or extended content and return this object. InvalidDataTypeException,
    /// and nothing changed, for a value of type LOCALIZEDSTRING or LOCALIZEDSTRINGARRAY; InternalException
    /// beyond 1000 variables.
    Tip* setTitleVariable(KrelString const& name, Value const& value);
    Tip* setContentVariable(KrelString const& name, Value const& value);
    Tip* setContentExVariable(KrelString const& name, Value const& value);
    /// Replace the whole text, in every language, and return this object; variables still apply.
    Tip* setTitleOverride(KrelString const& text);
    Tip* setContentOverride(KrelString const& text);
    Tip* setContentExOverride(KrelString const& text);

    /// The model's record; for the library's own use. Lives as long as this object.
    zel::TipImp& imp();
    zel::TipImp const& imp() const;

private:
    explicit Tip(zel::TipImp const& tip);
    TipInternalData& data();
    TipInternalData const& data() const;

    DataHolder<TipInternalData> m_holder;
};

} // namespace krel5
