#include <zel/foundation/xml/XmlReader.h>

#include <algorithm>
#include <array>
#include <bit>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace zel {
namespace {

enum Class : unsigned char {
    kOrdinary,  // stands for itself
    kMark,      // quotes and '<': ends what is scanned, or does not
    kBlank,     // tab and line ends: a blank in an attribute
    kReference, // '&'
    kEscape,    // '\'
    kLong,      // begins a sequence of UTF-8
    kExcluded
};

constexpr auto kClasses = [] {
    std::array<Class, 256> classes{};
    for (unsigned c = 0; c < 256; ++c)
        classes[c] = c < 0x20 ? kExcluded : c >= 0x80 ? kLong : kOrdinary;
    for (char const c : {'"', '\'', '<'})
        classes[static_cast<unsigned char>(c)] = kMark;
    for (char const c : {'\t', '\n', '\r'})
        classes[static_cast<unsigned char>(c)] = kBlank;
    classes['&'] = kReference;
    classes['\\'] = kEscape;
    return classes;
}();

// What a byte may be in a name, as bits.
constexpr unsigned char kWithin = 1, kAnywhere = 2, kPartOfLong = 4;
constexpr auto kNameBytes = [] {
    std::array<unsigned char, 256> bytes{};
    for (unsigned c = 0; c < 256; ++c) {
        bool const isLetter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == ':';
        bool const isWithin = (c >= '0' && c <= '9') || c == '-' || c == '.';
        bytes[c] = c >= 0x80 ? kPartOfLong : isLetter ? kAnywhere : isWithin ? kWithin : 0;
    }
    return bytes;
}();

Class classOf(char c) { return kClasses[static_cast<unsigned char>(c)]; }
bool isBlank(char c) { return c == ' ' || classOf(c) == kBlank; }
unsigned char inName(char c) { return kNameBytes[static_cast<unsigned char>(c)]; }

// The end of the name that begins here, `at` where none does; adds to `seen` what its bytes are.
char const* behindName(char const* at, char const* end, unsigned char& seen)
{
    if (at == end || !(inName(*at) & ~kWithin))
        return at;
    for (; at < end && inName(*at); ++at)
        seen |= inName(*at);
    return at;
}

char const* behindBlanks(char const* at, char const* end)
{
    while (at < end && isBlank(*at))
        ++at;
    return at;
}

// The first byte that does not stand for itself, or `end`.
char const* behindOrdinary(char const* at, char const* end)
{
#ifdef __SSE2__
    for (; end - at >= 16; at += 16) {
        __m128i const chunk = _mm_loadu_si128(reinterpret_cast<__m128i const*>(at));
        __m128i special = _mm_cmplt_epi8(chunk, _mm_set1_epi8(0x20)); // signed: what begins a sequence, too
        for (char const c : {'"', '\'', '<', '&', '\\'})
            special = _mm_or_si128(special, _mm_cmpeq_epi8(chunk, _mm_set1_epi8(c)));
        if (int const mask = _mm_movemask_epi8(special))
            return at + std::countr_zero(static_cast<unsigned>(mask));
    }
#endif
    while (at < end && classOf(*at) == kOrdinary)
        ++at;
    return at;
}

// Fills one or two, and says how many.
std::size_t unitsOf(std::uint32_t code, String::Unit* units)
{
    if (code < 0x10000) {
        *units = static_cast<String::Unit>(code);
        return 1;
    }
    units[0] = static_cast<String::Unit>(0xD800 + ((code - 0x10000) >> 10));
    units[1] = static_cast<String::Unit>(0xDC00 + ((code - 0x10000) & 0x3FF));
    return 2;
}

int hexDigit(String::Unit unit)
{
    if (unit >= '0' && unit <= '9')
        return unit - '0';
    if ((unit >= 'A' && unit <= 'F') || (unit >= 'a' && unit <= 'f'))
        return (unit | 0x20) - 'a' + 10;
    return -1;
}

struct Entity
{
    std::string_view name;
    char character;
};
constexpr Entity kEntities[] = {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};

constexpr std::size_t kLongestReference = 16; // "#x", eight digits and ';', with room for leading zeros

// XML 1.0, production 2 "Char".
bool isXmlCharacter(std::uint32_t c)
{
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) ||
           (c >= 0x10000 && c <= 0x10FFFF);
}

