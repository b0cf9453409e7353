#include <common/smart/SmartJson.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace krel5::modules {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kMostDoubts = 10;
constexpr std::size_t kMostBytes = 1000;

Json const& jsonOf(void const* value) { return *static_cast<Json const*>(value); }

/// Whole characters only.
std::string cut(std::string const& text)
{
    if (text.size() <= kMostBytes)
        return text;
    std::size_t end = kMostBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end) + "...";
}

std::optional<std::uint64_t> wholeOf(Json const& value)
{
    constexpr double kTwoTo64 = 18446744073709551616.0;
    if (value.is_number_unsigned())
        return value.get<std::uint64_t>();
    // NVMe counts with 128 bits, which the parser makes a floating-point number of.
    if (!value.is_number_float())
        return std::nullopt;
    double const number = value.get<double>();
    if (!(number >= 0) || std::floor(number) != number)
        return std::nullopt;
    return number < kTwoTo64 ? static_cast<std::uint64_t>(number) : std::numeric_limits<std::uint64_t>::max();
}

/// Finds members of one name, of which the parser would keep the last one without a word.
class NamesOfObjects
{
public:
    std::vector<std::string> const& twice() const noexcept { return m_twice; }

    void take(Json::parse_event_t event, Json const& parsed)
    {
        if (event == Json::parse_event_t::object_start)
            m_open.emplace_back();
        else if (event == Json::parse_event_t::object_end && !m_open.empty())
            m_open.pop_back();
        else if (event == Json::parse_event_t::key && !m_open.empty())
            if (auto const& name = parsed.get_ref<std::string const&>(); !m_open.back().insert(name).second)
                m_twice.push_back(name);
    }

private:
    std::vector<std::set<std::string>> m_open;
    std::vector<std::string> m_twice;
};

} // namespace

struct SmartJson::Document
{
    Json m_top;
};

SmartJson::SmartJson(std::string_view text) : m_document(std::make_unique<Document>())
{
    NamesOfObjects names;
    auto const watch = [&names](int, Json::parse_event_t event, Json& parsed) {
        names.take(event, parsed);
        return true;
    };
    // The parser takes a zero byte for the end of the text, whatever follows; JSON has none.
    if (text.find('\0') == text.npos)
        m_document->m_top = Json::parse(text.begin(), text.end(), watch, false);
    for (std::string const& name : names.twice())
        addDoubt({Doubt::Kind::Twice, cut(name)});
}

SmartJson::~SmartJson() = default;

SmartJson::Field SmartJson::top()
{
    return Field(m_document->m_top.is_object() ? &m_document->m_top : nullptr, "", this);
}

void SmartJson::addDoubt(Doubt doubt)
{
    if (m_doubts.size() > kMostDoubts || std::find(m_doubts.begin(), m_doubts.end(), doubt) != m_doubts.end())
        return;
    m_doubts.push_back(m_doubts.size() < kMostDoubts ? std::move(doubt) : Doubt{Doubt::Kind::Others, ""});
}

void SmartJson::Field::doubt(Doubt::Kind kind) const { m_owner->addDoubt({kind, m_path}); }

bool SmartJson::Field::isObject() const noexcept { return m_value && jsonOf(m_value).is_object(); }

template <typename T>
std::optional<T> SmartJson::Field::orDoubt(std::optional<T> read) const
{
    if (!read && isThere())
        doubt();
    return read;
}

SmartJson::Field SmartJson::Field::operator[](char const* name) const
{
    Field field(nullptr, m_path.empty() ? name : m_path + "." + name, m_owner);
    if (isThere() && !isObject())
        doubt();
    if (!isObject())
        return field;
    Json const& object = jsonOf(m_value);
    auto const found = object.find(name);
    field.m_value = found == object.end() ? nullptr : &*found;
    return field;
}

std::optional<bool> SmartJson::Field::truth() const
{
    bool const is = isThere() && jsonOf(m_value).is_boolean();
    return orDoubt(is ? std::optional(jsonOf(m_value).get<bool>()) : std::nullopt);
}

std::optional<std::uint64_t> SmartJson::Field::count(std::uint64_t most) const
{
    auto const whole = isThere() ? wholeOf(jsonOf(m_value)) : std::nullopt;
    return orDoubt(whole && *whole <= most ? whole : std::nullopt);
}

std::optional<std::int64_t> SmartJson::Field::number() const
{
    constexpr auto kMost = std::uint64_t(std::numeric_limits<std::int64_t>::max());
    bool const whole = isThere() && jsonOf(m_value).is_number_integer();
    bool const fits =
        whole && (!jsonOf(m_value).is_number_unsigned() || jsonOf(m_value).get<std::uint64_t>() <= kMost);
    return orDoubt(fits ? std::optional(jsonOf(m_value).get<std::int64_t>()) : std::nullopt);
}

std::string SmartJson::Field::text() const
{
    bool const is = isThere() && jsonOf(m_value).is_string();
    auto const read =
        orDoubt(is ? std::optional(cut(jsonOf(m_value).get_ref<std::string const&>())) : std::nullopt);
    return read.value_or("");
}

void SmartJson::Field::each(std::size_t most, std::function<void(Field const& entry)> const& take) const
{
    if (!isThere())
        return;
    Json const& list = jsonOf(m_value);
    if (!list.is_array())
        return doubt();
    if (list.size() > most)
        doubt(Doubt::Kind::TooMany);
    for (Json const& entry : list)
        take(Field(&entry, m_path, m_owner));
}

} // namespace krel5::modules
