#pragma once
// The pieces of text that this module's reports are made of, and a list of all for its main.

#include <common/LocalText.h>

namespace krel5::modules::storage {

#define MODULE_TEXT(constant, key, english) inline constexpr LocalText constant{key, english};
#include <storage/Texts.def>

inline constexpr LocalText kTexts[] = {
#define MODULE_TEXT(constant, key, english) constant,
#include <storage/Texts.def>
};

} // namespace krel5::modules::storage
