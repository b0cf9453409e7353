#pragma once
// The properties that the enumerator knows, from Properties.def.

#include <zel/foundation/FixedText.h>
#include <zel/model/devices/PropertySpecImp.h>
#include <zel/model/vocabulary/DataTypeImp.h>
#include <zel/model/vocabulary/PropertyCategoryImp.h>

#include <memory>
#include <span>
#include <string_view>

namespace zel {

/// Rows of PropertyGroups.def, by their keys.
enum class PropertyGroup {
#define ZEL_PROPERTY_GROUP(key, name) key,
#include <zel/enumerator/records/PropertyGroups.def>
#undef ZEL_PROPERTY_GROUP
};

struct PropertyGroupRow
{
    FixedText<24> key;
    FixedText<32> name; ///< in English
};

/// One row of Properties.def.
struct ZEL_EXPORT PropertyRow
{
    FixedText<28> key;
    DataTypeImp::Code dataType;
    unsigned flags; ///< of the flags below
    PropertyGroup group;
    FixedText<44> name; ///< in English

    enum Flag : unsigned {
        SysInfo = 1u << 0,
        Fru = 1u << 1,
        Tests = 1u << 2,
        Enumeration = 1u << 3,
        Volatile = 1u << 4,
        Inventory = 1u << 5,
        Summary = 1u << 6,
        Identifying = 1u << 7,
        Detail = 1u << 8,
    };

    bool isDetail() const noexcept { return (flags & Detail) != 0; }
    DataTypeImp type() const { return DataTypeImp(dataType); }
    PropertyCategoryImp category() const;
    /// A new one, by which modules and listings know the property.
    std::shared_ptr<PropertySpecImp> specification() const;
};

ZEL_EXPORT std::span<PropertyRow const> propertyRows() noexcept;
/// In the order in which they are shown; a PropertyGroup is an index of it.
ZEL_EXPORT std::span<PropertyGroupRow const> propertyGroups() noexcept;
/// Null when no row has the key.
ZEL_EXPORT PropertyRow const* findProperty(std::string_view key);

} // namespace zel
