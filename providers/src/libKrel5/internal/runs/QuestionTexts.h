#pragma once

#include <krel5/MessageBox.h>

#include <zel/model/runs/MessageBoxImp.h>

namespace krel5 {

/// What a question says beside the module's own words. In this order: the module's text files in the current
/// language, the translation that is built in here, the plain text files, English.
struct QuestionTexts
{
    static zel::String answer(MsgBoxReturn answer);
    static zel::String english(MsgBoxReturn answer);
    static zel::MessageBoxImp::Words words();
};

} // namespace krel5
