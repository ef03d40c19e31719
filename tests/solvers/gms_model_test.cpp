// Texts of surrogate.gms and olr.gms: each kind of problem against a file of tests/data/solvers,
// each file against the tests' own reader of the language, and what the reader finds against the
// formulas of the problem. TORVE_TEST_DATA is tests/data; with TORVE_UPDATE in the environment the
// files are written anew.
#include "solvers/gms_model.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>

#include "subset_case.h"
#include "support/gms_model_values.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

std::string expected_text(const std::string& name, const std::string& text) {
  const std::string path = std::string(TORVE_TEST_DATA) + "/solvers/" + name + ".gms";
  if (std::getenv("TORVE_UPDATE") != nullptr) {
    std::ofstream(path, std::ios::binary) << text;
  }
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// --- kinds of problems --------------------------------------------------------------------------

void add_custom(SubsetCase& c) {
  c.add_bounding_set();
  c.problem.custom = {{1, "z1 - 20"}, {3, "2*x^2 - z1*y - 3"}};
}

struct ModelRow {
  const char* name;
  std::function<void(SubsetCase&)> change;
  const char* solver = "mirak";
};

template <Metric metric>
ModelRow plain(const char* name) {
  return {name, [](SubsetCase& c) { set_metric(c, metric); }};
}

const std::vector<ModelRow>& model_rows() {
  static const std::vector<ModelRow> rows = {
      plain<Metric::bic>("bic"),
      plain<Metric::cp>("cp"),
      plain<Metric::aicc>("aicc"),
      plain<Metric::hqc>("hqc"),
      plain<Metric::mse>("mse"),
      plain<Metric::ssep>("ssep"),
      plain<Metric::ric>("ric"),
      plain<Metric::madp>("madp"),
      {"bic_any_size", [](SubsetCase& c) { c.problem.cardinality = false; }},
      {"cp_of_a_sigma",
       [](SubsetCase& c) {
         set_metric(c, Metric::cp);
         c.problem.sigma = 0.25;
       }},
      {"aicc_cutoff",
       [](SubsetCase& c) {
         set_metric(c, Metric::aicc);
         c.problem.cutoff = 12.125;
       }},
      {"ssep_tight",
       [](SubsetCase& c) {
         set_metric(c, Metric::ssep);
         c.problem.tight_gaps = true;
         c.problem.cutoff = 1e30;
       }},
      {"ssep_penalty",
       [](SubsetCase& c) {
         set_metric(c, Metric::ssep);
         c.problem.convpen = 0.5;
       }},
      {"madp_penalty_and_start",
       [](SubsetCase& c) {
         set_metric(c, Metric::madp);
         c.problem.convpen = 2.5;
         start_from_model(c);
       }},
      {"linearerror", take_absolute_errors},
      {"linearerror_of_mse_with_scalebases",
       [](SubsetCase& c) {
         set_metric(c, Metric::mse);
         take_absolute_errors(c);
         scale_bases(c);
       }},
      {"linearerror_with_groups",
       [](SubsetCase& c) {
         take_absolute_errors(c);
         add_all_conditions(c);
       }},
      {"relerror", take_relative_errors},
      {"relerror_of_mse",
       [](SubsetCase& c) {
         set_metric(c, Metric::mse);
         take_relative_errors(c);
       }},
      {"relerror_of_a_sigma",
       [](SubsetCase& c) {
         take_relative_errors(c);
         c.problem.sigma = 0.25;
       }},
      {"exact_fit", [](SubsetCase& c) { c.problem.sseterm = false; }},
      {"sselimit", limit_sse},
      {"sselimit_with_relerror",
       [](SubsetCase& c) {
         limit_sse(c);
         take_relative_errors(c);
       }},
      {"sselimit_with_linearerror",
       [](SubsetCase& c) {
         limit_sse(c);
         take_absolute_errors(c);
       }},
      {"scalebases", scale_bases},
      {"scalez", scale_z},
      {"scalez_and_scalebases_of_madp",
       [](SubsetCase& c) {
         set_metric(c, Metric::madp);
         scale_bases(c);
         scale_z(c);
       }},
      {"wide_bounds", [](SubsetCase& c) { c.problem.betaup.assign(5, 1e31); }},
      {"groups", add_all_conditions},
      {"groups_and_start",
       [](SubsetCase& c) {
         add_all_conditions(c);
         start_from_model(c);
       }},
      {"bounding_set", [](SubsetCase& c) { c.add_bounding_set(); }},
      {"bounding_set_below",
       [](SubsetCase& c) {
         c.add_bounding_set();
         c.problem.zmax.reset();
         for (int i = 0; i < c.bounding.crndata; ++i) c.bounding.type[at(i)] &= 1;
         scale_bases(c);
         scale_z(c);
       }},
      {"bounding_set_without_types",
       [](SubsetCase& c) {
         add_custom(c);
         for (int i = 0; i < c.bounding.crndata; ++i) c.bounding.type[at(i)] = 0;
       }},
      {"custom", add_custom},
      {"custom_with_scales",
       [](SubsetCase& c) {
         add_custom(c);
         c.problem.custom.pop_back();
         scale_bases(c);
         scale_z(c);
       }},
      {"prbf", [](SubsetCase& c) { c.problem.prbf = std::pair(1, 3); }},
      {"start", start_from_model},
      {"all_options",
       [](SubsetCase& c) {
         c.problem.firstfeas = true;
         c.problem.dive = true;
         c.problem.deltaterm = true;
         c.problem.debug = true;
       }},
      {"shortcut",
       [](SubsetCase& c) {
         c.problem.shortcut = true;
         c.problem.seconds = 0.0;
       }},
      {"solver_cplex", [](SubsetCase& c) { c.problem.shortcut = true; }, "cplex"},
      {"solver_other", [](SubsetCase& c) { c.problem.shortcut = true; }, "othersolver"},
      {"solver_in_capitals", [](SubsetCase& c) { set_metric(c, Metric::madp); }, "MIRAK  "},
      {"no_term", [](SubsetCase& c) { c.screen_all(); }},
  };
  return rows;
}

// Names that a program may declare and never use, and when.
struct UnusedRow {
  const char* name;
  const char* reason;
};
constexpr UnusedRow known_unused[] = {
    {"crxij", "no point has a bound or a constraint"},
    {"crxdata", "no point has a custom constraint, or none speaks of an input"},
    {"i2cust", "points of all kinds, and no custom constraint"},
    {"zmin", "the output has no lower bound, or no point has one"},
    {"zmax", "the same of the upper bound"},
    {"dismiss", "the objective has no error"},
    {"z", "the same"},
    {"xij", "the same"},
};

std::vector<std::string> unknown_unused(const GmsProgram& program) {
  std::vector<std::string> names;
  for (const std::string& name : unused_names(program)) {
    const auto* const row = std::ranges::find(known_unused, name, &UnusedRow::name);
    if (row == std::end(known_unused)) names.push_back(name);
  }
  return names;
}

// --- the statements, once more ------------------------------------------------------------------

struct Statement {
  double value;  // left side minus right side
  char relation;
};
using Statements = std::map<std::string, Statement>;

// What the problem asks for at a point, straight from its numbers.
class Formulas {
 public:
  Formulas(const SubsetCase& c, const GmsPoint& point) : p_(c.problem), point_(point) {
    state_terms();
    state_errors();
    if (p_.has_bounding()) state_bounds();
    if (p_.has_groups()) state_groups();
  }

  const Statements& statements() const { return statements_; }

 private:
  double at_point(const std::string& name) const { return point_.at(name); }
  double y(int j) const { return at_point(fmt::format("y({})", j + 1)); }
  double yg(int g) const { return at_point(fmt::format("yg({})", g + 1)); }
  double beta(int j) const { return at_point(fmt::format("beta({})", j + 1)); }
  double e(int i) const { return at_point(fmt::format("e({})", i + 1)); }
  bool may(int j) const { return p_.screened[at(j)]; }
  double z(int i) const { return p_.zdata[at(i)] / p_.zscale; }
  double x(int i, int j) const { return p_.xij(i, j) / p_.xscale[at(j)]; }
  bool is_large(int i) const { return std::abs(z(i)) > 0.001; }
  double fit(int i) const {
    double sum = 0.0;
    for (int j = 0; j < p_.nbas(); ++j) {
      if (may(j)) sum += x(i, j) * beta(j);
    }
    return sum;
  }
  void state(const std::string& name, double value, char relation) {
    statements_[name] = {value, relation};
  }

  double chosen() const {
    double sum = 0.0;
    for (int j = 0; j < p_.nbas(); ++j) sum += may(j) ? y(j) : 0.0;
    return sum;
  }

  // divisor: of the whole error, or, where it has two sums, of the second alone, which is how the
  // text is read.
  double error(double divisor = 1.0) const {
    double sum = 0.0;
    for (int i = 0; i < p_.ndata(); ++i) {
      if (!p_.simulated[at(i)]) continue;
      if (p_.error == ErrorModel::absolute) {
        sum += e(i) / divisor;
      } else if (p_.error == ErrorModel::relative_squares && is_large(i)) {
        sum += std::pow(1.0 - fit(i) / z(i), 2);
      } else {
        sum += std::pow(z(i) - fit(i), 2) / divisor;
      }
    }
    return sum;
  }

  double objective() const {
    const double sse = p_.sseterm ? error() : 0.0;
    const double weighted = p_.sseterm ? error(p_.sigma) : 0.0;
    const double n = p_.ndata();
    switch (p_.metric) {
      case Metric::bic:
        return weighted + std::log(n) * chosen();
      case Metric::cp:
        return weighted + 2.0 * chosen();
      case Metric::ric:
        return weighted + 2.0 * std::log(p_.nbas()) * chosen();
      case Metric::ssep:
        return p_.convpen > 0.0 ? weighted + p_.convpen * chosen() : sse;
      case Metric::madp:
        return at_point("mad") + p_.convpen * chosen();
      case Metric::aicc:
      case Metric::hqc:
      case Metric::mse:
        break;
    }
    return sse;
  }

  void state_terms() {
    state("obj", at_point("sseplus") - objective(), 'e');
    if (p_.cardinality) state("eq1", chosen() - p_.it, p_.exactly_it ? 'e' : 'l');
    for (int j = 0; j < p_.nbas(); ++j) {
      if (!may(j)) continue;
      const double bound = std::min(p_.betaup[at(j)], 1e30);
      state(fmt::format("eq2({})", j + 1), -bound * y(j) - beta(j), 'l');
      state(fmt::format("eq3({})", j + 1), beta(j) - bound * y(j), 'l');
    }
    if (p_.prbf) {
      double sum = 0.0;
      for (int j = p_.prbf->first; j <= p_.prbf->second; ++j) sum += beta(j);
      state("pc1", sum, 'e');
    }
  }

  void state_errors() {
    if (p_.sse_limit) state("sselimit", error() - *p_.sse_limit, 'l');
    for (int i = 0; i < p_.ndata(); ++i) {
      if (!p_.simulated[at(i)]) continue;
      const double r = z(i) - fit(i);
      if (p_.error == ErrorModel::absolute) {
        state(fmt::format("erra({})", i + 1), r - e(i), 'l');
        state(fmt::format("errb({})", i + 1), -r - e(i), 'l');
      }
      if (p_.metric == Metric::madp) {
        const double percent = is_large(i) ? r / std::abs(z(i)) * 100.0 : r;
        const int kind = is_large(i) ? 1 : 2;
        state(fmt::format("erra{}({})", kind, i + 1), percent - at_point("mad"), 'l');
        state(fmt::format("errb{}({})", kind, i + 1), -percent - at_point("mad"), 'l');
      }
    }
    if (p_.error != ErrorModel::absolute) return;
    for (int j = 0; j < p_.nbas(); ++j) {
      double sum = 0.0;
      for (int i = 0; i < p_.ndata(); ++i) sum += may(j) ? 2.0 * x(i, j) * e(i) : 0.0;
      const double bound = may(j) ? p_.betaup[at(j)] : 0.0;
      state(fmt::format("l1eca({})", j + 1), sum - bound * (1.0 - y(j)), 'l');
      state(fmt::format("l1ecb({})", j + 1), sum + bound * (1.0 - y(j)), 'g');
    }
  }

  void state_bounds() {
    for (int i = 0; i < p_.bounding->crndata; ++i) {
      double model = 0.0;
      for (int j = 0; j < p_.nbas(); ++j) {
        if (may(j)) model += p_.bounding->crxij(i, j) / p_.xscale[at(j)] * beta(j);
      }
      const int type = p_.bounding->type[at(i)];
      if (type % 2 == 1) {
        state(fmt::format("conreglo({})", i + 1), model - *p_.zmin / p_.zscale, 'g');
      }
      if (type / 2 % 2 == 1) {
        state(fmt::format("conregup({})", i + 1), model - *p_.zmax / p_.zscale, 'l');
      }
      if (type < 4) continue;
      const double a = p_.bounding->crxdata(i, 0);
      const double b = p_.bounding->crxdata(i, 1);
      const double value = model * p_.zscale;
      for (const CustomConstraint& c : p_.custom) {
        const double custom = c.number == 1 ? value - 20.0 : 2.0 * a * a - value * b - 3.0;
        state(fmt::format("c{}({})", c.number, i + 1), custom, 'l');
      }
    }
  }

  double members(int g) const {
    double sum = 0.0;
    for (int j = 0; j < p_.nbas(); ++j) sum += may(j) && p_.grpbas(j, g) ? y(j) : 0.0;
    for (int h = 0; h < p_.ngroups(); ++h) sum += p_.grpgrp(g, h) ? yg(h) : 0.0;
    return sum;
  }

  void state_groups() {
    for (int g = 0; g < p_.ngroups(); ++g) {
      state(fmt::format("selgrp1({})", g + 1), yg(g) - members(g), 'l');
      for (int j = 0; j < p_.nbas(); ++j) {
        if (!may(j) || !p_.grpbas(j, g)) continue;
        state(fmt::format("selgrp2({},{})", g + 1, j + 1), y(j) - yg(g), 'l');
      }
      for (int h = 0; h < p_.ngroups(); ++h) {
        if (p_.grpgrp(g, h)) state(fmt::format("selgrp3({},{})", g + 1, h + 1), yg(h) - yg(g), 'l');
      }
    }
    for (const GroupEntry& entry : p_.group_entries) {
      const std::string where = fmt::format("({},{})", entry.m, entry.group + 1);
      const double count = members(entry.group) - entry.parameter;
      switch (entry.rule) {
        case GroupRule::at_most:
          state("eqnmt" + where, count, 'l');
          break;
        case GroupRule::at_least:
          state("eqatl" + where, count, 'g');
          break;
        case GroupRule::requires_group:
          state("eqreq" + where, yg(entry.group) - yg(entry.parameter - 1), 'l');
          break;
        case GroupRule::excludes_group:
          state("eqxcl" + where, yg(entry.group) + yg(entry.parameter - 1) - 1.0, 'l');
          break;
      }
    }
  }

  const BestSubsetProblem& p_;
  const GmsPoint& point_;
  Statements statements_;
};

GmsPoint random_point(const GmsModelValues& model, Random& random) {
  GmsPoint point;
  for (const auto& [name, variable] : model.variables) {
    point[name] = variable.type == "binary"     ? (random.chance(0.5) ? 1.0 : 0.0)
                  : variable.type == "positive" ? random.real(0.0, 3.0)
                                                : random.real(-4.0, 4.0);
  }
  return point;
}

void expect_same(const GmsModelValues& model, const GmsPoint& point, const Statements& statements) {
  std::set<std::string> names;
  for (const GmsRow& row : model.rows) {
    names.insert(row.name);
    const auto found = statements.find(row.name);
    ASSERT_NE(found, statements.end()) << row.name << " isn't asked for";
    EXPECT_EQ(row.relation, found->second.relation) << row.name;
    const double scale = std::max(1.0, std::abs(found->second.value));
    EXPECT_NEAR(row.form.at(point), found->second.value, 1e-12 * scale) << row.name;
  }
  for (const auto& [name, statement] : statements) {
    EXPECT_TRUE(names.contains(name)) << name << " is missing";
  }
}

// --- tests --------------------------------------------------------------------------------------

class GmsModel : public testing::TestWithParam<ModelRow> {};

TEST_P(GmsModel, is_the_text_of_its_file_and_can_be_read) {
  SubsetCase c;
  GetParam().change(c);
  const std::string text = gms_model(c.problem, {GetParam().solver});
  EXPECT_EQ(text, expected_text(GetParam().name, text));
  const GmsProgram program = read_gms(text);
  EXPECT_EQ(unknown_unused(program), std::vector<std::string>{});
}

TEST_P(GmsModel, says_what_the_problem_says) {
  SubsetCase c;
  GetParam().change(c);
  const GmsModelValues model = evaluate_gms(read_gms(gms_model(c.problem, {GetParam().solver})));
  Random random(7);
  for (int trial = 0; trial < 5; ++trial) {
    const GmsPoint point = random_point(model, random);
    expect_same(model, point, Formulas(c, point).statements());
  }
}

TEST_P(GmsModel, bounds_and_starts_its_variables) {
  SubsetCase c;
  GetParam().change(c);
  const BestSubsetProblem& problem = c.problem;
  const GmsProgram program = read_gms(gms_model(problem, {GetParam().solver}));
  const GmsModelValues model = evaluate_gms(program);
  for (int j = 0; j < problem.nbas(); ++j) {
    const GmsVariable& beta = model.variables.at(fmt::format("beta({})", j + 1));
    const GmsVariable& y = model.variables.at(fmt::format("y({})", j + 1));
    const bool screened = problem.screened[at(j)];
    const double bound = screened ? std::min(problem.betaup[at(j)], 1e30) : 0.0;
    EXPECT_EQ(beta.upper, bound) << j;
    EXPECT_EQ(beta.lower, -bound) << j;
    const bool starts = screened && problem.start.has_value();
    EXPECT_EQ(beta.level, starts ? problem.start->beta[at(j)] : 0.0) << j;
    EXPECT_EQ(y.level, starts && problem.start->chosen[at(j)] ? 1.0 : 0.0) << j;
  }
  for (int g = 0; g < problem.ngroups(); ++g) {
    const bool starts = problem.start.has_value() && problem.group_start[at(g)];
    EXPECT_EQ(model.variables.at(fmt::format("yg({})", g + 1)).level, starts ? 1.0 : 0.0) << g;
  }
  if (problem.metric == Metric::madp) {
    EXPECT_EQ(model.variables.at("mad").level, problem.start ? problem.bestmetric : 0.0);
  }
}

TEST_P(GmsModel, is_solved_as_what_it_is) {
  SubsetCase c;
  GetParam().change(c);
  const BestSubsetProblem& problem = c.problem;
  const GmsProgram program = read_gms(gms_model(problem, {GetParam().solver}));
  const GmsModelValues model = evaluate_gms(program);
  bool squares = false;
  for (const GmsRow& row : model.rows) squares = squares || !row.form.squares.empty();
  // Without an error in the objective there may be no square; the kind follows the option.
  const bool linear = problem.error == ErrorModel::absolute || problem.metric == Metric::madp;
  EXPECT_EQ(program.solved_by, linear ? "mip" : "miqcp");
  EXPECT_FALSE(linear && squares);
  EXPECT_EQ(program.options.contains(linear ? "mip" : "miqcp"), true);
  EXPECT_EQ(model.attributes.contains("ssemip.cutoff"), problem.cutoff.has_value());
  if (problem.cutoff) {
    EXPECT_EQ(model.attributes.at("ssemip.cutoff"), *problem.cutoff);
  }
  const bool has_file = std::string_view(GetParam().solver) != "othersolver";
  EXPECT_EQ(model.attributes.contains("ssemip.optfile"), has_file);
  EXPECT_EQ(program.option_files.size(), has_file ? 1U : 0U);
  EXPECT_EQ(program.options.at("optca"), problem.tight_gaps ? "1e-6" : "0.05");
  EXPECT_EQ(program.put_file, "res");
}

INSTANTIATE_TEST_SUITE_P(Rows, GmsModel, testing::ValuesIn(model_rows()), RowName());

// Without a model the closure of the groups isn't given, other than in the solver's own language.
TEST(GmsModelText, starts_groups_only_beside_a_model) {
  SubsetCase c;
  add_all_conditions(c);
  EXPECT_EQ(gms_model(c.problem, {}).find("yg.l"), std::string::npos);
  start_from_model(c);
  EXPECT_NE(gms_model(c.problem, {}).find("yg.l('3') = 1;\n"), std::string::npos);
}

// From the declaration of groups up to the model.
std::string group_part(const std::string& text) {
  const std::size_t first = text.find("set g /");
  return text.substr(first, text.find("model ssemip") - first);
}

TEST(GmsModelText, says_the_same_of_groups_in_a_linear_problem) {
  SubsetCase c;
  add_all_conditions(c);
  const std::string of_squares = gms_model(c.problem, {});
  take_absolute_errors(c);
  const std::string linear = gms_model(c.problem, {});
  EXPECT_EQ(group_part(linear), group_part(of_squares));
  EXPECT_NE(linear.find("using mip;"), std::string::npos);
}

TEST(GmsModelText, keeps_numbers_within_what_gams_takes_for_numbers) {
  SubsetCase c;
  c.x[0] = 1e200;
  c.z[1] = -1e99;
  c.problem.sigma = 5e-324;
  const std::string text = gms_model(c.problem, {});
  EXPECT_NE(text.find("xij('1', '1') = 1e+30;\n"), std::string::npos);
  EXPECT_NE(text.find("z('2') = -1e+30;\n"), std::string::npos);
  EXPECT_NE(text.find(" / 5e-324 + "), std::string::npos);
}

// --- least squares ------------------------------------------------------------------------------

struct SquaresRow {
  const char* name;
  bool debug;
};

class GmsSquares : public testing::TestWithParam<SquaresRow> {};

GmsLeastSquares squares_of(const SubsetCase& c) {
  GmsLeastSquares problem;
  problem.xij = c.problem.xij;
  problem.z = c.z;
  problem.rows = c.simulated;
  problem.chosen = c.screened;
  problem.labels = c.labels;
  problem.epsa = 0.05;
  problem.epsr = 0.0001;
  return problem;
}

TEST_P(GmsSquares, is_the_text_of_its_file_and_says_what_the_problem_says) {
  const SubsetCase c;
  GmsLeastSquares problem = squares_of(c);
  problem.debug = GetParam().debug;
  const std::string text = gms_least_squares(problem);
  EXPECT_EQ(text, expected_text(GetParam().name, text));
  const GmsProgram program = read_gms(text);
  EXPECT_EQ(unused_names(program), std::vector<std::string>{});
  const GmsModelValues model = evaluate_gms(program);
  ASSERT_EQ(model.rows.size(), 1U);
  Random random(3);
  const GmsPoint point = random_point(model, random);
  double sum = 0.0;
  for (int i = 0; i < SubsetCase::rows; ++i) {
    double error = -c.z[at(i)];
    for (int j = 0; j < SubsetCase::columns; ++j) {
      if (c.screened[at(j)]) error += problem.xij(i, j) * point.at(fmt::format("beta({})", j + 1));
    }
    if (c.simulated[at(i)]) sum += error * error;
  }
  const double value = model.rows[0].form.at(point);
  EXPECT_NEAR(value, point.at("sse") - sum, 1e-12 * sum);
}

INSTANTIATE_TEST_SUITE_P(Rows, GmsSquares,
                         testing::Values(SquaresRow{"olr", false}, SquaresRow{"olr_debug", true}),
                         RowName());

}  // namespace
}  // namespace torve::test
