#pragma once
// The enumerator's properties, declared as this module's own: names, categories and groups stand in the enumerator's
// table, and nowhere else.

#include <krel5/DeviceProperty.h>

#include <zel/foundation/String.h>

#include <unordered_map>

namespace krel5::modules::inventory {

struct Declaration
{
    DeviceProperty* property = nullptr; ///< the library's; never null
    bool isDetail = false;              ///< shown only to who asks for all
    unsigned group = 0;                 ///< in the order in which groups are shown
};

class Declarations
{
public:
    /// Declares every property and every group. Before start().
    Declarations();
    /// Null for a property that only some other module knows.
    Declaration const* find(zel::String const& key) const;

private:
    std::unordered_map<zel::String, Declaration> m_all;
};

} // namespace krel5::modules::inventory
