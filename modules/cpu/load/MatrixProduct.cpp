#include <cpu/load/MatrixProduct.h>

#include <cpu/Kernel.h>

#include <array>
#include <cmath>

namespace krel5::modules::cpu {
namespace {

constexpr std::size_t kRows = MatrixProduct::kRows, kColumns = MatrixProduct::kColumns,
                      kDepth = MatrixProduct::kDepth;
// 256 products of two numbers below 2^15: below 2^38, and their sums over a row below 2^47, all exact in 53 bits.
constexpr int kBits = 15;

/// From -2^15 to 2^15 - 1, four of each draw.
void fill(double* numbers, std::size_t count, OperandSequence& sequence)
{
    for (std::size_t i = 0; i < count; i += 4) {
        std::uint64_t const word = sequence.next();
        for (unsigned j = 0; j < 4; ++j)
            numbers[i + j] = static_cast<double>(static_cast<std::int16_t>(word >> (16 * j)));
    }
}
static_assert(kBits == 15 && kRows * kDepth % 4 == 0 && kColumns * kDepth % 4 == 0);

constexpr double kToWhole =
    0x1.8p52; // whoever is added to this, and less than 2^51, is rounded to a whole number

std::int64_t whole(double number) { return static_cast<std::int64_t>(number); }

} // namespace

// Panels as the kernel wants them: of A each `rows` rows, of B each `columns` columns, step by step of the depth.
struct MatrixProduct::Numbers
{
    alignas(64) std::array<double, kRows * kDepth> a;
    alignas(64) std::array<double, kColumns * kDepth> b;
    alignas(64) std::array<double, kRows * kColumns> c;
};

MatrixProduct::MatrixProduct(MatrixKernel const& kernel, std::uint64_t seed)
    : m_kernel(kernel), m_seed(seed - 1), m_numbers(std::make_unique<Numbers>())
{}

MatrixProduct::~MatrixProduct() = default;

void MatrixProduct::draw()
{
    ++m_seed;
    OperandSequence sequence(m_seed);
    fill(m_numbers->a.data(), m_numbers->a.size(), sequence);
    fill(m_numbers->b.data(), m_numbers->b.size(), sequence);
}

bool MatrixProduct::multiply(std::function<bool()> const& isStopped)
{
    for (std::size_t column = 0; column < kColumns; column += m_kernel.columns) {
        if (isStopped())
            return false;
        for (std::size_t row = 0; row < kRows; row += m_kernel.rows)
            m_kernel.multiply(rowPanel(row), columnPanel(column), kDepth,
                              &m_numbers->c[row * kColumns + column], kColumns);
    }
    return true;
}

double const* MatrixProduct::rowPanel(std::size_t row) const
{
    return &m_numbers->a[row / m_kernel.rows * m_kernel.rows * kDepth];
}

double const* MatrixProduct::columnPanel(std::size_t column) const
{
    return &m_numbers->b[column / m_kernel.columns * m_kernel.columns * kDepth];
}

std::int64_t MatrixProduct::exact(std::size_t row, std::size_t column) const
{
    double const* const a = rowPanel(row) + row % m_kernel.rows;
    double const* const b = columnPanel(column) + column % m_kernel.columns;
    std::int64_t sum = 0;
    for (std::size_t k = 0; k < kDepth; ++k)
        sum += whole(a[k * m_kernel.rows]) * whole(b[k * m_kernel.columns]);
    return sum;
}

std::optional<WrongElement> MatrixProduct::firstWrong() const
{
    std::array<std::int64_t, kDepth> sumOfA{}, sumOfB{}; // of a column of A; of a row of B
    for (std::size_t row = 0; row < kRows; row += m_kernel.rows)
        for (std::size_t k = 0; k < kDepth; ++k)
            for (std::size_t i = 0; i < m_kernel.rows; ++i)
                sumOfA[k] += whole(rowPanel(row)[k * m_kernel.rows + i]);
    for (std::size_t column = 0; column < kColumns; column += m_kernel.columns)
        for (std::size_t k = 0; k < kDepth; ++k)
            for (std::size_t j = 0; j < m_kernel.columns; ++j)
                sumOfB[k] += whole(columnPanel(column)[k * m_kernel.columns + j]);

    // Sums of doubles: exact where C is right, and anything but equal, or not a number, where one element is not.
    std::array<double, kColumns> columnSums{};
    std::array<bool, kRows> isRowWrong{};
    bool isAny = false;
    for (std::size_t row = 0; row < kRows; ++row) {
        double rowSum = 0;
        bool isWhole = true;
        double const* const c = &m_numbers->c[row * kColumns];
        for (std::size_t column = 0; column < kColumns; ++column) {
            rowSum += c[column];
            columnSums[column] += c[column];
            isWhole &=
                (c[column] + kToWhole) - kToWhole == c[column]; // or what is off would be lost in the sums
        }
        double const* const a = rowPanel(row) + row % m_kernel.rows;
        std::int64_t expected = 0;
        for (std::size_t k = 0; k < kDepth; ++k)
            expected += whole(a[k * m_kernel.rows]) * sumOfB[k];
        isRowWrong[row] = !isWhole || !(rowSum == static_cast<double>(expected));
        isAny |= isRowWrong[row];
    }
    std::array<bool, kColumns> isColumnWrong{};
    for (std::size_t column = 0; column < kColumns; ++column) {
        double const* const b = columnPanel(column) + column % m_kernel.columns;
        std::int64_t expected = 0;
        for (std::size_t k = 0; k < kDepth; ++k)
            expected += sumOfA[k] * whole(b[k * m_kernel.columns]);
        isColumnWrong[column] = !(columnSums[column] == static_cast<double>(expected));
        isAny |= isColumnWrong[column];
    }
    if (!isAny)
        return std::nullopt;
    std::optional<WrongElement> first;
    for (std::size_t row = 0; row < kRows; ++row)
        for (std::size_t column = 0; column < kColumns; ++column) {
            if (!isRowWrong[row] && !isColumnWrong[column])
                continue;
            std::int64_t const expected = exact(row, column);
            double const actual = m_numbers->c[row * kColumns + column];
            if (actual == static_cast<double>(expected))
                continue;
            if (!first)
                first = WrongElement{row, column, expected, actual, 0};
            ++first->count;
        }
    // Sums that differ though each element is right: the sums themselves were calculated wrong, on the same core.
    return first ? first : WrongElement{kRows, kColumns, 0, 0, 1};
}

} // namespace krel5::modules::cpu
