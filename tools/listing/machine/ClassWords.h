#pragma once
// Words by which a person names classes of devices.

#include <zel/foundation/String.h>
#include <zel/model/vocabulary/CapabilityImp.h>

namespace listing {

/// The class of that name, whatever the case of its letters: a word of the capabilities or a type of sensor that they have no
/// word for. Throws zel::InvalidArgumentException that names the word and the nearest one.
zel::CapabilityImp classNamed(zel::String const& word);

} // namespace listing
