// Reads the headers of sys/firmware/acpi/tables/* (administrators only; ACPI 6.5, 5.2.6).
#include <zel/enumerator/system/AcpiTables.h>

#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

constexpr char kFolder[] = "sys/firmware/acpi/tables";
constexpr std::size_t kHeader = 36;

std::string lineOf(std::string const& name, std::string const& header)
{
    if (header.size() < kHeader)
        return name;
    std::uint32_t length = 0;
    for (std::size_t i = 4; i-- > 0;)
        length = length << 8 | static_cast<unsigned char>(header[4 + i]);
    std::string line = name + ": " + std::to_string(length) + " bytes";
    for (auto const& [offset, size] :
         {std::pair<std::size_t, std::size_t>{10, 6}, {16, 8}}) // maker, its name for it
        if (auto const text = text::meaningful(std::string_view(header).substr(offset, size)))
            line += (offset == 10 ? ", " : " ") + *text;
    return line;
}

} // namespace

std::vector<std::string> acpiTables(Root const& root)
{
    std::vector<std::string> lines;
    for (std::string const& name : root.list(kFolder)) {
        std::string const path = std::string(kFolder) + "/" + name;
        if (name != "data" && name != "dynamic") // folders
            lines.push_back(lineOf(name, root.read(path, kHeader).value_or("")));
    }
    return lines;
}

} // namespace zel
