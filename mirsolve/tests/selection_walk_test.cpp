// Twenty to sixty columns, independent ones and those of a catalogue, against the walk over all
// subsets of the main library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "mirsolve/run/solvers.h"
#include "mirsolve/tests/selection_brute_force.h"
#include "mirsolve/tests/selection_problems.h"
#include "model/fast_walk/triangle.h"
#include "model/fast_walk/walk.h"

namespace mirsolve::test {

namespace {

namespace walks = torve::fast_walk;

// Keeps the best subset. What the walk doubts is fitted in long double.
class Best : public walks::Visitor {
 public:
  Best(const SelectionCase& from, double unit) : from_(from), unit_(unit) { limit = 1e300; }
  bool subset(std::uint64_t, std::span<const int> columns, double sse) override {
    const std::vector<int> subset(columns.begin(), columns.end());
    const double value = sse < 0.0 ? squares_by_brute_force(from_, subset) / unit_ : sse;
    if (value < limit) {
      limit = value;
      columns_ = subset;
    }
    return true;
  }
  bool pause(std::uint64_t) override { return true; }
  const std::vector<int>& columns() const { return columns_; }

 private:
  const SelectionCase& from_;
  double unit_;
  std::vector<int> columns_;
};

std::vector<int> best_subset(const SelectionCase& from, int size) {
  const auto rows = static_cast<int>(from.rows.size());
  std::vector<double> x;
  std::vector<int> columns;
  for (int j = 0; j < from.columns(); ++j) {
    columns.push_back(j);
    for (const auto& row : from.rows) x.push_back(row[static_cast<std::size_t>(j)]);
  }
  const std::vector<char> mask(from.rows.size(), 1);
  const torve::RowMask in_use(reinterpret_cast<const bool*>(mask.data()), mask.size());
  const torve::MatrixView view{x.data(), rows, from.columns(), rows};
  walks::Triangle triangle;
  if (!walks::reduce({view, columns, from.z, in_use, rows}, triangle)) return {};
  Best best(from, std::ldexp(1.0, triangle.exponent));
  walks::Walk(triangle, size, walks::widest_kernels()).run(best);
  return best.columns();
}

struct Design {
  const char* name;
  bool is_catalogue;
  int points;
  int columns;
  int size;
};

const Design designs[] = {
    {"independent_20", false, 100, 20, 6}, {"independent_30", false, 60, 30, 4},
    {"independent_40", false, 100, 40, 4}, {"independent_60", false, 80, 60, 3},
    {"catalogue_20", true, 100, 20, 4},    {"catalogue_30", true, 60, 30, 3},
    {"catalogue_40", true, 100, 40, 3},    {"catalogue_60", true, 100, 60, 3},
};

class SelectionWalk : public testing::TestWithParam<Design> {};

void compare(const SelectionCase& made, double squares, const std::vector<int>& wanted) {
  const Problem problem = build(made);
  const std::optional<Answer> answer = solve_selection(problem, Deadline(60.0));
  ASSERT_TRUE(answer);
  ASSERT_EQ(answer->status, Status::proven);
  EXPECT_EQ(broken_by(problem, answer->points.front()), "");
  EXPECT_NEAR(answer->objective, squares, 2e-9 * squares);
  for (const int j : wanted) EXPECT_EQ(answer->points.front()[static_cast<std::size_t>(j)], 1.0);
}

// With a rule that says nothing the branches are searched to their ends; without one, small ones
// are left to the walk.
TEST_P(SelectionWalk, FindsTheBestOfAllSubsets) {
  const Design& design = GetParam();
  for (const unsigned seed : {3U, 4U, 5U}) {
    SCOPED_TRACE(seed);
    SelectionCase made = design.is_catalogue
                             ? catalogue_case(design.points, design.columns, 0.5, seed)
                             : random_case(design.points, design.columns, 5, 1.0, seed);
    const std::vector<int> wanted = best_subset(made, design.size);
    ASSERT_EQ(wanted.size(), static_cast<std::size_t>(design.size));
    const double squares = squares_by_brute_force(made, wanted);
    made.sizes = {{{}, Sense::equal, static_cast<double>(design.size)}};
    compare(made, squares, wanted);
    made.logic = {{{{0, 1.0}, {1, 1.0}}, Sense::at_most, 2.0}};
    compare(made, squares, wanted);
  }
}

INSTANTIATE_TEST_SUITE_P(All, SelectionWalk, testing::ValuesIn(designs),
                         [](const auto& test) { return test.param.name; });

}  // namespace

}  // namespace mirsolve::test
