#pragma once
// JSON as it is written, one value after the other: no tree of it is built. Two blanks of indentation a level, or all of
// it on one line.
//
//     JsonWriter json;
//     json.beginObject().key("size").number(7).key("tags").beginArray().text("a").end().end();
//     std::string const document = json.take();
//
// REQUIRES: keys and values alternate in objects, and each begin has its end; nothing checks that.

#include <zel/foundation/String.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace listing {

class JsonWriter
{
public:
    enum class Layout : bool { Indented, OneLine };

    explicit JsonWriter(Layout layout = Layout::Indented) : m_layout(layout) {}

    JsonWriter& beginObject() { return begin('{', '}'); }
    JsonWriter& beginArray() { return begin('[', ']'); }
    /// Of the object or array begun last.
    JsonWriter& end();

    /// Of the value that follows; as `word` one without signs that need an escape.
    JsonWriter& key(char const* word);
    JsonWriter& key(zel::String const& text);
    JsonWriter& text(zel::String const& text);
    JsonWriter& number(std::uint64_t value);
    JsonWriter& number(std::int64_t value);
    /// The shortest decimal number that reads back as the same; null for what is not finite.
    JsonWriter& number(double value);
    JsonWriter& truth(bool value);

    std::string take() { return std::move(m_out); }

private:
    struct Level
    {
        char close;
        bool isEmpty = true;
    };

    JsonWriter& begin(char open, char close);
    void beginValue();
    void beginLine();
    void closeKey();
    void escapeFrom(std::size_t begin);

    Layout m_layout;
    std::string m_out;
    std::vector<Level> m_levels;
    bool m_hasKey = false; ///< a key was written whose value follows
};

} // namespace listing
