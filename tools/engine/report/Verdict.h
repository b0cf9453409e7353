#pragma once
// What a result means for the machine: which of two counts more, and the word for all of them. Pure functions.

#include <string>
#include <string_view>

namespace engine {

/// From good to bad: of several, the greatest stands for all.
enum class Grade {
    Passed,    ///< PASS
    NotTested, ///< could not be tested, or the test says neither: no device, no privilege, not supported ...
    Warned,    ///< WARNING: works, and will not for long
    Stopped,   ///< by a person or a limit of time, before it knew
    Broken,    ///< the module, the engine or its report, and not the device, as far as one can tell
    Failed     ///< FAIL
};

/// `result`: a text of TestResultImp. What is none of them is Broken.
Grade gradeOf(std::string_view result);
/// In a word: "PASS", "NOT TESTED", "WARNING", "STOPPED", "BROKEN", "FAIL".
char const* wordOf(Grade grade);

} // namespace engine
