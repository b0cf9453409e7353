#pragma once
// What properties are, once for all devices: each property names its specification. A specification is named by its
// key, the second one of that key by "{key}#2".

#include <zel/foundation/xml/XmlReader.h>
#include <zel/foundation/xml/XmlWriter.h>
#include <zel/model/devices/DeviceImp.h>

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zel::wire {

/// Names specifications and writes them: first all are added, those that the state lists before the others, then they
/// are written, then each may be asked for its name.
class SpecificationNames
{
public:
    /// `isListed`: the state itself lists it; else only properties have it. One that says the same as another
    /// shares its name.
    void add(PropertySpecImp const& specification, bool isListed);
    void addAllOf(DeviceImp const& device);
    /// As it stands between quotes. REQUIRES: it was added.
    std::string const& nameOf(PropertySpecImp const& specification);
    /// With the groups above them.
    void write(XmlWriter& writer);

private:
    struct Entry
    {
        PropertySpecImp const* specification;
        std::string name; // escaped
        bool isListed;
    };
    bool isNext(PropertySpecImp const& specification) const;
    std::size_t indexOf(PropertySpecImp const& specification);
    std::string const& name(PropertySpecImp const* specification) const;
    static bool areAlike(PropertySpecImp const& a, PropertySpecImp const& b);

    std::vector<Entry> m_entries;
    std::unordered_map<PropertySpecImp const*, std::size_t> m_index;
    std::unordered_map<String, std::vector<std::size_t>> m_byKey;
    std::unordered_set<String> m_names;
    std::size_t m_next = 0; // where the one behind the last one asked for stands: devices of a kind are alike
};

/// Reads them and finds them by name.
class Specifications
{
public:
    struct Entry
    {
        std::shared_ptr<PropertySpecImp> specification;
        bool isListed;
        std::size_t keyNumber; ///< equal for equal keys, below keyCount()
        std::string rawName;
        std::optional<String> groupName;
    };

    /// The element is open; it is read to its end.
    void read(XmlReader& reader);
    /// When all are read: ties them to their groups. Fails where a group is unknown or its own.
    void finish(XmlReader const& reader);

    /// The one that the attribute names; fails where there is none.
    Entry const& get(XmlReader const& reader, std::string_view attribute);
    std::vector<Entry> const& entries() const noexcept { return m_entries; }
    std::size_t keyCount() const noexcept { return m_keys.size(); }

private:
    std::vector<Entry> m_entries;
    std::unordered_map<String, std::size_t> m_names;
    std::unordered_map<String, std::size_t> m_keys;
    std::size_t m_next = 0; // as above
};

} // namespace zel::wire
