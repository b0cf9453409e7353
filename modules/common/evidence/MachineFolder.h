#pragma once
// The kernel's files of a machine, below the folder that stands for it: "/" for this one, any other for a copied or
// written tree.
//
//     MachineFolder machine("/");
//     if (auto const text = machine.read("proc/interrupts"))
//
// Thread rule: one object may be used by several threads at once.

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace krel5::modules {

/// A file of sysfs that is held open, so that reading it again is one call. Empty where it cannot be opened.
class HeldFile
{
public:
    HeldFile() = default;
    explicit HeldFile(int file) : m_file(file) {}
    HeldFile(HeldFile&& other) noexcept : m_file(std::exchange(other.m_file, -1)) {}
    HeldFile& operator=(HeldFile&& other) noexcept
    {
        std::swap(m_file, other.m_file);
        return *this;
    }
    ~HeldFile();

    explicit operator bool() const noexcept { return m_file >= 0; }
    /// What the file holds now; nothing where it cannot be read, or holds 4096 bytes or more.
    std::optional<std::string> attribute() const;

private:
    int m_file = -1;
};

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
    /// The same of a file of sysfs, which one call reads whole; nothing of one of 4096 bytes or more.
    std::optional<std::string> attribute(std::string const& path) const;
    /// The number that the file is, decimal.
    std::optional<std::uint64_t> number(std::string const& path) const;
    /// The decimal number, signed, that a file of sysfs is; nothing for one beyond 2^40, which no sensor measures.
    std::optional<double> reading(std::string const& path) const;
    /// What a file of sysfs holds, without its line end; empty where it cannot be read.
    std::string word(std::string const& path) const;
    /// Empty as well when it were one of the last descriptors that this process may have.
    HeldFile hold(std::string const& path) const;
    bool has(std::string const& path) const;
    /// Names in the folder, in order; none where there is no such folder.
    std::vector<std::string> list(std::string const& path) const;
    /// Where a path leads, links followed: relative to the root; nothing where nothing is there.
    std::optional<std::string> resolve(std::string const& path) const;
    /// Why something that may well be there could not be opened, the first time: EMFILE, ENFILE or ENOMEM; else 0.
    int shortage() const noexcept { return m_shortage; }

private:
    int open(std::string const& path, int flags) const; ///< -1, and errno
    int openOnce(std::string const& path, int flags) const;

    int m_root;
    bool m_isLive;
    mutable std::atomic<int> m_shortage = 0;
};

/// The number that the text is, but for blanks and a line end around it.
std::optional<std::uint64_t> wholeNumber(std::string_view text, int base = 10);

} // namespace krel5::modules
