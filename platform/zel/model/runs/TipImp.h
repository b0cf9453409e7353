#pragma once

#include <zel/model/values/LocalizedStringImp.h>
#include <zel/model/vocabulary/TipTypeImp.h>

namespace zel {

/// A piece of advice. Its texts are "Tip.{key}.Title", "Tip.{key}.Content" and "Tip.{key}.ContentEx".
class ZEL_EXPORT TipImp
{
public:
    TipImp() = default;
    TipImp(String const& key, TipTypeImp const& type);

    String const& key() const noexcept { return m_key; }
    TipTypeImp const& type() const noexcept { return m_type; }
    LocalizedStringImp const& title() const noexcept { return m_title; }
    LocalizedStringImp& title() noexcept { return m_title; }
    LocalizedStringImp const& content() const noexcept { return m_content; }
    LocalizedStringImp& content() noexcept { return m_content; }
    LocalizedStringImp const& contentEx() const noexcept { return m_contentEx; }
    LocalizedStringImp& contentEx() noexcept { return m_contentEx; }
    void setModuleGuid(String const& guid);
    /// The title, then the content where it has a text of its own: "Title: content".
    String toString() const;

    bool operator==(TipImp const&) const = default;

private:
    String m_key;
    TipTypeImp m_type;
    LocalizedStringImp m_title, m_content, m_contentEx;
};

} // namespace zel
