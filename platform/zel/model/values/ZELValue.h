#pragma once

#include <zel/foundation/String.h>
#include <zel/model/vocabulary/DataTypeImp.h>

#include <vector>

namespace zel {

/// A value as it crosses to the engine and into files: its type and the texts that carry it. The texts are
/// exact (a number reads back as the same number) and are not meant for people; ValueImp::toString() is. A
/// scalar is one text, an array one text an element, a localized string several (see docs/values.md).
/// ValueImp::toZELValue() makes it, ValueImp::fromZELValue() checks it and reads it back.
class ZEL_EXPORT ZELValue
{
public:
    ZELValue() = default;
    ZELValue(DataTypeImp const& type, std::vector<String> texts) : m_type(type), m_texts(std::move(texts)) {}

    DataTypeImp const& type() const noexcept { return m_type; }
    std::vector<String> const& texts() const noexcept { return m_texts; }
    bool operator==(ZELValue const&) const = default;

private:
    DataTypeImp m_type;
    std::vector<String> m_texts;
};

} // namespace zel