constexpr std::uint32_t kNoCharacter = 0;

// Of a reference, without its '&' and ';': one of the five predefined, or one by its number.
std::uint32_t characterOf(std::string_view reference)
{
    for (Entity const& one : kEntities)
        if (reference == one.name)
            return static_cast<unsigned char>(one.character);
    if (!reference.starts_with('#'))
        return kNoCharacter;
    bool const isHex = reference.starts_with("#x");
    reference.remove_prefix(isHex ? 2 : 1);
    std::uint32_t code = 0;
    auto const end = reference.data() + reference.size();
    auto const result = std::from_chars(reference.data(), end, code, isHex ? 16 : 10);
    return result.ec == std::errc() && result.ptr == end && isXmlCharacter(code) ? code : kNoCharacter;
}

// What the XML declaration that begins the text says of its encoding, where that is neither UTF-8 nor ASCII; empty otherwise.
std::string_view foreignEncoding(std::string_view text)
{
    if (!text.starts_with("<?xml"))
        return {};
    std::string_view const declaration = text.substr(0, text.find("?>"));
    std::size_t const at = declaration.find("encoding");
    if (at == std::string_view::npos || !isBlank(declaration[5])) // "<?xml-encoding" declares nothing
        return {};
    std::size_t const first = declaration.find_first_of("\"'", at);
    std::size_t const last = declaration.find_first_of("\"'", first + 1);
    if (last == std::string_view::npos)
        return declaration.substr(at);
    std::string_view const name = declaration.substr(first + 1, last - first - 1);
    String const lowered = String(name).lowered();
    bool const isOurs = lowered == "utf-8" || lowered == "us-ascii" || lowered == "ascii";
    return isOurs ? std::string_view() : name;
}

// Scanned before, so that references are known good. Of line ends CR LF and CR count as LF; in an attribute that, and a
// tab, is a blank.
void appendMeant(std::string& out, std::string_view raw, bool isAttribute)
{
    while (!raw.empty()) {
        std::size_t const special = raw.find_first_of(isAttribute ? "&\t\n\r" : "&\r");
        out.append(raw.substr(0, special));
        if (special == std::string_view::npos)
            return;
        raw.remove_prefix(special);
        std::size_t length = raw.starts_with("\r\n") ? 2 : 1;
        if (raw.front() == '&') {
            length = raw.find(';') + 1;
            String::Unit units[2];
            utf::encodeUtf8(units, unitsOf(characterOf(raw.substr(1, length - 2)), units), out);
        } else
            out += isAttribute ? ' ' : '\n';
        raw.remove_prefix(length);
    }
}

} // namespace

XmlException::XmlException(String const& reason, String const& path, std::size_t offset, std::size_t line)
    : ParseException(reason + (path.empty() ? String() : " at " + path) +
                     (line == 0 ? String() : ", line " + String::number(std::uint64_t{line})) + ", byte " +
                     String::number(std::uint64_t{offset})),
      m_reason(reason), m_path(path), m_offset(offset)
{}

