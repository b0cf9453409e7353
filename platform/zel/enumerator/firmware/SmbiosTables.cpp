// Reads /sys/firmware/dmi/tables, which needs the administrator.
#include <zel/enumerator/firmware/SmbiosTables.h>

namespace zel {

Smbios readSmbios(Root const& root)
{
    auto table = root.read("sys/firmware/dmi/tables/DMI");
    auto const entryPoint = root.read("sys/firmware/dmi/tables/smbios_entry_point", 256);
    return Smbios(table ? std::move(*table) : std::string(), entryPoint.value_or(""));
}

std::optional<std::string> damageOf(Smbios const& smbios)
{
    if (!smbios.damage())
        return std::nullopt;
    return "the firmware's table (/sys/firmware/dmi/tables/DMI) is " + *smbios.damage() +
           "; what follows is not shown";
}

} // namespace zel
