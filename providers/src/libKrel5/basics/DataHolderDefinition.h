#pragma once
// Definitions of DataHolder's members. Each record type's unit includes this and instantiates the template
// once:
//     template class krel5::DataHolder<krel5::ValueInternalData>;

#include <krel5/DataHolder.h>

#include <utility>

namespace krel5 {

template <typename T>
DataHolder<T>::DataHolder() : m_record(new T())
{}

template <typename T>
DataHolder<T>::DataHolder(T const& record) : m_record(new T(record))
{}

template <typename T>
DataHolder<T>::DataHolder(DataHolder const& other) : m_record(new T(other.data()))
{}

template <typename T> // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the other operator sees to it
DataHolder<T>& DataHolder<T>::operator=(DataHolder const& other)
{
    return *this = other.data();
}

// The old record goes first, then the copy is made. The copy may throw: the holder then has no record, and the
// next read gives it a default one.
template <typename T>
DataHolder<T>& DataHolder<T>::operator=(T const& record)
{
    if (&record == m_record)
        return *this;
    delete std::exchange(m_record, nullptr);
    m_record = new T(record);
    return *this;
}

template <typename T>
DataHolder<T>::~DataHolder()
{
    delete m_record;
}

template <typename T>
T& DataHolder<T>::data()
{
    if (!m_record) [[unlikely]]
        m_record = new T();
    return *m_record;
}

template <typename T>
T const& DataHolder<T>::data() const
{
    return const_cast<DataHolder&>(*this)
        .data(); // a holder without a record has been assigned to: it is no constant
}

} // namespace krel5
