#include <engine/plan/PlanFile.h>

#include <engine/plan/Names.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>
#include <zel/model/settings/SettingsResource.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <set>
#include <string_view>
#include <system_error>

namespace engine {

namespace fs = std::filesystem;
using zel::String;

namespace {

constexpr std::size_t kMostBytes = 1u << 20;
constexpr char kEnding[] = ".plan";

[[noreturn]] void refuse(std::string const& origin, std::string const& reason)
{
    throw zel::InvalidArgumentException(String(origin + ": " + reason));
}

/// Blanks part words; double quotes keep them together, also inside a word. A `#` that begins a word begins a comment.
std::vector<std::string> wordsOf(std::string_view line, std::string const& origin)
{
    std::vector<std::string> words;
    bool isInWord = false, isQuoted = false;
    for (char const one : line) {
        bool const isBlank = one == ' ' || one == '\t' || one == '\r';
        if (one == '\0')
            refuse(origin, "holds a zero byte");
        if (!isInWord && one == '#')
            break;
        if (isBlank && !isQuoted) {
            isInWord = false;
            continue;
        }
        if (!isInWord)
            words.emplace_back();
        isInWord = true;
        if (one == '"')
            isQuoted = !isQuoted;
        else
            words.back() += one;
    }
    if (isQuoted)
        refuse(origin, "a quotation mark is not closed");
    return words;
}

void take(PlanLine& line, std::string const& word)
{
    std::size_t const equals = word.find('=');
    std::string const key = word.substr(0, equals);
    if (equals == std::string::npos) {
        if (key == "optional")
            line.optional = true;
        else if (key == "interactive")
            line.interactive = true;
        else
            refuse(line.origin,
                   "\"" + word + "\" is not understood" +
                       hintFor(word, {"optional", "interactive", "device=", "for=", "timeout=", "about="}));
        return;
    }
    std::string const value = word.substr(equals + 1);
    if (key == "device")
        line.devices.push_back(value);
    else if (key == "for")
        line.forTime = durationOf(value, line.origin);
    else if (key == "timeout")
        line.limit = durationOf(value, line.origin);
    else if (key == "about")
        line.expected = durationOf(value, line.origin);
    else
        line.settings.push_back(settingOf(word, line.origin));
}

bool isPlanName(std::string const& text)
{
    return !text.empty() && text.find('/') == std::string::npos && text.find('.') == std::string::npos;
}

} // namespace

std::chrono::seconds durationOf(std::string const& text, std::string const& origin)
{
    std::chrono::seconds sum{0};
    for (std::size_t from = 0; from < text.size() || text.empty();) {
        // One number with its unit; the last may come without, as a whole text does.
        std::size_t const unit = std::min(text.find_first_not_of("0123456789", from), text.size());
        std::size_t const end = std::min(text.find_first_of("0123456789", unit), text.size());
        bool const isBare = unit == text.size() && from > 0;
        std::string const part = text.substr(from, end - from);
        auto const seconds = isBare ? std::nullopt : zel::SettingsResource::secondsOf(String(part));
        bool const hasUnit = end == unit || (end == unit + 1 &&
                                             std::string_view("smhd").find(text[unit]) != std::string::npos);
        bool const isHuge = !seconds && !isBare && unit > from && hasUnit;
        if (!seconds && !isHuge)
            refuse(origin, "\"" + text + "\" is no time, as 90s, 5m, 1h30m or 2d");
        sum += std::chrono::seconds(seconds.value_or(0));
        if (isHuge || sum.count() > std::numeric_limits<std::uint32_t>::max())
            refuse(origin, "\"" + text + "\" is too long a time: 49710d at most");
        from = end;
    }
    if (sum.count() == 0)
        refuse(origin, "\"" + text + "\" is too short a time: it must be more than 0");
    return sum;
}

std::string durationText(std::chrono::seconds time)
{
    constexpr std::pair<char const*, long> kUnits[] = {{"h", 3600}, {"m", 60}, {"s", 1}};
    std::string text;
    long left = time.count();
    for (auto const& [unit, seconds] : kUnits)
        if (long const count = left / seconds; count > 0) {
            text += std::to_string(count) + unit;
            left -= count * seconds;
        }
    return text;
}

std::vector<PlanLine> parsePlan(std::string_view text, std::string const& path)
{
    std::vector<PlanLine> lines;
    for (int number = 1; !text.empty(); ++number) {
        std::size_t const end = std::min(text.find('\n'), text.size());
        std::string const origin = path + ":" + std::to_string(number);
        auto const words = wordsOf(text.substr(0, end), origin);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (words.empty())
            continue;
        if (lines.size() == kMostPlanLines)
            refuse(origin, "a plan has " + std::to_string(kMostPlanLines) + " lines at most");
        PlanLine line;
        line.origin = origin;
        line.tests = words.front();
        if (line.tests.find('=') != std::string::npos)
            refuse(origin, "a line begins with the tests that it is about: MODULE:TEST");
        for (std::size_t i = 1; i < words.size(); ++i)
            take(line, words[i]);
        lines.push_back(std::move(line));
    }
    if (lines.empty())
        refuse(path, "there is no test in it");
    return lines;
}

std::vector<PlanLine> readPlan(std::string const& path)
{
    auto const read = zel::FileSystem::readFile(path, kMostBytes, zel::FileSystem::Writers::AsProgram);
    if (!read.content)
        refuse("--plan", path + ": " + read.reason().toUtf8());
    return parsePlan(*read.content, path);
}

std::vector<std::string> planNames(std::vector<std::string> const& folders)
{
    std::set<std::string> names;
    for (std::string const& folder : folders) {
        std::error_code error;
        for (fs::directory_iterator one(folder, error), end; !error && one != end; one.increment(error))
            if (one->path().extension() == kEnding)
                names.insert(one->path().stem().string());
    }
    return {names.begin(), names.end()};
}

std::string pathOfPlan(std::string const& name, std::vector<std::string> const& folders)
{
    for (std::string const& folder : folders) {
        std::string const path = folder + "/" + name + kEnding;
        if (isPlanName(name) && zel::FileSystem::exists(path))
            return path;
    }
    return {};
}

std::string planPath(std::string const& nameOrPath, std::vector<std::string> const& folders)
{
    if (std::string const path = pathOfPlan(nameOrPath, folders); !path.empty())
        return path;
    if (zel::FileSystem::exists(nameOrPath))
        return nameOrPath;
    std::vector<String> known;
    std::string list;
    for (std::string const& one : planNames(folders)) {
        known.emplace_back(one);
        list += (list.empty() ? "" : ", ") + one;
    }
    refuse("--plan", "there is no plan and no file \"" + nameOrPath + "\"" + hintFor(nameOrPath, known) +
                         (list.empty() ? "" : " (plans: " + list + ")"));
}

} // namespace engine
