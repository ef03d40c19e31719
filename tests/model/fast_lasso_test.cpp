// The fast kernels of the lasso against the plain sweep: the same bits at each point of a path, and
// whole runs that leave the same screen, listing and trace but for times.
#include "model/fast_lasso.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "support/rows.h"
#include "support/run_masks.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

using Vector = std::vector<double>;

// --- problems -----------------------------------------------------------------------------------

// Columns and an output, before they are centred.
struct Raw {
  std::vector<Vector> x;
  Vector z;
};

struct Design {
  std::string name;
  void (*make)(Raw& raw, Random& random, int rows, int columns);
  int fewest_rows = 20;
  int most_rows = 400;
};

// Columns with a common part, and an output of a fifth of them.
void make_noisy(Raw& raw, Random& random, int rows, int columns) {
  const double common = random.chance(0.5) ? 0.4 : 2.0;
  const double noise = random.chance(0.5) ? 0.1 : 3.0;
  raw.x.assign(at(columns), Vector(at(rows)));
  raw.z.assign(at(rows), 0.0);
  for (std::size_t i = 0; i < raw.z.size(); ++i) {
    const double shared = common * random.normal();
    raw.z[i] = noise * random.normal();
    for (std::size_t j = 0; j < raw.x.size(); ++j) {
      raw.x[j][i] = random.normal() + shared;
      if (j % 5 == 0) raw.z[i] += (j % 2 == 0 ? 2.0 : -3.0) * raw.x[j][i];
    }
  }
}

void scale(Vector& values, double factor) {
  for (double& value : values) value *= factor;
}

void make_exact(Raw& raw, Random& random, int rows, int columns) {
  make_noisy(raw, random, rows, columns);
  for (std::size_t i = 0; i < raw.z.size(); ++i) raw.z[i] = 2.0 * raw.x[1][i] - raw.x[4][i];
}

void make_duplicates(Raw& raw, Random& random, int rows, int columns) {
  make_noisy(raw, random, rows, columns);
  for (std::size_t j = 3; j < raw.x.size(); j += 3) {
    raw.x[j] = raw.x[j - 3];
    if (random.chance(0.3)) scale(raw.x[j], -1.0);
  }
}

void make_dependent(Raw& raw, Random& random, int rows, int columns) {
  make_noisy(raw, random, rows, columns);
  for (std::size_t j = 2; j < raw.x.size(); j += 2) {
    for (std::size_t i = 0; i < raw.z.size(); ++i) raw.x[j][i] = raw.x[j - 1][i] + raw.x[j - 2][i];
  }
}

// Equal values, zeros, and zeros but for one point.
void make_constant(Raw& raw, Random& random, int rows, int columns) {
  make_noisy(raw, random, rows, columns);
  for (std::size_t j = 0; j < raw.x.size(); j += 2) {
    std::fill(raw.x[j].begin(), raw.x[j].end(), j % 4 == 0 ? 0.0 : 7.1);
    if (random.chance(0.5)) raw.x[j][at(random.whole(0, rows - 1))] += 1.0;
  }
}

// Powers of numbers in a narrow range.
void make_narrow(Raw& raw, Random& random, int rows, int columns) {
  make_noisy(raw, random, rows, columns);
  const double width = std::pow(10.0, -random.whole(1, 6));
  Vector input(at(rows));
  for (double& value : input) value = 5.0 + width * random.real(0.0, 1.0);
  for (std::size_t j = 0; j < raw.x.size(); ++j) {
    for (std::size_t i = 0; i < raw.z.size(); ++i) {
      raw.x[j][i] = std::pow(input[i], 0.25 * (static_cast<double>(j) - 4.0));
    }
  }
  for (std::size_t i = 0; i < raw.z.size(); ++i) {
    raw.z[i] = (input[i] - 5.0) / width * (input[i] - 5.1) + 0.01 * random.normal();
  }
}

