#pragma once
// A property's value as a saved listing has it.

#include <listing/saved/JsonTree.h>

#include <zel/model/values/ValueImp.h>

#include <string>

namespace listing {

/// Throws zel::InvalidArgumentException with the reason when the type is unknown, or the value is none of it.
zel::ValueImp valueOf(JsonNode const& node, std::string const& type);

} // namespace listing
