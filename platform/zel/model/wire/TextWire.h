#pragma once

#include <zel/foundation/xml/XmlReader.h>
#include <zel/foundation/xml/XmlWriter.h>
#include <zel/model/values/LocalizedStringImp.h>

namespace zel::wire {

/// A localized string as an element of that name, its variables below it.
void writeText(XmlWriter& writer, std::string_view element, LocalizedStringImp const& text);
/// The element is open; it is read to its end.
LocalizedStringImp readText(XmlReader& reader);

} // namespace zel::wire