void make_huge(Raw& raw, Random& random, int rows, int columns) {
  make_noisy(raw, random, rows, columns);
  scale(raw.z, std::pow(10.0, random.whole(2, 14)));
}

void make_tiny(Raw& raw, Random& random, int rows, int columns) {
  make_noisy(raw, random, rows, columns);
  scale(raw.z, std::pow(10.0, -random.whole(2, 40)));
}

// Columns too short to be brought to length 1, some below what single precision holds.
void make_faint(Raw& raw, Random& random, int rows, int columns) {
  make_noisy(raw, random, rows, columns);
  const int magnitude = random.whole(9, 60);
  for (Vector& column : raw.x) scale(column, std::pow(10.0, -magnitude));
  scale(raw.z, std::pow(10.0, magnitude));
}

// Columns of +-1, each pair orthogonal while there are more rows than columns.
void make_orthogonal(Raw& raw, Random& random, int rows, int columns) {
  make_noisy(raw, random, rows, columns);
  for (std::size_t j = 0; j < raw.x.size(); ++j) {
    for (std::size_t i = 0; i < raw.z.size(); ++i) {
      raw.x[j][i] = std::popcount(i & (j + 1)) % 2 == 0 ? 1.0 : -1.0;
    }
  }
}

const Design designs[] = {
    {"noisy", make_noisy},
    {"many_rows", make_noisy, 600, 1000},
    {"more_columns_than_rows", make_noisy, 20, 45},
    {"exact", make_exact},
    {"duplicates", make_duplicates},
    {"dependent", make_dependent},
    {"constant", make_constant},
    {"narrow", make_narrow},
    {"huge", make_huge},
    {"tiny", make_tiny},
    {"orthogonal", make_orthogonal},
    {"faint", make_faint},
};

// The problem of the screener: standardised columns and the centred output.
class Problem {
 public:
  Problem(const Design& design, std::uint64_t seed) {
    Random random(seed);
    rows_ = random.whole(design.fewest_rows, design.most_rows);
    columns_ = random.whole(10, rows_ > 500 ? 60 : (random.chance(0.2) ? 300 : 80));
    Raw raw;
    design.make(raw, random, rows_, columns_);
    for (const Vector& column : raw.x) {
      const ColumnMoments moments = column_moments(column);
      for (const double value : column) x_.push_back((value - moments.mean) / moments.deviation);
    }
    z_ = raw.z;
    const double mean = column_moments(z_).mean;
    for (double& value : z_) value -= mean;
  }
  LassoProblem problem() const { return {{x_.data(), rows_, columns_, rows_}, z_}; }

 private:
  int rows_ = 0, columns_ = 0;
  Vector x_, z_;
};

// --- paths --------------------------------------------------------------------------------------

// What a path leaves at a point.
struct Point {
  Vector coefficients;
  std::string active;
  double sse = 0.0;
  bool operator==(const Point&) const = default;
};

// Column visits of the sweeps, and products of all columns.
class Counting : public LassoSteps {
 public:
  explicit Counting(LassoSteps& steps) : steps_(steps) {}
  void sweep(double lambda, std::span<bool> mask, std::span<double> b) override {
    visits += std::count(mask.begin(), mask.end(), true);
    steps_.sweep(lambda, mask, b);
  }
  bool find_strong(double lambda, ColumnMask active, std::span<const double> b,
                   std::span<bool> strong) override {
    visits += static_cast<long long>(strong.size());
    return steps_.find_strong(lambda, active, b, strong);
  }
  double sse(std::span<const double> b) override { return steps_.sse(b); }

  long long visits = 0;

 private:
  LassoSteps& steps_;
};

constexpr int until_settled = 1000;

