#pragma once
// The pieces of text that this module's reports are made of, and a list of all for its main.

#include <common/LocalText.h>

namespace krel5::modules::board {

#define MODULE_TEXT(constant, key, english) inline constexpr LocalText constant{key, english};
#include <board/Texts.def>

inline constexpr LocalText kTexts[] = {
#define MODULE_TEXT(constant, key, english) constant,
#include <board/Texts.def>
};

} // namespace krel5::modules::board
