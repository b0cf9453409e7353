#pragma once

#include <memory>
#include <mutex>
#include <vector>

namespace krel5 {

/// Keeps an object that a factory made for the life of the process, and returns it. May be called from any
/// thread.
template <typename Handle>
Handle* keepForever(std::unique_ptr<Handle> object)
{
    static std::mutex s_mutex; // guards s_objects
    static auto* const s_objects =
        new std::vector<std::unique_ptr<Handle>>; // never destroyed: exit handlers use it
    std::lock_guard const lock(s_mutex);
    s_objects->push_back(std::move(object));
    return s_objects->back().get();
}

} // namespace krel5
