#pragma once

#include <zel/foundation/String.h>

#include <unordered_set>
#include <vector>

namespace krel5 {

/// Every key of this module that carries a text, in the order in which the files list them. The one place
/// that knows which keys an object has.
class LocalizedKeys
{
public:
    /// Of the running module, after initialize().
    static LocalizedKeys ofModule();

    /// Content of the localized-keys file.
    zel::String listText() const;
    /// Content of a fresh text file: every key with its default text, or empty.
    zel::String skeletonText() const;
    /// For the author: keys that have no text in the current language, and keys of the module's most
    /// particular text file that no object has.
    std::vector<zel::String> notes() const;

private:
    struct Row
    {
        zel::String key, defaultText;
        bool isOptional = false; // missed only where the plain text file has a text
    };
    void add(zel::String const& key, zel::String const& defaultText = zel::String());
    void addNamed(char const* kind, zel::String const& key);
    bool isUsed(zel::String const& key) const;
    std::vector<zel::String> keysWithoutText(zel::String const& guid) const;

    std::vector<Row> m_rows;
    std::unordered_set<zel::String> m_used; // keys of m_rows
};

} // namespace krel5
