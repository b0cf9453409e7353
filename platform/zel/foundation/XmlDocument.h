#pragma once
// XML in and out as a tree, for small documents that people write or read. Large ones go through xml/XmlReader.h and
// xml/XmlWriter.h as they are.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>
#include <zel/foundation/xml/XmlReader.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zel {

/// One element: a name, attributes in order, text, children in order. A plain value.
struct XmlElement
{
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text; ///< character data directly inside the element, white space at both ends removed
    std::vector<XmlElement> children;

    /// The attribute's value, or null.
    std::string const* attribute(std::string_view key) const;
    /// The first child of that name, or null.
    XmlElement const* child(std::string_view key) const;
};

class ZEL_EXPORT XmlDocument
{
public:
    using Limits = XmlLimits;

    /// Throws ParseException "XML: {reason} at {path}, line {line}, byte {offset}" for whatever XmlReader refuses.
    static XmlElement parse(std::string_view utf8, Limits const& limits);
    static XmlElement parse(std::string_view utf8) { return parse(utf8, Limits()); }
    /// Indented by two blanks; characters that XML cannot carry are written as U+FFFD, other control
    /// characters (ControlCharacters.h) as `&#x202e;`, so that a terminal can show it and a reader loses nothing.
    /// Throws InvalidArgumentException for an element or attribute whose name XML does not allow.
    static std::string print(XmlElement const& root);
};

} // namespace zel
