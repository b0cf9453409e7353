#pragma once
// Reads the kernel's files below the folder that stands for the machine.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace krel5::modules::sensors {

/// Thread rule: one object is used by several threads at once.
class MachineFiles
{
public:
    /// Throws std::system_error when the folder cannot be opened.
    explicit MachineFiles(std::string const& root);
    MachineFiles(MachineFiles const&) = delete;
    MachineFiles& operator=(MachineFiles const&) = delete;
    ~MachineFiles();

    /// Whether it is this machine.
    bool isLive() const noexcept { return m_isLive; }
    /// A folder, or a link to one.
    bool isFolder(std::string const& path) const;
    /// Anything at all; no driver is asked.
    bool isThere(std::string const& path) const;

    /// What the file holds, cut behind `limit` bytes, or why there is nothing (errno). May block for as long as a driver, or a
    /// FIFO, does. `path` is relative to the root; links are resolved inside it.
    struct Answer
    {
        std::string content;
        int error = 0;
        explicit operator bool() const noexcept { return error == 0; }
    };
    Answer read(std::string const& path, std::size_t limit = 4096) const;

private:
    int open(std::string const& path, int flags) const; ///< -1, and errno
    bool canOpen(std::string const& path, int flags) const;

    int m_root;
    bool m_isLive;
};

/// The number that the first line is; hexadecimal after 0x. Nothing for any other text.
std::optional<double> numberIn(std::string_view text);

} // namespace krel5::modules::sensors
