// Small dense matrices, row by row, of which the lower triangle is used.
#pragma once

#include <cstddef>
#include <span>

namespace mirsolve::box {

// Overwrites the lower triangle of a (n x n) by L with L L' = a, row by row; false when a pivot
// isn't positive. (G. H. Golub, C. F. Van Loan: Matrix Computations, algorithm 4.2.1.)
bool factor(std::span<double> a, std::size_t n);
// Overwrites b by the solution of L L' x = b.
void solve_factored(std::span<const double> l, std::size_t n, std::span<double> b);

}  // namespace mirsolve::box
