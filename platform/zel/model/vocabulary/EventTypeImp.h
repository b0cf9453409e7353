#pragma once

#include <zel/model/vocabulary/VocabularyTable.h>

namespace zel {

/// Kind of an event that a module reports.
class ZEL_EXPORT EventTypeImp : public VocabularyConstant<EventTypeImp>
{
public:
    enum class Code : int {
#define ZEL_CONSTANT(accessor, ...) accessor,
#include <zel/model/vocabulary/tables/EventType.def>
    };
#define ZEL_CONSTANT(accessor, ...) static EventTypeImp const& accessor();
#include <zel/model/vocabulary/tables/EventType.def>

    constexpr EventTypeImp() noexcept : VocabularyConstant(static_cast<int>(Code::UNINITIALIZED)) {}
    constexpr explicit EventTypeImp(Code code) noexcept : VocabularyConstant(static_cast<int>(code)) {}

    /// For a `switch`; no enumerator for the constant outside the table.
    Code code() const noexcept { return static_cast<Code>(index()); }

    static VocabularyTable const& table();

private:
    friend VocabularyConstant<EventTypeImp>;
    static constexpr int kUnknown = VocabularyTable::kNone;
    constexpr explicit EventTypeImp(int index) noexcept : VocabularyConstant(index) {}
};

} // namespace zel
