// Models that the program itself built from data of two to eight inputs: least and largest values
// over the box against a random search of a million points, which never beats a proven bound.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "box_formulas.h"
#include "mirsolve/run/solvers.h"
#include "support/random.h"
#include "support/small_problem.h"

namespace mirsolve::test {
namespace {

using torve::Column;
using torve::Family;
using torve::test::Random;
using torve::test::SmallProblem;
using torve::test::SmallRun;

#if defined(__SANITIZE_ADDRESS__)
constexpr int trials = 20'000;
#else
constexpr int trials = 1'000'000;
#endif
constexpr double lowest = 1.0;
constexpr double highest = 3.0;

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

// Waves over a rising surface, with noise, so that models have many terms that oppose each other.
SmallProblem problem_of(int inputs) {
  Random random(static_cast<std::uint64_t>(inputs));
  SmallProblem problem;
  for (int i = 0; i < 30 + 20 * inputs; ++i) {
    std::vector<double> x(at(inputs));
    double z = random.normal();
    for (int d = 0; d < inputs; ++d) {
      x[at(d)] = random.real(lowest, highest);
      z += 10.0 / (d + 1) * std::sin(2.0 * x[at(d)]) + 3.0 * x[at(d)] * x[at((d + 1) / 2)];
    }
    problem.x.push_back(std::move(x));
    problem.z.push_back({z});
  }
  problem.xmin.assign(at(inputs), lowest);
  problem.xmax.assign(at(inputs), highest);
  problem.options =
      "modeler 3\nmaxterms 5\nlogfcns 1\nexpfcns 1\nsinfcns 1\nmulti2power 2\nenumall 0\nenum1 "
      "-1\n";
  return problem;
}

// Numbers and terms of formulas alike.
template <class Value>
Value value_of(const Column& column, std::span<const Value> x) {
  using std::exp;
  using std::log;
  using std::pow;
  using std::sin;
  const Value& a = x[at(column.inputs[0])];
  const Value& b = x[at(column.inputs[1])];
  switch (column.family) {
    case Family::logarithm:
      return log(a);
    case Family::exponential:
      return exp(a);
    case Family::sine:
      return sin(a);
    case Family::monomial:
      return pow(a, column.power);
    case Family::pair:
      return pow(a * b, column.power);
    case Family::ratio:
      return pow(a / b, column.power);
    case Family::constant:
      return pow(a, 0.0);
    default:
      return a;
  }
}

struct Part {
  Column column;
  double factor;
};

template <class Value>
Value model_at(const std::vector<Part>& model, double sign, std::span<const Value> x) {
  Value sum = (sign * model[0].factor) * value_of(model[0].column, x);
  for (std::size_t i = 1; i < model.size(); ++i) {
    sum = sum + (sign * model[i].factor) * value_of(model[i].column, x);
  }
  return sum;
}

std::vector<Part> built_model(int inputs) {
  SmallRun run(problem_of(inputs).text());
  EXPECT_TRUE(run.ended_normally()) << run.screen();
  std::vector<Part> model;
  const std::vector<bool> chosen = run.chosen(0);
  for (std::size_t j = 0; j < chosen.size(); ++j) {
    if (chosen[j]) model.push_back({run.state().basis.columns[j], run.beta(0)[j]});
  }
  return model;
}

double least_of_many(const std::vector<Part>& model, double sign, int inputs) {
  Random random(99);
  std::vector<double> x(at(inputs));
  double least = infinite;
  for (int trial = 0; trial < trials; ++trial) {
    for (double& value : x) {
      value = random.real(lowest, highest);
      if (random.chance(0.3)) value = random.chance(0.5) ? lowest : highest;
    }
    least = std::min(least, model_at<double>(model, sign, x));
  }
  return least;
}

class BoxBuilt : public testing::TestWithParam<int> {};

TEST_P(BoxBuilt, NoPointBeatsTheBound) {
  const int inputs = GetParam();
  const std::vector<Part> model = built_model(inputs);
  ASSERT_GE(model.size(), 4U);
  for (const double sign : {1.0, -1.0}) {
    SCOPED_TRACE(sign);
    Problem problem =
        box_problem(Sides(at(inputs), {lowest, highest}),
                    [&](std::span<const Term> x) { return model_at<Term>(model, sign, x); });
    problem.options.relative_gap = 0.001;
    const auto answer = solve_box(problem, Deadline(60.0));
    ASSERT_TRUE(answer);
    ASSERT_EQ(answer->status, Status::proven);
    const double size = 1.0 + std::abs(answer->objective);
    EXPECT_LE(answer->objective - answer->bound, 0.0011 * size);
    const std::vector<double> x(answer->points.at(0).begin() + 1, answer->points.at(0).end());
    EXPECT_NEAR(model_at<double>(model, sign, x), answer->objective, 1e-9 * size);
    EXPECT_GE(least_of_many(model, sign, inputs), answer->bound - 1e-9 * size);
  }
}

INSTANTIATE_TEST_SUITE_P(Inputs, BoxBuilt, testing::Range(2, 9), testing::PrintToStringParamName());

}  // namespace
}  // namespace mirsolve::test
