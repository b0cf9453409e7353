#include <cpu/CpuFeature.h>

#include <sys/syscall.h>
#include <unistd.h>

namespace krel5::modules::cpu {

bool requestMatrixState() noexcept
{
#if defined(__x86_64__)
    // arch/x86/include/uapi/asm/prctl.h: ARCH_REQ_XCOMP_PERM, and the number of the tile data among the states.
    constexpr long kRequestPermission = 0x1023, kTileData = 18;
    static bool const s_allowed = syscall(SYS_arch_prctl, kRequestPermission, kTileData) == 0;
    return s_allowed;
#else
    return false;
#endif
}

} // namespace krel5::modules::cpu
