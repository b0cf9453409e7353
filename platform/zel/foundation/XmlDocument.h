#pragma once
// XML in and out, bounded: the one place that knows the XML library.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

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
    struct Limits
    {
        std::size_t bytes = 256u << 20;
        unsigned depth = 64;
        std::size_t elements = 4'000'000;
    };

    /// Throws ParseException "XML: {reason} at byte {offset}". Document types, entities other than the five
    /// predefined, characters that XML excludes, bytes that are no UTF-8 and a declared encoding other than UTF-8
    /// or its part ASCII are refused; the limits hold before memory is spent on a tree.
    static XmlElement parse(std::string_view utf8, Limits const& limits);
    static XmlElement parse(std::string_view utf8) { return parse(utf8, Limits()); }
    /// Indented by two blanks; characters that XML cannot carry are written as U+FFFD, other control
    /// characters (ControlCharacters.h) as `&#x202e;`, so that a terminal can show it and a reader loses nothing.
    /// Throws InvalidArgumentException for an element or attribute whose name XML does not allow.
    static std::string print(XmlElement const& root);
};

} // namespace zel
