#include <zel/enumerator/records/Properties.h>

#include <unordered_map>

namespace zel {

namespace {

using enum PropertyRow::Flag;

constexpr PropertyRow kRows[] = {
#define ZEL_PROPERTY(key, dataType, flags, group, name)                                                      \
    {#key, DataTypeImp::Code::dataType, static_cast<unsigned>(flags), PropertyGroup::group, name},
#include <zel/enumerator/records/Properties.def>
#undef ZEL_PROPERTY
};

constexpr PropertyGroupRow kGroups[] = {
#define ZEL_PROPERTY_GROUP(key, name) {#key, name},
#include <zel/enumerator/records/PropertyGroups.def>
#undef ZEL_PROPERTY_GROUP
};

} // namespace

std::span<PropertyGroupRow const> propertyGroups() noexcept { return kGroups; }

std::span<PropertyRow const> propertyRows() noexcept { return kRows; }

PropertyRow const* findProperty(std::string_view key)
{
    static std::unordered_map<std::string_view, PropertyRow const*> const s_rows = [] {
        std::unordered_map<std::string_view, PropertyRow const*> rows;
        for (PropertyRow const& row : kRows)
            rows.emplace(row.key, &row);
        return rows;
    }();
    auto const found = s_rows.find(key);
    return found == s_rows.end() ? nullptr : found->second;
}

PropertyCategoryImp PropertyRow::category() const
{
    struct Mapping
    {
        unsigned flag;
        PropertyCategoryImp const& (*category)();
    };
    static constexpr Mapping kMappings[] = {
        {SysInfo, &PropertyCategoryImp::SysInfo},
        {Fru, &PropertyCategoryImp::FRU},
        {Tests, &PropertyCategoryImp::RequiredForTests},
        {Enumeration, &PropertyCategoryImp::RequiredForEnumeration},
        {Volatile, &PropertyCategoryImp::Volatile},
        {Inventory, &PropertyCategoryImp::Inventory},
        {Summary, &PropertyCategoryImp::Summary},
        {Identifying, &PropertyCategoryImp::SecurityInfo},
    };
    PropertyCategoryImp all;
    for (Mapping const& mapping : kMappings)
        if (flags & mapping.flag)
            all = all | mapping.category();
    return all;
}

std::shared_ptr<PropertySpecImp> PropertyRow::specification() const
{
    auto spec = std::make_shared<PropertySpecImp>(String(key), category(), type(), CapabilityImp::ALL());
    spec->setDefaultName(String(name));
    return spec;
}

} // namespace zel
