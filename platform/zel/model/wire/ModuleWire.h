#pragma once

#include <zel/foundation/xml/XmlReader.h>
#include <zel/foundation/xml/XmlWriter.h>
#include <zel/model/module/ModuleImp.h>

#include <memory>

namespace zel::wire {

void writeModule(XmlWriter& writer, ModuleImp const& module);
/// The element is open; it is read to its end.
std::unique_ptr<ModuleImp> readModule(XmlReader& reader);

} // namespace zel::wire
