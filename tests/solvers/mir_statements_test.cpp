// What the statements of surrogate.mir say, as the tests' own reader of the language understands
// them, against the formulas of the problem at random points.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <stdexcept>

#include "solvers/mir_model.h"
#include "subset_case.h"
#include "support/mir_language.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

// A point to evaluate a file at: every variable has a value of its own.
MirValues random_point(const MirFile& file, std::uint64_t seed) {
  Random random(seed);
  MirValues values;
  for (const std::string& name : file.binary) values[name] = random.whole(0, 1);
  for (const std::string& name : file.positive) values[name] = random.real(0.0, 5.0);
  for (const std::string& name : file.free) values[name] = random.real(-3.0, 3.0);
  return values;
}

// The problem's own quantities at such a point, from the data.
struct Quantities {
  Quantities(const SubsetCase& subset_case, const MirValues& at_values)
      : c(subset_case), values(at_values) {}

  double value(const std::string& name, int index) const {
    return values.at(name + "_" + std::to_string(index + 1));
  }
  double z(int i) const { return c.z[at(i)] / c.problem.zscale; }
  double x(int i, int j) const {
    return c.x[at(j * SubsetCase::rows + i)] / c.problem.xscale[at(j)];
  }
  double fit(int i) const {
    double sum = 0.0;
    for (int j = 0; j < SubsetCase::columns; ++j) {
      if (c.screened[at(j)]) sum += x(i, j) * value("trv_beta", j);
    }
    return sum;
  }
  double square(int i) const {
    const bool relative = c.problem.error == ErrorModel::relative_squares;
    const double error = relative && std::abs(z(i)) > 1e-3 ? 1.0 - fit(i) / z(i) : z(i) - fit(i);
    return error * error;
  }
  double terms() const {
    double sum = 0.0;
    for (int j = 0; j < SubsetCase::columns; ++j) {
      if (c.screened[at(j)]) sum += value("trv_y", j);
    }
    return sum;
  }
  // The squares, or errors, of all rows; the last one is divided.
  double sse(double divisor) const {
    double sum = 0.0;
    for (int i = 0; i < SubsetCase::rows; ++i) {
      if (!c.simulated[at(i)]) continue;
      const bool absolute = c.problem.error == ErrorModel::absolute;
      const double part = absolute ? value("trv_e", i) : square(i);
      sum += i == SubsetCase::rows - 1 ? part / divisor : part;
    }
    return sum;
  }

  const SubsetCase& c;
  const MirValues& values;
};

struct ObjectiveRow {
  const char* name;
  Metric metric;
  double price;    // of a term
  double divisor;  // of the last square
  std::function<void(SubsetCase&)> change;
};

class MirObjective : public testing::TestWithParam<ObjectiveRow> {};

void with_sigma(SubsetCase& c) {
  c.problem.sigma = 0.25;
}
void with_penalty(SubsetCase& c) {
  c.problem.convpen = 0.75;
  c.problem.sigma = 2.0;
}

TEST_P(MirObjective, is_the_formula) {
  const ObjectiveRow& row = GetParam();
  SubsetCase c;
  c.x[3 * SubsetCase::rows + 4] = 1.0;  // a value that would drown the others
  set_metric(c, row.metric);
  row.change(c);
  const MirFile file = read_mir(mir_model(c.problem));
  EXPECT_FALSE(file.maximize);
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    const MirValues values = random_point(file, seed);
    const Quantities q(c, values);
    double expected = row.price * q.terms();
    if (c.problem.sseterm) expected += q.sse(row.divisor);
    if (row.metric == Metric::madp) expected += values.at("trv_mad");
    EXPECT_NEAR(evaluate(file.objective, values), expected, 1e-12 * std::abs(expected)) << seed;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MirObjective,
    testing::Values(ObjectiveRow{"bic", Metric::bic, std::log(6.0), 0.25, with_sigma},
                    ObjectiveRow{"bic_of_absolute_errors", Metric::bic, std::log(6.0), 0.25,
                                 [](SubsetCase& c) {
                                   with_sigma(c);
                                   take_absolute_errors(c);
                                 }},
                    ObjectiveRow{"bic_of_relative_errors", Metric::bic, std::log(6.0), 1.0,
                                 take_relative_errors},
                    ObjectiveRow{"bic_scaled", Metric::bic, std::log(6.0), 1.0,
                                 [](SubsetCase& c) {
                                   scale_bases(c);
                                   scale_z(c);
                                 }},
                    ObjectiveRow{"bic_scaled_of_relative_errors", Metric::bic, std::log(6.0), 1.0,
                                 [](SubsetCase& c) {
                                   scale_bases(c);
                                   scale_z(c);
                                   take_relative_errors(c);
                                 }},
                    ObjectiveRow{"bic_of_an_exact_fit", Metric::bic, std::log(6.0), 1.0,
                                 [](SubsetCase& c) { c.problem.sseterm = false; }},
                    ObjectiveRow{"cp", Metric::cp, 2.0, 0.25, with_sigma},
                    ObjectiveRow{"cp_of_an_exact_fit", Metric::cp, 2.0, 1.0,
                                 [](SubsetCase& c) { c.problem.sseterm = false; }},
                    ObjectiveRow{"aicc", Metric::aicc, 0.0, 1.0, with_sigma},
                    ObjectiveRow{"hqc", Metric::hqc, 0.0, 1.0, with_sigma},
                    ObjectiveRow{"mse", Metric::mse, 0.0, 1.0, with_sigma},
                    ObjectiveRow{"ssep", Metric::ssep, 0.0, 1.0, with_sigma},
                    ObjectiveRow{"ssep_penalty", Metric::ssep, 0.75, 2.0, with_penalty},
                    ObjectiveRow{"ssep_of_an_exact_fit", Metric::ssep, 0.0, 1.0,
                                 [](SubsetCase& c) {
                                   with_penalty(c);
                                   c.problem.sseterm = false;
                                 }},
                    ObjectiveRow{"ric", Metric::ric, 2.0 * std::log(5.0), 0.25, with_sigma},
                    ObjectiveRow{"madp", Metric::madp, 0.0, 1.0, with_sigma},
                    ObjectiveRow{"madp_penalty", Metric::madp, 0.75, 1.0, with_penalty}),
    RowName());

