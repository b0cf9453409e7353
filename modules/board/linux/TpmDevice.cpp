#include <board/TpmTest.h>

#include <common/Stopwatch.h>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace krel5::modules::board {
namespace {

constexpr std::size_t kMostAnswer = 4096;

struct Device
{
    explicit Device(int one) : file(one) {}
    ~Device()
    {
        // Closing waits until a running command has ended (drivers/char/tpm/tpm-dev-common.c), which nobody who stops a test waits for.
        if (isAsked)
            std::thread([file = file] { ::close(file); }).detach();
        else
            ::close(file);
    }
    Device(Device const&) = delete;
    Device& operator=(Device const&) = delete;
    int const file;
    bool isAsked = false; // and has not answered
    Stopwatch clock;
};

} // namespace

// Through the resource manager where the system has one: then nobody else has to let go of the TPM.
Tpm systemTpm(MachineFolder const& machine)
{
    Tpm tpm;
    bool const isManaged = machine.has("sys/class/tpmrm/tpmrm0");
    if (!isManaged && !machine.has("sys/class/tpm/tpm0"))
        return tpm;
    auto const version = machine.number("sys/class/tpm/tpm0/tpm_version_major");
    return tpmAt(isManaged ? "/dev/tpmrm0" : "/dev/tpm0", isManaged || version.value_or(1) == 2 ? 2 : 1);
}

Tpm tpmAt(char const* path, int version)
{
    Tpm tpm;
    tpm.version = version;
    int const file = ::open(path, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0) {
        tpm.error = errno;
        return tpm;
    }
    auto const device = std::make_shared<Device>(file);
    tpm.send = [device](std::span<std::uint8_t const> command) {
        ssize_t const count = ::write(device->file, command.data(), command.size());
        device->isAsked = count > 0;
        return count == static_cast<ssize_t>(command.size()) ? 0 : count < 0 ? errno : EIO;
    };
    tpm.receive = [device](std::vector<std::uint8_t>& answer) -> std::optional<int> {
        pollfd waiting{device->file, POLLIN, 0};
        if (::poll(&waiting, 1, 50) <= 0)
            return std::nullopt;
        answer.resize(kMostAnswer);
        ssize_t const count = ::read(device->file, answer.data(), answer.size());
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return std::nullopt;
        int const error = count < 0 ? errno : 0;
        device->isAsked = false;
        answer.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return error;
    };
    tpm.now = [device] { return device->clock.getElapsed(); };
    return tpm;
}

} // namespace krel5::modules::board