bool XmlReader::isName(std::string_view text) noexcept
{
    unsigned char ignored = 0;
    char const* const end = text.data() + text.size();
    if (text.empty() || behindName(text.data(), end, ignored) != end)
        return false;
    while (!text.empty()) {
        std::size_t const length = utf::sequenceLength(text.data(), text.size());
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

XmlReader::XmlReader(std::string_view utf8, Limits const& limits)
    : m_begin(utf8.data()), m_at(m_begin), m_end(m_begin + utf8.size()), m_limits(limits)
{
    if (utf8.size() > limits.bytes)
        failAt(m_begin, "more than " + String::number(std::uint64_t{limits.bytes}) + " bytes");
    m_attributes.reserve(limits.attributes);
}

void XmlReader::failAt(char const* place, String const& reason) const
{
    String path;
    for (std::string_view const name : m_open)
        path += "/" + String(name);
    auto const line = 1 + std::count(m_begin, place, '\n');
    throw XmlException(reason, path, static_cast<std::size_t>(place - m_begin),
                       static_cast<std::size_t>(line));
}

void XmlReader::fail(String const& reason) const { failAt(m_tag ? m_tag : m_at, reason); }

void XmlReader::fail(std::string_view attribute, String const& reason) const
{
    Attribute const* const found = find(attribute);
    failAt(found ? found->raw.data() : m_tag, String(attribute) + ": " + reason);
}

void XmlReader::openRoot()
{
    if (startsWith("\xEF\xBB\xBF"))
        m_at += 3;
    auto const encoding = foreignEncoding(std::string_view(m_at, static_cast<std::size_t>(m_end - m_at)));
    if (!encoding.empty())
        failAt(m_at, "the encoding \"" + String(encoding) + "\", not UTF-8");
    skipBlanks();
    while (startsWith("<?") || startsWith("<!")) {
        if (!scanMisc())
            failAt(m_at, "a document type");
        skipBlanks();
    }
    if (m_at == m_end || *m_at != '<')
        failAt(m_at, "no element");
    scanStartTag();
}

void XmlReader::finish()
{
    while (!m_open.empty())
        step(nullptr);
    skipBlanks();
    while (m_at < m_end) {
        if (!scanMisc())
            failAt(m_at, "text behind the end");
        skipBlanks();
    }
}

bool XmlReader::openNext(std::size_t level, std::string* text)
{
    while (m_open.size() > level)
        step(nullptr);
    if (m_open.size() < level)
        return false;
    step(text);
    return m_open.size() > level;
}

// To the next tag, whose element is then open or closed.
void XmlReader::step(std::string* text)
{
    if (m_isEmpty) {
        m_isEmpty = false;
        m_open.pop_back();
        return;
    }
    for (;;) {
        scanData(text);
        char const kind = m_end - m_at > 1 ? m_at[1] : '\0';
        if (kind == '/')
            return scanEndTag();
        if (kind != '!' && kind != '?')
            return scanStartTag();
        if (startsWith("<![CDATA["))
            scanCharacters(text);
        else if (!scanMisc())
            failAt(m_at, "a document type");
    }
}

void XmlReader::scanData(std::string* text)
{
    bool ignored = true;
    char const* const from = m_at;
    scanText('<', ignored);
    std::string_view const data(from, static_cast<std::size_t>(m_at - from));
    if (auto const end = data.find("]]>"); end != std::string_view::npos)
        failAt(from + end, "\"]]>\" outside a CDATA section");
    if (text && behindBlanks(from, m_at) != m_at)
        appendMeant(*text, data, false);
}

// A CDATA section, in which '&' is a character like any other.
void XmlReader::scanCharacters(std::string* text)
{
    constexpr std::string_view kOpening = "<![CDATA[", kClosing = "]]>";
    char const* const from = m_at + kOpening.size();
    skipPast(kOpening, kClosing);
    for (char const* at = from; text && at < m_at - kClosing.size(); ++at) {
        if (*at == '\r' && at[1] == '\n') // what ends the section follows the last
            ++at;
        *text += *at == '\r' ? '\n' : *at;
    }
}

void XmlReader::scanStartTag()
{
    m_tag = m_at;
    if (++m_elements > m_limits.elements)
        failAt(m_at, "more than " + String::number(std::uint64_t{m_limits.elements}) + " elements");
    if (m_open.size() >= m_limits.depth)
        failAt(m_at, "more than " + String::number(m_limits.depth) + " elements deep");
    ++m_at;
    m_open.push_back(scanName());
    m_attributes.clear();
    for (;;) {
        if (scanPlainAttribute())
            continue;
        char const* const before = m_at;
        skipBlanks();
        if (m_at == m_end)
            failAt(m_at, "cut off");
        if (*m_at == '>' || *m_at == '/')
            break;
        if (m_at == before)
            failAt(m_at, "no blank before an attribute");
        scanAttribute();
    }
    m_isEmpty = *m_at == '/';
    if (m_isEmpty)
        ++m_at;
    expect('>');
}

// In the form in which nearly all stand, and that needs no second look: ` name="text"`. False for any other, and
// nothing is taken.
bool XmlReader::scanPlainAttribute()
{
    char const* const end = m_end;
    char const* at = m_at;
    if (at == end || *at != ' ')
        return false;
    unsigned char seen = 0;
    char const* const nameEnd = behindName(++at, end, seen);
    std::string_view const name(at, static_cast<std::size_t>(nameEnd - at));
    if (name.empty() || end - nameEnd < 2 || nameEnd[0] != '=' || nameEnd[1] != '"' || (seen & kPartOfLong))
        return false;
    char const* const from = nameEnd + 2;
    char const* const to = behindOrdinary(from, end);
    if (to == end || *to != '"' || m_attributes.size() >= m_limits.attributes || find(name))
        return false;
    m_attributes.push_back({name, std::string_view(from, static_cast<std::size_t>(to - from)), true});
    m_at = to + 1;
    return true;
}

void XmlReader::scanAttribute()
{
    if (m_attributes.size() >= m_limits.attributes)
        failAt(m_at, "more than " + String::number(std::uint64_t{m_limits.attributes}) + " attributes");
    char const* const place = m_at;
    std::string_view const name = scanName();
    if (find(name))
        failAt(place, "attribute \"" + String(name) + "\" twice");
    skipBlanks();
    expect('=');
    skipBlanks();
    if (m_at == m_end || (*m_at != '"' && *m_at != '\''))
        failAt(m_at, "no quote");
    char const quote = *m_at++;
    char const* const from = m_at;
    bool isPlain = true;
    scanText(quote, isPlain);
    m_attributes.push_back({name, std::string_view(from, static_cast<std::size_t>(m_at - from)), isPlain});
    ++m_at;
}

void XmlReader::scanEndTag()
{
    char const* const place = m_at;
    m_at += 2;
    std::string_view const name = scanName();
    skipBlanks();
    expect('>');
    if (name != m_open.back())
        failAt(place, "\"" + String(m_open.back()) + "\" ends as \"" + String(name) + "\"");
    m_open.pop_back();
}

// Up to `until`, a quote or '<', which is not taken.
void XmlReader::scanText(char until, bool& isPlain)
{
    for (;;) {
        m_at = behindOrdinary(m_at, m_end);
        if (m_at == m_end)
            failAt(m_at, "cut off");
        if (*m_at == until)
            return;
        switch (classOf(*m_at)) {
        case kOrdinary:
            break;
        case kMark:
            if (*m_at == '<')
                failAt(m_at, "\"<\" in an attribute");
            ++m_at;
            break;
        case kBlank:
        case kEscape:
            isPlain = false;
            ++m_at;
            break;
        case kReference:
            isPlain = false;
            scanReference();
            break;
        case kLong:
            scanSequence();
            break;
        case kExcluded:
            failAt(m_at, "a character that XML excludes");
        }
    }
}

void XmlReader::scanReference()
{
    std::string_view const rest(m_at + 1,
                                std::min(kLongestReference, static_cast<std::size_t>(m_end - m_at - 1)));
    std::size_t const length = rest.find(';');
    if (length == std::string_view::npos || characterOf(rest.substr(0, length)) == kNoCharacter)
        failAt(m_at, "a reference to no character that is known here");
    m_at += length + 2;
}

void XmlReader::scanSequence()
{
    std::size_t const length = utf::sequenceLength(m_at, static_cast<std::size_t>(m_end - m_at));
    if (length == 0)
        failAt(m_at, "no UTF-8");
    std::string_view const sequence(m_at, length);
    if (sequence == "\xEF\xBF\xBE" || sequence == "\xEF\xBF\xBF")
        failAt(m_at, "a character that XML excludes");
    m_at += length;
}

// A comment or a processing instruction; false for anything else.
bool XmlReader::scanMisc()
{
    if (startsWith("<!--"))
        skipPast("<!--", "--"), expect('>');
    else if (startsWith("<?")) {
        m_at += 2;
        scanName();
        skipPast("", "?>");
    } else
        return false;
    return true;
}

void XmlReader::skipPast(std::string_view opening, std::string_view closing)
{
    char const* const place = m_at;
    m_at += opening.size();
    std::size_t const length = std::string_view(m_at, static_cast<std::size_t>(m_end - m_at)).find(closing);
    if (length == std::string_view::npos)
        failAt(place, "cut off");
    checkCharacters(m_at + length);
    m_at += closing.size();
}

// Up to `end`, before which no sequence is cut unless it is no UTF-8.
void XmlReader::checkCharacters(char const* end)
{
    while (m_at < end) {
        if (classOf(*m_at) == kExcluded)
            failAt(m_at, "a character that XML excludes");
        if (classOf(*m_at) == kLong)
            scanSequence();
        else
            ++m_at;
    }
}

std::string_view XmlReader::scanName()
{
    char const* const from = m_at;
    unsigned char seen = 0;
    char const* const end = behindName(from, m_end, seen);
    if (end == from)
        failAt(from, from == m_end ? "cut off" : "no name");
    if (seen & kPartOfLong)
        checkCharacters(end);
    m_at = end;
    return std::string_view(from, static_cast<std::size_t>(end - from));
}

void XmlReader::skipBlanks() { m_at = behindBlanks(m_at, m_end); }

void XmlReader::expect(char what)
{
    if (m_at == m_end)
        failAt(m_at, "cut off");
    if (*m_at != what)
        failAt(m_at, "no \"" + String(std::string_view(&what, 1)) + "\"");
    ++m_at;
}

void XmlReader::failWithout(std::string_view attribute) const
{
    fail("no attribute \"" + String(attribute) + "\"");
}

bool XmlReader::flag(std::string_view attribute) const
{
    Attribute const* const found = find(attribute);
    if (!found || found->raw == "false")
        return false;
    if (found->raw != "true")
        fail(attribute, "\"" + String(found->raw) + "\" is neither true nor false");
    return true;
}

String XmlReader::unfolded(Attribute const& attribute) const
{
    std::string text;
    text.reserve(attribute.raw.size());
    appendMeant(text, attribute.raw, true);
    std::vector<String::Unit> units(text.size());
    units.resize(utf::decodeUtf8(text.data(), text.size(), units.data()));
    unescape(units, attribute);
    return String(units.data(), units.size());
}

std::vector<std::pair<std::string, std::string>> XmlReader::attributes() const
{
    std::vector<std::pair<std::string, std::string>> all;
    all.reserve(m_attributes.size());
    for (Attribute const& one : m_attributes)
        appendMeant(all.emplace_back(one.name, std::string()).second, one.raw, true);
    return all;
}

void XmlReader::unescape(std::vector<String::Unit>& units, Attribute const& attribute) const
{
    auto to = units.begin();
    for (auto at = units.begin(); at != units.end();) {
        if (*at != '\\') {
            *to++ = *at++;
            continue;
        }
        auto const left = units.end() - at;
        int code = left >= 2 && at[1] == '\\' ? '\\' : left >= 6 && at[1] == 'u' ? 0 : -1;
        bool const isUnit = code == 0;
        for (int i = 2; isUnit && i < 6 && code >= 0; ++i)
            code = hexDigit(at[i]) < 0 ? -1 : code * 16 + hexDigit(at[i]);
        if (code < 0)
            fail(attribute.name,
                 "\"\\\" is followed neither by \"\\\" nor by \"u\" and four hexadecimal digits");
        *to++ = static_cast<String::Unit>(code);
        at += isUnit ? 6 : 2;
    }
    units.erase(to, units.end());
}

} // namespace zel
