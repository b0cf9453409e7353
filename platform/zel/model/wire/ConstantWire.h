#pragma once
// Constants of the vocabularies as attributes, by their texts.

#include <zel/foundation/xml/XmlReader.h>
#include <zel/foundation/xml/XmlWriter.h>
#include <zel/model/vocabulary/CapabilityImp.h>
#include <zel/model/vocabulary/PropertyCategoryImp.h>
#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel::wire {

template <typename Constant>
void writeConstant(XmlWriter& writer, std::string_view attribute, Constant const& constant)
{
    writer.text(attribute, constant.toString());
}

/// `absent` when there is no such attribute. A text that the table does not have is refused: what it would mean
/// nobody knows here. The constant outside the table comes back as itself.
template <typename Constant>
Constant readConstant(XmlReader const& reader, std::string_view attribute, Constant const& absent)
{
    if (!reader.has(attribute))
        return absent;
    String const text = reader.text(attribute);
    Constant const constant = Constant::getConstantByString(text);
    if (constant.toString() != text)
        reader.fail(attribute, "\"" + text + "\" is not known");
    return constant;
}

/// Capabilities that the table does not have are words of their own. Absent: none.
inline CapabilityImp readCapabilities(XmlReader const& reader, std::string_view attribute)
{
    return CapabilityImp(reader.text(attribute));
}

inline void writeCapabilities(XmlWriter& writer, std::string_view attribute,
                              CapabilityImp const& capabilities)
{
    if (!capabilities.isEmpty())
        writer.text(attribute, capabilities.toString());
}

} // namespace zel::wire