// Asks whether it is late `patience` times at most: large numbers may never settle.
std::vector<Point> follow(const LassoProblem& problem, LassoSteps& steps, std::size_t points,
                          int patience = 12) {
  const std::size_t columns = at(problem.xstd.columns);
  const auto flags = std::make_unique<bool[]>(3 * columns);
  const auto set = [&](std::size_t i) { return std::span(flags.get() + i * columns, columns); };
  Vector coef(columns), old(columns), penalties(points);
  make_penalties(problem, penalties);
  LassoPath path(steps, {set(0), set(1), set(2), coef, old});
  std::vector<Point> left;
  for (const double lambda : penalties) {
    int asked = 0;
    path.descend(lambda, [&] { return ++asked > patience; });
    std::string active;
    for (const bool is_active : set(0)) active += is_active ? '1' : '0';
    left.push_back({coef, active, steps.sse(coef)});
  }
  return left;
}

std::vector<Point> follow_plainly(const LassoProblem& problem, std::size_t points) {
  Vector residual(problem.zc.size());
  PlainLasso plain(problem, residual);
  return follow(problem, plain, points);
}

// Of the processor that this runs on.
std::vector<const fast_lasso::Kernels*> all_kernels() {
  std::vector<const fast_lasso::Kernels*> kernels = {&fast_lasso::plain_kernels()};
  for (const auto* wider : {fast_lasso::wide_kernels(), fast_lasso::widest_kernels()}) {
    if (wider != nullptr) kernels.push_back(wider);
  }
  return kernels;
}

class FastLassoPath : public testing::TestWithParam<Design> {};

TEST_P(FastLassoPath, has_the_bits_of_the_plain_one) {
  long long visits = 0;
  long long steps = 0;
  int moved = 0;
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    const Problem data(GetParam(), seed);
    const LassoProblem problem = data.problem();
    const std::size_t points = problem.zc.size() > 500 ? 30 : 100;
    const std::vector<Point> expected = follow_plainly(problem, points);
    for (const fast_lasso::Kernels* kernels : all_kernels()) {
      SCOPED_TRACE(fmt::format("seed {} kernels {}", seed, kernels->name));
      const auto fast = FastLasso::make(problem, MemoryAccount{}, *kernels);
      ASSERT_NE(fast, nullptr);
      Counting counting(*fast);
      const std::vector<Point> found = follow(problem, counting, points);
      for (std::size_t l = 0; l < points; ++l) {
        ASSERT_EQ(expected[l].active, found[l].active) << "point " << l;
        ASSERT_EQ(expected[l].coefficients, found[l].coefficients) << "point " << l;
        ASSERT_EQ(expected[l].sse, found[l].sse) << "point " << l;
      }
      visits += counting.visits;
      steps += fast->steps();
    }
    moved += expected.front() == expected.back() ? 0 : 1;
  }
  // Paths go somewhere, and some of the products weren't needed.
  EXPECT_GT(moved, 6);
  EXPECT_GT(steps, 0);
  EXPECT_LT(steps, visits);
}

INSTANTIATE_TEST_SUITE_P(Rows, FastLassoPath, testing::ValuesIn(designs), RowName());

// The problem in long double.
class LongProblem {
 public:
  explicit LongProblem(const LassoProblem& problem) : problem_(problem) {}
  std::size_t columns() const { return at(problem_.xstd.columns); }
  std::span<const double> column(std::size_t j) const {
    return problem_.xstd.column(static_cast<int>(j));
  }
  // The product of a column with values, divided by n.
  template <class Values>
  long double product(std::size_t j, const Values& values) const {
    long double sum = 0.0L;
    const std::span<const double> x = column(j);
    for (std::size_t i = 0; i < x.size(); ++i) sum += static_cast<long double>(x[i]) * values[i];
    return sum / static_cast<long double>(x.size());
  }
  std::vector<long double> rest(const Vector& b) const {
    std::vector<long double> rest(problem_.zc.begin(), problem_.zc.end());
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::span<const double> x = column(j);
      for (std::size_t i = 0; i < x.size(); ++i) rest[i] -= static_cast<long double>(x[i]) * b[j];
    }
    return rest;
  }
  // How far the step of column j may lead elsewhere when each coefficient has moved by less than a
  // thousandth of its size, or of 1, in the last sweep.
  long double slack(std::size_t j, const Vector& b) const {
    long double slack = 0.0L;
    for (std::size_t k = 0; k < b.size(); ++k) {
      slack += std::abs(product(j, column(k))) * 0.00101L * std::max(1.0, std::abs(b[k]));
    }
    return slack;
  }

 private:
  LassoProblem problem_;
};

