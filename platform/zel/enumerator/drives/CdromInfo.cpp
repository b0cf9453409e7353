#include <zel/enumerator/drives/CdromInfo.h>

#include <zel/enumerator/root/Text.h>

#include <vector>

namespace zel {

namespace {

using C = CapabilityImp;
using Code = CapabilityImp::Code;

struct Row
{
    std::string_view label;
    Code capability;
};

constexpr Row kRows[] = {
    {"Can play audio", Code::CDDA}, {"Can write CD-R", Code::CDR},        {"Can write CD-RW", Code::CDRW},
    {"Can read DVD", Code::DVD},    {"Can write DVD-R", Code::DVDMINUSR}, {"Can write DVD-RAM", Code::DVDRAM},
};

/// The columns of a line, which tabs separate: any number of them.
std::vector<std::string_view> columns(std::string_view text)
{
    std::vector<std::string_view> found;
    for (std::string_view const part : text::split(text, '\t'))
        if (std::string_view const column = text::trimmed(part); !column.empty())
            found.push_back(column);
    return found;
}

} // namespace

OpticalDrives opticalDrives(Root const& root)
{
    return parseCdromInfo(root.read("proc/sys/dev/cdrom/info", 1u << 16).value_or(""));
}

OpticalDrives parseCdromInfo(std::string_view text)
{
    OpticalDrives drives;
    std::vector<std::string_view> names;
    for (std::string_view const line : text::split(text, '\n')) {
        std::size_t const colon = line.find(':');
        if (colon == std::string_view::npos)
            continue;
        std::string_view const label = text::trimmed(line.substr(0, colon));
        std::vector<std::string_view> const values = columns(line.substr(colon + 1));
        if (label == "drive name") {
            names = values;
            for (std::string_view const name : names)
                drives[std::string(name)] = C::Optical() | C::CDROM();
        }
        for (Row const& row : kRows)
            for (std::size_t i = 0; row.label == label && i < values.size() && i < names.size(); ++i)
                if (values[i] == "1")
                    drives[std::string(names[i])] |= C(row.capability);
    }
    return drives;
}

CapabilityImp opticalType(CapabilityImp const& capabilities)
{
    static constexpr Code kLadder[] = {Code::DVDMINUSR, Code::DVDRAM, Code::DVD,
                                       Code::CDRW,      Code::CDR,    Code::CDROM};
    for (Code const code : kLadder)
        if (capabilities.isCapable(C(code)))
            return C(code);
    return C::CDROM();
}

} // namespace zel
