#pragma once
// What the units of all vocabulary handles share: the record, and the operations that every such handle has.

#include <libKrel5/basics/DataHolderDefinition.h>

#include <krel5/KrelString.h>

namespace krel5 {

/// A constant of the model with its text. The text is taken along, not fetched on demand, so that reading a
/// shared constant changes nothing.
template <typename Imp>
struct VocabularyRecord
{
    VocabularyRecord() : VocabularyRecord(Imp()) {}
    explicit VocabularyRecord(Imp const& constant) : imp(constant), text(constant.toString()) {}

    Imp imp;
    KrelString text;
};

/// What a static accessor keeps: a constant that several threads may read at once. The UTF-8 form of its
/// text, which a string otherwise makes when first asked, is there from the start.
template <typename Handle>
Handle const& sharedConstant(Handle const* constant)
{
    constant->toString().getUTF8Buffer();
    return *constant;
}

} // namespace krel5

/// Defines default construction, copies, destruction, comparison, imp() and data() of a handle.
#define KREL5_HANDLE_OPERATIONS(Class, Record, Imp)                                                          \
    template class DataHolder<Record>;                                                                       \
    Class::Class() = default;                                                                                \
    Class::Class(Imp const& constant) : m_holder(Record(constant)) {}                                        \
    Class::Class(Class const& other) = default;                                                              \
    Class& Class::operator=(Class const& other) = default;                                                   \
    Class::~Class() = default;                                                                               \
    bool Class::operator==(Class const& other) const { return data().imp == other.data().imp; }              \
    bool Class::operator!=(Class const& other) const { return !(*this == other); }                           \
    Imp const& Class::imp() const { return data().imp; }                                                     \
    Record& Class::data() { return m_holder.data(); }                                                        \
    Record const& Class::data() const { return m_holder.data(); }

/// The same with toString().
#define KREL5_VOCABULARY_HANDLE(Class, Record, Imp)                                                          \
    KREL5_HANDLE_OPERATIONS(Class, Record, Imp)                                                              \
    KrelString const& Class::toString() const { return data().text; }
