#pragma once

#include <zel/foundation/String.h>
#include <zel/model/values/Number.h>

#include <optional>
#include <vector>

namespace zel {

class ValueImp;

/// The values that a parameter or a requirement takes: "1..16, 32, 64..", "true", "fast, thorough". Items are
/// separated by commas; each is a single value or a span `low..high` of numbers, both ends included, of which
/// one may be left out. An empty text takes everything. `\` makes the next character an ordinary one.
class ZEL_EXPORT ValidRange
{
public:
    /// Takes everything.
    ValidRange() = default;
    /// On failure `reason` names the item and what is wrong with it, and nothing is returned. Never throws on
    /// bad text.
    static std::optional<ValidRange> parse(String const& text, String& reason);

    /// The text as it was given.
    String const& text() const noexcept { return m_text; }
    bool takesEverything() const noexcept { return m_items.empty(); }
    /// Every item is a number or a span.
    bool isNumeric() const noexcept;

    /// Numbers compare by their exact value, whatever their types; measurements by their value in the plain
    /// unit; percentages by their number; booleans and strings with the single values; of an array every
    /// element must be in range. A localized string, whose text is not known before it is shown, always is.
    bool contains(ValueImp const& value) const;

    static constexpr std::size_t kMaxItems = 4096;

private:
    struct Item
    {
        String m_text; ///< of a single value
        std::optional<Number> m_low, m_high;
        bool m_isSpan = false;
    };
    static std::optional<Item> single(String const& text, String& reason);
    static std::optional<Item> span(String const& low, String const& high, String& reason);
    template <typename T, typename Check>
    bool containsAll(std::vector<T> const& elements, Check check) const;
    bool containsNumber(Number const& number) const;
    bool containsText(String const& text) const;

    String m_text;
    std::vector<Item> m_items;
};

} // namespace zel
