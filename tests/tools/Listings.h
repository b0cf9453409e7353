#pragma once
// Listings as short as the case that they are for.

#include <listing/machine/Machine.h>
#include <listing/saved/SavedListing.h>

#include <string>

namespace listing::test {

/// A saved listing around these devices, read back. `head`: further members, each ended by a comma.
inline Machine machine(std::string const& devices, std::string const& head = {})
{
    return readSaved("{\"format\": \"zel-devices\", \"formatVersion\": 1, " + head + "\"devices\": [" +
                         devices + "]}",
                     "test");
}

/// {"type": ..., "hwLocator": ...} and further members, each begun by a comma.
inline std::string device(std::string const& type, std::string const& place, std::string const& more = {})
{
    return "{\"type\": \"" + type + "\", \"name\": \"" + type + " at " + place + "\", \"hwLocator\": \"" +
           place + "\"" + more + "}";
}

/// , "properties": {...}
inline std::string properties(std::string const& members) { return ", \"properties\": {" + members + "}"; }
inline std::string text(std::string const& key, std::string const& value)
{
    return "\"" + key + "\": {\"type\": \"STRING\", \"value\": \"" + value + "\"}";
}
inline std::string bytes(std::string const& key, std::string const& value)
{
    return "\"" + key + R"(": {"type": "DISCRETEMEASUREMENT", "value": {"value": )" + value +
           R"(, "unit": "BYTES"}})";
}

} // namespace listing::test
