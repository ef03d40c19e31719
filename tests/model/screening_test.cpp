#include "model/screening.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "model/lasso.h"
#include "support/reference_selection.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

using Vector = std::vector<double>;

std::string mask_text(std::span<const bool> mask) {
  std::string text;
  for (const bool value : mask) text += value ? '1' : '0';
  return text;
}

std::string screened(SmallRun& run) {
  RunState& state = run.state();
  return mask_text(state.models.screened.first(static_cast<std::size_t>(state.sizes.nbas)));
}

bool contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

// Four orthogonal columns of +-1 over eight points, each of mean 0, and a constant.
//   z = sum of weights x + rest
SmallProblem orthogonal(const std::array<double, 4>& weights, double mean, double rest) {
  SmallProblem problem;
  for (unsigned i = 0; i < 8; ++i) {
    const auto sign = [&](unsigned bits) {
      return __builtin_popcount(i & bits) % 2 == 0 ? 1.0 : -1.0;
    };
    const std::array<double, 4> row = {sign(1), sign(2), sign(4), sign(3)};
    problem.x.emplace_back(row.begin(), row.end());
    double z = mean + rest * sign(7);
    for (std::size_t j = 0; j < 4; ++j) z += weights[j] * row[j];
    problem.z.push_back({z});
  }
  return problem;
}

// --- null columns -------------------------------------------------------------------------------

TEST(NullColumns, go_in_silence) {
  SmallProblem problem = orthogonal({1, 2, 3, 4}, 0, 1);
  for (auto& row : problem.x) {
    row[0] *= 3.1e-5;  // squares below 1e-9
    row[1] *= 3.2e-5;  // squares above
  }
  problem.options = "numlimitbasis 0\n";
  SmallRun run(problem.text());
  EXPECT_EQ(screened(run), "01111");
  EXPECT_FALSE(contains(run.screen(), "Screener"));
  EXPECT_FALSE(run.state().screening.zc.exists());
  EXPECT_TRUE(run.state().basis.basisactive[0]);
}

TEST(NullColumns, live_by_a_single_point) {
  SmallProblem problem = orthogonal({1, 2, 3, 4}, 0, 1);
  for (auto& row : problem.x) row[0] *= 1e-6;
  problem.x[5][0] = 0.5;
  problem.options = "numlimitbasis 0\nnulltol 0.24\n";
  EXPECT_EQ(screened(*std::make_unique<SmallRun>(problem.text())), "11111");
  problem.options = "numlimitbasis 0\nnulltol 0.25\n";
  EXPECT_EQ(screened(*std::make_unique<SmallRun>(problem.text())), "01111");
}

// --- sure independence --------------------------------------------------------------------------

// Eight points keep the whole part of sismult 8 / ln 8 = 3.847 sismult columns. The scores are in
// proportion to 3, 2, -1, -5 and 0 for the constant: columns that oppose the output are the last.
struct SisCase {
  std::string_view name;
  double sismult;
  std::string_view kept;
  std::string_view message;
  double percent;  // of the active columns that went
};

void PrintTo(const SisCase& row, std::ostream* out) {
  *out << row.name;
}

class SureIndependence : public testing::TestWithParam<SisCase> {};

TEST_P(SureIndependence, keeps_the_highest_signed_scores) {
  SmallProblem problem = orthogonal({-5, 3, -1, 2}, 10, 1);
  problem.options = "screener 2\nsismult " + digits(GetParam().sismult) + "\n";
  SmallRun run(problem.text());
  EXPECT_EQ(screened(run), GetParam().kept);
  EXPECT_TRUE(contains(run.screen(), std::string(GetParam().message) + "\n")) << run.screen();
  EXPECT_DOUBLE_EQ(run.state().models.LassoRed[0], GetParam().percent);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SureIndependence,
    testing::Values(
        SisCase{"three", 1.0, "01011", "Screener eliminated 2 out of 5 active bases", 40},
        SisCase{"two", 0.53, "01010", "Screener eliminated 3 out of 5 active bases", 60},
        SisCase{"just_below_two", 0.519, "01000", "Screener eliminated 4 out of 5 active bases",
                80},
        SisCase{"four", 1.2, "01111", "Screener eliminated 1 out of 5 active bases", 20},
        SisCase{"all_five", 1.3, "11111", "Screener eliminated none out of 5 active bases", 0},
        SisCase{"none", 0.0, "00000", "Screener eliminated 5 out of 5 active bases", 100}),
    RowName());