void make_large(Raw& raw, Random& random, int rows, int columns) {
  make_noisy(raw, random, rows, columns);
  scale(raw.z, 1000.0);
}

// Where a sweep ends nothing moves by a thousandth, so that b(j) is what its step would give but
// for what the other coefficients have moved since:
//   b(j) = S(x(j)'r/n + b(j) x(j)'x(j)/n, lambda)
TEST(FastLassoPath, settles_where_steps_lead_nowhere) {
  int sharp = 0;
  for (std::uint64_t seed = 50; seed < 58; ++seed) {
    const Problem data({"large", make_large, 40, 120}, seed);
    const LassoProblem problem = data.problem();
    const LongProblem exact(problem);
    constexpr std::size_t points = 10;
    Vector penalties(points);
    make_penalties(problem, penalties);
    const auto fast = FastLasso::make(problem, MemoryAccount{});
    const std::vector<Point> found = follow(problem, *fast, points, until_settled);
    for (std::size_t l = 0; l < points; ++l) {
      const Vector& b = found[l].coefficients;
      const std::vector<long double> rest = exact.rest(b);
      const long double lambda = penalties[l];
      for (std::size_t j = 0; j < b.size(); ++j) {
        const long double u = exact.product(j, rest) + b[j] * exact.product(j, exact.column(j));
        const long double step = std::abs(u) > lambda ? u - std::copysign(lambda, u) : 0.0L;
        const long double slack = exact.slack(j, b);
        ASSERT_LE(std::abs(b[j] - step), slack) << "seed " << seed << " point " << l << " " << j;
        if (b[j] != 0.0 && slack < 0.1L * lambda) ++sharp;
      }
    }
  }
  // Conditions that would show a coefficient that is off by a tenth of the penalty.
  EXPECT_GT(sharp, 300);
}

// --- parts --------------------------------------------------------------------------------------

TEST(LassoSums, are_made_in_lanes) {
  Random random(3);
  for (std::size_t n = 1; n <= 70; ++n) {
    Vector a(n), b(n);
    for (double& value : a) value = random.normal();
    for (double& value : b) value = random.normal();
    double lane[16] = {};
    for (std::size_t i = 0; i < n; ++i) lane[i % 16] += a[i] * b[i];
    const auto quarter = [&](std::size_t k) {
      return (lane[k] + lane[k + 8]) + (lane[k + 4] + lane[k + 12]);
    };
    EXPECT_EQ(inner_product(a, b), (quarter(0) + quarter(2)) + (quarter(1) + quarter(3))) << n;
  }
}

// Four columns of 96 numbers on lines of 64 bytes, with zeros behind the first `rows`.
struct Columns {
  alignas(64) float x[5][96] = {};
};

TEST(LassoEstimates, are_as_near_as_single_precision_allows) {
  for (const fast_lasso::Kernels* kernels : all_kernels()) {
    for (int rows = 1; rows <= 96; rows += 5) {
      Random random(static_cast<std::uint64_t>(rows));
      Columns columns;
      for (auto& column : columns.x) {
        for (int i = 0; i < rows; ++i) column[i] = static_cast<float>(random.normal());
      }
      float sums[4];
      const int padded = (rows + 31) / 32 * 32;
      kernels->estimate(columns.x[0], 96, columns.x[4], padded, sums);
      for (std::size_t c = 0; c < 4; ++c) {
        long double sum = 0.0L, size = 0.0L;
        for (int i = 0; i < rows; ++i) {
          const long double term = static_cast<long double>(columns.x[c][i]) * columns.x[4][i];
          sum += term;
          size += std::abs(term);
        }
        const int additions = padded / 32 + 6;
        const long double bound = additions * 0x1p-24L * size;
        EXPECT_LE(std::abs(sums[c] - sum), bound) << kernels->name << " rows " << rows;
      }
    }
  }
}

