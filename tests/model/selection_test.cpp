// Whole runs on random small problems against a selection that is written out again in the test:
// over all subsets where nothing ends the search, and over the walk where its rules do.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/reference_selection.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

enum class Twist {
  plain,
  few_points,  // as many points as a model with every column has terms, and one more
  maxterms,
  ignored_output,
  missing_values,
  at_most,
  at_least,
  requires_group,
  excludes_group,
  nested_groups,
  null_column,
  estimated_sigma,
};

struct TwistRow {
  std::string_view name;
  Twist twist;
};

constexpr std::array twists = {
    TwistRow{"plain", Twist::plain},
    TwistRow{"few_points", Twist::few_points},
    TwistRow{"maxterms", Twist::maxterms},
    TwistRow{"ignored_output", Twist::ignored_output},
    TwistRow{"missing_values", Twist::missing_values},
    TwistRow{"at_most", Twist::at_most},
    TwistRow{"at_least", Twist::at_least},
    TwistRow{"requires_group", Twist::requires_group},
    TwistRow{"excludes_group", Twist::excludes_group},
    TwistRow{"nested_groups", Twist::nested_groups},
    TwistRow{"null_column", Twist::null_column},
    TwistRow{"estimated_sigma", Twist::estimated_sigma},
};

constexpr std::array metric_names = {"BIC", "Cp", "AICc", "HQC", "MSE", "SSEp", "RIC", "MADp"};
constexpr double missing = -999.0;

Mask bit(int j) {
  return Mask{1} << static_cast<unsigned>(j);
}

// A problem file, and what the reference selection has to know of it.
struct Case {
  SmallProblem problem;
  std::vector<std::vector<double>> columns;
  std::vector<std::vector<bool>> use;  // by output
  Mask screened = 0;
  ReferenceGroups groups;
  ReferenceOptions options;
  std::vector<int> modelled;  // outputs with a model
};

// The catalogue's columns: inputs, a power of each input, the constant.
void fill_columns(Case& made, double power, bool constant) {
  const std::size_t inputs = made.problem.x[0].size();
  for (std::size_t j = 0; j < inputs; ++j) {
    made.columns.emplace_back();
    for (const auto& row : made.problem.x) made.columns.back().push_back(row[j]);
  }
  if (power != 0.0) {
    for (std::size_t j = 0; j < inputs; ++j) {
      made.columns.emplace_back();
      for (const auto& row : made.problem.x) made.columns.back().push_back(std::pow(row[j], power));
    }
    made.problem.options += "monomialpower " + digits(power) + "\n";
  }
  if (constant) made.columns.emplace_back(made.problem.x.size(), 1.0);
  made.problem.options += fmt::format("constant {}\n", constant ? 1 : 0);
  made.screened = bit(static_cast<int>(made.columns.size())) - 1;
}

void fill_outputs(Case& made, Random& random, std::size_t outputs) {
  const auto nbas = static_cast<int>(made.columns.size());
  const std::size_t points = made.problem.x.size();
  made.problem.z.assign(points, std::vector<double>(outputs));
  for (std::size_t k = 0; k < outputs; ++k) {
    const auto a = static_cast<std::size_t>(random.whole(0, nbas - 1));
    const auto b = static_cast<std::size_t>(random.whole(0, nbas - 1));
    const double noise = random.chance(0.5) ? 0.05 : 1.0;
    for (std::size_t i = 0; i < points; ++i) {
      made.problem.z[i][k] =
          2.0 * made.columns[a][i] - 1.5 * made.columns[b][i] + noise * random.normal();
    }
    made.use.emplace_back(points, true);
    made.modelled.push_back(static_cast<int>(k));
  }
}

void lose_values(Case& made, Random& random) {
  const std::size_t points = made.problem.x.size();
  for (std::size_t k = 0; k < made.use.size(); ++k) {
    for (int lost = random.whole(1, 3); lost > 0; --lost) {
      const auto i = static_cast<std::size_t>(random.whole(0, static_cast<int>(points) - 1));
      made.use[k][i] = false;
      made.problem.z[i][k] = missing + (random.chance(0.5) ? 0.00009 : 0.0);
    }
  }
  made.problem.options += "preset -999\n";
}

