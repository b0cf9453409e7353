#pragma once
// What one scan has read, so that the discoverers of several device classes may ask for the same file (the
// firmware's tables tell of the board, the processors and the memory) and it is still read once.

#include <zel/enumerator/root/Root.h>

#include <string_view>
#include <unordered_map>

namespace zel {

/// Answers from another root, each file once. Lives as long as one scan: what it remembers is not renewed.
/// Thread rule: one thread.
class ReadOnceRoot final : public Root
{
public:
    explicit ReadOnceRoot(Root const& root) : m_root(root) {}

    bool isLive() const override { return m_root.isLive(); }
    std::optional<std::string> read(std::string const& path, std::size_t limit) const override;
    std::vector<std::string> list(std::string const& path) const override { return m_root.list(path); }
    std::optional<std::string> resolve(std::string const& path) const override
    {
        return m_root.resolve(path);
    }
    std::optional<std::string> linkName(std::string const& path) const override
    {
        return m_root.linkName(path);
    }
    std::optional<FileSystemUsage> usage(std::string const& mountPoint,
                                         std::string const& device) const override
    {
        return m_root.usage(mountPoint, device);
    }
    std::optional<std::string> networkFirmware(std::string const& interface) const override
    {
        return m_root.networkFirmware(interface);
    }
    std::vector<std::string> refused() const override { return m_root.refused(); }
    std::vector<RootFailure> failures() const override { return m_root.failures(); }

private:
    struct Answer
    {
        std::optional<std::string> content;
        std::size_t limit; ///< with which it was asked for
    };

    Root const& m_root;
    mutable std::unordered_map<std::string, Answer> m_answers; ///< by path
    mutable std::size_t m_bytes = 0;                           ///< of the contents remembered
};

} // namespace zel