// A problem with all kinds of statements at random points.
class MirStatements : public testing::Test {
 protected:
  void read() { file = read_mir(mir_model(c.problem)); }
  // The value that a statement holds at or below 0.
  double violation(const std::string& name) const {
    const MirStatement* statement = file.statement(name);
    if (statement == nullptr) throw std::runtime_error("no statement " + name);
    return statement->violation(values);
  }
  template <class Check>
  void at_random_points(const Check& check) {
    read();
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
      values = random_point(file, seed);
      check(Quantities(c, values));
    }
  }
  template <class Check>
  void for_used_rows(const Check& check) const {
    for (const int i : {0, 1, 2, 4, 5}) check(i, std::to_string(i + 1));
  }

  SubsetCase c;
  MirFile file;
  MirValues values;
};

double near(double value) {
  return 1e-12 * std::max(1.0, std::abs(value));
}

TEST_F(MirStatements, link_terms_and_coefficients) {
  scale_bases(c);
  at_random_points([&](const Quantities& q) {
    EXPECT_DOUBLE_EQ(violation("trv_eq1"), q.terms() - 2.0);
    for (const int j : {0, 1, 3, 4}) {
      const double bound = c.problem.betaup[at(j)] * q.value("trv_y", j);
      const std::string name = std::to_string(j + 1);
      EXPECT_DOUBLE_EQ(violation("trv_eq2_" + name), -bound - q.value("trv_beta", j));
      EXPECT_DOUBLE_EQ(violation("trv_eq3_" + name), q.value("trv_beta", j) - bound);
      EXPECT_EQ(file.lower.at("trv_beta_" + name), -c.problem.betaup[at(j)]);
      EXPECT_EQ(file.upper.at("trv_beta_" + name), c.problem.betaup[at(j)]);
    }
  });
}

TEST_F(MirStatements, bound_absolute_errors) {
  take_absolute_errors(c);
  scale_bases(c);
  scale_z(c);
  at_random_points([&](const Quantities& q) {
    for_used_rows([&](int i, const std::string& name) {
      const double error = q.z(i) - q.fit(i);
      const double e = q.value("trv_e", i);
      EXPECT_NEAR(violation("trv_erra_" + name), error - e, near(error));
      EXPECT_NEAR(violation("trv_errb_" + name), -error - e, near(error));
    });
    for (const int j : {0, 1, 3, 4}) {
      double sum = 0.0;
      for_used_rows([&](int i, const std::string&) { sum += q.x(i, j) * q.value("trv_e", i); });
      const double room = c.problem.betaup[at(j)] * (1.0 - q.value("trv_y", j));
      const std::string name = std::to_string(j + 1);
      EXPECT_NEAR(violation("trv_l1eca_" + name), sum - room, near(sum));
      EXPECT_NEAR(violation("trv_l1ecb_" + name), -sum - room, near(sum));
    }
  });
  EXPECT_EQ(file.statement("trv_erra_4"), nullptr);
}

// The upper side isn't divided by |z|, and a small value has its fit multiplied by 100.
TEST_F(MirStatements, bound_percent_errors) {
  set_metric(c, Metric::madp);
  at_random_points([&](const Quantities& q) {
    const double mad = values.at("trv_mad");
    for_used_rows([&](int i, const std::string& name) {
      const double z = q.z(i);
      const double fit = q.fit(i);
      if (i == 1 || i == 5) {  // 5e-4, and 1e-3 exactly
        EXPECT_NEAR(violation("trv_erra2_" + name), z - 100.0 * fit - mad, near(100.0 * fit));
        EXPECT_NEAR(violation("trv_errb2_" + name), fit - z - mad, near(fit));
      } else {
        EXPECT_NEAR(violation("trv_erra1_" + name), 100.0 * (z - fit) / std::abs(z) - mad,
                    near(100.0 * fit));
        EXPECT_NEAR(violation("trv_errb1_" + name), 100.0 * (fit - z) - mad, near(100.0 * fit));
      }
    });
  });
}

