#include "random_cases.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace torve::test {

namespace {

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

// The catalogue's columns: inputs, a power of each input, the constant.
void fill_columns(RandomCase& made, double power, bool constant) {
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

void fill_outputs(RandomCase& made, Random& random, std::size_t outputs) {
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

void lose_values(RandomCase& made, Random& random) {
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
void fill_groups(RandomCase& made, Random& random, int type, double power, bool constant,
                 bool nested) {
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
    const bool for_all = random.chance(0.5);
    rules += fmt::format("{} {} {} {}\n", g + 1, for_all ? -1 : 1,
                         words[static_cast<std::size_t>(kind - 1)],
                         kind <= 2 ? parameter : parameter + 1);
    made.groups.rules.push_back({g, kind, parameter});
    made.rule_is_for_all.push_back(for_all);
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
void shrink_input(RandomCase& made, std::size_t input) {
  for (auto& row : made.problem.x) row[input] *= 1e-6;
}

RandomCase make_case(int modeler, Twist twist, Random& random) {
  RandomCase made;
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

std::uint64_t seed_of(const RandomRow& row, int round) {
  return static_cast<std::uint64_t>(row.modeler * 10000 + static_cast<int>(row.twist.twist) * 100 +
                                    round);
}

std::string per_output(const RandomCase& made, std::string_view keyword, double value) {
  std::string line(keyword);
  for (std::size_t k = 0; k < made.use.size(); ++k) line += " " + digits(value);
  return line + "\n";
}

void add_tolerances(RandomCase& made) {
  made.problem.options += per_output(made, "tolmeanerror", made.options.tolmeanerror) +
                          per_output(made, "tolrelmetric", made.options.tolrelmetric) +
                          per_output(made, "tolabsmetric", made.options.tolabsmetric);
}

}  // namespace

std::vector<double> RandomCase::values(int k) const {
  std::vector<double> z;
  for (const auto& row : problem.z) z.push_back(row[static_cast<std::size_t>(k)]);
  return z;
}

ReferenceGroups RandomCase::groups_of(int k) const {
  ReferenceGroups result = groups;
  if (k == 0) return result;
  result.rules.clear();
  for (std::size_t r = 0; r < groups.rules.size(); ++r) {
    if (rule_is_for_all[r]) result.rules.push_back(groups.rules[r]);
  }
  return result;
}

ReferenceSelection RandomCase::reference(int k) const {
  ReferenceSelection reference(columns, values(k), use[static_cast<std::size_t>(k)], screened,
                               options);
  reference.groups = groups_of(k);
  return reference;
}

std::vector<RandomRow> all_random_rows() {
  std::vector<RandomRow> rows;
  for (int modeler = 1; modeler <= 8; ++modeler) {
    for (const TwistRow& twist : twists) rows.push_back({modeler, twist});
  }
  return rows;
}

std::string random_row_name(const testing::TestParamInfo<RandomRow>& info) {
  return fmt::format("{}_{}", metric_names[static_cast<std::size_t>(info.param.modeler - 1)],
                     info.param.twist.name);
}

void PrintTo(const RandomRow& row, std::ostream* out) {
  *out << "modeler " << row.modeler << ", " << row.twist.name;
}

RandomCase endless_case(const RandomRow& row, int round) {
  Random random(seed_of(row, round));
  RandomCase made = make_case(row.modeler, row.twist.twist, random);
  made.options.tolmeanerror = -1.0;
  made.options.tolrelmetric = made.options.tolabsmetric = -1e9;
  add_tolerances(made);
  return made;
}

RandomCase ending_case(const RandomRow& row, int round) {
  Random random(seed_of(row, round) + 5000000);
  RandomCase made = make_case(row.modeler, row.twist.twist, random);
  ReferenceOptions& options = made.options;
  options.tolrelmetric =
      std::array{0.0, 1e-6, 0.02, 0.3}[static_cast<std::size_t>(random.whole(0, 3))];
  options.tolabsmetric =
      std::array{0.0, 1e-6, 0.5, 4.0}[static_cast<std::size_t>(random.whole(0, 3))];
  options.tolmeanerror = -1.0;
  if (random.chance(0.5)) {
    // The error of a subset somewhere in the walk, or of no model at all.
    ReferenceSelection reference = made.reference(made.modelled[0]);
    const std::vector<Mask> pairs = subsets_in_order(made.screened, 2);
    const Mask pair =
        pairs[static_cast<std::size_t>(random.whole(0, static_cast<int>(pairs.size()) - 1))];
    const double f = reference.value(pair, 2).fit;
    const double error = std::sqrt(f) / static_cast<double>(made.problem.x.size());
    options.tolmeanerror = 1.001 * (random.chance(0.3) ? reference.mean_error(f) : error);
  }
  options.backstepper = random.chance(0.5);
  add_tolerances(made);
  return made;
}

}  // namespace torve::test
