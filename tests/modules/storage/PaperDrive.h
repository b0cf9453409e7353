#pragma once
// A drive whose faults the test writes down.

#include <storage/BlockSource.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <thread>
#include <vector>

namespace krel5::modules::storage {

struct PaperDrive : BlockSource
{
    std::uint64_t m_size;
    std::uint32_t m_sectorSize = 512;
    std::uint32_t m_unitSize = 512;
    std::map<std::uint64_t, int> m_bad;           ///< sector to the errno value that reading it gives
    std::map<std::uint64_t, unsigned> m_failures; ///< sector to how often it fails before it is read
    int m_failuresError = 5;                      ///< what it then gives; EIO
    std::set<std::uint64_t> m_short;              ///< sectors at which every read ends short
    std::size_t m_longest = ~std::size_t(0);      ///< longer reads fail
    std::uint64_t m_reads = 0;
    std::uint64_t m_failed = 0;                    ///< reads that failed
    std::uint64_t m_goneAfter = ~std::uint64_t(0); ///< reads, then ENXIO
    std::vector<std::uint64_t> m_offsets;
    std::set<std::uint64_t> m_lateBlocks; ///< offsets at which a read takes `m_late`
    std::chrono::milliseconds m_late{0};

    explicit PaperDrive(std::uint64_t size) : m_size(size) {}
    std::uint64_t size() const override { return m_size; }
    std::uint32_t sectorSize() const override { return m_sectorSize; }
    std::uint32_t unitSize() const override { return m_unitSize; }

    ReadOutcome readAt(std::uint64_t offset, std::span<std::byte> into) override
    {
        if (m_lateBlocks.count(offset) != 0)
            std::this_thread::sleep_for(m_late);
        ReadOutcome const outcome = read(offset, into);
        m_failed += outcome.complete(into.size()) ? 0 : 1;
        return outcome;
    }

private:
    ReadOutcome read(std::uint64_t offset, std::span<std::byte> into)
    {
        m_offsets.push_back(offset);
        if (m_reads++ >= m_goneAfter)
            return {0, 6 /* ENXIO */};
        bool const misplaced = offset % m_sectorSize != 0 || into.size() % m_sectorSize != 0 ||
                               reinterpret_cast<std::uintptr_t>(into.data()) % m_sectorSize != 0;
        if (misplaced || offset + into.size() > m_size || into.size() > m_longest)
            return {0, misplaced ? 22 /* EINVAL */ : 5 /* EIO */};
        for (std::size_t done = 0; done < into.size(); done += m_sectorSize) {
            std::uint64_t const sector = (offset + done) / m_sectorSize;
            if (auto const bad = m_bad.find(sector); bad != m_bad.end())
                return {done, bad->second};
            if (auto const failing = m_failures.find(sector);
                failing != m_failures.end() && failing->second > 0) {
                --failing->second;
                return {done, m_failuresError};
            }
            if (m_short.count(sector))
                return {done, 0};
            std::fill_n(into.begin() + static_cast<std::ptrdiff_t>(done), m_sectorSize, std::byte(sector));
        }
        return {into.size(), 0};
    }
};

} // namespace krel5::modules::storage
