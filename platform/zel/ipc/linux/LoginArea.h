#pragma once
// Where an engine tells its modules how to reach it: a small object of shared memory, named after its process id.
// docs/engine-link.md has the layout.

#include <zel/foundation/String.h>
#include <zel/foundation/linux/FileDescriptor.h>

#include <cstdint>
#include <string>

namespace zel {

class LoginArea
{
public:
    struct Content
    {
        std::int64_t engine = 0; ///< process id
        std::string socketPath;
    };

    static std::string nameOf(std::int64_t engine);

    /// Makes the area of this process, in place of whatever is left of an engine that had its process id. Throws
    /// IPCException naming it. It stays until remove(); its lock, until this ends, says that it is in use.
    explicit LoginArea(std::string const& socketPath);
    void remove() noexcept;

    /// What the area of that name says. Throws IPCException for one that is not there, that is not an engine's of this
    /// user or of root, that others could read or write, or that is none.
    static Content read(std::string const& name);

    /// Removes what dead engines of this user left behind: areas, the sockets that they name, and sockets that no area names.
    static void removeStale() noexcept;

private:
    std::string m_name;
    FileDescriptor m_area;
};

} // namespace zel
