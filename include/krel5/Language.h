#pragma once
// A language by its tag, "en" or "zh-cn". The constant `nil` stands for no language.
//
//     bool german = DiagModule::getLanguage() == Language::de();
//
// Thread rule: one handle is not used from two threads at once; the constants may be read from any thread.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>

namespace zel {
class LanguageImp;
}

namespace krel5 {

struct LanguageInternalData;

class KREL5_EXPORT Language
{
public:
    /// The constants, one an entry of the included table, which reads as a list: the accessor's name, the
    /// text, and declared numbers where there are any. Made on the first call and never destroyed; each call
    /// returns the same object.
#define ZEL_CONSTANT(accessor, ...) static Language const& accessor();
#include <zel/model/vocabulary/tables/Language.def>

    /// nil.
    Language();
    /// Wraps a constant of the model; for the library's own use.
    explicit Language(zel::LanguageImp const& constant);
    Language(Language const& other);
    Language& operator=(Language const& other);
    ~Language();

    /// Compare the constants, not the texts.
    bool operator==(Language const& other) const;
    bool operator!=(Language const& other) const;

    /// The text; lives as long as the handle and is the same until the handle is assigned.
    KrelString const& toString() const;
    /// The model's constant; for the library's own use. Lives as long as the handle.
    zel::LanguageImp const& imp() const;

private:
    explicit Language(KrelString const& text);

    LanguageInternalData& data();
    LanguageInternalData const& data() const;

    DataHolder<LanguageInternalData> m_holder;
};

} // namespace krel5
