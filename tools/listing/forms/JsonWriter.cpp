#include <listing/forms/JsonWriter.h>

#include <zel/foundation/ControlCharacters.h>

#include <charconv>
#include <cmath>
#include <string_view>

namespace listing {

namespace {

bool needsEscape(char c) { return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\'; }

// JSON itself is content with less; but a person may look at it in a terminal.
bool mayNeedEscape(char c) { return needsEscape(c) || static_cast<unsigned char>(c) >= 0x7F; }

void appendEscaped(char c, std::string& out)
{
    constexpr std::string_view kLetters = "\"\"\\\\\bb\ff\nn\rr\tt"; // sign and letter in turns
    for (std::size_t i = 0; i < kLetters.size(); i += 2)
        if (kLetters[i] == c) {
            out += {'\\', kLetters[i + 1]};
            return;
        }
    constexpr char kDigits[] = "0123456789abcdef";
    out += "\\u00";
    out += {kDigits[static_cast<unsigned char>(c) >> 4], kDigits[static_cast<unsigned char>(c) & 15]};
}

template <typename Number>
void appendNumber(Number value, std::string& out)
{
    char digits[24];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

} // namespace

JsonWriter& JsonWriter::begin(char open, char close)
{
    beginValue();
    m_out += open;
    m_levels.push_back({close});
    return *this;
}

JsonWriter& JsonWriter::end()
{
    Level const level = m_levels.back();
    m_levels.pop_back();
    if (!level.isEmpty)
        beginLine();
    m_out += level.close;
    return *this;
}

void JsonWriter::beginLine()
{
    if (m_layout == Layout::OneLine)
        return;
    m_out += '\n';
    m_out.append(2 * m_levels.size(), ' ');
}

void JsonWriter::beginValue()
{
    if (m_hasKey || m_levels.empty()) {
        m_hasKey = false;
        return;
    }
    if (!m_levels.back().isEmpty)
        m_out += ',';
    m_levels.back().isEmpty = false;
    beginLine();
}

JsonWriter& JsonWriter::key(char const* word)
{
    beginValue();
    m_out += '"';
    m_out += word;
    m_out += '"';
    closeKey();
    return *this;
}

JsonWriter& JsonWriter::key(zel::String const& text)
{
    this->text(text);
    closeKey();
    return *this;
}

void JsonWriter::closeKey()
{
    m_out += m_layout == Layout::OneLine ? ":" : ": ";
    m_hasKey = true;
}

JsonWriter& JsonWriter::text(zel::String const& text)
{
    beginValue();
    m_out += '"';
    std::size_t const begin = m_out.size();
    text.appendUtf8To(m_out);
    escapeFrom(begin);
    m_out += '"';
    return *this;
}

void JsonWriter::escapeFrom(std::size_t begin)
{
    std::size_t at = begin;
    while (at < m_out.size() && !mayNeedEscape(m_out[at]))
        ++at;
    if (at == m_out.size())
        return; // nearly always
    std::string const rest = m_out.substr(at);
    m_out.resize(at);
    for (std::size_t i = 0; i < rest.size(); ++i)
        if (needsEscape(rest[i])) {
            appendEscaped(rest[i], m_out);
        } else if (zel::ControlAt const control = zel::controlAt(rest, i); control.length > 0) {
            m_out += zel::jsonEscape(control.code);
            i += control.length - 1;
        } else {
            m_out += rest[i];
        }
}

JsonWriter& JsonWriter::number(std::uint64_t value)
{
    beginValue();
    appendNumber(value, m_out);
    return *this;
}

JsonWriter& JsonWriter::number(std::int64_t value)
{
    beginValue();
    appendNumber(value, m_out);
    return *this;
}

JsonWriter& JsonWriter::number(double value)
{
    beginValue();
    if (!std::isfinite(value)) {
        m_out += "null";
        return *this;
    }
    std::size_t const begin = m_out.size();
    appendNumber(value, m_out);
    // A reader that tells whole numbers from others is to see that this is one of the others.
    if (m_out.find_first_of(".e", begin) == std::string::npos)
        m_out += ".0";
    return *this;
}

JsonWriter& JsonWriter::truth(bool value)
{
    beginValue();
    m_out += value ? "true" : "false";
    return *this;
}

} // namespace listing
