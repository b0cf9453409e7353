#include <zel/enumerator/memory/PresentMemory.h>

#include <zel/enumerator/root/Text.h>

#include <bit>
#include <cstring>

namespace zel {

namespace {

constexpr std::uint64_t kSmallestPage = 4096;
constexpr std::uint64_t kLargestPage = 1u << 20;
constexpr std::size_t kZoneInfoLimit = 32u << 20; // every zone has some lines for every processor

/// "        present  3998", once a zone.
measure::Count presentPages(std::string_view content)
{
    constexpr std::string_view kWord = "present ";
    measure::Count pages;
    for (std::size_t end = 0; !content.empty(); content.remove_prefix(std::min(end + 1, content.size()))) {
        end = std::min(content.find('\n'), content.size());
        std::string_view const line = text::trimmed(content.substr(0, end));
        auto const count =
            line.starts_with(kWord) ? text::toUnsigned(line.substr(kWord.size())) : std::nullopt;
        if (count && *count <= ~std::uint64_t{0} - pages.value_or(0))
            pages = pages.value_or(0) + *count;
    }
    return pages;
}

/// What the kernel tells every program at its start, of which a captured machine has a copy: pairs of words.
measure::Count pageSizeTold(Root const& root)
{
    constexpr std::uint64_t kPageSize = 6; // AT_PAGESZ in <elf.h>
    auto const vector = root.read("proc/self/auxv", 4096);
    for (std::size_t at = 0; vector && at + 16 <= vector->size(); at += 16) {
        std::uint64_t pair[2];
        std::memcpy(pair, vector->data() + at, sizeof pair);
        if (pair[0] == kPageSize && std::has_single_bit(pair[1]) && pair[1] >= kSmallestPage &&
            pair[1] <= kLargestPage)
            return pair[1];
    }
    return std::nullopt;
}

/// The kernel manages nearly all that is present: the smallest page with which it does not manage more.
measure::Count pageSizeFrom(std::uint64_t pages, measure::Count usable)
{
    for (std::uint64_t size = kSmallestPage; usable && size <= kLargestPage; size *= 2)
        if (*usable / size <= pages)
            return size;
    return std::nullopt;
}

} // namespace

measure::Count presentMemory(Root const& root, measure::Count usable)
{
    auto const content = root.read("proc/zoneinfo", kZoneInfoLimit);
    auto const pages = content ? presentPages(*content) : std::nullopt;
    if (!pages || *pages == 0)
        return std::nullopt;
    auto const told = pageSizeTold(root);
    auto const pageSize = told ? told : pageSizeFrom(*pages, usable);
    return pageSize ? measure::scaled(pages, *pageSize) : std::nullopt;
}

} // namespace zel