TEST(Standardise, leaves_mean_zero_and_deviation_one) {
  SmallProblem problem = orthogonal({1, 2, 3, 4}, 0, 1);
  for (std::size_t i = 0; i < 8; ++i) problem.x[i][1] = static_cast<double>(i * i);
  problem.options = "screener 2\nncustombas 1\n";
  problem.sections = "begin_custombas\nx1-x1+2\nend_custombas\n";
  SmallRun run(problem.text());
  const Screening& s = run.state().screening;
  // 0 1 4 9 16 25 36 49: sum 140, sum of squares 4676.
  EXPECT_DOUBLE_EQ(s.xmean[1], 17.5);
  EXPECT_DOUBLE_EQ(s.xsd[1], std::sqrt((4676.0 - 140.0 * 140.0 / 8) / 7));
  EXPECT_DOUBLE_EQ(s.xstd(3, 1), (9.0 - 17.5) / std::sqrt(318.0));
  // A column of equal values.
  EXPECT_EQ(s.xmean[4], 2.0);
  EXPECT_EQ(s.xsd[4], 1.0);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(s.xstd(i, 4), 0.0);
}

TEST(Standardise, clears_columns_that_are_out) {
  SmallProblem problem = orthogonal({1, 2, 3, 4}, 0, 1);
  problem.options = "screener 2\nexclude 0 1 0 0\n";
  SmallRun run(problem.text());
  const Screening& s = run.state().screening;
  EXPECT_EQ(s.xmean[1], 0.0);
  EXPECT_EQ(s.xsd[1], 1.0);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(s.xstd(i, 1), 0.0);
}

TEST(Screener, prepares_alone_with_the_unused_numbers) {
  for (const int screener : {-1, -2}) {
    SmallProblem problem = orthogonal({1, 2, 3, 4}, 5, 1);
    problem.options = fmt::format("screener {}\n", screener);
    SmallRun run(problem.text());
    EXPECT_EQ(screened(run), "11111");
    EXPECT_TRUE(contains(run.screen(), "Screener eliminated none out of 5 active bases\n"));
    EXPECT_NE(run.state().randstate, 0);
    EXPECT_DOUBLE_EQ(run.state().screening.xsd[0], std::sqrt(8.0 / 7));
  }
}

// --- lasso --------------------------------------------------------------------------------------

// One output's path, done plainly: all columns are swept at each penalty until nothing moves. The
// sweep treats a squared norm of n - 1 as n, so that it ends at the minimum of
//   |z - X b|^2 / 2n + lambda |b| + b b / 2n.
struct PlainPath {
  Vector penalties;
  std::vector<Vector> coefficients;
  Vector metrics;
  std::size_t best = 0;     // last point at which the metric fell
  std::size_t minimum = 0;  // of the metric

  PlainPath(const std::vector<Vector>& x, const Vector& z, std::size_t points,
            const ReferenceOptions& options);
};

