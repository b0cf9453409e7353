#include <cpu/Kernel.h>

#include <cstdio>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace krel5::modules::cpu {

std::string Answer::text() const
{
    std::size_t used = m_words.size();
    while (used > 1 && m_words[used - 1] == 0)
        --used;
    std::string out;
    for (std::size_t i = 0; i < used; ++i) {
        char digits[20];
        std::snprintf(digits, sizeof digits, "%s%016llx", i == 0 ? "" : ":",
                      static_cast<unsigned long long>(m_words[i]));
        out += digits;
    }
    return out;
}

bool hasFeature(CpuFeature feature) noexcept
{
#if defined(__x86_64__)
    __builtin_cpu_init();
    switch (feature) {
    case CpuFeature::None:
        break;
    case CpuFeature::Sse42:
        return __builtin_cpu_supports("sse4.2") != 0;
    case CpuFeature::Aes:
        return __builtin_cpu_supports("aes") != 0;
    case CpuFeature::Carryless:
        return __builtin_cpu_supports("pclmul") != 0;
    case CpuFeature::Sha: {
        // One of the compilers does not know this name yet.
        unsigned a = 0, b = 0, c = 0, d = 0;
        return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b >> 29 & 1) != 0;
    }
    case CpuFeature::Avx2Fma:
        return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
    case CpuFeature::Avx512:
        return __builtin_cpu_supports("avx512f") != 0;
    }
#endif
    return feature == CpuFeature::None;
}

} // namespace krel5::modules::cpu
