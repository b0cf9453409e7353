#pragma once
// Definitions of DataHolder's members. Each record type's unit includes this and instantiates the template
// once:
//     template class krel5::DataHolder<krel5::ValueInternalData>;

#include <krel5/DataHolder.h>

#include <memory>

namespace krel5 {

template <typename T>
DataHolder<T>::DataHolder() : m_record(new T())
{}

template <typename T>
DataHolder<T>::DataHolder(T const& record) : m_record(new T(record))
{}

template <typename T>
DataHolder<T>::DataHolder(DataHolder const& other) : m_record(new T(*other.m_record))
{}

template <typename T> // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the other operator sees to it
DataHolder<T>& DataHolder<T>::operator=(DataHolder const& other)
{
    return *this = *other.m_record;
}

// The old record goes first, then the copy is made. The copy may throw: the holder then keeps a default
// record, so that its destructor and every later read stay defined.
template <typename T>
DataHolder<T>& DataHolder<T>::operator=(T const& record)
{
    if (&record == m_record)
        return *this;
    auto fallback = std::make_unique<T>();
    delete m_record;
    m_record = fallback.release();
    auto* copy = new T(record);
    delete m_record;
    m_record = copy;
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
    return *m_record;
}

template <typename T>
T const& DataHolder<T>::data() const
{
    return *m_record;
}

} // namespace krel5
