#pragma once
// A datum inside the element of what has it: one that is no array as attributes, "value" and what belongs to it; an
// array as children "item"; localized strings as children "text".

#include <zel/foundation/xml/XmlReader.h>
#include <zel/foundation/xml/XmlWriter.h>
#include <zel/model/values/ValueImp.h>

namespace zel::wire {

/// After the element's own attributes. The type is not written: who reads knows it.
void writeValue(XmlWriter& writer, ValueImp const& value);
/// Likewise, with the type as an attribute.
void writeTypedValue(XmlWriter& writer, ValueImp const& value);

/// Reads a value of the type while its owner reads the element.
class ValueReader
{
public:
    /// The element was just opened.
    ValueReader(XmlReader& reader, DataTypeImp const& type);
    /// Takes the child that was just opened, if it is part of the value.
    void take();
    /// At the end of the element.
    ValueImp finish();

private:
    void takeText();
    void takeItem();
    template <typename Element>
    void append(Element&& element);

    XmlReader& m_reader;
    ValueImp m_value;
    bool m_isComplete; // a single localized string: it was there
};

/// Reads the element to its end; its attribute "type" says which type.
ValueImp readTypedValue(XmlReader& reader);

} // namespace zel::wire
