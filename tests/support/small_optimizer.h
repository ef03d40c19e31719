// Small dense optimization problems, solved plainly: for stand-ins of solvers, and for tests that
// need an answer found by other means than ours.
#pragma once

#include <optional>
#include <vector>

namespace torve::test {

using Row = std::vector<double>;

// coefficients . x <= bound
struct Inequality {
  Row coefficients;
  double bound = 0.0;
};

// Minimizes |a x - b|^2 subject to inequalities, for x of n entries; nothing when none fulfils
// them. Lawson and Hanson, Solving Least Squares Problems, 1974, chapter 23: QR turns it into a
// least distance problem, and that into nonnegative least squares. Where columns depend on each
// other one of the solutions is returned.
std::optional<Row> constrained_squares(const std::vector<Row>& a, const Row& b, std::size_t n,
                                       const std::vector<Inequality>& inequalities);

// Minimizes costs . x subject to inequalities, for free x; nothing when none fulfils them or there
// is no least. The simplex method on a full tableau, with Bland's rule.
std::optional<Row> linear_program(const Row& costs, const std::vector<Inequality>& inequalities);

}  // namespace torve::test
