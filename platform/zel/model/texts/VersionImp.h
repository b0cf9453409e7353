#pragma once

#include <zel/foundation/String.h>

#include <utility>

namespace zel {

/// Version of a module or of the engine: "major.minor.revision", the last a text of the author's own.
class ZEL_EXPORT VersionImp
{
public:
    VersionImp() = default;
    VersionImp(unsigned major, unsigned minor, String revision)
        : m_major(major), m_minor(minor), m_revision(std::move(revision))
    {}

    unsigned majorVersion() const noexcept { return m_major; }
    unsigned minorVersion() const noexcept { return m_minor; }
    String const& revision() const noexcept { return m_revision; }
    /// "1.0.1"; without a revision "1.0".
    String toString() const;
    bool operator==(VersionImp const&) const = default;

private:
    unsigned m_major = 0, m_minor = 0;
    String m_revision;
};

} // namespace zel