double product(const Vector& a, const Vector& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

double soft(double u, double lambda) {
  return std::abs(u) <= lambda ? 0.0 : u - std::copysign(lambda, u);
}

PlainPath::PlainPath(const std::vector<Vector>& x, const Vector& z, std::size_t points,
                     const ReferenceOptions& options) {
  const auto n = static_cast<double>(z.size());
  double largest = 0.0;
  for (const Vector& column : x) largest = std::max(largest, std::abs(product(column, z)) / n);
  Vector b(x.size(), 0.0);
  for (std::size_t l = 0; l < points; ++l) {
    const double lambda =
        largest * std::pow(0.001, static_cast<double>(l) / static_cast<double>(points - 1));
    Vector rest = z;
    for (std::size_t j = 0; j < x.size(); ++j) {
      for (std::size_t i = 0; i < z.size(); ++i) rest[i] -= x[j][i] * b[j];
    }
    for (double moved = 1.0; moved > 1e-13;) {
      moved = 0.0;
      for (std::size_t j = 0; j < x.size(); ++j) {
        const double old = b[j];
        b[j] = soft((product(x[j], rest) + product(x[j], x[j]) * old) / n, lambda);
        for (std::size_t i = 0; i < z.size(); ++i) rest[i] -= x[j][i] * (b[j] - old);
        moved = std::max(moved, std::abs(b[j] - old) / std::max(1.0, std::abs(old)));
      }
    }
    const bool all_before =
        l > 0 && std::none_of(coefficients[l - 1].begin(), coefficients[l - 1].end(),
                              [](double value) { return std::abs(value) <= 1e-8; });
    if (all_before) return;
    penalties.push_back(lambda);
    coefficients.push_back(b);
    const auto live =
        std::count_if(b.begin(), b.end(), [](double v) { return std::abs(v) > 1e-8; });
    metrics.push_back(reference_metric(options, product(rest, rest), static_cast<int>(live),
                                       static_cast<int>(z.size())));
    if (l > 0 && metrics[l] < metrics[l - 1]) best = l;
    if (metrics[l] < metrics[minimum]) minimum = l;
  }
}

Vector centred(Vector values, double& mean, double& deviation) {
  const auto n = static_cast<double>(values.size());
  mean = std::accumulate(values.begin(), values.end(), 0.0) / n;
  for (double& value : values) value -= mean;
  deviation = std::sqrt(product(values, values) / (n - 1));
  return values;
}

// The standardised problem of a file: all inputs, and the constant out of reach.
struct Standard {
  std::vector<Vector> x;
  Vector z, xmean, xsd;
  double zmean = 0.0;

  explicit Standard(const SmallProblem& problem) {
    const std::size_t inputs = problem.x[0].size();
    xmean.resize(inputs);
    xsd.resize(inputs);
    for (std::size_t j = 0; j < inputs; ++j) {
      Vector column;
      for (const auto& row : problem.x) column.push_back(row[j]);
      x.push_back(centred(column, xmean[j], xsd[j]));
      for (double& value : x.back()) value /= xsd[j];
    }
    Vector column;
    for (const auto& row : problem.z) column.push_back(row[0]);
    double unused = 0.0;
    z = centred(column, zmean, unused);
  }
};

// The lasso's model and its columns against those of the plain path at its last fall.
void expect_lasso(SmallRun& run, const Standard& standard, const PlainPath& path,
                  double tolerance) {
  RunState& state = run.state();
  const Vector& b = path.coefficients[path.best];
  double largest = 1.0;
  double constant = standard.zmean;
  std::string kept;
  for (std::size_t j = 0; j < b.size(); ++j) {
    const double beta = b[j] / standard.xsd[j];
    largest = std::max(largest, std::abs(beta));
    constant -= standard.xmean[j] * beta;
    kept += std::abs(b[j]) > 1e-8 ? '1' : '0';
  }
  EXPECT_EQ(screened(run), kept + "1");
  for (std::size_t j = 0; j < b.size(); ++j) {
    EXPECT_NEAR(state.models.lassobeta[j], b[j] / standard.xsd[j], tolerance * largest) << j;
  }
  EXPECT_NEAR(state.models.lassobeta[b.size()], constant,
              4 * tolerance * (largest + std::abs(constant)));
}

// On orthogonal columns each coefficient is its own least-squares value, moved towards zero by the
// penalty. Values in the ten thousands keep the tolerance of the sweeps, 0.001, out of sight.
TEST(Lasso, thresholds_orthogonal_columns) {
  for (const int modeler : {1, 3, 5}) {
    SmallProblem problem = orthogonal({1e4, 3e4, -2e4, 5e3}, 7e4, 1e3);
    problem.options = fmt::format("screener 1\nlassopath 1\nnpenl 30\nmodeler {}\n", modeler);
    SmallRun run(problem.text());
    const Standard standard(problem);
    ReferenceOptions options;
    options.modeler = modeler;
    const PlainPath path(standard.x, standard.z, 30, options);
    // The closed form of the plain path itself.
    for (std::size_t l = 0; l < path.penalties.size(); ++l) {
      for (std::size_t j = 0; j < 4; ++j) {
        const double g = product(standard.x[j], standard.z) / 8;
        ASSERT_NEAR(path.coefficients[l][j], soft(g, path.penalties[l]), 1e-6);
      }
    }
    ASSERT_GT(path.best, 0U);
    expect_lasso(run, standard, path, 1e-9);
    for (std::size_t l = 0; l < path.penalties.size(); ++l) {
      EXPECT_NEAR(run.state().screening.lassogrid[l], path.penalties[l], 1e-11 * path.penalties[0]);
      for (std::size_t j = 0; j < 4; ++j) {
        EXPECT_EQ(run.state().screening.lassokeep(static_cast<int>(l), static_cast<int>(j)),
                  path.coefficients[l][j] != 0.0)
            << l << " " << j;
      }
    }
  }
}

SmallProblem random_problem(Random& random, int inputs, int points) {
  SmallProblem problem;
  for (int i = 0; i < points; ++i) {
    problem.x.emplace_back();
    double z = 50.0 + 40.0 * random.normal();
    const double common = random.normal();
    for (int j = 0; j < inputs; ++j) {
      problem.x.back().push_back(3.0 + random.normal() + 0.4 * common);
      z += (j % 3 == 0 ? 60.0 : (j % 3 == 1 ? -12.0 : 0.0)) * problem.x.back().back();
    }
    problem.z.push_back({z});
  }
  return problem;
}

TEST(Lasso, follows_the_path_of_plain_descent) {
  int last_fall_above_minimum = 0;
  for (std::uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const int inputs = random.whole(3, 8);
    const auto points = static_cast<std::size_t>(random.whole(5, 25));
    SmallProblem problem = random_problem(random, inputs, 50);
    ReferenceOptions options;
    options.modeler = random.whole(1, 5);
    problem.options =
        fmt::format("screener 1\nlassopath 1\nnpenl {}\nmodeler {}\n", points, options.modeler);
    SmallRun run(problem.text());
    ASSERT_TRUE(run.ended_normally()) << run.screen();
    const Standard standard(problem);
    const PlainPath path(standard.x, standard.z, points, options);
    if (path.best != path.minimum) ++last_fall_above_minimum;
    expect_lasso(run, standard, path, 3e-3);
    if (HasFailure()) FAIL() << problem.text();
  }
  // The last fall isn't always the lowest point.
  EXPECT_GT(last_fall_above_minimum, 0);
}

// Optimality of the last point, whatever way led there.
TEST(Lasso, ends_at_an_optimum) {
  for (std::uint64_t seed = 100; seed <= 130; ++seed) {
    Random random(seed);
    SmallProblem problem = random_problem(random, 6, 40);
    problem.options = "screener 1\nnpenl 12\n";
    SmallRun run(problem.text());
    const Standard standard(problem);
    Screening& s = run.state().screening;
    int last = 11;
    // A path ends behind the first point that keeps all columns.
    for (int l = 10; l >= 0; --l) {
      bool all = true;
      for (int j = 0; j < 6; ++j) all = all && s.lassokeep(l, j);
      if (all) last = l + 1;
    }
    const double lambda = s.lassogrid[static_cast<std::size_t>(last)];
    Vector rest = standard.z;
    for (std::size_t j = 0; j < 6; ++j) {
      for (std::size_t i = 0; i < 40; ++i) rest[i] -= standard.x[j][i] * s.lassocoef[j];
    }
    for (std::size_t j = 0; j < 6; ++j) {
      const double b = s.lassocoef[j];
      const double slope = (product(standard.x[j], rest) - b) / 40;
      const double slack = 5e-3 * std::max(1.0, std::abs(b));
      if (b != 0.0) {
        EXPECT_NEAR(slope, std::copysign(lambda, b), slack) << seed << " column " << j;
      } else {
        EXPECT_LE(std::abs(slope), lambda + slack) << seed << " column " << j;
      }
    }
  }
}

TEST(Lasso, takes_its_only_point) {
  SmallProblem problem = orthogonal({1, 3, -2, 0.5}, 7, 0.1);
  problem.options = "screener 1\nlassopath 1\n";
  SmallRun run(problem.text());
  run.state().options.npenl = 1;
  run.state().options.print_to_screen = false;
  run.state().models.lassobeta.fill(5.0);
  trvscreen(run.state(), 0);
  // At the largest penalty no column is alive; the constant takes up the mean.
  EXPECT_EQ(screened(run), "00001");
  EXPECT_DOUBLE_EQ(run.state().screening.lassogrid[0], 3 * std::sqrt(7.0 / 8));
  for (std::size_t j = 0; j < 4; ++j) EXPECT_EQ(run.state().models.lassobeta[j], 0.0);
  EXPECT_DOUBLE_EQ(run.state().models.lassobeta[4], 7.0);
}

// The last column comes back even if it is null; there may then be more columns than before.
TEST(Lasso, lets_the_last_column_back_in) {
  SmallProblem problem = orthogonal({3e4, 2e4, 5e4, 0}, 0, 10);
  for (auto& row : problem.x) row[3] *= 1e-6;
  problem.options = "constant 0\nnumlimitbasis 0\nscreener 1\nmodeler 6\nnpenl 40\n";
  SmallRun run(problem.text());
  EXPECT_EQ(screened(run), "1111");
  EXPECT_EQ(run.state().screening.nbasscreened, 4);
  EXPECT_TRUE(contains(run.screen(), "Screener eliminated none out of 3 active bases\n"));
  EXPECT_EQ(run.state().models.LassoRed[0], 0.0);
}

TEST(LassoSweep, changes_its_own_mask) {
  // Two columns over two points; squared norms count as n.
  const std::array<double, 4> x = {1, 1, 1, -1};
  const std::array<double, 2> z = {6, 2};  // products over n: 4 and 2
  const LassoProblem problem{{x.data(), 2, 2, 2}, z};
  std::array<bool, 2> mask = {true, true};
  std::array<double, 2> b = {0.0, 0.0};
  std::array<double, 2> rest{};
  lasso_sweep(problem, 3.0, mask, b, rest);
  EXPECT_EQ(b, (std::array{1.0, 0.0}));
  EXPECT_EQ(mask, (std::array{true, false}));
  // A column outside the mask stays out, its coefficient too.
  b = {0.0, 9.0};
  mask = {true, false};
  lasso_sweep(problem, 0.5, mask, b, rest);
  EXPECT_EQ(b, (std::array{3.5, 9.0}));
}

TEST(StrongColumns, compare_the_sum_itself) {
  const std::array<double, 4> x = {1, 1, 1, -1};
  const std::array<double, 2> z = {6, 2};  // sums 8 and 4
  const LassoProblem problem{{x.data(), 2, 2, 2}, z};
  const std::array<double, 2> b = {1.0, 1.0};
  std::array<bool, 2> strong{};
  std::array<double, 2> rest{};
  EXPECT_TRUE(find_strong_columns(problem, 4.0, std::array{false, false}, b, strong, rest));
  EXPECT_EQ(strong, (std::array{true, false}));
  EXPECT_TRUE(find_strong_columns(problem, 3.9, std::array{true, false}, b, strong, rest));
  EXPECT_EQ(strong, (std::array{true, true}));  // 8 - 2 and 4
  EXPECT_FALSE(find_strong_columns(problem, 8.0, std::array{false, false}, b, strong, rest));
}

// --- folds --------------------------------------------------------------------------------------

struct FoldCase {
  std::string_view name;
  int folds;
  std::vector<int> drawn;
  std::vector<int> evened;
};

void PrintTo(const FoldCase& row, std::ostream* out) {
  *out << row.name;
}

class Folds : public testing::TestWithParam<FoldCase> {};

TEST_P(Folds, are_evened) {
  std::vector<int> folds = GetParam().drawn;
  even_folds(folds, GetParam().folds);
  EXPECT_EQ(folds, GetParam().evened);
}

// A share that divides evenly is both shares: a donor then gives even from a full fold, and takes
// what it lacks from a later one.
INSTANTIATE_TEST_SUITE_P(
    Rows, Folds,
    testing::Values(FoldCase{"even", 2, {0, 1, 1, 0}, {0, 1, 1, 0}},
                    FoldCase{"one_over_is_even", 2, {0, 1, 1, 0, 1}, {0, 1, 1, 0, 1}},
                    FoldCase{"first_row_moves", 2, {0, 1, 0, 0}, {1, 1, 0, 0}},
                    FoldCase{"uneven_share", 3, {1, 0, 1, 1, 2, 2, 2}, {0, 0, 1, 1, 2, 2, 2}},
                    FoldCase{"two_take_from_one", 3, {0, 0, 0, 0, 0, 1}, {1, 2, 2, 0, 0, 1}},
                    FoldCase{"full_fold_gives", 3, {2, 1, 2, 2, 1, 2}, {0, 0, 1, 2, 1, 2}},
                    FoldCase{
                        "donors_in_turn", 4, {1, 1, 1, 2, 2, 2, 3, 3}, {0, 0, 1, 1, 2, 2, 3, 3}}),
    RowName());

TEST(Folds, grow_to_the_lower_share_at_most) {
  for (std::uint64_t seed = 1; seed <= 300; ++seed) {
    Random random(seed);
    const int folds = random.whole(2, 7);
    std::vector<int> drawn(static_cast<std::size_t>(random.whole(folds, 40)));
    for (int& fold : drawn) fold = random.whole(0, folds - 1);
    std::vector<int> evened = drawn;
    even_folds(evened, folds);
    const auto share = static_cast<long>(drawn.size()) / folds;
    for (int f = 0; f < folds; ++f) {
      const long before = std::count(drawn.begin(), drawn.end(), f);
      EXPECT_LE(std::count(evened.begin(), evened.end(), f), std::max(before, share));
      // The first fold has every other one to take from.
      if (f == 0 && before < share) {
        EXPECT_EQ(std::count(evened.begin(), evened.end(), f), share);
      }
    }
  }
}

TEST(Folds, draw_one_number_a_row) {
  for (const int points : {9, 10, 23}) {
    Random random(static_cast<std::uint64_t>(points));
    SmallProblem problem = random_problem(random, 2, points);
    problem.options = "screener 1\nseed 77\nncvf 5\n";
    SmallRun run(problem.text());
    std::int64_t state = 77;
    const int folds = points < 10 ? 2 : 5;
    std::vector<int> drawn;
    for (int i = 0; i < points; ++i) {
      state = state * 65539 % (std::int64_t{1} << 31);
      const double u = static_cast<double>(state) / 2147483648.0;
      drawn.push_back(std::max(1, static_cast<int>(std::ceil(u * folds))) - 1);
    }
    EXPECT_EQ(run.state().randstate, state);
    even_folds(drawn, folds);
    for (int i = 0; i < points; ++i) {
      for (int f = 0; f < 5; ++f) {
        EXPECT_EQ(run.state().points.foldof(i, f), f == drawn[static_cast<std::size_t>(i)]);
      }
    }
  }
}

TEST(Folds, are_not_drawn_for_sure_independence) {
  Random random(5);
  SmallProblem problem = random_problem(random, 2, 12);
  problem.options = "screener 2\n";
  EXPECT_EQ(SmallRun(problem.text()).state().randstate, 0);
}

}  // namespace
}  // namespace torve::test
