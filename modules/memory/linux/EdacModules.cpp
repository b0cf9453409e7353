#include <memory/linux/EdacModules.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace krel5::modules::memory {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMost = 1024;

std::string firstLine(fs::path const& path)
{
    std::string bytes(128, '\0'); // the kernel's own names are shorter
    std::ifstream file(path, std::ios::binary);
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    std::string line;
    std::copy_if(bytes.begin(), std::find(bytes.begin(), bytes.end(), '\n'), std::back_inserter(line),
                 [](char c) { return c >= ' ' && c <= '~'; });
    while (line.ends_with(' '))
        line.pop_back();
    return line;
}

std::vector<fs::path> foldersIn(fs::path const& folder, std::initializer_list<std::string_view> beginnings)
{
    std::vector<fs::path> result;
    std::error_code none;
    for (auto const& entry : fs::directory_iterator(folder, none)) {
        std::string const name = entry.path().filename();
        if (std::ranges::any_of(beginnings, [&](auto beginning) { return name.starts_with(beginning); }))
            result.push_back(entry.path());
    }
    std::ranges::sort(result);
    return result;
}

std::string lowered(std::string_view text)
{
    std::string result(text);
    std::ranges::transform(result, result.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return result;
}

} // namespace

std::vector<EdacModule> edacModules(std::string const& root)
{
    std::vector<EdacModule> result;
    for (auto const& controller : foldersIn(root + "sys/devices/system/edac/mc", {"mc"})) {
        for (auto const& part : foldersIn(controller, {"dimm", "rank"})) {
            std::string const size = firstLine(part / "size");
            if (size.empty() || size == "0" || result.size() == kMost)
                continue;
            std::string const location = firstLine(part / "dimm_location");
            EdacModule one{firstLine(part / "dimm_label"), controller.filename().string() + " "};
            one.m_where += location.empty() ? part.filename().string() : location;
            auto const same = std::ranges::find_if(result, [&one](EdacModule const& other) {
                return !one.m_label.empty() && other.m_label == one.m_label;
            });
            if (same == result.end())
                result.push_back(std::move(one));
            else
                same->m_where += "; " + one.m_where;
        }
    }
    return result;
}

std::string edacPlace(std::vector<EdacModule> const& modules, std::string_view slot, std::string_view bank)
{
    std::string const name = lowered(slot);
    std::string const joined = lowered(bank) + " " + name;
    std::string place;
    for (EdacModule const& module : modules) {
        std::string const label = lowered(module.m_label);
        if (label.empty() || (label != name && label != joined))
            continue;
        if (!place.empty())
            return {}; // two: which one is not known
        place = module.m_where;
    }
    return place;
}

} // namespace krel5::modules::memory
