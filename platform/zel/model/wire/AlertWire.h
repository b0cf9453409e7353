#pragma once

#include <zel/foundation/xml/XmlReader.h>
#include <zel/foundation/xml/XmlWriter.h>
#include <zel/model/runs/AlertImp.h>

#include <memory>

namespace zel::wire {

void writeAlert(XmlWriter& writer, AlertImp const& alert);
/// The element is open; it is read to its end.
std::unique_ptr<AlertImp> readAlert(XmlReader& reader);

} // namespace zel::wire
