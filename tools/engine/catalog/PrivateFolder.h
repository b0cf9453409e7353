#pragma once
// A place for what programs write that are started from here.

#include <string>

namespace engine {

/// A folder below the one for temporary files that only this user may look into; it goes with the object.
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

private:
    std::string m_path, m_problem;
};

} // namespace engine
