#include <board/NoiseTest.h>

#include <common/ErrorText.h>
#include <common/Stopwatch.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <unistd.h>
#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace krel5::modules::board {
namespace {

using State = NoiseSource::State;

#if defined(__x86_64__)
bool rdrand(std::uint64_t& value)
{
    unsigned char isThere;
    asm volatile("rdrand %0; setc %1" : "=r"(value), "=qm"(isThere) : : "cc");
    return isThere != 0;
}
bool rdseed(std::uint64_t& value)
{
    unsigned char isThere;
    asm volatile("rdseed %0; setc %1" : "=r"(value), "=qm"(isThere) : : "cc");
    return isThere != 0;
}

constexpr double kMostSeconds = 0.02; // of one read, so that a stop is heeded while a source is slow

/// Ten tries are enough for RDRAND, says its maker; RDSEED may run dry while other processors draw, and is given more.
NoiseSource instruction(char const* name, bool (*draw)(std::uint64_t&), int tries)
{
    auto const read = [draw, tries](std::span<std::uint8_t> into) -> NoiseSource::Reading {
        std::size_t filled = 0;
        Stopwatch const clock;
        while (filled < into.size() && (filled == 0 || clock.getElapsed() < kMostSeconds)) {
            std::uint64_t value = 0;
            int left = tries;
            while (!draw(value))
                if (--left == 0)
                    return {State::Failed, 0, "no number in " + std::to_string(tries) + " tries"};
                else
                    __builtin_ia32_pause();
            std::size_t const part = std::min(sizeof value, into.size() - filled);
            std::memcpy(into.data() + filled, &value, part);
            filled += part;
        }
        return {State::Some, filled};
    };
    return {name, 0, read};
}

void addInstructions(std::vector<NoiseSource>& all)
{
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) != 0 && (c & bit_RDRND) != 0)
        all.push_back(instruction("RDRAND", rdrand, 10));
    if (__get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_RDSEED) != 0)
        all.push_back(instruction("RDSEED", rdseed, 100'000));
}
#else
void addInstructions(std::vector<NoiseSource>&) {}
#endif

struct Device
{
    explicit Device(char const* path)
        : file(::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC)), error(file < 0 ? errno : 0)
    {}
    ~Device() { file >= 0 ? ::close(file) : 0; }
    Device(Device const&) = delete;
    Device& operator=(Device const&) = delete;
    int const file, error;
};

} // namespace

std::vector<NoiseSource> systemNoise()
{
    std::vector<NoiseSource> all;
    addInstructions(all);
    constexpr char kPath[] = "/dev/hwrng";
    auto const device = std::make_shared<Device>(kPath);
    // Both say where the file is and no generator; any other error of the first byte is judged as that of a later one is.
    auto const isNone = [](int error) { return error == ENOENT || error == ENODEV || error == ENXIO; };
    if (device->error != 0) {
        if (!isNone(device->error))
            all.push_back({kPath, device->error});
        return all;
    }
    std::uint8_t first;
    if (::read(device->file, &first, 1) < 0 && isNone(errno))
        return all;
    auto const read = [device](std::span<std::uint8_t> into) -> NoiseSource::Reading {
        ssize_t const count = ::read(device->file, into.data(), into.size());
        if (count > 0)
            return {State::Some, static_cast<std::size_t>(count)};
        if (count == 0)
            return {State::Failed, 0, "it gives nothing"};
        if (errno != EAGAIN && errno != EINTR)
            return {State::Failed, 0, errorText(errno)};
        ::poll(nullptr, 0, 5);
        return {State::Later};
    };
    all.push_back({kPath, 0, read});
    return all;
}

} // namespace krel5::modules::board
