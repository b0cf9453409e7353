#include <cpu/CpuFeature.h>

#include <algorithm>
#include <array>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace krel5::modules::cpu {
namespace {

constexpr std::uint64_t kBase = 0, kAvx = 0x6, kAvx512 = 0xE6, kMatrix = 0x60000;
enum : unsigned { A, B, C, D };

constexpr CpuFeatureRow kRows[] = {
    {CpuFeature::Ssse3, 1, 0, C, 9, kBase, "ssse3"},
    {CpuFeature::Sse42, 1, 0, C, 20, kBase, "sse4_2"},
    {CpuFeature::Popcnt, 1, 0, C, 23, kBase, "popcnt"},
    {CpuFeature::CompareExchange16, 1, 0, C, 13, kBase, "cx16"},
    {CpuFeature::Bmi, 7, 0, B, 3, kBase, "bmi1"},
    {CpuFeature::Bmi, 7, 0, B, 8, kBase, "bmi2"},
    {CpuFeature::Bmi, 0x80000001, 0, C, 5, kBase, "abm"},
    {CpuFeature::Adx, 7, 0, B, 19, kBase, "adx"},
    {CpuFeature::Aes, 1, 0, C, 25, kBase, "aes"},
    {CpuFeature::Carryless, 1, 0, C, 1, kBase, "pclmulqdq"},
    {CpuFeature::Sha, 7, 0, B, 29, kBase, "sha_ni"},
    {CpuFeature::F16c, 1, 0, C, 29, kAvx, "f16c"},
    {CpuFeature::Avx2Fma, 7, 0, B, 5, kAvx, "avx2"},
    {CpuFeature::Avx2Fma, 1, 0, C, 12, kAvx, "fma"},
    {CpuFeature::AvxVnni, 7, 1, A, 4, kAvx, "avx_vnni"},
    {CpuFeature::Avx512, 7, 0, B, 16, kAvx512, "avx512f"},
    {CpuFeature::Avx512Bw, 7, 0, B, 30, kAvx512, "avx512bw"},
    {CpuFeature::Avx512Dq, 7, 0, B, 17, kAvx512, "avx512dq"},
    {CpuFeature::Avx512Vbmi, 7, 0, C, 1, kAvx512, "avx512vbmi"},
    {CpuFeature::Avx512Vnni, 7, 0, C, 11, kAvx512, "avx512_vnni"},
    {CpuFeature::Avx512Bf16, 7, 1, A, 5, kAvx512, "avx512_bf16"},
    {CpuFeature::Avx512Fp16, 7, 0, D, 23, kAvx512, "avx512_fp16"},
    {CpuFeature::AmxInt8, 7, 0, D, 24, kMatrix, "amx_tile"},
    {CpuFeature::AmxInt8, 7, 0, D, 25, kMatrix, "amx_int8"},
    {CpuFeature::AmxBf16, 7, 0, D, 24, kMatrix, "amx_tile"},
    {CpuFeature::AmxBf16, 7, 0, D, 22, kMatrix, "amx_bf16"},
};

#if defined(__x86_64__)
/// XCR0: the registers that the system saves; zero where it does not use this mechanism.
std::uint64_t savedState() noexcept
{
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c >> 27 & 1) == 0)
        return 0;
    asm volatile("xgetbv" : "=a"(a), "=d"(d) : "c"(0));
    return std::uint64_t(d) << 32 | a;
}

bool offers(CpuFeatureRow const& row) noexcept
{
    std::array<unsigned, 4> words{};
    if (__get_cpuid_count(row.m_leaf, row.m_subleaf, &words[A], &words[B], &words[C], &words[D]) == 0)
        return false;
    return (words[row.m_register] >> row.m_bit & 1) != 0 && (savedState() & row.m_state) == row.m_state &&
           (row.m_state != kMatrix || requestMatrixState());
}
#else
bool offers(CpuFeatureRow const&) noexcept { return false; }
#endif

} // namespace

std::span<CpuFeatureRow const> cpuFeatureRows() noexcept { return kRows; }

bool hasFeature(CpuFeature feature) noexcept
{
    return std::ranges::all_of(
        kRows, [&](CpuFeatureRow const& row) { return row.m_feature != feature || offers(row); });
}

} // namespace krel5::modules::cpu
