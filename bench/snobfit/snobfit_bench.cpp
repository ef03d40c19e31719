// Evaluations that SNOBFIT needs until a value is within 1 percent of the known lowest one, over
// test functions and seeds. Prints the table of docs/snobfit.md.
//
//   snobfit_bench [seeds [text]]     10 seeds unless given; functions whose name holds the text
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "adaptive/snobfit/snobfit.h"
#include "snobfit/test_functions.h"
#include "system/machine.h"

namespace {

using torve::at;
using torve::MATRIX;
using torve::VECTOR;
using torve::bench::TestFunction;

constexpr int most_evaluations = 3000;
constexpr double accuracy = 0.01;    // relative to the lowest value
constexpr double resolution = 1e-5;  // in sides of the box
constexpr double probability = 0.5;  // of a point in a large box
constexpr double uncertainty = 0.0;  // unknown
constexpr int classes = 5;

struct Outcome {
  int evaluations = 0;
  bool reached = false;
  std::array<int, classes> points = {};  // requested, by class
};

VECTOR as_vector(const std::vector<double>& values) {
  VECTOR vector;
  for (const double value : values) vector.push_back(value);
  return vector;
}

MATRIX random_points(const TestFunction& function, int count, unsigned seed) {
  std::mt19937 engine(seed);
  const int n = static_cast<int>(function.lower.size());
  MATRIX x(count, n);
  for (int k = 0; k < count; ++k) {
    for (int i = 0; i < n; ++i) {
      const double share = static_cast<double>(engine()) / 4294967296.0;
      x(k, i) = function.lower[at(i)] + share * (function.upper[at(i)] - function.lower[at(i)]);
    }
  }
  return x;
}

bool is_reached(const TestFunction& function, double value) {
  return std::abs(value - function.minimum) <= accuracy * std::abs(function.minimum);
}

// The values of the points up to the first that is good enough.
MATRIX evaluate(const TestFunction& function, const MATRIX& x, Outcome& outcome) {
  MATRIX f(x.rows(), 2);
  for (int k = 0; k < x.rows(); ++k) {
    const VECTOR point = x.row(k);
    f(k, 0) = function.value(point.span());
    f(k, 1) = uncertainty;
    if (!outcome.reached) ++outcome.evaluations;
    outcome.reached |= is_reached(function, f(k, 0));
  }
  return f;
}

Outcome run(const TestFunction& function, int seed, const std::string& file) {
  const int n = static_cast<int>(function.lower.size());
  torve::Messages messages;
  torve::PARAMETERS parameters;
  torve::create_parameters(parameters, as_vector(function.lower), as_vector(function.upper), n + 6,
                           probability, seed, messages);
  VECTOR dx(n);
  for (int i = 0; i < n; ++i) dx(i) = resolution * (parameters.v(i) - parameters.u(i));
  Outcome outcome;
  MATRIX x = random_points(function, n + 6, static_cast<unsigned>(seed));
  MATRIX f = evaluate(function, x, outcome);
  bool first = true;
  while (!outcome.reached && outcome.evaluations < most_evaluations) {
    torve::SnobfitResult result;
    if (!torve::snobfit(file, x, f, parameters, dx, first, result, messages)) break;
    first = false;
    x = MATRIX(result.request.rows(), n);
    for (int k = 0; k < x.rows(); ++k) {
      for (int i = 0; i < n; ++i) x(k, i) = result.request(k, i);
      ++outcome.points[at(static_cast<int>(result.request(k, n + 1)) - 1)];
    }
    if (x.rows() == 0) break;
    f = evaluate(function, x, outcome);
  }
  for (const std::string& line : messages.lines) fmt::print(stderr, "{}\n", line);
  return outcome;
}

double median(std::vector<int> values) {
  if (values.empty()) return 0.0;
  std::ranges::sort(values);
  const std::size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : 0.5 * (values[half - 1] + values[half]);
}

// A failure counts as the largest number of evaluations.
void print_row(const TestFunction& function, const std::vector<Outcome>& outcomes) {
  std::vector<int> evaluations;
  std::array<int, classes> points = {};
  int failures = 0;
  for (const Outcome& outcome : outcomes) {
    evaluations.push_back(outcome.reached ? outcome.evaluations : most_evaluations);
    failures += outcome.reached ? 0 : 1;
    for (std::size_t k = 0; k < classes; ++k) points[k] += outcome.points[k];
  }
  fmt::print("| {:15} | {} | {:6.1f} | {:4} | {:4} | {:8} | {:5} | {:5} | {:5} | {:5} | {:5} |\n",
             function.name, function.lower.size(), median(evaluations),
             *std::ranges::min_element(evaluations), *std::ranges::max_element(evaluations),
             failures, points[0], points[1], points[2], points[3], points[4]);
}

}  // namespace

int main(int argc, char** argv) {
  torve::use_one_algebra_thread();
  const int seeds = argc > 1 ? std::max(std::atoi(argv[1]), 1) : 10;
  const std::string_view text = argc > 2 ? argv[2] : "";
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  const std::string file =
      (folder / fmt::format("snobfit_bench.{}", std::random_device{}())).string();
  fmt::print(
      "| function        | n | median | min  | max  | failures "
      "| cl. 1 | cl. 2 | cl. 3 | cl. 4 | cl. 5 |\n");
  fmt::print(
      "|-----------------|---|--------|------|------|----------"
      "|-------|-------|-------|-------|-------|\n");
  for (const TestFunction& function : torve::bench::test_functions()) {
    if (std::string_view(function.name).find(text) == std::string_view::npos) continue;
    std::vector<Outcome> outcomes;
    for (int seed = 1; seed <= seeds; ++seed) outcomes.push_back(run(function, seed, file));
    print_row(function, outcomes);
  }
  std::filesystem::remove(file, error);
  return 0;
}