// Two or three groups of random columns. Members are named by family and input.
void fill_groups(Case& made, Random& random, int type, double power, bool constant, bool nested) {
  const int inputs = static_cast<int>(made.problem.x[0].size());
  const int count = nested ? 4 : 3;
  std::string rows;
  made.groups.members.assign(static_cast<std::size_t>(count), 0);
  made.groups.holds.assign(static_cast<std::size_t>(count), 0);
  for (int g = 0; g < count; ++g) {
    Mask& members = made.groups.members[static_cast<std::size_t>(g)];
    for (int j = 0; j < inputs; ++j) {
      if (random.chance(0.4)) {
        rows += fmt::format("{} lin {}\n", g + 1, j + 1);
        members |= bit(j);
      }
      if (power != 0.0 && random.chance(0.4)) {
        rows += fmt::format("{} mono {} {}\n", g + 1, j + 1, digits(power));
        members |= bit(inputs + j);
      }
    }
    if (constant && random.chance(0.3)) {
      rows += fmt::format("{} const\n", g + 1);
      members |= bit(static_cast<int>(made.columns.size()) - 1);
    }
    if (members == 0) {
      rows += fmt::format("{} lin -1\n", g + 1);
      members = bit(inputs) - 1;
    }
  }
  if (nested) {
    // The last group is no more than the first two together.
    rows += fmt::format("{} grp 1 2\n", count);
    made.groups.members.back() |= made.groups.members[0] | made.groups.members[1];
    made.groups.holds.back() = bit(0) | bit(1);
  }
  std::string rules;
  const std::array<std::string_view, 4> words = {"nmt", "atl", "req", "xcl"};
  for (int r = random.whole(1, 2); r > 0; --r) {
    const int g = random.whole(0, count - 1);
    const int kind = nested ? random.whole(1, 4) : type;
    const int parameter = kind <= 2 ? random.whole(kind == 2 ? 1 : 0, 2) : (g + 1) % count;
    rules += fmt::format("{} {} {} {}\n", g + 1, random.chance(0.5) ? -1 : 1,
                         words[static_cast<std::size_t>(kind - 1)],
                         kind <= 2 ? parameter : parameter + 1);
    made.groups.rules.push_back({g, kind, parameter});
  }
  made.problem.options += fmt::format("ngroups {}\n", count);
  made.problem.sections +=
      "begin_groups\n" + rows + "end_groups\nbegin_groupcon\n" + rules + "end_groupcon\n";
}

int group_type(Twist twist) {
  switch (twist) {
    case Twist::at_most:
      return 1;
    case Twist::at_least:
      return 2;
    case Twist::requires_group:
      return 3;
    case Twist::excludes_group:
      return 4;
    default:
      return 0;
  }
}

// Small values whose squares don't count as anything.
void shrink_input(Case& made, std::size_t input) {
  for (auto& row : made.problem.x) row[input] *= 1e-6;
}

Case make_case(int modeler, Twist twist, Random& random) {
  Case made;
  const bool constant = random.chance(0.5);
  const auto pick = static_cast<std::size_t>(random.whole(0, 3));
  const double power = twist == Twist::null_column ? 0.0 : std::array{0.0, 2.0, 2.0, -1.5}[pick];
  const int inputs = power == 0.0 ? random.whole(3, 7) : random.whole(2, 4);
  const int nbas = inputs * (power == 0.0 ? 1 : 2) + (constant ? 1 : 0);
  const int points = twist == Twist::few_points ? nbas + 1 : nbas + random.whole(6, 14);
  made.problem.x.resize(static_cast<std::size_t>(points));
  for (auto& row : made.problem.x) {
    for (int j = 0; j < inputs; ++j) row.push_back(random.real(0.5, 3.0));
  }
  if (twist == Twist::null_column) shrink_input(made, 0);
  fill_columns(made, power, constant);
  const auto columns = static_cast<int>(made.columns.size());
  if (twist == Twist::null_column) made.screened &= ~Mask{1};

  ReferenceOptions& options = made.options;
  options.modeler = modeler;
  options.nbasmax = ReferenceSelection::count(made.screened);
  options.nmax = options.nbasmax;
  made.problem.options += fmt::format("modeler {}\n", modeler);
  if (modeler >= 6 && random.chance(0.7)) {
    options.convpen = random.real(0.05, 1.0);
    made.problem.options += fmt::format("convpen {}\n", digits(options.convpen));
  }
  options.cvxbic = modeler == 1 && random.chance(0.3);
  made.problem.options += fmt::format("cvxbic {}\n", options.cvxbic ? 1 : 0);

  const bool two = twist == Twist::ignored_output || random.chance(0.3);
  fill_outputs(made, random, two ? 2 : 1);
  if (twist == Twist::ignored_output) {
    made.problem.options += "ignore 1 0\n";
    made.modelled = {1};
  }
  if (twist == Twist::maxterms) {
    options.nmax = random.whole(1, columns);
    made.problem.options +=
        fmt::format("maxterms {0}{1}\n", options.nmax, two ? fmt::format(" {}", options.nmax) : "");
  }
  if (twist == Twist::missing_values) lose_values(made, random);
  if (twist == Twist::estimated_sigma) {
    options.estimate_sigma = true;
    made.problem.options += "sigma -1\n";
  }
  if (group_type(twist) != 0) {
    fill_groups(made, random, group_type(twist), power, constant, false);
  }
  if (twist == Twist::nested_groups) fill_groups(made, random, 0, power, constant, true);
  return made;
}

