#pragma once

#include <zel/foundation/xml/XmlReader.h>
#include <zel/foundation/xml/XmlWriter.h>
#include <zel/model/module/IndicatorImp.h>
#include <zel/model/module/TestImp.h>

#include <memory>

namespace zel::wire {

void writeTest(XmlWriter& writer, TestImp const& test);
void writeIndicator(XmlWriter& writer, IndicatorImp const& indicator);

// The element is open; it is read to its end.
std::unique_ptr<TestImp> readTest(XmlReader& reader);
std::unique_ptr<IndicatorImp> readIndicator(XmlReader& reader);

} // namespace zel::wire
