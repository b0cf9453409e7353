#pragma once

#include <zel/model/module/ModuleImp.h>
#include <zel/model/wire/XmlReader.h>
#include <zel/model/wire/XmlWriter.h>

#include <memory>

namespace zel::wire {

void writeModule(XmlWriter& writer, ModuleImp const& module);
/// The element is open; it is read to its end.
std::unique_ptr<ModuleImp> readModule(XmlReader& reader);

} // namespace zel::wire
