#pragma once
// Words for DiagModule::createMessageBox.

namespace krel5 {

/// The answers that a box offers.
enum class MsgBoxType { OK, OKCANCEL, YESNO, YESNOCANCEL, RETRYCANCEL, ABORTRETRYIGNORE };

/// Which of the box's answers, counted from the first, is taken when nobody is asked.
enum class MsgBoxOption { DEFAULTFIRST, DEFAULTSECOND, DEFAULTTHIRD };

/// How the box looks where it is shown as a window; a console shows it as a word before the title.
enum class LookAndFeel { INFORMATION, QUESTION, WARNING, ERR };

/// The answer.
enum class MsgBoxReturn { OK, CANCEL, YES, NO, RETRY, ABORT, IGNORE };

} // namespace krel5
