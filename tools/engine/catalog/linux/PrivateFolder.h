#pragma once
// A place for what programs write that are started from here.

#include <zel/foundation/linux/FileDescriptor.h>

#include <string>

namespace engine {

/// A folder below the one for temporary files that only this user may look into; it goes with the object. The first of a process
/// removes those that killed ones have left.
class PrivateFolder
{
public:
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(PrivateFolder const&) = delete;
    PrivateFolder& operator=(PrivateFolder const&) = delete;

    /// Empty when there is none.
    std::string const& path() const { return m_path; }
    /// Why there is none; empty when there is.
    std::string const& problem() const { return m_problem; }

    /// Removes those of this user that no living process has, but what is new.
    static void removeStale() noexcept;

private:
    std::string m_path, m_problem;
    zel::FileDescriptor m_lock; // of the folder, for as long as the process lives; programs do not get it
};

} // namespace engine
