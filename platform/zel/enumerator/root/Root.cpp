#include <zel/enumerator/root/Root.h>

#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

// A kernel attribute is at most a page; a longer first line is not one.
constexpr std::size_t kAttributeLimit = 4096;

} // namespace

std::string RootFailure::toString() const
{
    return reason + " (" + (count == 1 ? "at" : std::to_string(count) + " times, first at") + " /" + path +
           ")";
}

Root::~Root() = default;

std::optional<std::string> Root::text(std::string const& path) const
{
    auto const content = read(path, kAttributeLimit);
    if (!content)
        return std::nullopt;
    std::string_view const line = text::firstLine(*content);
    return line.empty() ? std::nullopt : std::optional<std::string>(line);
}

std::optional<std::int64_t> Root::number(std::string const& path) const
{
    auto const line = text(path);
    return line ? text::toNumber(*line) : std::nullopt;
}

std::optional<std::uint64_t> Root::hexadecimal(std::string const& path) const
{
    auto const line = text(path);
    return line ? text::toHexadecimal(*line) : std::nullopt;
}

} // namespace zel
