#pragma once

#include <zel/foundation/xml/XmlReader.h>
#include <zel/foundation/xml/XmlWriter.h>
#include <zel/model/runs/MessageBoxImp.h>

namespace zel::wire {

/// All but the window that it belongs to, which is the asker's alone.
void writeMessageBox(XmlWriter& writer, MessageBoxImp const& box);
/// The element is open; it is read to its end.
MessageBoxImp readMessageBox(XmlReader& reader);

} // namespace zel::wire