// A group rule may name the first output alone: the others are then free.
ReferenceGroups groups_of(const Case& made, const std::string& text, int k) {
  ReferenceGroups groups = made.groups;
  if (k == 0) return groups;
  groups.rules.clear();
  const std::size_t section = text.find("begin_groupcon\n");
  if (section == std::string::npos) return groups;
  std::size_t at = text.find('\n', section) + 1;
  for (const ReferenceRule& rule : made.groups.rules) {
    const std::size_t blank = text.find(' ', at);
    if (text[blank + 1] == '-') groups.rules.push_back(rule);
    at = text.find('\n', at) + 1;
  }
  return groups;
}

ReferenceSelection reference_of(const Case& made, const std::string& text, int k) {
  std::vector<double> z;
  for (const auto& row : made.problem.z) z.push_back(row[static_cast<std::size_t>(k)]);
  ReferenceSelection reference(made.columns, z, made.use[static_cast<std::size_t>(k)],
                               made.screened, made.options);
  reference.groups = groups_of(made, text, k);
  return reference;
}

// Columns, coefficients and criterion of output k of the run against the reference's model.
void expect_model(SmallRun& run, int k, const ReferenceModel& expected) {
  ASSERT_EQ(run.state().models.hasmodel[static_cast<std::size_t>(k)], expected.exists);
  const std::vector<bool> chosen = run.chosen(k);
  Mask mask = 0;
  for (std::size_t j = 0; j < chosen.size(); ++j) mask |= chosen[j] ? bit(static_cast<int>(j)) : 0;
  ASSERT_EQ(mask, expected.mask) << run.listing();
  if (!expected.exists) return;
  EXPECT_EQ(run.state().models.ModelSize[static_cast<std::size_t>(k)],
            ReferenceSelection::count(mask));
  const std::vector<double> beta = run.beta(k);
  double largest = 0.0;
  for (const double b : expected.beta) largest = std::max(largest, std::abs(b));
  for (std::size_t j = 0; j < beta.size(); ++j) {
    EXPECT_NEAR(chosen[j] ? beta[j] : 0.0, expected.beta[j], 1e-8 * largest) << "column " << j;
  }
  const std::string label = fmt::format("Z{}", k + 1);
  EXPECT_NEAR(run.reported_metric(label), expected.metric,
              1e-8 * std::max(1.0, std::abs(expected.metric)));
}

struct Row {
  int modeler;
  TwistRow twist;
};

std::vector<Row> all_rows() {
  std::vector<Row> rows;
  for (int modeler = 1; modeler <= 8; ++modeler) {
    for (const TwistRow& twist : twists) rows.push_back({modeler, twist});
  }
  return rows;
}

std::string row_name(const testing::TestParamInfo<Row>& info) {
  return fmt::format("{}_{}", metric_names[static_cast<std::size_t>(info.param.modeler - 1)],
                     info.param.twist.name);
}

std::uint64_t seed_of(const Row& row, int round) {
  return static_cast<std::uint64_t>(row.modeler * 10000 + static_cast<int>(row.twist.twist) * 100 +
                                    round);
}

