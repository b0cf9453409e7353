#include <engine/report/linux/MachineStart.h>

#include <zel/foundation/FileSystem.h>

#include <ctime>

namespace engine {

MachineStart MachineStart::current()
{
    MachineStart start;
    start.id = zel::FileSystem::readFile("/proc/sys/kernel/random/boot_id").content.value_or("");
    start.id.erase(start.id.find_last_not_of("\n ") + 1);
    timespec upTime{};
    ::clock_gettime(CLOCK_BOOTTIME, &upTime);
    start.time = std::chrono::system_clock::now() - std::chrono::seconds(upTime.tv_sec);
    return start;
}

} // namespace engine
