#pragma once
// A dense matrix product whose every element is checked: C = A * B of whole numbers so small that each sum is exact in double precision, so that
// it has one right answer, whatever the order. Rows and columns of C are summed up and compared with the product of the sums (algorithm-based
// fault tolerance: Huang, Abraham, "Algorithm-Based Fault Tolerance for Matrix Operations", 1984), calculated with integers. Where a row or a
// column is wrong, its elements are calculated once more with integers, and the first wrong one is named.
//
//     MatrixProduct product(bestMatrixKernel(), seed);
//     product.draw();
//     product.multiply(stop);
//     if (auto const wrong = product.firstWrong())
//
// Thread rule: one thread. About 3 MiB.

#include <cpu/load/MatrixKernel.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace krel5::modules::cpu {

struct WrongElement
{
    std::size_t row = 0, column = 0;
    std::int64_t expected = 0;
    double actual = 0;
    std::size_t count = 0; ///< of all wrong elements
};

class MatrixProduct
{
public:
    static constexpr std::size_t kRows = 384, kColumns = 384, kDepth = 256;
    static constexpr std::uint64_t kOperations =
        2 * kRows * kColumns * kDepth; ///< floating-point operations of a product

    explicit MatrixProduct(MatrixKernel const& kernel, std::uint64_t seed);
    ~MatrixProduct();

    /// New operands. Never the same ones twice: what a store that got lost leaves behind would be right.
    void draw();
    /// False when `isStopped` said so before the end; asked every some hundred microseconds.
    bool multiply(std::function<bool()> const& isStopped);
    std::optional<WrongElement> firstWrong() const;
    /// Of the operands of the last product: a MatrixProduct with this seed begins with them.
    std::uint64_t seed() const noexcept { return m_seed; }

private:
    std::int64_t exact(std::size_t row, std::size_t column) const;
    double const* rowPanel(std::size_t row) const;
    double const* columnPanel(std::size_t column) const;

    struct Numbers;
    MatrixKernel m_kernel;
    std::uint64_t m_seed;
    std::unique_ptr<Numbers> m_numbers;
};

} // namespace krel5::modules::cpu
