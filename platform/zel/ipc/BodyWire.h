#pragma once
// Each body of a message as the root element of its document. docs/engine-link.md has the forms.

#include <zel/foundation/xml/XmlReader.h>
#include <zel/foundation/xml/XmlWriter.h>
#include <zel/ipc/MessageBodies.h>

namespace zel::wire {

// The root is open; what is written are its attributes, then its children. What has a state writes it elsewhere.
void writeBody(XmlWriter& writer, NoBody const& body);
void writeBody(XmlWriter& writer, ModuleBody const& body);
void writeBody(XmlWriter& writer, StateBody const& body);
void writeBody(XmlWriter& writer, TestRunBody const& body);
void writeBody(XmlWriter& writer, IndicatorRunBody const& body);
void writeBody(XmlWriter& writer, ProgressBody const& body);
void writeBody(XmlWriter& writer, MessageBoxBody const& body);
void writeBody(XmlWriter& writer, AnswerBody const& body);
void writeBody(XmlWriter& writer, UpdatesBody const& body);
void writeBody(XmlWriter& writer, UpdateRequestBody const& body);
void writeBody(XmlWriter& writer, TimeOutBody const& body);
void writeBody(XmlWriter& writer, ErrorBody const& body);
void writeBody(XmlWriter& writer, HttpRequestBody const& body);
void writeBody(XmlWriter& writer, HttpResponseBody const& body);

// The root is open; it is read to its end. Fails as the reader does.
void readBody(XmlReader& reader, NoBody& body);
void readBody(XmlReader& reader, ModuleBody& body);
void readBody(XmlReader& reader, StateBody& body);
void readBody(XmlReader& reader, TestRunBody& body);
void readBody(XmlReader& reader, IndicatorRunBody& body);
void readBody(XmlReader& reader, ProgressBody& body);
void readBody(XmlReader& reader, MessageBoxBody& body);
void readBody(XmlReader& reader, AnswerBody& body);
void readBody(XmlReader& reader, UpdatesBody& body);
void readBody(XmlReader& reader, UpdateRequestBody& body);
void readBody(XmlReader& reader, TimeOutBody& body);
void readBody(XmlReader& reader, ErrorBody& body);
void readBody(XmlReader& reader, HttpRequestBody& body);
void readBody(XmlReader& reader, HttpResponseBody& body);

} // namespace zel::wire
