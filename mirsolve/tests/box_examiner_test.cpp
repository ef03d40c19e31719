// A look at a box against points in it: what is dropped, cut off or left to an end of a side never
// costs a point that matters.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "box_models.h"
#include "mirsolve/box/examiner.h"

namespace mirsolve::test {
namespace {

using box::Box;
using box::Interval;
using torve::test::Random;

struct Tally {
  int gone = 0;
  int cut = 0;
  int fixed = 0;
  int bounded = 0;  // by more than the values over the box tell
};

struct Case {
  Problem problem;
  box::Formula formula;
  std::vector<Interval> sides;
};

Case case_of(const Model& model) {
  Problem problem = model.problem();
  const std::span<const NodeId> terms = problem.graph.operands(problem.statements[0].left);
  const std::vector<std::pair<double, NodeId>> sum{{1.0, terms[1]}};
  std::vector<int> inputs;
  std::vector<Interval> sides;
  for (std::size_t i = 0; i < model.sides.size(); ++i) {
    inputs.push_back(static_cast<int>(i) + 1);
    sides.emplace_back(model.sides[i].first, model.sides[i].second);
  }
  box::Formula formula(problem.graph, sum, inputs);
  return {std::move(problem), std::move(formula), std::move(sides)};
}

Box random_box(Random& random, std::span<const Interval> whole) {
  Box box;
  const double part = std::pow(10.0, random.real(-3.0, 0.0));
  for (const Interval& side : whole) {
    const double length = part * (side.upper() - side.lower());
    const double low = random.real(side.lower(), side.upper() - length);
    box.sides.emplace_back(low, std::min(side.upper(), low + length));
  }
  return box;
}

std::vector<double> nearest_in(const Box& box, std::vector<double> x) {
  for (std::size_t i = 0; i < x.size(); ++i) {
    x[i] = std::clamp(x[i], box.sides[i].lower(), box.sides[i].upper());
  }
  return x;
}

void examine_one(const Model& model, const Case& known, Random& random, Tally& tally) {
  const Box original = random_box(random, known.sides);
  Sides ranges;
  for (const Interval& side : original.sides) ranges.emplace_back(side.lower(), side.upper());
  std::vector<std::vector<double>> samples;
  std::vector<double> values;
  for (int i = 0; i < 60; ++i) {
    samples.push_back(random_point(random, ranges));
    values.push_back(model.value(samples.back()));
  }
  const auto [least, greatest] = std::ranges::minmax(values);
  box::Wanted wanted;
  wanted.most = random.real(least - 0.5 * (greatest - least), greatest);
  wanted.relative_gap = 1e-6;
  box::Points points(wanted, known.sides);
  const Deadline deadline(10.0);
  box::Examiner examiner(known.formula, known.sides, deadline);
  Box box = original;
  const bool matters = examiner.examine(box, points, -box::infinity);
  const double size = std::ranges::max(model.factors, {}, [](double f) { return std::abs(f); });
  const double rounding = 1e-12 * std::abs(size);
  tally.gone += matters ? 0 : 1;
  for (std::size_t i = 0; i < box.sides.size(); ++i) {
    tally.fixed += box::is_point(box.sides[i]) ? 1 : 0;
    tally.cut +=
        !box::is_point(box.sides[i]) && box::width(box.sides[i]) < box::width(original.sides[i])
            ? 1
            : 0;
  }
  tally.bounded += box.bound > least - 0.1 * (greatest - least) ? 1 : 0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (values[i] > points.limit()) continue;
    EXPECT_TRUE(matters) << values[i] << " is of interest below " << points.limit();
    EXPECT_LE(box.bound, values[i] + rounding);
    EXPECT_LE(model.value(nearest_in(box, samples[i])), values[i] + rounding);
  }
}

class BoxExaminer : public testing::TestWithParam<int> {};

TEST_P(BoxExaminer, KeepsWhatMatters) {
  Tally tally;
  Random random(21);
  for (std::uint64_t seed = 31; seed < 36; ++seed) {
    const Model model = random_model(seed, GetParam(), 10, true);
    const Case known = case_of(model);
    for (int i = 0; i < 200; ++i) examine_one(model, known, random, tally);
  }
  // All of it happens.
  EXPECT_GT(tally.gone, 20);
  EXPECT_GT(tally.cut, 5);
  EXPECT_GT(tally.fixed, 20);
  EXPECT_GT(tally.bounded, 10);
}

INSTANTIATE_TEST_SUITE_P(Inputs, BoxExaminer, testing::Values(2, 3, 4, 6),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace mirsolve::test
