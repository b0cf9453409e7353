#pragma once

#include <zel/foundation/xml/XmlReader.h>
#include <zel/foundation/xml/XmlWriter.h>
#include <zel/model/runs/IndicatorRunImp.h>
#include <zel/model/runs/TestRunImp.h>

namespace zel::wire {

void writeEvent(XmlWriter& writer, TestRunEventImp const& event);
/// `isBound`: to a test and a device of the same document.
void writeTestRun(XmlWriter& writer, TestRunImp const& run, bool isBound);
void writeIndicatorRun(XmlWriter& writer, IndicatorRunImp const& run);

// The element is open; it is read to its end. A run is not bound: it names what it is of.
TestRunEventImp readEvent(XmlReader& reader);
TestRunImp readTestRun(XmlReader& reader);
IndicatorRunImp readIndicatorRun(XmlReader& reader);

} // namespace zel::wire
