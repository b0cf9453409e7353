#pragma once
// The kernel's files of a machine, below the folder that stands for it: "/" for this one, any other for a copied or
// written tree.
//
//     MachineFolder machine("/");
//     if (auto const text = machine.read("proc/interrupts"))
//
// Thread rule: one object may be used by several threads at once.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace krel5::modules {

class MachineFolder
{
public:
    /// A folder that cannot be opened is a machine without files.
    explicit MachineFolder(std::string const& root);
    MachineFolder(MachineFolder const&) = delete;
    MachineFolder& operator=(MachineFolder const&) = delete;
    ~MachineFolder();

    /// What the file holds, or nothing where it cannot be read, or holds more than `limit` bytes: half a table of
    /// counters would look like counters that went away. Paths are relative; links are resolved inside the root.
    std::optional<std::string> read(std::string const& path, std::size_t limit = 4096) const;
    /// The number that the file's first line is, decimal.
    std::optional<std::uint64_t> number(std::string const& path) const;
    /// The same of a hexadecimal number, with or without 0x.
    std::optional<std::uint64_t> hexadecimal(std::string const& path) const;
    bool has(std::string const& path) const;
    /// Names in the folder, in order; none where there is no such folder.
    std::vector<std::string> list(std::string const& path) const;
    /// Where a path leads, links followed: relative to the root; nothing where nothing is there.
    std::optional<std::string> resolve(std::string const& path) const;

private:
    int open(std::string const& path, int flags) const; ///< -1, and errno

    int m_root;
};

/// The number that the text is, but for blanks and a line end around it.
std::optional<std::uint64_t> wholeNumber(std::string_view text, int base = 10);

} // namespace krel5::modules
