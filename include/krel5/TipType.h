#pragma once
// What form a tip has, and so what a client does with it.
//
//     Tip* tip = Tip::createTip("clean.fan", TipType::TEXT_TIP());
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class TipTypeImp;
}

namespace krel5 {

struct TipTypeInternalData;

class KREL5_EXPORT TipType
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static TipType const& accessor();
#include <zel/model/vocabulary/tables/TipType.def>

    /// UNINITIALIZED.
    TipType();
    /// Wraps a constant of the model; for the library's own use.
    explicit TipType(zel::TipTypeImp const& constant);
    TipType(TipType const& other);
    TipType& operator=(TipType const& other);
    ~TipType();

    /// Compare the constants, not the texts.
    bool operator==(TipType const& other) const;
    bool operator!=(TipType const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::TipTypeImp const& imp() const;

private:
    explicit TipType(KrelString const& text);

    TipTypeInternalData& data();
    TipTypeInternalData const& data() const;

    DataHolder<TipTypeInternalData> m_holder;
};

} // namespace krel5
