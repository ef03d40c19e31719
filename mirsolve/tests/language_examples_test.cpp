// Every file of tests/data/solvers and what is written for searches means the same to this reader
// and to the tests' own, which is made from the language alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "mirsolve/language/problem_reader.h"
#include "solvers/conreg_search.h"
#include "support/mir_language.h"

namespace {

using namespace mirsolve;
namespace fs = std::filesystem;
using torve::test::MirFile;
using torve::test::MirValues;

std::string text_of(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

fs::path examples() {
  return fs::path(TORVE_SOURCE_DIR) / "tests/data/solvers";
}

std::vector<std::string> example_names() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(examples())) {
    if (entry.path().extension() == ".mir") names.push_back(entry.path().stem().string());
  }
  std::ranges::sort(names);
  return names;
}

void expect_same_names(const Problem& problem, const MirFile& file) {
  const std::vector<std::string> names = file.variables();
  ASSERT_EQ(problem.variables.size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    const Variable& variable = problem.variables[i];
    EXPECT_EQ(variable.name, names[i]);
    const auto count_in = [&](const auto& list) { return std::ranges::count(list, names[i]); };
    EXPECT_EQ(variable.kind == VariableKind::binary, count_in(file.binary) == 1);
    EXPECT_EQ(variable.kind == VariableKind::positive, count_in(file.positive) == 1);
    const double lowest = variable.kind == VariableKind::free ? -infinite : 0.0;
    const double highest = variable.kind == VariableKind::binary ? 1.0 : infinite;
    EXPECT_EQ(variable.lower, file.lower.contains(names[i]) ? file.lower.at(names[i]) : lowest);
    EXPECT_EQ(variable.upper, file.upper.contains(names[i]) ? file.upper.at(names[i]) : highest);
    EXPECT_EQ(variable.start.has_value(), file.start.contains(names[i]));
    EXPECT_EQ(variable.start.value_or(0.0), variable.start ? file.start.at(names[i]) : 0.0);
  }
}

void expect_same_options(const Options& options, const MirValues& file) {
  const auto value = [&](const char* name, double otherwise) {
    return file.contains(name) ? file.at(name) : otherwise;
  };
  const Options untouched;
  EXPECT_EQ(options.absolute_gap, value("epsa", untouched.absolute_gap));
  EXPECT_EQ(options.relative_gap, value("epsr", untouched.relative_gap));
  EXPECT_EQ(options.cutoff, value("cutoff", infinite));
  EXPECT_EQ(options.seconds, value("maxtime", untouched.seconds));
  EXPECT_EQ(options.first_feasible, value("firstfeas", 0.0) == 1.0);
  EXPECT_EQ(options.solutions, value("NumSol", 1.0));
  EXPECT_EQ(options.isolation, value("isoltol", untouched.isolation));
  EXPECT_EQ(options.absolute_integer_tolerance, value("AbsIntFeasTol", 1e-12));
  EXPECT_EQ(options.relative_integer_tolerance, value("RelIntFeasTol", 0.0));
  EXPECT_EQ(options.print_level, value("prlevel", 1.0));
}

std::string_view sign_of(Relation relation) {
  switch (relation) {
    case Relation::at_most:
      return "<=";
    case Relation::at_least:
      return ">=";
    case Relation::equal:
      break;
  }
  return "==";
}

// At random points; both add and multiply in the order of the text.
void expect_same_values(const Problem& problem, const MirFile& file) {
  ASSERT_EQ(problem.statements.size(), file.statements.size());
  std::mt19937_64 random(17);
  std::uniform_real_distribution<double> draw(0.25, 4.0);
  for (int trial = 0; trial < 5; ++trial) {
    MirValues values;
    std::vector<double> point;
    for (const Variable& variable : problem.variables) {
      point.push_back(draw(random));
      values[variable.name] = point.back();
    }
    std::vector<double> results;
    evaluate(problem.graph, point, results);
    const auto expect_value = [&](NodeId id, const torve::test::MirExpression& expected,
                                  const std::string& name) {
      const double value = results[static_cast<std::size_t>(id)];
      const double wanted = torve::test::evaluate(expected, values);
      EXPECT_NEAR(value, wanted, 1e-12 * (1.0 + std::abs(wanted))) << name;
    };
    expect_value(problem.objective, file.objective, "objective");
    for (std::size_t i = 0; i < file.statements.size(); ++i) {
      const Statement& statement = problem.statements[i];
      EXPECT_EQ(statement.name, file.statements[i].name);
      EXPECT_EQ(sign_of(statement.relation), file.statements[i].relation);
      expect_value(statement.left, file.statements[i].left, statement.name);
      expect_value(statement.right, file.statements[i].right, statement.name);
    }
  }
}

void expect_same(const std::string& text) {
  const MirFile file = torve::test::read_mir(text);
  std::string error;
  const std::optional<Problem> problem = read_problem(text, "name", error);
  ASSERT_TRUE(problem) << error;
  EXPECT_EQ(problem->title, "name");
  expect_same_names(*problem, file);
  expect_same_options(problem->options, file.options);
  EXPECT_EQ(problem->maximize, file.maximize);
  expect_same_values(*problem, file);
  std::vector<std::string> oddities = problem->oddities;
  std::ranges::sort(oddities);
  EXPECT_EQ(oddities, std::vector<std::string>(file.oddities.begin(), file.oddities.end()));
}

class Examples : public testing::TestWithParam<std::string> {};

TEST_P(Examples, mean_the_same_to_both_readers) {
  expect_same(text_of(examples() / (GetParam() + ".mir")));
}

INSTANTIATE_TEST_SUITE_P(Files, Examples, testing::ValuesIn(example_names()),
                         [](const auto& row) { return row.param; });

TEST(Examples, are_there) {
  EXPECT_GE(example_names().size(), 39U);
}

// A search over a box, as it is written for each of its kinds.
class Searches : public testing::TestWithParam<torve::SearchKind> {};

TEST_P(Searches, mean_the_same_to_both_readers) {
  torve::ViolationSearch search;
  search.kind = GetParam();
  search.bound = 0.5;
  search.labels = {"Temp", "p", "unused"};
  search.lowest = {1.0, -0.5, 0.0};
  search.highest = {2.0, 1e-3, 1.0};
  search.terms = {{0, 2.5, "temp", false},
                  {1, -1e-7, "temp^2.5/log(temp)", false},
                  {2, 4.0, "exp(-p)*sin( temp )^2", false},
                  {3, -3.5e8, "sqrt(abs(p))-cos(p)", false}};
  search.custom = "Z1**2-p*(3-temp)";
  search.zlabel = "z1";
  search.nbas = 4;
  search.ndata = 10;
  search.wanted = 7;
  search.seconds = 12.5;
  search.deltaterm = true;
  expect_same(torve::conreg_mir(search));
}

INSTANTIATE_TEST_SUITE_P(Kinds, Searches,
                         testing::Values(torve::SearchKind::below_zmin,
                                         torve::SearchKind::above_zmax, torve::SearchKind::custom));

}  // namespace
