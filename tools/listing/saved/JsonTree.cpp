#include <listing/saved/JsonTree.h>

#include <listing/saved/SavedListing.h>

#include <zel/foundation/Exception.h>

#include <nlohmann/json.hpp>

#include <iterator>

namespace listing {

using namespace zel;

namespace {

// Bytes of the text, counting line ends. The parser may have taken one byte more than the value, and that one
// may be a line end: it counts only when the next is taken.
class CountingIterator
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = char const*;
    using reference = char const&;

    CountingIterator(char const* at, std::size_t* line) : m_at(at), m_line(line) {}
    reference operator*() const { return *m_at; }
    CountingIterator& operator++()
    {
        *m_line += m_pending;
        m_pending = *m_at == '\n';
        ++m_at;
        return *this;
    }
    CountingIterator operator++(int)
    {
        CountingIterator const old = *this;
        ++*this;
        return old;
    }
    bool operator==(CountingIterator const& other) const { return m_at == other.m_at; }

private:
    char const* m_at;
    std::size_t* m_line;
    std::size_t m_pending = 0;
};

// Receives the parser's events and builds the tree.
class Builder
{
public:
    Builder(std::string const& name, SavedLimits const& limits, std::size_t const& line)
        : m_name(name), m_limits(limits), m_line(line)
    {}

    bool null() { return add(JsonNode::Kind::Null), true; }
    bool boolean(bool value) { return add(JsonNode::Kind::Truth).truth = value, true; }
    bool number_integer(std::int64_t value) { return add(JsonNode::Kind::Negative).negative = value, true; }
    bool number_unsigned(std::uint64_t value) { return add(JsonNode::Kind::Unsigned).whole = value, true; }
    bool number_float(double value, std::string const&)
    {
        return add(JsonNode::Kind::Real).real = value, true;
    }
    bool string(std::string& value) { return add(JsonNode::Kind::Text).text = std::move(value), true; }
    bool binary(nlohmann::json::binary_t&) { return false; } // no JSON has it
    bool start_object(std::size_t) { return open(JsonNode::Kind::Object); }
    bool key(std::string& value) { return m_key = std::move(value), true; }
    bool end_object() { return close(); }
    bool start_array(std::size_t) { return open(JsonNode::Kind::Array); }
    bool end_array() { return close(); }
    bool parse_error(std::size_t, std::string const&, nlohmann::detail::exception const& error)
    {
        std::string const what =
            error.what(); // "[json...] parse error at line 1, column 2: syntax error ..."
        std::size_t const reason = what.find(": ");
        refuse(m_name, m_line, "no JSON: " + (reason == std::string::npos ? what : what.substr(reason + 2)));
    }

    JsonNode take() { return std::move(m_top); }

private:
    JsonNode& add(JsonNode::Kind kind)
    {
        if (++m_count > m_limits.values)
            refuse(m_name, m_line, "more than " + std::to_string(m_limits.values) + " values");
        JsonNode& node = m_open.empty() ? m_top : m_open.back()->children.emplace_back();
        node.kind = kind;
        node.line = static_cast<std::uint32_t>(m_line);
        if (!m_open.empty() && m_open.back()->kind == JsonNode::Kind::Object)
            node.key = std::move(m_key);
        return node;
    }
    bool open(JsonNode::Kind kind)
    {
        if (m_open.size() == m_limits.depth)
            refuse(m_name, m_line, "nested deeper than " + std::to_string(m_limits.depth) + " levels");
        // The list that holds the new node grows only while the node is its last element and closed.
        m_open.push_back(&add(kind));
        return true;
    }
    bool close()
    {
        m_open.pop_back();
        return true;
    }

    std::string const& m_name;
    SavedLimits const& m_limits;
    std::size_t const& m_line;
    JsonNode m_top;
    std::vector<JsonNode*> m_open;
    std::string m_key;
    std::size_t m_count = 0;
};

} // namespace

void refuse(std::string const& name, std::size_t line, std::string const& reason)
{
    throw ParseException(String(name + ":" + std::to_string(line) + ": " + reason));
}

JsonNode const* JsonNode::member(std::string_view wanted) const
{
    for (JsonNode const& child : children)
        if (child.key == wanted)
            return &child;
    return nullptr;
}

JsonNode parseJson(std::string_view utf8, std::string const& name, SavedLimits const& limits,
                   std::size_t line)
{
    Builder builder(name, limits, line);
    CountingIterator const begin(utf8.data(), &line), end(utf8.data() + utf8.size(), &line);
    nlohmann::json::sax_parse(begin, end, &builder);
    return builder.take();
}

} // namespace listing
