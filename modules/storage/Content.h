#pragma once
// The content of a scratch file: what stands at an offset follows from the offset and a seed, so that a block
// read back from the wrong place, an old one or a damaged one is told from the right one.
//
//     SeededContent content(seed);
//     content.fill(offset, block);
//     bool right = content.firstWrong(offset, block) == block.size();
//
// Thread rule: never changes after it is made; used from any number of threads.

#include <storage/BlockSource.h>

#include <optional>
#include <vector>

namespace krel5::modules::storage {

class SeededContent : public ContentCheck
{
public:
    /// Offsets and lengths are multiples of this.
    static constexpr std::size_t kUnit = 4096;

    explicit SeededContent(std::uint64_t seed);
    void fill(std::uint64_t offset, std::span<std::byte> bytes) const;
    std::size_t firstWrong(std::uint64_t offset, std::span<std::byte const> bytes) const override;
    /// At which offset one unit belongs, where it is whole; nothing for any other content.
    std::optional<std::uint64_t> placeOf(std::span<std::byte const> unit) const;

private:
    std::uint64_t stamp(std::uint64_t offset) const noexcept;
    std::byte const* tile(std::uint64_t offset) const noexcept;

    std::uint64_t m_seed;
    /// Random bytes that repeat; the stamp at the head of every unit tells the repetitions apart.
    std::vector<std::byte> m_tiles;
};

} // namespace krel5::modules::storage
