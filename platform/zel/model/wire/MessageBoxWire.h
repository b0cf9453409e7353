#pragma once

#include <zel/model/runs/MessageBoxImp.h>
#include <zel/model/wire/XmlReader.h>
#include <zel/model/wire/XmlWriter.h>

namespace zel::wire {

/// All but the window that it belongs to, which is the asker's alone.
void writeMessageBox(XmlWriter& writer, MessageBoxImp const& box);
/// The element is open; it is read to its end.
MessageBoxImp readMessageBox(XmlReader& reader);

} // namespace zel::wire
