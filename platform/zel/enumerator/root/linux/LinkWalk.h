#pragma once
// Resolves a path below a directory descriptor one component at a time; no link leads out of it.

#include <zel/enumerator/root/linux/DirectoryRoot.h>

#include <string>
#include <vector>

namespace zel {

/// One walk; used where the kernel cannot confine links itself.
class LinkWalk
{
public:
    explicit LinkWalk(int root) noexcept : m_root(root) {}

    /// Walks to where `path` leads. With `followLast` false the last component may itself be a link and is
    /// then where the walk ends. False when something on the way is missing, is no directory, or loops.
    bool follow(std::string const& path, bool followLast);
    /// Where the walk ended, relative to the root; "" for the root itself.
    std::string path() const;
    /// Why the last walk ended early (an errno); 0 when it did not, or for a reason of its own.
    int error() const noexcept { return m_error; }
    /// Opens where the walk ended.
    FileDescriptor open(int flags) const;

private:
    struct Step
    {
        FileDescriptor descriptor;
        std::string name;
    };
    int top() const noexcept { return m_steps.empty() ? m_root : m_steps.back().descriptor.number(); }
    bool enter(std::string name);

    int m_root;
    int m_error = 0;
    std::vector<Step> m_steps;
};

} // namespace zel
