#include <cpu/load/MatrixKernel.h>

#include <iterator>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace krel5::modules::cpu {
namespace {

constexpr int kSteps = 512; // of one call of saturate

// ---- any processor

constexpr unsigned kPlainRows = 4, kPlainColumns = 4;

void plainMultiply(double const* a, double const* b, std::size_t depth, double* c,
                   std::size_t stride) noexcept
{
    double sum[kPlainRows][kPlainColumns] = {};
    for (std::size_t k = 0; k < depth; ++k, a += kPlainRows, b += kPlainColumns)
        for (unsigned i = 0; i < kPlainRows; ++i)
            for (unsigned j = 0; j < kPlainColumns; ++j)
                sum[i][j] += a[i] * b[j];
    for (unsigned i = 0; i < kPlainRows; ++i)
        for (unsigned j = 0; j < kPlainColumns; ++j)
            c[i * stride + j] = sum[i][j];
}

std::uint64_t plainSaturate() noexcept
{
    double volatile factor = 0.5, term = 1;
    double const x = factor, y = term;
    double sum[16] = {};
    for (int step = 0; step < kSteps; ++step)
        for (double& one : sum)
            one = one * x + y;
    double volatile seen = 0;
    for (double const one : sum)
        seen = seen + one;
    return std::uint64_t{kSteps} * 16 * 2;
}

#if defined(__x86_64__)

// ---- AVX2: 6 rows of 2 registers, 12 of the 16 registers for sums

#define KREL5_AVX2 __attribute__((target("avx2,fma")))
constexpr unsigned kMiddleRows = 6, kMiddleColumns = 8;

KREL5_AVX2 void middleMultiply(double const* a, double const* b, std::size_t depth, double* c,
                               std::size_t stride) noexcept
{
    __m256d sum[kMiddleRows][2];
    for (auto& row : sum)
        row[0] = row[1] = _mm256_setzero_pd();
    for (std::size_t k = 0; k < depth; ++k, a += kMiddleRows, b += kMiddleColumns) {
        __m256d const left = _mm256_load_pd(b), right = _mm256_load_pd(b + 4);
#pragma GCC unroll 6
        for (unsigned i = 0; i < kMiddleRows; ++i) {
            __m256d const factor = _mm256_broadcast_sd(a + i);
            sum[i][0] = _mm256_fmadd_pd(factor, left, sum[i][0]);
            sum[i][1] = _mm256_fmadd_pd(factor, right, sum[i][1]);
        }
    }
#pragma GCC unroll 6
    for (unsigned i = 0; i < kMiddleRows; ++i) {
        _mm256_storeu_pd(c + i * stride, sum[i][0]);
        _mm256_storeu_pd(c + i * stride + 4, sum[i][1]);
    }
}

KREL5_AVX2 std::uint64_t middleSaturate() noexcept
{
    double volatile factor = 0.5, term = 1;
    __m256d const x = _mm256_set1_pd(factor), y = _mm256_set1_pd(term);
    __m256d sum[12];
    for (__m256d& one : sum)
        one = y;
    for (int step = 0; step < kSteps; ++step)
#pragma GCC unroll 12
        for (int i = 0; i < 12; ++i)
            sum[i] = _mm256_fmadd_pd(sum[i], x, y);
    __m256d all = sum[0];
    for (__m256d const& one : sum)
        all = _mm256_add_pd(all, one);
    double volatile seen = _mm256_cvtsd_f64(all);
    static_cast<void>(seen);
    return std::uint64_t{kSteps} * 12 * 4 * 2;
}

// ---- AVX-512: 8 rows of 3 registers, 24 of the 32 registers for sums

#define KREL5_AVX512 __attribute__((target("avx512f")))
constexpr unsigned kWideRows = 8, kWideColumns = 24;

KREL5_AVX512 void wideMultiply(double const* a, double const* b, std::size_t depth, double* c,
                               std::size_t stride) noexcept
{
    __m512d sum[kWideRows][3];
    for (auto& row : sum)
        row[0] = row[1] = row[2] = _mm512_setzero_pd();
    for (std::size_t k = 0; k < depth; ++k, a += kWideRows, b += kWideColumns) {
        __m512d const left = _mm512_load_pd(b), middle = _mm512_load_pd(b + 8),
                      right = _mm512_load_pd(b + 16);
#pragma GCC unroll 8
        for (unsigned i = 0; i < kWideRows; ++i) {
            __m512d const factor = _mm512_set1_pd(a[i]);
            sum[i][0] = _mm512_fmadd_pd(factor, left, sum[i][0]);
            sum[i][1] = _mm512_fmadd_pd(factor, middle, sum[i][1]);
            sum[i][2] = _mm512_fmadd_pd(factor, right, sum[i][2]);
        }
    }
#pragma GCC unroll 8
    for (unsigned i = 0; i < kWideRows; ++i)
#pragma GCC unroll 3
        for (unsigned j = 0; j < 3; ++j)
            _mm512_storeu_pd(c + i * stride + 8 * j, sum[i][j]);
}

KREL5_AVX512 std::uint64_t wideSaturate() noexcept
{
    double volatile factor = 0.5, term = 1;
    __m512d const x = _mm512_set1_pd(factor), y = _mm512_set1_pd(term);
    __m512d sum[16];
    for (__m512d& one : sum)
        one = y;
    for (int step = 0; step < kSteps; ++step)
#pragma GCC unroll 16
        for (int i = 0; i < 16; ++i)
            sum[i] = _mm512_fmadd_pd(sum[i], x, y);
    __m512d all = sum[0];
    for (__m512d const& one : sum)
        all = _mm512_add_pd(all, one);
    double volatile seen = _mm512_cvtsd_f64(all);
    static_cast<void>(seen);
    return std::uint64_t{kSteps} * 16 * 8 * 2;
}

#endif

constexpr MatrixKernel kKernels[] = {
#if defined(__x86_64__)
    {"AVX-512", CpuFeature::Avx512, kWideRows, kWideColumns, wideMultiply, wideSaturate},
    {"AVX2", CpuFeature::Avx2Fma, kMiddleRows, kMiddleColumns, middleMultiply, middleSaturate},
#endif
    {"scalar", CpuFeature::None, kPlainRows, kPlainColumns, plainMultiply, plainSaturate},
};

} // namespace

std::span<MatrixKernel const> matrixKernels() noexcept { return kKernels; }

MatrixKernel const& bestMatrixKernel() noexcept
{
    for (MatrixKernel const& one : kKernels)
        if (hasFeature(one.feature))
            return one;
    return kKernels[std::size(kKernels) - 1];
}

} // namespace krel5::modules::cpu
