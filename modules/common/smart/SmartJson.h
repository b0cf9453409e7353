#pragma once
// The JSON that smartctl prints, read with suspicion: a member that is absent is absent, and one that is
// there and is not what it should be is a doubt about the whole report.
//
//     SmartJson json(text);
//     std::optional<bool> passed = json.top()["smart_status"]["passed"].truth();
//     for (Doubt const& doubt : json.doubts())
//         ...
//
// Thread rule: used from one thread at a time.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace krel5::modules {

/// Why a report cannot be taken at its word.
struct Doubt
{
    enum class Kind {
        NotUnderstood, ///< of another type or out of range, or missing where it must be
        Twice,         ///< two members of one name
        TooMany,       ///< more entries than there can be
        Others         ///< further doubts, which are not told
    };
    Kind m_kind = Kind::NotUnderstood;
    std::string m_member; ///< such as "smart_status.passed"
    bool operator==(Doubt const&) const = default;
};

class SmartJson
{
public:
    /// One value, or where one would be. Valid as long as the SmartJson. Each reading adds a doubt when the
    /// value is there and cannot be read so.
    class Field
    {
    public:
        bool isThere() const noexcept { return m_value != nullptr; }
        Field operator[](char const* name) const;
        std::optional<bool> truth() const;
        /// Whole numbers only. Those that JSON counts as floating-point are the largest one at most.
        std::optional<std::uint64_t> count(std::uint64_t most = ~std::uint64_t(0)) const;
        std::optional<std::int64_t> number() const;
        /// As it stands (a report escapes what it is told), at most 1000 bytes, where "..." tells of the rest. Empty
        /// when absent.
        std::string text() const;
        /// Entries of a list; more than `most` are a doubt, and handed on all the same.
        void each(std::size_t most, std::function<void(Field const& entry)> const& take) const;
        bool isObject() const noexcept;
        /// Adds a doubt about this value.
        void doubt(Doubt::Kind kind = Doubt::Kind::NotUnderstood) const;

    private:
        friend class SmartJson;
        Field(void const* value, std::string path, SmartJson* owner)
            : m_value(value), m_path(std::move(path)), m_owner(owner)
        {}
        template <typename T>
        std::optional<T> orDoubt(std::optional<T> read) const;

        void const* m_value; // the JSON library's; null when absent
        std::string m_path;
        SmartJson* m_owner;
    };

    explicit SmartJson(std::string_view text);
    ~SmartJson();
    SmartJson(SmartJson const&) = delete;
    SmartJson& operator=(SmartJson const&) = delete;

    /// Absent when the text is not a JSON object.
    Field top();
    std::vector<Doubt> const& doubts() const noexcept { return m_doubts; }

private:
    struct Document;
    void addDoubt(Doubt doubt);

    std::unique_ptr<Document> m_document;
    std::vector<Doubt> m_doubts; // each once, kMostDoubts at most and Others
};

} // namespace krel5::modules
