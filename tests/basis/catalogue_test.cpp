// Every column of a catalogue with all families: its place, its four texts, and its value.
#include "basis/catalogue.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/small_problem.h"

namespace torve::test {
namespace {

using Point = std::array<double, 3>;

// Distances of the points differ from 0 and 1; the last is nearer than 1 to the first.
constexpr std::array<Point, 4> points = {
    {{1, 2.5, 4}, {2, 0.5, 3}, {3, 1.5, 0.25}, {1.5, 2, 4.25}}};

// Three inputs with every family. Columns that can't be evaluated at a point stay, with `preset`.
std::string all_families(const std::string& options) {
  SmallProblem problem;
  for (const Point& point : points) {
    problem.x.emplace_back(point.begin(), point.end());
    problem.z.push_back({point[0] + point[1]});
  }
  problem.options =
      "logfcns 1\nexpfcns 1\nsinfcns 1\ncosfcns 1\nmonomialpower 2 -0.5\nmulti2power 2 1\n"
      "multi3power 0.5 -2\nratiopower -1.5 1\ngrbfcns 1\nprbfpower 2 3\nlinkernel 1\n"
      "ncustombas 2\nnumlimitbasis 0\nrbfparam 0.5\nmaxterms 1\nenum1 0\n" +
      options;
  problem.sections = "begin_custombas\nX1*X2+1\n  exp(X3)/X1\nend_custombas\n";
  return problem.text();
}

double distance(const Point& a, const Point& b) {
  double sum = 0.0;
  for (std::size_t j = 0; j < 3; ++j) sum += (a[j] - b[j]) * (a[j] - b[j]);
  return std::sqrt(sum);
}

double even_radial(double r, int k) {
  return r >= 1.0 ? std::pow(r, k) * std::log(r)
                  : (std::pow(r, k) - 1.0) * std::log(std::pow(r, r));
}

constexpr double preset = -111111.0;

// One column: its texts, and its value at a point u (scaled) that stands for x (as given).
struct ColumnRow {
  std::string label;
  std::string power;
  std::string model;
  std::function<double(const Point& u, const Point& x)> value;
};

// A function of one input.
void add_function(std::vector<ColumnRow>& rows, const std::string& name, const std::string& model,
                  const std::array<std::string, 3>& inputs, double (*f)(double)) {
  for (std::size_t j = 0; j < 3; ++j) {
    const std::string label = name + "(" + inputs[j] + ")";
    rows.push_back({label, label, model + "(" + inputs[j] + ")",
                    [f, j](const Point& u, const Point&) { return f(u[j]); }});
  }
}

// The texts of the base are those of the product or ratio with its scale, in brackets where the
// power needs them.
ColumnRow power_row(const std::string& bracketed, const std::string& text, const std::string& power,
                    std::function<double(const Point&)> of, double p) {
  return {bracketed + "**" + text, power.empty() ? bracketed + "**" + text : power,
          bracketed + "^" + text,
          [of = std::move(of), p](const Point& u, const Point&) { return std::pow(of(u), p); }};
}

// What differs with scaling: how an input, its products and its ratios are written.
struct Texts {
  std::array<std::string, 3> inputs;   // X1 or X1/2.
  std::array<std::string, 3> squared;  // bases of monomials, in brackets if scaled
  std::array<std::string, 3> pairs;    // 12, 13, 23, without brackets
  std::array<std::string, 3> plain_pairs;
  std::string triple;
  std::array<std::string, 6> ratios;  // 12 13 21 23 31 32, without brackets
  std::array<std::string, 6> plain_ratios;
  std::vector<Point> centres;
};

void add_powers(std::vector<ColumnRow>& rows, const Texts& texts) {
  const auto input = [](std::size_t j) { return [j](const Point& u) { return u[j]; }; };
  // The lists are sorted: -0.5 and 2, 1 and 2, -2 and 0.5, -1.5 and 1.
  for (std::size_t j = 0; j < 3; ++j) {
    rows.push_back(power_row(texts.squared[j], "-.5", fmt::format("1/({})**0.5", texts.inputs[j]),
                             input(j), -0.5));
  }
  for (std::size_t j = 0; j < 3; ++j) {
    rows.push_back(power_row(texts.squared[j], "2", fmt::format("power({},2)", texts.inputs[j]),
                             input(j), 2.0));
  }
  constexpr std::array<std::array<std::size_t, 2>, 3> pairs = {{{0, 1}, {0, 2}, {1, 2}}};
  const auto pair = [&](std::size_t q) {
    return [a = pairs[q][0], b = pairs[q][1]](const Point& u) { return u[a] * u[b]; };
  };
  for (std::size_t q = 0; q < 3; ++q) {
    // A power of one is never formed.
    rows.push_back({texts.plain_pairs[q], texts.plain_pairs[q], texts.plain_pairs[q],
                    [](const Point&, const Point&) { return preset; }});
  }
  for (std::size_t q = 0; q < 3; ++q) {
    rows.push_back(power_row("(" + texts.pairs[q] + ")", "2",
                             fmt::format("power({},2)", texts.pairs[q]), pair(q), 2.0));
  }
  const auto triple = [](const Point& u) { return u[0] * u[1] * u[2]; };
  rows.push_back(power_row("(" + texts.triple + ")", "-2",
                           fmt::format("power({},-2)", texts.triple), triple, -2.0));
  rows.push_back(power_row("(" + texts.triple + ")", "0.5", "", triple, 0.5));
  constexpr std::array<std::array<std::size_t, 2>, 6> ratios = {
      {{0, 1}, {0, 2}, {1, 0}, {1, 2}, {2, 0}, {2, 1}}};
  for (std::size_t q = 0; q < 6; ++q) {
    const auto [a, b] = ratios[q];
    rows.push_back(power_row(
        "(" + texts.ratios[q] + ")", "-1.5", fmt::format("1/({})**1.5", texts.ratios[q]),
        [a = a, b = b](const Point& u) { return u[a] / u[b]; }, -1.5));
  }
  for (std::size_t q = 0; q < 6; ++q) {
    rows.push_back({texts.plain_ratios[q], texts.plain_ratios[q], texts.plain_ratios[q],
                    [](const Point&, const Point&) { return preset; }});
  }
}

void add_radial(std::vector<ColumnRow>& rows, const Texts& texts) {
  const std::array<std::string, 4> squares = {
      "(X1-1)**2+(X2-2.5)**2+(X3-4)**2", "(X1-2)**2+(X2-0.5)**2+(X3-3)**2",
      "(X1-3)**2+(X2-1.5)**2+(X3-0.25)**2", "(X1-1.5)**2+(X2-2)**2+(X3-4.25)**2"};
  for (std::size_t c = 0; c < 4; ++c) {
    const std::string label = "exp ( -.5*( ( " + squares[c] + " )**0.5 ) )";
    std::string model = label;
    for (std::size_t at = model.find("**"); at != std::string::npos; at = model.find("**")) {
      model.replace(at, 2, "^");
    }
    rows.push_back({label, label, model, [centre = texts.centres[c]](const Point& u, const Point&) {
                      return std::exp(-0.5 * distance(u, centre));
                    }});
  }
  // The power's place in its list is its centre, whatever the text names.
  for (int c = 1; c <= 4; ++c) {
    rows.push_back({fmt::format("log(r(x,x{0}))*r( x,x{0})**2", c),
                    fmt::format("log(r(x,x{0}))*r( x,x{0})**2", c),
                    fmt::format("ln(r(x,x{0}))*r( x,x{0})^2", c),
                    [centre = texts.centres[0]](const Point& u, const Point&) {
                      return even_radial(distance(u, centre), 2);
                    }});
  }
  for (int c = 1; c <= 4; ++c) {
    rows.push_back({fmt::format("r( x,x{})**3", c), fmt::format("r( x,x{})**3", c),
                    fmt::format("r( x,x{})^3", c),
                    [centre = texts.centres[1]](const Point& u, const Point&) {
                      const double r = distance(u, centre);
                      return r == 0.0 ? preset : r * r * r;
                    }});
  }
  for (std::size_t c = 0; c < 4; ++c) {
    rows.push_back({"", "", "", [centre = texts.centres[c]](const Point& u, const Point&) {
                      return u[0] * centre[0] + u[1] * centre[1] + u[2] * centre[2];
                    }});
  }
}

std::vector<ColumnRow> expected_columns(const Texts& texts) {
  std::vector<ColumnRow> rows;
  for (std::size_t j = 0; j < 3; ++j) {
    const std::string& label = texts.inputs[j];
    rows.push_back({label, label, label, [j](const Point& u, const Point&) { return u[j]; }});
  }
  add_function(rows, "log", "ln", texts.inputs, [](double v) { return std::log(v); });
  add_function(rows, "exp", "exp", texts.inputs, [](double v) { return std::exp(v); });
  add_function(rows, "sin", "sin", texts.inputs, [](double v) { return std::sin(v); });
  add_function(rows, "cos", "cos", texts.inputs, [](double v) { return std::cos(v); });
  add_powers(rows, texts);
  add_radial(rows, texts);
  rows.push_back({"X1*X2+1", "X1*X2+1", "X1*X2+1",
                  [](const Point&, const Point& x) { return x[0] * x[1] + 1.0; }});
  rows.push_back({"exp(X3)/X1", "exp(X3)/X1", "exp(X3)/X1",
                  [](const Point&, const Point& x) { return std::exp(x[2]) / x[0]; }});
  rows.push_back({"1.00", "1.00", "1.00", [](const Point&, const Point&) { return 1.0; }});
  return rows;
}

Texts plain_texts() {
  Texts texts;
  texts.inputs = texts.squared = {"X1", "X2", "X3"};
  texts.pairs = texts.plain_pairs = {"X1*X2", "X1*X3", "X2*X3"};
  texts.triple = "X1*X2*X3";
  texts.ratios = texts.plain_ratios = {"X1/X2", "X1/X3", "X2/X1", "X2/X3", "X3/X1", "X3/X2"};
  texts.centres.assign(points.begin(), points.end());
  return texts;
}

// Factors 2, 4 and 2: the ratio of the first and the third input has none.
constexpr Point factors = {2, 4, 2};

Texts scaled_texts() {
  Texts texts;
  texts.inputs = {"X1/2.", "X2/4.", "X3/2."};
  texts.squared = {"(X1/2.)", "(X2/4.)", "(X3/2.)"};
  texts.pairs = {"X1*X2/8.", "X1*X3/4.", "X2*X3/8."};
  texts.plain_pairs = {"(X1*X2/8.)", "(X1*X3/4.)", "(X2*X3/8.)"};
  texts.triple = "X1*X2*X3/16.";
  texts.ratios = {"X1/X2/0.5", "X1/X3", "X2/X1/2.", "X2/X3/2.", "X3/X1", "X3/X2/0.5"};
  texts.plain_ratios = {"(X1/X2/0.5)", "X1/X3", "(X2/X1/2.)", "(X2/X3/2.)", "X3/X1", "(X3/X2/0.5)"};
  for (const Point& point : points) {
    texts.centres.push_back({point[0] / 2, point[1] / 4, point[2] / 2});
  }
  return texts;
}

std::string folded(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

std::string with_carets(std::string text) {
  for (std::size_t at = text.find("**"); at != std::string::npos; at = text.find("**")) {
    text.replace(at, 2, "^");
  }
  return text;
}

void expect_catalogue(SmallRun& run, const Texts& texts, const Point& scale) {
  ASSERT_TRUE(run.ended_normally()) << run.screen();
  Basis& basis = run.state().basis;
  const std::vector<ColumnRow> rows = expected_columns(texts);
  ASSERT_EQ(run.state().sizes.nbas, static_cast<int>(rows.size()));
  ASSERT_EQ(run.state().sizes.nbasm1, static_cast<int>(rows.size()) - 1);
  for (std::size_t j = 0; j < rows.size(); ++j) {
    SCOPED_TRACE(fmt::format("column {}: {}", j + 1, rows[j].label));
    EXPECT_EQ(basis.basislabel[j], rows[j].label);
    EXPECT_EQ(basis.basispower[j], folded(rows[j].power));
    EXPECT_EQ(basis.basismodel[j], rows[j].model);
    EXPECT_EQ(basis.basiscaret[j], with_carets(folded(rows[j].label)));
    EXPECT_EQ(basis.basisactive[j], !rows[j].label.empty());
    for (std::size_t i = 0; i < points.size(); ++i) {
      Point u{};
      for (std::size_t c = 0; c < 3; ++c) u[c] = points[i][c] / scale[c];
      const double expected = rows[j].value(u, points[i]);
      EXPECT_NEAR(basis.xij(static_cast<int>(i), static_cast<int>(j)), expected,
                  1e-14 * std::abs(expected))
          << "point " << i + 1;
    }
  }
  // The four columns of the linear kernel are never live.
  EXPECT_EQ(run.state().sizes.nbasmax, static_cast<int>(rows.size()) - 4);
}

TEST(Catalogue, has_all_families_in_order) {
  SmallRun run(all_families(""));
  expect_catalogue(run, plain_texts(), {1, 1, 1});
}

TEST(Catalogue, writes_the_scale_into_its_texts) {
  SmallRun run(all_families("xfactor 2 4 2\n"));
  expect_catalogue(run, scaled_texts(), factors);
}

TEST(Catalogue, knows_where_each_family_starts) {
  SmallRun run(all_families(""));
  const std::array<int, 15> expected = {0, 3, 6, 9, 12, 15, 21, 27, 29, 41, 45, 53, 57, 59, 60};
  EXPECT_EQ(run.state().basis.basisstart, expected);
}

TEST(Catalogue, has_the_form_of_the_option) {
  SmallRun run(all_families("funform 4\n"));
  const Basis& basis = run.state().basis;
  EXPECT_EQ(basis.basismodel[0], "X1");
  EXPECT_EQ(basis.basismodel[3], "log(X1)");
  EXPECT_EQ(basis.basismodel[18], "pow(X1,2)");
  EXPECT_EQ(basis.basismodel[15], "1/(X1)**0.5");
  EXPECT_EQ(basis.basismodel[59], "1.00");
}

// --- radial texts -------------------------------------------------------------------------------

SmallProblem radial(std::vector<std::vector<double>> x) {
  SmallProblem problem;
  problem.x = std::move(x);
  for (std::size_t i = 0; i < problem.x.size(); ++i)
    problem.z.push_back({1.0 + problem.x[i][0] * problem.x[i][0]});
  problem.options = "grbfcns 1\nlinfcns 0\nconstant 0\n";
  return problem;
}

TEST(RadialText, writes_the_sign_of_the_centre) {
  SmallRun run(radial({{1.5, -2}, {0, 3}, {-1, 0}}).text());
  const std::vector<std::string>& labels = run.state().basis.basislabel;
  EXPECT_EQ(labels[0], "exp ( -1.*( ( (X1-1.5)**2+(X2+2)**2 )**0.5 ) )");
  EXPECT_EQ(labels[1], "exp ( -1.*( ( (X1)**2+(X2-3)**2 )**0.5 ) )");
  EXPECT_EQ(labels[2], "exp ( -1.*( ( (X1+1)**2+(X2)**2 )**0.5 ) )");
}

TEST(RadialText, has_a_single_distance_for_one_input) {
  SmallProblem problem = radial({{1.5, -2}, {0, 3}, {-1, 0}});
  problem.options += "exclude 0 1\n";
  SmallRun run(problem.text());
  const Basis& basis = run.state().basis;
  EXPECT_EQ(basis.basislabel[0], "exp ( -1.*|X1-1.5| )");
  EXPECT_EQ(basis.basislabel[1], "exp ( -1.*|X1| )");
  EXPECT_DOUBLE_EQ(basis.xij(0, 2), std::exp(-2.5));
}

// Two labels take 17 + 2 (13 + length) places; 122 are too many.
TEST(RadialText, is_short_for_long_labels) {
  for (const std::size_t length : {39U, 40U}) {
    SmallProblem problem = radial({{1.5, -2}, {0, 3}, {-1, 0}});
    const std::string first(39, 'a');
    const std::string second(length, 'b');
    problem.options += "xlabels " + first + " " + second + "\n";
    SmallRun run(problem.text());
    const std::string formula =
        "exp ( -1.*( ( (" + first + "-1.5)**2+(" + second + "+2)**2 )**0.5 ) )";
    EXPECT_EQ(run.state().basis.basislabel[0],
              length == 39U ? formula : "exp ( -1. * sum of distances from initial data point 1 )");
  }
}

TEST(RadialText, of_no_use_to_a_solver_goes_under_constraints) {
  SmallProblem problem = radial({{1.5, -2}, {0, 3}, {-1, 0}});
  problem.options += "linfcns 1\nprbfpower 2\nxlabels " + std::string(90, 'a') + " b\nzmin -100\n";
  problem.options.erase(problem.options.find("linfcns 0\n"), 10);
  SmallRun run(problem.text());
  const std::vector<std::string>& labels = run.state().basis.basislabel;
  for (std::size_t j = 2; j < 8; ++j) EXPECT_EQ(labels[j], "") << j;
  EXPECT_EQ(run.state().sizes.nbasmax, 2);
  EXPECT_NE(run.screen().find("Warning: eliminating RBF basis exp ( -1. * sum of distances from "
                              "initial data point 3 )\n"),
            std::string::npos);
  EXPECT_NE(run.screen().find("Warning: eliminating RBF basis log(r(x,x1))*r( x,x1)**2\n"),
            std::string::npos);
}

}  // namespace
}  // namespace torve::test