std::string per_output(const Case& made, std::string_view keyword, double value) {
  std::string line(keyword);
  for (std::size_t k = 0; k < made.use.size(); ++k) line += " " + digits(value);
  return line + "\n";
}

// gtest shows a row by its name.
void PrintTo(const Row& row, std::ostream* out) {
  *out << "modeler " << row.modeler << ", " << row.twist.name;
}

class Selection : public testing::TestWithParam<Row> {};

// Tolerances far below zero never end the walk over sizes, so that full enumeration has to find the
// best subset there is.
TEST_P(Selection, finds_the_best_of_all_subsets) {
  for (int round = 0; round < 4; ++round) {
    SCOPED_TRACE(round);
    Random random(seed_of(GetParam(), round));
    Case made = make_case(GetParam().modeler, GetParam().twist.twist, random);
    made.problem.options += "enumall -1\n" + per_output(made, "tolmeanerror", -1.0) +
                            per_output(made, "tolrelmetric", -1e9) +
                            per_output(made, "tolabsmetric", -1e9);
    const std::string text = made.problem.text();
    SmallRun run(text);
    ASSERT_TRUE(run.ended_normally()) << run.screen();
    ASSERT_EQ(run.state().sizes.nbas, static_cast<int>(made.columns.size()));
    for (const int k : made.modelled) {
      expect_model(run, k, reference_of(made, text, k).exhaust());
      if (HasFailure()) FAIL() << text;
    }
    if (GetParam().twist.twist == Twist::ignored_output) {
      EXPECT_FALSE(run.state().models.hasmodel[0]);
    }
  }
}

// The walk over sizes as it is told, by full enumeration or size by size with the other strategies
// behind it; tolerances are such that each rule has its turn.
TEST_P(Selection, walks_the_sizes_until_a_rule_ends_it) {
  for (int round = 0; round < 6; ++round) {
    SCOPED_TRACE(round);
    Random random(seed_of(GetParam(), round) + 5000000);
    Case made = make_case(GetParam().modeler, GetParam().twist.twist, random);
    const bool all = round % 3 == 0;
    ReferenceOptions& options = made.options;
    options.tolrelmetric =
        std::array{0.0, 1e-6, 0.02, 0.3}[static_cast<std::size_t>(random.whole(0, 3))];
    options.tolabsmetric =
        std::array{0.0, 1e-6, 0.5, 4.0}[static_cast<std::size_t>(random.whole(0, 3))];
    options.tolmeanerror = -1.0;
    if (random.chance(0.5)) {
      // The error of a subset somewhere in the walk, or of no model at all.
      const std::string text = made.problem.text();
      ReferenceSelection reference = reference_of(made, text, made.modelled[0]);
      const std::vector<Mask> pairs = subsets_in_order(made.screened, 2);
      const Mask pair =
          pairs[static_cast<std::size_t>(random.whole(0, static_cast<int>(pairs.size()) - 1))];
      const double f = reference.value(pair, 2).fit;
      const double error = std::sqrt(f) / static_cast<double>(made.problem.x.size());
      options.tolmeanerror = 1.001 * (random.chance(0.3) ? reference.mean_error(f) : error);
    }
    options.backstepper = random.chance(0.5);
    made.problem.options +=
        fmt::format("enumall {}\nbackstepper {}\n", all ? -1 : 0, options.backstepper ? 1 : 0) +
        per_output(made, "tolmeanerror", options.tolmeanerror) +
        per_output(made, "tolrelmetric", options.tolrelmetric) +
        per_output(made, "tolabsmetric", options.tolabsmetric);
    const std::string text = made.problem.text();
    SmallRun run(text);
    ASSERT_TRUE(run.ended_normally()) << run.screen();
    for (const int k : made.modelled) {
      ReferenceSelection reference = reference_of(made, text, k);
      // A budget of one term is covered by full enumeration without being asked for.
      const bool enumerated = all || options.nmax == 1;
      expect_model(run, k, enumerated ? reference.enumerate_all() : reference.walk());
      if (HasFailure()) FAIL() << text;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Random, Selection, testing::ValuesIn(all_rows()), row_name);

}  // namespace
}  // namespace torve::test