// Penalties on the edge: a column's product itself and the numbers beside it.
TEST(FastLasso, finds_the_same_strong_columns) {
  for (std::uint64_t seed = 1; seed <= 4; ++seed) {
    const Problem data(designs[0], seed);
    const LassoProblem problem = data.problem();
    const std::size_t columns = at(problem.xstd.columns);
    const auto flags = std::make_unique<bool[]>(3 * columns);
    const auto set = [&](std::size_t i) { return std::span(flags.get() + i * columns, columns); };
    Vector b(columns), residual(problem.zc.size());
    set(0)[1] = true;
    b[1] = 0.5;
    lasso_sweep(problem, 0.1, set(0), b, residual);
    for (const fast_lasso::Kernels* kernels : all_kernels()) {
      const auto fast = FastLasso::make(problem, MemoryAccount{}, *kernels);
      for (std::size_t j = 0; j < columns; ++j) {
        find_strong_columns(problem, 0.0, set(0), b, set(1), residual);
        const double edge =
            std::abs(inner_product(problem.xstd.column(static_cast<int>(j)), residual));
        for (const double lambda : {std::nextafter(edge, 0.0), edge, std::nextafter(edge, 1e9)}) {
          const bool any = find_strong_columns(problem, lambda, set(0), b, set(1), residual);
          EXPECT_EQ(fast->find_strong(lambda, set(0), b, set(2)), any);
          EXPECT_TRUE(std::ranges::equal(set(1), set(2))) << kernels->name << " column " << j;
          EXPECT_EQ(set(1)[j], lambda < edge);
        }
      }
      // Estimates were enough for most.
      EXPECT_LT(fast->steps(), static_cast<long long>(12 * columns));
    }
  }
}

TEST(FastLasso, leaves_numbers_out_of_hand_to_the_plain_sweep) {
  Problem data(designs[0], 1);
  const LassoProblem problem = data.problem();
  EXPECT_NE(FastLasso::make(problem, MemoryAccount{}), nullptr);
  Vector z(problem.zc.begin(), problem.zc.end());
  for (const double value : {1e101, -std::numeric_limits<double>::infinity(), std::nan("")}) {
    z[5] = value;
    EXPECT_EQ(FastLasso::make({problem.xstd, z}, MemoryAccount{}), nullptr) << value;
  }
  z.assign(z.size(), 1e-101);
  EXPECT_EQ(FastLasso::make({problem.xstd, z}, MemoryAccount{}), nullptr);
  MemoryAccount small;
  small.machine_bytes = 1000;
  EXPECT_EQ(FastLasso::make(problem, small), nullptr);
}

// --- whole runs ---------------------------------------------------------------------------------

struct RunDesign {
  std::string name;
  void (*change)(SmallProblem& problem, Random& random);
};

void leave(SmallProblem&, Random&) {}

void make_inputs_equal(SmallProblem& problem, Random&) {
  for (auto& row : problem.x) row[2] = row[1];
}
void make_outputs_exact(SmallProblem& problem, Random&) {
  for (std::size_t i = 0; i < problem.z.size(); ++i) {
    problem.z[i] = {3.0 + 2.0 * problem.x[i][0] - problem.x[i][1] * problem.x[i][1]};
  }
}
void make_outputs_huge(SmallProblem& problem, Random& random) {
  const double factor = std::pow(10.0, random.whole(2, 6));
  for (auto& row : problem.z) row[0] *= factor;
}
void make_outputs_tiny(SmallProblem& problem, Random& random) {
  const double factor = std::pow(10.0, -random.whole(2, 9));
  for (auto& row : problem.z) row[0] *= factor;
}
void make_inputs_narrow(SmallProblem& problem, Random& random) {
  const double width = std::pow(10.0, -random.whole(2, 4));
  for (auto& row : problem.x) {
    for (double& value : row) value = 2.0 + width * value;
  }
}
void make_outputs_equal(SmallProblem& problem, Random&) {
  for (auto& row : problem.z) row[0] = 4.0;
}

