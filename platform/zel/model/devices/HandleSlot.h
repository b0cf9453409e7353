#pragma once

#include <memory>

namespace zel {

/// A place in a record where a user of the model keeps the one handle object that wraps this record. The
/// handle lives as long as the record. Copying a record does not copy its handle: the copy starts with an
/// empty slot.
class HandleSlot
{
public:
    HandleSlot() = default;
    HandleSlot(HandleSlot const&) {}
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): a record that is assigned to keeps its own handle
    HandleSlot& operator=(HandleSlot const&) { return *this; }

    /// The handle, made by `make()` (returning a new Handle*) on first request.
    template <typename Handle, typename Make>
    Handle& get(Make make)
    {
        if (!m_handle)
            m_handle = std::shared_ptr<void>(std::shared_ptr<Handle>(make()));
        return *static_cast<Handle*>(m_handle.get());
    }

private:
    std::shared_ptr<void> m_handle;
};

} // namespace zel
