#include <zel/enumerator/processors/CpuNames.h>

#include <zel/foundation/FixedText.h>

#include <array>

namespace zel::cpunames {

namespace {

struct Part
{
    std::int64_t implementer, part; ///< part 0 in the list of implementers
    FixedText<32> name;
};

constexpr Part kImplementers[] = {
#define ZEL_ARM_IMPLEMENTER(code, name) {code, 0, name},
#define ZEL_ARM_PART(implementer, part, name)
#include <zel/enumerator/processors/ArmProcessors.def>
#undef ZEL_ARM_IMPLEMENTER
#undef ZEL_ARM_PART
};

constexpr Part kParts[] = {
#define ZEL_ARM_IMPLEMENTER(code, name)
#define ZEL_ARM_PART(implementer, part, name) {implementer, part, name},
#include <zel/enumerator/processors/ArmProcessors.def>
#undef ZEL_ARM_IMPLEMENTER
#undef ZEL_ARM_PART
};

template <std::size_t Size>
Text nameIn(Part const (&rows)[Size], std::int64_t implementer, std::int64_t part)
{
    for (Part const& row : rows)
        if (row.implementer == implementer && row.part == part)
            return std::string(row.name);
    return std::nullopt;
}

struct Word
{
    FixedText<12> word;
    FixedText<16> name;
};

// Numbers of machine types, of which each has one processor.
constexpr Word kS390Machines[] = {
    {"2064", "IBM z900"},   {"2066", "IBM z800"},    {"2084", "IBM z990"},   {"2086", "IBM z890"},
    {"2094", "IBM z9-109"}, {"2096", "IBM z9 BC"},   {"2097", "IBM z10 EC"}, {"2098", "IBM z10 BC"},
    {"2817", "IBM z196"},   {"2818", "IBM z114"},    {"2827", "IBM zEC12"},  {"2828", "IBM zBC12"},
    {"2964", "IBM z13"},    {"2965", "IBM z13s"},    {"3906", "IBM z14"},    {"3907", "IBM z14 ZR1"},
    {"8561", "IBM z15"},    {"8562", "IBM z15 T02"}, {"3931", "IBM z16"},    {"3932", "IBM z16 A02"},
    {"9175", "IBM z17"},
};

// As device trees abbreviate them.
constexpr Word kRiscvDesigners[] = {
    {"sifive", "SiFive"},     {"thead", "T-Head"},        {"andestech", "Andes"}, {"spacemit", "SpacemiT"},
    {"starfive", "StarFive"}, {"microchip", "Microchip"}, {"canaan", "Canaan"},   {"ventana", "Ventana"},
};

template <std::size_t Size>
Text nameIn(Word const (&rows)[Size], std::string_view word)
{
    for (Word const& row : rows)
        if (std::string_view(row.word) == word)
            return std::string(row.name);
    return std::nullopt;
}

} // namespace

Text armImplementer(std::int64_t implementer) { return nameIn(kImplementers, implementer, 0); }

Text armPart(std::int64_t implementer, std::int64_t part) { return nameIn(kParts, implementer, part); }

Text s390Machine(std::string_view machine) { return nameIn(kS390Machines, machine); }

Text riscvDesign(std::string_view design)
{
    std::size_t const comma = design.find(',');
    if (comma == std::string_view::npos || comma + 1 == design.size())
        return design.empty() ? std::nullopt : Text(design);
    std::string model(design.substr(comma + 1));
    for (char& c : model)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    std::string_view const designer = design.substr(0, comma);
    return nameIn(kRiscvDesigners, designer).value_or(std::string(designer)) + " " + model;
}

Text riscvVendor(std::int64_t vendor)
{
    switch (vendor) {
    case 0x31e:
        return "Andes";
    case 0x489:
        return "SiFive";
    case 0x5b7:
        return "T-Head";
    case 0x61f:
        return "Ventana";
    case 0x710:
        return "SpacemiT";
    default:
        return std::nullopt;
    }
}

} // namespace zel::cpunames