const RunDesign run_designs[] = {
    {"noisy", leave},
    {"equal_inputs", make_inputs_equal},
    {"exact", make_outputs_exact},
    {"huge", make_outputs_huge},
    {"tiny", make_outputs_tiny},
    {"narrow", make_inputs_narrow},
    {"equal_outputs", make_outputs_equal},
};

SmallProblem run_problem(const RunDesign& design, Random& random, int modeler) {
  SmallProblem problem;
  const int points = random.chance(0.2) ? 150 : random.whole(6, 40);
  for (int i = 0; i < points; ++i) {
    std::vector<double> row(4);
    for (double& value : row) value = random.real(0.5, 3.0);
    problem.z.push_back({20.0 + 30.0 * row[0] - 15.0 * row[1] * row[1] + random.normal()});
    problem.x.push_back(std::move(row));
  }
  design.change(problem, random);
  problem.options = fmt::format(
      "screener {}\nlassopath {}\nnpenl {}\nmodeler {}\nmaxterms 2\nbuilder {}\n"
      "monomialpower 2 3\nmulti2power 1\nlogfcns 1\ntracefname trace.trc\n",
      random.chance(0.9) ? 1 : 2, random.chance(0.6) ? 1 : 0, random.whole(2, 100), modeler,
      random.chance(0.5) ? 1 : 0);
  return problem;
}

// The last point's coefficients and what each point keeps.
std::string lasso_of(SmallRun& run) {
  const Screening& s = run.state().screening;
  std::string text;
  if (!s.lassocoef.exists()) return text;
  for (const double b : s.lassocoef.all()) text += digits(b) + " ";
  for (int l = 0; l < run.state().options.npenl; ++l) {
    text += "\n";
    for (int j = 0; j < run.state().sizes.nbasm1; ++j) text += s.lassokeep(l, j) ? '1' : '0';
  }
  return text;
}

// The scratch of the plain sweep, which the fast one has no use for.
bool swept_plainly(SmallRun& run) {
  const std::span<const double> scratch = run.state().screening.lassoresidual.all();
  return std::ranges::any_of(scratch, [](double value) { return value != 0.0; });
}

class FastLassoRun : public testing::TestWithParam<RunDesign> {};

TEST_P(FastLassoRun, leaves_what_the_plain_sweep_leaves) {
  int lassos = 0;
  for (int modeler = 1; modeler <= 8; ++modeler) {
    for (int round = 0; round < 4; ++round) {
      Random random(static_cast<std::uint64_t>(1000 * modeler + round));
      const std::string text = run_problem(GetParam(), random, modeler).text();
      SCOPED_TRACE(text);
      SmallRun expected(text, [](RunState& run) { run.walk.allowed = false; });
      SmallRun found(text);
      for (const auto part : {&SmallRun::screen, &SmallRun::listing, &SmallRun::trace}) {
        ASSERT_EQ(first_difference(mask_output((expected.*part)(), "/none"),
                                   mask_output((found.*part)(), "/none")),
                  "");
      }
      ASSERT_EQ(first_difference(lasso_of(expected), lasso_of(found)), "");
      ASSERT_FALSE(swept_plainly(found));
      lassos += swept_plainly(expected) ? 1 : 0;
    }
  }
  const bool has_path = GetParam().change != make_outputs_equal;
  EXPECT_GT(lassos, has_path ? 20 : -1);
}

INSTANTIATE_TEST_SUITE_P(Rows, FastLassoRun, testing::ValuesIn(run_designs), RowName());

}  // namespace
}  // namespace torve::test
