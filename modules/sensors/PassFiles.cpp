#include <sensors/Part.h>

#include <algorithm>
#include <sstream>

namespace krel5::modules::sensors {

namespace {

constexpr std::size_t kLargest = 1 << 20; // a table of a machine with thousands of processors or drives
constexpr std::size_t kColumns = 20;

std::vector<std::string> wordsOf(std::string_view line)
{
    std::vector<std::string> words;
    std::size_t at = 0;
    while (words.size() < kColumns && (at = line.find_first_not_of(" \t", at)) != std::string_view::npos) {
        std::size_t const end = std::min(line.find_first_of(" \t", at), line.size());
        words.emplace_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

} // namespace

std::vector<std::string> const& PassFiles::row(std::string const& table, std::size_t column,
                                               std::string const& word)
{
    static std::vector<std::string> const s_none;
    auto const [rows, isNew] = m_tables.try_emplace(table);
    if (isNew) {
        std::string_view rest = shared(table).content;
        while (!rest.empty()) {
            std::size_t const end = std::min(rest.find('\n'), rest.size());
            std::vector<std::string> words = wordsOf(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
            if (words.size() <= column)
                continue;
            std::string key = words[column];
            rows->second.try_emplace(std::move(key), std::move(words));
        }
    }
    auto const found = rows->second.find(word);
    return found == rows->second.end() ? s_none : found->second;
}

MachineFiles::Answer const& PassFiles::shared(std::string const& path)
{
    auto const [answer, isNew] = m_shared.try_emplace(path);
    if (isNew)
        answer->second = m_files.read(path, kLargest);
    return answer->second;
}

std::vector<double> Counters::ratesTo(std::vector<double> now, std::chrono::steady_clock::time_point at)
{
    std::vector<double> rates;
    double const seconds = std::chrono::duration<double>(at - time).count();
    bool const isComparable = values.size() == now.size() && seconds > 0 &&
                              std::equal(values.begin(), values.end(), now.begin(), std::less_equal<>());
    for (std::size_t i = 0; isComparable && i < now.size(); ++i)
        rates.push_back((now[i] - values[i]) / seconds);
    values = std::move(now);
    time = at;
    return rates;
}

std::optional<double> Part::limit(std::string_view key) const
{
    for (Limit const& one : limits)
        if (one.key == key)
            return one.value;
    return std::nullopt;
}

} // namespace krel5::modules::sensors
