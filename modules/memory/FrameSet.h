#pragma once
// A set of page frames, in a bit for each of those near to one that is in it.

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace krel5::modules::memory {

class FrameSet
{
public:
    void insert(std::uint64_t frame)
    {
        auto bit = m_blocks[frame / kBlock][frame % kBlock];
        m_size += bit ? 0 : 1;
        bit = true;
    }
    bool contains(std::uint64_t frame) const
    {
        auto const block = m_blocks.find(frame / kBlock);
        return block != m_blocks.end() && block->second[frame % kBlock];
    }
    std::uint64_t size() const noexcept { return m_size; }

private:
    static constexpr std::size_t kBlock = 1 << 15; // 4 KiB of bits for 128 MiB of small pages

    std::unordered_map<std::uint64_t, std::bitset<kBlock>> m_blocks;
    std::uint64_t m_size = 0;
};

} // namespace krel5::modules::memory
