#pragma once
// The handle pattern of this library: every public value class is one pointer to a private record.

namespace krel5 {

/// Owns exactly one heap record of type T. Copying a holder copies the record; nothing is shared or counted.
/// The member functions are defined inside the library, once for each record type: user code only ever copies
/// handles through their own copy operations, and never sees a record.
/// Thread rule: none of its own; a handle may move between threads but is not used from two at once.
template <typename T>
class DataHolder
{
public:
    /// A default-constructed record.
    DataHolder();
    /// A copy of the given record.
    explicit DataHolder(T const& record);
    DataHolder(DataHolder const& other);
    /// Destroys the old record, then installs a copy of the other one; a default record stays where copying
    /// throws. Self-assignment does nothing.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): handled by the operator below, which it calls
    DataHolder& operator=(DataHolder const& other);
    /// Replaces the record by a copy; assigning the holder's own record does nothing.
    DataHolder& operator=(T const& record);
    ~DataHolder();

    T& data();
    T const& data() const;

private:
    T* m_record;
};

} // namespace krel5
