#include <listing/forms/Columns.h>

#include <algorithm>
#include <cstdint>

namespace listing {

namespace {

struct Range
{
    std::uint32_t low, high;
};
// Blocks, not single characters: what a terminal does with those in between differs anyway.
constexpr Range kWide[] = {{0x1100, 0x115F},   {0x2E80, 0xA4CF},  {0xAC00, 0xD7A3}, {0xF900, 0xFAFF},
                           {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},  {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F},
                           {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};
constexpr Range kCombining[] = {{0x0300, 0x036F}, {0x200B, 0x200D}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}};

template <std::size_t count>
bool isIn(Range const (&ranges)[count], std::uint32_t code)
{
    return std::any_of(ranges, ranges + count,
                       [code](Range const& one) { return code >= one.low && code <= one.high; });
}

bool isContinuation(char c) { return (c & 0xC0) == 0x80; }

/// The character at `at`, of text that is well-formed; `at` moves behind it.
std::uint32_t next(std::string const& utf8, std::size_t& at)
{
    auto const first = static_cast<unsigned char>(utf8[at++]);
    std::uint32_t code = first < 0x80   ? first
                         : first < 0xE0 ? first & 0x1F
                         : first < 0xF0 ? first & 0xF
                                        : first & 7;
    for (; at < utf8.size() && isContinuation(utf8[at]); ++at)
        code = code << 6 | (utf8[at] & 0x3F);
    return code;
}

std::size_t widthOf(std::uint32_t code)
{
    return code < 0x300 ? 1 : isIn(kCombining, code) ? 0 : isIn(kWide, code) ? 2 : 1;
}

} // namespace

std::size_t columnsOf(std::string const& utf8)
{
    std::size_t columns = 0;
    for (std::size_t at = 0; at < utf8.size();)
        columns += widthOf(next(utf8, at));
    return columns;
}

std::string cutTo(std::string const& utf8, std::size_t columns)
{
    if (columnsOf(utf8) <= columns)
        return utf8;
    std::string const mark = std::string(kCut).substr(0, columns);
    std::size_t end = 0;
    for (std::size_t left = columns - mark.size(), at = 0; at < utf8.size(); end = at) {
        std::size_t const width = widthOf(next(utf8, at));
        if (width > left)
            break;
        left -= width;
    }
    return utf8.substr(0, end) + mark;
}

std::string wrapped(std::string const& line, std::size_t indent, std::size_t columns)
{
    std::string out;
    std::size_t const first = std::min(line.find_first_not_of(' '), line.size());
    std::string row = line.substr(0, first);
    bool hasWord = false;
    for (std::size_t begin = first; begin < line.size();) {
        // With the blanks in front of it, which columns of a text may be made of.
        std::size_t const word = std::min(line.find_first_not_of(' ', begin), line.size());
        std::size_t const end = std::min(line.find(' ', word), line.size());
        if (hasWord && columnsOf(row) + columnsOf(line.substr(begin, end - begin)) > columns) {
            out += row + "\n";
            row = std::string(std::min(indent, columns / 2), ' ');
            begin = word;
        }
        row += line.substr(begin, end - begin);
        hasWord = true;
        begin = end;
    }
    return out + row + "\n";
}

std::string filledTo(std::string const& utf8, std::size_t columns)
{
    return utf8 + std::string(columns - std::min(columns, columnsOf(utf8)), ' ');
}

} // namespace listing