struct LimitRow {
  const char* name;
  std::function<void(SubsetCase&)> change;
};
class MirLimit : public testing::TestWithParam<LimitRow> {};

TEST_P(MirLimit, bounds_the_sum_of_errors) {
  SubsetCase c;
  c.x[3 * SubsetCase::rows + 4] = 1.0;
  limit_sse(c);
  GetParam().change(c);
  const MirFile file = read_mir(mir_model(c.problem));
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    const MirValues values = random_point(file, seed);
    const double sse = Quantities(c, values).sse(1.0);
    EXPECT_NEAR(file.statement("trv_sselimit")->violation(values), sse - 2e-10, near(sse));
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, MirLimit,
                         testing::Values(LimitRow{"squares", [](SubsetCase&) {}},
                                         LimitRow{"relative_squares", take_relative_errors},
                                         LimitRow{"absolute", take_absolute_errors},
                                         LimitRow{"scaled",
                                                  [](SubsetCase& c) {
                                                    scale_bases(c);
                                                    scale_z(c);
                                                  }}),
                         RowName());

TEST_F(MirStatements, bound_the_model_at_points) {
  c.add_bounding_set();
  scale_bases(c);
  scale_z(c);
  at_random_points([&](const Quantities& q) {
    const auto fit = [&](int point) {
      double sum = 0.0;
      for (const int j : {0, 1, 3, 4}) {
        sum += c.bounding.crxij(point, j) / c.problem.xscale[at(j)] * q.value("trv_beta", j);
      }
      return sum;
    };
    EXPECT_NEAR(violation("trv_conreglo_1"), -1.0 - fit(0), 1e-12);
    EXPECT_NEAR(violation("trv_conregup_2"), fit(1) - 3.125, 1e-12);
    EXPECT_NEAR(violation("trv_conreglo_4"), -1.0 - fit(3), 1e-12);
    EXPECT_NEAR(violation("trv_conregup_4"), fit(3) - 3.125, 1e-12);
  });
  EXPECT_EQ(file.statement("trv_conregup_1"), nullptr);
  EXPECT_EQ(file.statement("trv_conreglo_3"), nullptr);
}

TEST_F(MirStatements, balance_the_radial_block) {
  c.problem.prbf = std::pair(1, 3);
  at_random_points([&](const Quantities& q) {
    const double sum = q.value("trv_beta", 1) + q.value("trv_beta", 3);
    EXPECT_NEAR(violation("trv_pc1"), std::abs(sum), 1e-15);
  });
}

// All choices of terms and groups: the conditions hold exactly where the rules say so.
TEST_F(MirStatements, tie_groups_to_terms) {
  add_all_conditions(c);
  read();
  values = random_point(file, 1);
  for (unsigned bits = 0; bits < 128U; ++bits) {
    const auto bit = [&](unsigned n) { return (bits >> n & 1U) != 0; };
    const std::array y = {bit(0), bit(1), bit(2), bit(3)};  // columns 1, 2, 4, 5
    const std::array g = {bit(4), bit(5), bit(6)};
    for (std::size_t p = 0; p < y.size(); ++p) {
      values[std::array{"trv_y_1", "trv_y_2", "trv_y_4", "trv_y_5"}[p]] = y[p] ? 1.0 : 0.0;
    }
    for (std::size_t p = 0; p < g.size(); ++p) {
      values["trv_yg_" + std::to_string(p + 1)] = g[p] ? 1.0 : 0.0;
    }
    bool holds = true;
    for (const MirStatement& statement : file.statements) {
      const bool of_groups = statement.name.starts_with("trv_selgrp") ||
                             statement.name.find("_eqnmt_") != std::string::npos ||
                             statement.name.find("_eqatl_") != std::string::npos ||
                             statement.name.find("_eqreq_") != std::string::npos ||
                             statement.name.find("_eqxcl_") != std::string::npos;
      if (of_groups) holds = holds && statement.violation(values) <= 0.0;
    }
    const bool closed = g[0] == (y[0] || y[1]) && g[1] == y[2] && g[2] == (y[3] || g[0]);
    const bool allowed = !(g[0] && g[1]) && !(y[0] && y[1]) && (y[3] || g[0]) && (!g[1] || g[2]);
    EXPECT_EQ(holds, closed && allowed) << bits;
  }
}

TEST_F(MirStatements, start_where_the_model_stands) {
  add_all_conditions(c);
  start_from_model(c);
  read();
  const MirValues expected = {{"trv_beta_1", 1.5}, {"trv_y_1", 1.0},      {"trv_beta_2", 0.0},
                              {"trv_y_2", 0.0},    {"trv_beta_4", -0.25}, {"trv_y_4", 1.0},
                              {"trv_beta_5", 0.0}, {"trv_y_5", 0.0},      {"trv_yg_1", 1.0},
                              {"trv_yg_3", 1.0}};
  EXPECT_EQ(file.start, expected);
}

}  // namespace
}  // namespace torve::test
