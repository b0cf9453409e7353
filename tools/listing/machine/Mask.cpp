#include <listing/machine/Mask.h>

#include <zel/model/devices/DeviceImp.h>

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace listing {

using namespace zel;

namespace {

// A shorter value is replaced only where it is the whole text: too many other words have it inside.
constexpr std::size_t kShortestInside = 4;
constexpr std::size_t kOctets = 6;         // of a network card's address
constexpr std::size_t kTellingDigits = 12; // fewer hexadecimal digits may be anything
constexpr char kAddress[] = "Hardware address";
constexpr char kUuid[] = "UUID";

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHex(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
// Bytes of characters beyond ASCII count as letters.
bool isWordSign(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           static_cast<unsigned char>(c) >= 0x80;
}
bool startsWord(std::string_view text, std::size_t at) { return at == 0 || !isWordSign(text[at - 1]); }
bool endsWord(std::string_view text, std::size_t end) { return end >= text.size() || !isWordSign(text[end]); }

std::string digitsOf(std::string_view text)
{
    std::string digits;
    for (char const c : text)
        if (isHex(c))
            digits += c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    return digits;
}

std::size_t hexRun(std::string_view text, std::size_t at)
{
    std::size_t end = at;
    while (end < text.size() && isHex(text[end]))
        ++end;
    return end - at;
}

// The length of what is found at a place is 0 where there is nothing of that form.

std::size_t uuidAt(std::string_view text, std::size_t at)
{
    std::size_t end = at;
    for (std::size_t const size : {8u, 4u, 4u, 4u, 12u}) {
        if (end != at && (end >= text.size() || text[end++] != '-'))
            return 0;
        if (hexRun(text, end) != size)
            return 0;
        end += size;
    }
    return startsWord(text, at) && endsWord(text, end) ? end - at : 0;
}

// Six octets or more, for those of InfiniBand, FireWire and Fibre Channel are longer.
std::size_t addressAt(std::string_view text, std::size_t at)
{
    std::size_t end = at;
    std::size_t octets = 0;
    while (hexRun(text, end) == 2) {
        ++octets;
        end += 2;
        if (end >= text.size() || (text[end] != ':' && text[end] != '-') || hexRun(text, end + 1) != 2)
            break;
        ++end;
    }
    return octets >= kOctets && startsWord(text, at) && endsWord(text, end) ? end - at : 0;
}

// Digits of an address of a card that no property tells of: "NET:0:22:65:226:141:255".
std::string digitsOfLocation(char const* text, std::size_t& length)
{
    unsigned octets[kOctets] = {};
    int end = 0;
    if (std::sscanf(text, "NET:%3u:%3u:%3u:%3u:%3u:%3u%n", &octets[0], &octets[1], &octets[2], &octets[3],
                    &octets[4], &octets[5], &end) != static_cast<int>(kOctets))
        return {};
    length = static_cast<std::size_t>(end);
    std::string digits;
    for (unsigned const octet : octets) {
        char two[4];
        std::snprintf(two, sizeof two, "%02x", octet & 0xFFu);
        digits += two;
    }
    return digits;
}

// "/24" of "192.0.2.2/24": it tells nobody who that is, so it stays.
std::size_t prefixLengthOf(std::string_view text)
{
    std::size_t const slash = text.rfind('/');
    if (slash == std::string_view::npos || slash + 1 == text.size() || text.size() - slash > 4)
        return 0;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (i < slash ? !isHex(text[i]) && text[i] != '.' && text[i] != ':' : i > slash && !isDigit(text[i]))
            return 0;
    return text.size() - slash;
}

} // namespace

std::string Mask::nextPlaceholder(std::string const& label)
{
    return "[" + label + " " + std::to_string(++m_counts[label]) + "]";
}

std::string const& Mask::ofDigits(std::string const& label, std::string const& digits)
{
    std::string& placeholder = m_digits[digits];
    if (placeholder.empty())
        placeholder = nextPlaceholder(label);
    return placeholder;
}

// What stands for the value from now on.
std::string Mask::learn(std::string const& label, std::string const& value)
{
    std::size_t const prefixLength = prefixLengthOf(value);
    std::string const plain = value.substr(0, value.size() - prefixLength);
    if (plain.empty())
        return value;
    if (uuidAt(plain, 0) == plain.size() || addressAt(plain, 0) == plain.size())
        return ofDigits(label, digitsOf(plain));
    std::string& placeholder = m_words[plain];
    if (placeholder.empty()) {
        placeholder = nextPlaceholder(label);
        // "naa.5000c500a1b2c3d4" is "wwn-0x5000c500a1b2c3d4" elsewhere
        std::size_t const tail = plain.rfind('.') == std::string::npos ? 0 : plain.rfind('.') + 1;
        if (hexRun(plain, tail) == plain.size() - tail && plain.size() - tail >= kTellingDigits)
            m_digits.emplace(digitsOf(plain.substr(tail)), placeholder);
    }
    return placeholder + value.substr(plain.size());
}

void Mask::learn(Property const& property)
{
    std::string const label = property.name().toUtf8();
    if (property.value.type() == DataTypeImp::STRINGARRAY())
        for (String const& one : property.value.stringArray())
            learn(label, one.toUtf8());
    else
        learn(label, property.value.toString().toUtf8());
}

// The longest secret that begins here and ends a word: one secret may begin another. Of all secrets up to the text in
// the order of the alphabet, the last has every secret that begins the text as its own beginning; so only what the two
// have in common remains to be looked at, however many secrets there are.
std::optional<Mask::Found> Mask::wordAt(std::string const& text, std::size_t at) const
{
    std::string_view rest = std::string_view(text).substr(at);
    while (rest.size() >= kShortestInside) {
        auto const behind = m_words.upper_bound(rest);
        if (behind == m_words.begin())
            break;
        auto const& [word, placeholder] = *std::prev(behind);
        auto const [end, unused] = std::mismatch(word.begin(), word.end(), rest.begin(), rest.end());
        std::size_t const common = static_cast<std::size_t>(end - word.begin());
        if (end != word.end()) {
            rest = rest.substr(0, common);
        } else if (common >= kShortestInside && endsWord(text, at + common)) {
            return Found{0, common, placeholder};
        } else {
            rest = rest.substr(0, common - 1);
        }
    }
    return std::nullopt;
}

std::optional<Mask::Found> Mask::secretAt(std::string const& text, std::size_t at)
{
    if (!startsWord(text, at))
        return std::nullopt;
    if (auto found = wordAt(text, at))
        return found;
    if (std::size_t const length = uuidAt(text, at))
        return Found{0, length, ofDigits(kUuid, digitsOf(text.substr(at, length)))};
    if (std::size_t const length = addressAt(text, at))
        return Found{0, length, ofDigits(kAddress, digitsOf(text.substr(at, length)))};
    if (std::size_t length = 0; text.compare(at, 4, "NET:") == 0)
        if (std::string const digits = digitsOfLocation(text.c_str() + at, length); !digits.empty())
            return Found{4, length, ofDigits(kAddress, digits)};
    // the names that the system gives interfaces after their address: "enx001641e28dff"
    bool const isInterface = text.compare(at, 3, "enx") == 0 || text.compare(at, 3, "wlx") == 0;
    std::size_t const kept = isInterface ? 3 : text.compare(at, 2, "0x") == 0 ? 2 : 0;
    std::size_t const count = hexRun(text, at + kept);
    if (count < kTellingDigits || !endsWord(text, at + kept + count))
        return std::nullopt;
    std::string const digits = digitsOf(text.substr(at + kept, count));
    if (isInterface && count == 2 * kOctets)
        return Found{kept, kept + count, ofDigits(kAddress, digits)};
    auto const found = m_digits.find(digits);
    return found == m_digits.end() ? std::nullopt : std::optional(Found{kept, kept + count, found->second});
}

// Whether anything was replaced.
bool Mask::mask(String& text)
{
    std::string const utf8 = text.toUtf8();
    if (auto const whole = m_words.find(utf8); whole != m_words.end()) {
        text = String(whole->second);
        return true;
    }
    std::string out;
    std::size_t copied = 0;
    for (std::size_t at = 0; at < utf8.size(); ++at)
        if (auto const found = secretAt(utf8, at)) {
            out += utf8.substr(copied, at + found->kept - copied) + found->placeholder;
            copied = at + found->length;
            at = copied - 1;
        }
    if (copied == 0)
        return false;
    text = String(out + utf8.substr(copied));
    return true;
}

void Mask::mask(Property& property)
{
    bool const isSecret = property.isIdentifying();
    std::string const label = property.name().toUtf8();
    auto const masked = [&](String text) {
        if (isSecret)
            return String(learn(label, text.toUtf8()));
        if (text.size() >= kShortestInside) // "1" is a serial number here and a stepping there
            mask(text);
        return text;
    };
    if (property.value.type() == DataTypeImp::STRINGARRAY()) {
        std::vector<String> texts = property.value.stringArray();
        for (String& text : texts)
            text = masked(text);
        property.value = ValueImp(std::move(texts));
    } else if (isSecret || property.value.type() == DataTypeImp::STRING() ||
               property.value.type() == DataTypeImp::LOCALIZEDSTRING()) {
        property.value = ValueImp(masked(property.value.toString()));
    }
}

void Mask::mask(Device& device)
{
    mask(device.name);
    mask(device.description);
    bool const hasMoved = mask(device.hwLocator);
    bool const isElsewhere = mask(device.osLocator) || hasMoved;
    for (String& bus : device.childBusIds)
        mask(bus);
    for (Property& property : device.properties)
        mask(property);
    if (isElsewhere) // from a guid, an address could be found by trying
        device.guid =
            DeviceImp::createGeneric(device.type, device.capabilities, device.name, device.osLocator,
                                     device.description, device.hwLocator, device.busClass)
                ->guid();
}

void Mask::apply(Machine& machine)
{
    for (Device const& device : machine.devices)
        for (Property const& property : device.properties)
            if (property.isIdentifying())
                learn(property);
    for (Device& device : machine.devices)
        mask(device);
    for (String& gap : machine.origin.gaps)
        mask(gap);
    machine.origin.isMasked = true;
}

} // namespace listing
