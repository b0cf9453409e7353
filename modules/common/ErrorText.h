#pragma once

#include <string>
#include <system_error>

namespace krel5::modules {

/// What an errno value means, for a person.
inline std::string errorText(int errorNumber) { return std::generic_category().message(errorNumber); }

} // namespace krel5::modules
