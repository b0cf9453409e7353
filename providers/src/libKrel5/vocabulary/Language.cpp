#include <krel5/Language.h>

#include <libKrel5/vocabulary/VocabularyHandle.h>

#include <zel/model/vocabulary/LanguageImp.h>

namespace krel5 {

struct LanguageInternalData : VocabularyRecord<zel::LanguageImp>
{
    using VocabularyRecord::VocabularyRecord;
};

KREL5_VOCABULARY_HANDLE(Language, LanguageInternalData, zel::LanguageImp)

Language::Language(KrelString const& text)
    : m_holder(LanguageInternalData(zel::LanguageImp::getConstantByString(text.zelString())))
{}

#define ZEL_CONSTANT(accessor, text, ...)                                                                    \
    Language const& Language::accessor()                                                                     \
    {                                                                                                        \
        static Language const& constant = sharedConstant(new Language(KrelString(text)));                    \
        return constant;                                                                                     \
    }
#include <zel/model/vocabulary/tables/Language.def>

} // namespace krel5
