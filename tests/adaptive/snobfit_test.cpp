// SNOBFIT as a whole: requests, sequences of requests, refusals. The routines one by one are in
// snobfit_routines_test.cpp, the state file in snobfit_state_test.cpp.
#include "adaptive/snobfit/snobfit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "../../bench/snobfit/test_functions.h"
#include "../support/rows.h"
#include "adaptive/snobfit/grid.h"
#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/state.h"
#include "snobfit_support.h"

namespace torve::test {
namespace {

namespace fs = std::filesystem;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

// ---- refusals -----------------------------------------------------------------------------------

// A call that is right in every respect.
struct Call {
  MATRIX x = {{0.1, 0.2}, {0.7, 0.4}};
  MATRIX f = {{1.0, 0.1}, {2.0, 0.1}};
  PARAMETERS parameters{{0.0, 0.0}, {1.0, 1.0}, 3, 0.5, 1, true};
  VECTOR dx = {0.01, 0.01};
  bool first = true;
  SnobfitResult result;
};

struct RefusalRow {
  const char* name;
  void (*spoil)(Call& call);
  const char* message;  // behind "snobfit: "
};

class Refusals : public testing::TestWithParam<RefusalRow> {};

TEST_P(Refusals, have_a_message_and_leave_no_file) {
  const Folder folder;
  Call call;
  GetParam().spoil(call);
  Messages messages;
  EXPECT_FALSE(snobfit(folder.file("state"), call.x, call.f, call.parameters, call.dx, call.first,
                       call.result, messages));
  EXPECT_TRUE(messages.failed);
  ASSERT_EQ(messages.lines.size(), 1u);
  EXPECT_EQ(messages.lines[0], std::string("snobfit: ") + GetParam().message);
  EXPECT_TRUE(fs::is_empty(folder.path));
}

constexpr const char* not_positive = "dx should only contain positive entries!";
constexpr const char* no_box = "condition u(i) < v(i) is violated!";
constexpr const char* u_and_v = "dimensions of u and v in the params data do not match!";
constexpr const char* not_finite = "x should only contain finite entries!";

INSTANTIATE_TEST_SUITE_P(
    Rows, Refusals,
    testing::Values(
        RefusalRow{"zero_dx", [](Call& c) { c.dx(1) = 0.0; }, not_positive},
        RefusalRow{"negative_dx", [](Call& c) { c.dx(0) = -1.0; }, not_positive},
        RefusalRow{"dx_nan", [](Call& c) { c.dx(0) = nan; }, not_positive},
        RefusalRow{"dx_infinite", [](Call& c) { c.dx(0) = infinity; }, not_positive},
        RefusalRow{"no_dx", [](Call& c) { c.dx = {}; },
                   "dimension of dx does not match to the params data!"},
        RefusalRow{"long_dx", [](Call& c) { c.dx.push_back(1.0); },
                   "dimension of dx does not match to the params data!"},
        RefusalRow{"equal_bounds", [](Call& c) { c.parameters.u(1) = 1.0; }, no_box},
        RefusalRow{"crossed_bounds", [](Call& c) { c.parameters.u(0) = 2.0; }, no_box},
        RefusalRow{"bound_nan", [](Call& c) { c.parameters.v(0) = nan; }, no_box},
        RefusalRow{"bound_infinite", [](Call& c) { c.parameters.v(0) = infinity; }, no_box},
        RefusalRow{"u_and_v", [](Call& c) { c.parameters.v.push_back(1.0); }, u_and_v},
        RefusalRow{"no_inputs", [](Call& c) { c.parameters.u = c.parameters.v = {}; }, u_and_v},
        RefusalRow{"negative_nreq", [](Call& c) { c.parameters.nreq = -1; },
                   "nreq must not be negative!"},
        RefusalRow{"p_above_1", [](Call& c) { c.parameters.p = 1.5; },
                   "p must lie between 0 and 1!"},
        RefusalRow{"p_nan", [](Call& c) { c.parameters.p = nan; }, "p must lie between 0 and 1!"},
        RefusalRow{"columns_of_x", [](Call& c) { c.x = MATRIX(2, 3); },
                   "second dimension of x is not n!"},
        RefusalRow{"columns_of_f", [](Call& c) { c.f = MATRIX(2, 1); },
                   "second dimension of f is not 2!"},
        RefusalRow{"rows", [](Call& c) { c.f = MATRIX(1, 2); },
                   "first dimension of x and f do not match!"},
        RefusalRow{"x_nan", [](Call& c) { c.x(0, 0) = nan; }, not_finite},
        RefusalRow{"x_infinite", [](Call& c) { c.x(1, 1) = -infinity; }, not_finite},
        RefusalRow{"xbest", [](Call& c) { c.result.xbest = VECTOR(3); },
                   "dimension of xbest is not n!"},
        RefusalRow{"request", [](Call& c) { c.result.request = MATRIX(2, 3); },
                   "dimensions of request do not match the params data!"}),
    RowName());

TEST(Refusals, name_a_file_that_is_missing) {
  const Folder folder;
  const std::string file = folder.file("state");
  Call call;
  Messages messages;
  ASSERT_TRUE(snobfit(file, call.x, call.f, call.parameters, call.dx, true, call.result, messages));
  ASSERT_TRUE(fs::remove(file));
  EXPECT_FALSE(snobfit(file, {}, {}, call.parameters, {}, false, call.result, messages));
  EXPECT_EQ(messages.lines.back(), "snobfit: file " + file + " does not exist as expected!");
  EXPECT_TRUE(fs::is_empty(folder.path));
}

TEST(Refusals, leave_the_old_file_as_it_was) {
  const Folder folder;
  const std::string file = folder.file("state");
  Call call;
  Messages messages;
  ASSERT_TRUE(snobfit(file, call.x, call.f, call.parameters, call.dx, true, call.result, messages));
  const std::string before = bytes_of(file);
  call.x(0, 0) = nan;
  EXPECT_FALSE(snobfit(file, call.x, call.f, call.parameters, {}, false, call.result, messages));
  EXPECT_EQ(bytes_of(file), before);
}

TEST(Parameters, are_created_once) {
  PARAMETERS parameters;
  Messages messages;
  EXPECT_TRUE(create_parameters(parameters, {0.0}, {1.0}, 5, 0.3, 7, messages));
  EXPECT_EQ(parameters.nreq, 5);
  EXPECT_EQ(parameters.p, 0.3);
  EXPECT_EQ(parameters.seed, 7);
  EXPECT_FALSE(create_parameters(parameters, {0.0}, {2.0}, 5, 0.5, 1, messages));
  EXPECT_EQ(messages.lines.back(), "create_parameters: (u,v) are already created!");
  EXPECT_EQ(parameters.v(0), 1.0);
}

// ---- odd sets of points -------------------------------------------------------------------------

struct PointsRow {
  const char* name;
  int n;
  int points;
  int nreq;
  double (*coordinate)(int point, int input, double share);  // share: random in [0, 1)
  double lower = 0.0, upper = 1.0;
  double resolution = 1e-4;  // of the box
};

std::ostream& operator<<(std::ostream& out, const PointsRow& row) {
  return out << row.name;
}

double anywhere(int, int, double share) {
  return share;
}

class OddPoints : public testing::TestWithParam<PointsRow> {};

TEST_P(OddPoints, give_requests_all_the_same) {
  const PointsRow& row = GetParam();
  Problem problem(row.n, row.lower, row.upper, row.resolution, row.nreq);
  std::mt19937 engine(17);
  MATRIX x(row.points, row.n);
  MATRIX f(row.points, 2);
  for (int j = 0; j < row.points; ++j) {
    for (int i = 0; i < row.n; ++i) {
      x(j, i) = row.coordinate(j, i, static_cast<double>(engine()) / 4294967296.0);
      f(j, 0) += x(j, i) * x(j, i);
    }
  }
  MATRIX known = x;
  for (int call = 0; call < 3; ++call) {
    ASSERT_TRUE(problem.ask(x, f)) << problem.text();
    const MATRIX& request = problem.result.request;
    EXPECT_EQ(request.rows(), row.nreq);
    EXPECT_EQ(problem.text(), "");
    expect_good_points(problem, known);
    x = problem.points();
    f = MATRIX(x.rows(), 2);
    for (int j = 0; j < x.rows(); ++j) {
      f(j, 0) = x(j, 0);
      known.append_row(x.row(j));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OddPoints,
    testing::Values(
        PointsRow{"none", 2, 0, 8, anywhere}, PointsRow{"one", 2, 1, 8, anywhere},
        PointsRow{"two", 3, 2, 8, anywhere}, PointsRow{"just_too_few", 4, 9, 10, anywhere},
        PointsRow{"just_enough", 4, 10, 10, anywhere}, PointsRow{"one_input", 1, 12, 7, anywhere},
        PointsRow{"all_equal", 3, 20, 9, [](int, int, double) { return 0.3; }},
        PointsRow{"on_the_bounds", 2, 30, 8,
                  [](int, int, double share) { return share < 0.5 ? 0.0 : 1.0; }},
        PointsRow{"collinear", 3, 30, 9, [](int j, int, double) { return j / 29.0; }},
        PointsRow{"in_a_plane", 3, 30, 9,
                  [](int, int i, double share) { return i == 2 ? 0.5 : share; }},
        PointsRow{"outside_the_box", 2, 20, 8,
                  [](int, int, double share) { return 4 * share - 2; }},
        PointsRow{"all_outside", 2, 20, 8, [](int, int, double share) { return 2.0 + share; }},
        PointsRow{"neighbours_in_floating_point", 2, 20, 8,
                  [](int j, int, double) { return 0.5 * (1.0 + j * 2.3e-16); }},
        PointsRow{"far_from_zero", 2, 20, 8, [](int, int, double share) { return 1e9 + share; },
                  1e9, 1e9 + 1.0},
        PointsRow{"tiny_box", 2, 20, 8, [](int, int, double share) { return 1e-200 * share; }, 0.0,
                  1e-200},
        PointsRow{"huge_box", 2, 20, 8, [](int, int, double share) { return 1e150 * share; },
                  -1e150, 1e150},
        PointsRow{"coarse_grid", 2, 10, 20, anywhere, 0.0, 1.0, 0.1},
        PointsRow{"fine_grid", 2, 20, 8, anywhere, 0.0, 1.0, 1e-300},
        PointsRow{"forty_inputs", 40, 60, 46, anywhere},
        PointsRow{"many_requests", 2, 10, 300, anywhere},
        PointsRow{"thousand_points", 5, 1000, 11, anywhere},
        PointsRow{"no_request", 2, 10, 0, anywhere}),
    RowName());

TEST(ManyPoints, take_a_moment) {
  Problem problem(10, 0.0, 1.0, 1e-4, 16);
  const MATRIX x = random_points(3000, 10, 3);
  MATRIX f(x.rows(), 2);
  for (int j = 0; j < x.rows(); ++j) f(j, 0) = std::sin(7.0 * x(j, 0)) + x(j, 5) * x(j, 9);
  ASSERT_TRUE(problem.ask(x, f)) << problem.text();
  EXPECT_EQ(problem.result.request.rows(), 16);
  expect_good_points(problem, x);
}

TEST(Requests, that_the_grid_cannot_fill_have_a_warning) {
  Problem problem(1, 0.0, 1.0, 0.25, 10);
  ASSERT_TRUE(problem.ask({{0.5}}, {{1.0, 0.0}}));
  EXPECT_EQ(problem.result.request.rows(), 4);
  EXPECT_EQ(problem.text(),
            "snobfit: the algorithm was not able to generate the desired number of points\n"
            "snobfit: change the search region or refine dx\n");
  ASSERT_TRUE(problem.ask(problem.points(), MATRIX(4, 2)));
  EXPECT_EQ(problem.result.request.rows(), 0);
}

// The multiples of 0.3 in [0.1, 1] are 0.3, 0.6 and 0.9.
TEST(Requests, lie_on_multiples_of_the_resolution) {
  Problem problem(1, 0.1, 1.0, 0.3 / 0.9, 3);
  ASSERT_TRUE(problem.ask(MATRIX(), MATRIX()));
  std::set<long> multiples;
  for (int k = 0; k < 3; ++k) multiples.insert(std::lround(problem.result.request(k, 0) / 0.1));
  EXPECT_EQ(multiples, (std::set<long>{3, 6, 9}));
}

// ---- data ---------------------------------------------------------------------------------------

TEST(Data, given_twice_is_averaged) {
  Problem problem(1, 0.0, 1.0, 1e-3, 2);
  ASSERT_TRUE(problem.ask({{0.2}, {0.6}, {0.2}}, {{1.0, 0.3}, {5.0, 0.1}, {3.0, 0.4}}));
  ASSERT_TRUE(problem.ask({{0.2}}, {{2.0, 0.5}}));
  const SnobfitState state = problem.load();
  ASSERT_EQ(state.points(), 2);
  EXPECT_EQ(state.np, (std::vector<int>{3, 1}));
  EXPECT_DOUBLE_EQ(state.f(0, 0), 2.0);
  EXPECT_DOUBLE_EQ(state.t(0), 2.0);
  EXPECT_DOUBLE_EQ(state.f(0, 1), std::sqrt((0.09 + 0.16 + 0.25 + 2.0) / 3.0));
  EXPECT_EQ(problem.result.fbest, state.f(0, 0));
}

TEST(Data, given_again_unchanged_changes_only_the_count) {
  Problem problem(2, 0.0, 1.0, 1e-3, 8);
  const MATRIX x = random_points(30, 2, 5);
  MATRIX f(30, 2, 0.01);
  for (int j = 0; j < 30; ++j) f(j, 0) = bench::branin(x.row(j).span());
  ASSERT_TRUE(problem.ask(x, f));
  const SnobfitState before = problem.load();
  ASSERT_TRUE(problem.ask(x, f));
  const SnobfitState after = problem.load();
  EXPECT_EQ(after.np, std::vector<int>(30, 2));
  for (int j = 0; j < 30; ++j) {
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(after.f(j, i), before.f(j, i));
      EXPECT_EQ(after.y(j, i), before.y(j, i));
    }
  }
}

TEST(Data, of_unknown_uncertainty_gets_a_small_one) {
  Problem problem(1, 0.0, 1.0, 1e-3, 1);
  ASSERT_TRUE(problem.ask({{0.1}, {0.2}, {0.3}}, {{1.0, 0.0}, {1.0, -1.0}, {1.0, nan}}));
  for (int j = 0; j < 3; ++j) {
    EXPECT_EQ(problem.load().f(j, 1), std::sqrt(machine_epsilon));
  }
}

TEST(Data, without_value_is_kept_apart_until_there_is_one) {
  Problem problem(1, 0.0, 1.0, 1e-3, 2);
  ASSERT_TRUE(problem.ask({{0.1}, {0.5}, {0.9}}, {{nan, 0.1}, {2.0, 0.1}, {infinity, 0.1}}));
  EXPECT_EQ(problem.load().fnan, (std::vector<int>{0, 2}));
  EXPECT_EQ(problem.result.fbest, 2.0);
  ASSERT_TRUE(problem.ask({{0.9}, {0.5}}, {{-4.0, 0.1}, {nan, 0.1}}));
  EXPECT_EQ(problem.load().fnan, (std::vector<int>{0}));
  EXPECT_EQ(problem.result.fbest, -4.0);
  EXPECT_EQ(problem.result.xbest(0), 0.9);
}

TEST(Data, without_any_value_still_gives_requests) {
  Problem problem(2, 0.0, 1.0, 1e-3, 8);
  const MATRIX x = random_points(30, 2, 5);
  ASSERT_TRUE(problem.ask(x, MATRIX(30, 2, nan)));
  EXPECT_EQ(problem.result.request.rows(), 8);
  EXPECT_EQ(problem.result.xbest.size(), 0);
  EXPECT_EQ(problem.result.fbest, no_value);
  expect_good_points(problem, x);
}

TEST(Data, of_every_size_gives_finite_estimates) {
  Problem problem(2, 0.0, 1.0, 1e-3, 8);
  const MATRIX x = random_points(30, 2, 5);
  MATRIX f(30, 2, 1e-300);
  for (int j = 0; j < 30; ++j) f(j, 0) = (j % 2 == 0 ? 1.0 : -1.0) * std::pow(10.0, 10 * j);
  f(29, 0) = std::numeric_limits<double>::max();
  ASSERT_TRUE(problem.ask(x, f));
  expect_good_points(problem, x);
}

TEST(RequestBox, may_change_between_calls) {
  Problem problem(2, 0.0, 1.0, 1e-3, 8);
  const MATRIX x = random_points(30, 2, 5);
  MATRIX f(30, 2, 0.01);
  for (int j = 0; j < 30; ++j) f(j, 0) = bench::branin(x.row(j).span());
  MATRIX known = x;
  ASSERT_TRUE(problem.ask(x, f));
  struct Bounds {
    double u, v;
  };
  for (const Bounds bounds : {Bounds{0.4, 0.6}, Bounds{-1.0, 0.1}, Bounds{3.0, 4.0}}) {
    problem.parameters.u = VECTOR(2, bounds.u);
    problem.parameters.v = VECTOR(2, bounds.v);
    ASSERT_TRUE(problem.ask(MATRIX(), MATRIX())) << problem.text();
    EXPECT_EQ(problem.result.request.rows(), 8);
    expect_good_points(problem, known);
  }
  EXPECT_EQ(problem.load().u(0), -1.0);
  EXPECT_EQ(problem.load().v(0), 4.0);
}

// ---- searches -----------------------------------------------------------------------------------

using Noise = std::function<double(double value, int evaluation)>;

// All points of a search of `calls` requests, each checked; the best value is in problem.result.
MATRIX search(Problem& problem, const bench::TestFunction& function, int calls, const Noise& noise,
              std::set<int>& classes) {
  const int n = static_cast<int>(function.lower.size());
  int evaluations = 0;
  MATRIX known(0, n);
  MATRIX x = MATRIX();
  MATRIX f = MATRIX();
  for (int call = 0; call < calls; ++call) {
    if (!problem.ask(x, f)) {
      ADD_FAILURE() << problem.text();
      break;
    }
    expect_good_points(problem, known);
    x = problem.points();
    f = MATRIX(x.rows(), 2, 1e-3);
    for (int j = 0; j < x.rows(); ++j) {
      f(j, 0) = noise(function.value(x.row(j).span()), evaluations++);
      known.append_row(x.row(j));
      classes.insert(static_cast<int>(problem.result.request(j, n + 1)));
    }
  }
  return known;
}

double as_it_is(double value, int) {
  return value;
}

class Searches : public testing::TestWithParam<bench::TestFunction> {};

TEST_P(Searches, use_all_classes_and_improve) {
  const bench::TestFunction& function = GetParam();
  Problem problem(function);
  std::set<int> classes;
  search(problem, function, 25, as_it_is, classes);
  EXPECT_EQ(classes, (std::set<int>{1, 2, 3, 4, 5}));
  EXPECT_LT(problem.result.fbest, function.minimum + 0.8 * std::abs(function.minimum));
  EXPECT_GE(problem.result.fbest, function.minimum - 1e-6 * std::abs(function.minimum));
}

TEST_P(Searches, bear_noise) {
  Problem problem(GetParam());
  std::set<int> classes;
  search(
      problem, GetParam(), 10,
      [](double value, int k) { return value + 0.1 * std::sin(1000.0 * k); }, classes);
}

TEST_P(Searches, bear_points_without_value) {
  Problem problem(GetParam());
  std::set<int> classes;
  search(
      problem, GetParam(), 10, [](double value, int k) { return k % 3 == 0 ? nan : value; },
      classes);
  EXPECT_FALSE(problem.load().fnan.empty());
}

// The state goes through the file in each call; a file that was away for a while is as good.
TEST_P(Searches, are_repeatable_and_may_be_interrupted) {
  std::set<int> classes;
  Problem first(GetParam());
  Problem second(GetParam());
  const MATRIX expected = search(first, GetParam(), 8, as_it_is, classes);
  int call = 0;
  second.before_each = [&] {
    if (++call != 5) return;
    const std::string away = second.folder.file("away");
    fs::copy_file(second.file, away);
    fs::remove(second.file);
    fs::rename(away, second.file);
  };
  const MATRIX found = search(second, GetParam(), 8, as_it_is, classes);
  ASSERT_EQ(found.rows(), expected.rows());
  EXPECT_TRUE(
      std::equal(found.data(), found.data() + at(found.rows() * found.columns()), expected.data()));
  EXPECT_EQ(bytes_of(first.file), bytes_of(second.file));
}

INSTANTIATE_TEST_SUITE_P(Rows, Searches, testing::ValuesIn(bench::test_functions()),
                         [](const auto& row) {
                           std::string name = row.param.name;
                           std::erase_if(name, [](char c) { return c == ' ' || c == '-'; });
                           return name;
                         });

TEST(Searches, with_other_seeds_differ) {
  const bench::TestFunction function = bench::test_functions()[0];
  std::set<int> classes;
  Problem first(function);
  Problem second(function);
  second.parameters.seed = 2;
  const MATRIX a = search(first, function, 2, as_it_is, classes);
  const MATRIX b = search(second, function, 2, as_it_is, classes);
  EXPECT_FALSE(std::equal(a.data(), a.data() + at(a.rows()), b.data()));
}

TEST(Best, is_in_the_request_box_when_a_point_is) {
  Problem problem(1, 0.0, 1.0, 1e-3, 2);
  ASSERT_TRUE(problem.ask({{-3.0}, {0.5}, {2.0}}, {{1.0, 0.1}, {2.0, 0.1}, {3.0, 0.1}}));
  EXPECT_EQ(problem.result.fbest, 2.0);
  Problem outside(1, 0.0, 1.0, 1e-3, 2);
  ASSERT_TRUE(outside.ask({{-3.0}, {2.0}}, {{1.0, 0.1}, {3.0, 0.1}}));
  EXPECT_EQ(outside.result.fbest, 1.0);
}

}  // namespace
}  // namespace torve::test
