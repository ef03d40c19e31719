// The two programs of one problem side by side: statement by statement they must say the same at
// any point, but for the differences that stand in the table.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "solvers/gms_model.h"
#include "solvers/mir_model.h"
#include "subset_case.h"
#include "support/gms_model_values.h"
#include "support/mir_language.h"
#include "support/rows.h"
#include "support/small_problem.h"

namespace torve::test {
namespace {

// A statement that the routes write differently, both on purpose.
struct Difference {
  std::string_view statement;
  std::string_view reason;
};
constexpr std::array differences = {
    Difference{"l1eca", "GAMS: twice the sum over all rows; mirak: the sum over rows with a value"},
    Difference{"l1ecb", "the same"},
    Difference{"erra2", "mirak: the fit of a value near zero counts 100 times"},
    Difference{"errb1", "mirak: the error isn't divided by the value"},
};

struct RoutesRow {
  const char* name;
  std::function<void(SubsetCase&)> change;
  std::set<std::string> differ;  // statements
};

const std::set<std::string> none;

template <Metric metric>
void take(SubsetCase& c) {
  set_metric(c, metric);
}

const std::vector<RoutesRow>& routes_rows() {
  static const std::vector<RoutesRow> rows = {
      {"bic", take<Metric::bic>, none},
      {"cp", take<Metric::cp>, none},
      {"aicc", take<Metric::aicc>, none},
      {"hqc", take<Metric::hqc>, none},
      {"mse", take<Metric::mse>, none},
      {"ssep", take<Metric::ssep>, none},
      {"ssep_penalty",
       [](SubsetCase& c) {
         set_metric(c, Metric::ssep);
         c.problem.convpen = 0.5;
       },
       none},
      {"ric", take<Metric::ric>, none},
      {"madp", take<Metric::madp>, {"erra2", "errb1"}},
      {"linearerror", take_absolute_errors, {"l1eca", "l1ecb"}},
      {"relerror", take_relative_errors, none},
      {"sselimit", limit_sse, none},
      {"sselimit_with_linearerror",
       [](SubsetCase& c) {
         limit_sse(c);
         take_absolute_errors(c);
       },
       {"l1eca", "l1ecb"}},
      {"scales",
       [](SubsetCase& c) {
         scale_bases(c);
         scale_z(c);
       },
       none},
      {"groups", add_all_conditions, none},
      {"bounding_set",
       [](SubsetCase& c) {
         c.add_bounding_set();
         scale_bases(c);
         scale_z(c);
       },
       none},
      {"custom",
       [](SubsetCase& c) {
         c.add_bounding_set();
         c.problem.custom = {{2, "z1 - 2*x^2 - y"}};
       },
       none},
      {"prbf", [](SubsetCase& c) { c.problem.prbf = std::pair(0, 1); }, none},
  };
  return rows;
}

// beta(3) becomes trv_beta_3, selgrp2(1,4) trv_selgrp2_1_4, and c2(3) trv_crc_2_3.
std::string name_for_mirak(std::string name) {
  if (name.starts_with('c') && name.size() > 1 && name[1] >= '0' && name[1] <= '9') {
    name.replace(0, 1, "crc_");
  }
  std::erase(name, ')');
  std::ranges::replace(name, '(', '_');
  std::ranges::replace(name, ',', '_');
  return "trv_" + name;
}

std::string kind_of(const std::string& name) {
  return name.substr(0, name.find('('));
}

double difference_of_sides(const MirStatement& statement, const MirValues& values) {
  return evaluate(statement.left, values) - evaluate(statement.right, values);
}

class Routes : public testing::TestWithParam<RoutesRow> {
 protected:
  Routes() { GetParam().change(case_); }

  SubsetCase case_;
};

TEST_P(Routes, say_the_same_but_for_the_differences_of_the_table) {
  const GmsModelValues gms = evaluate_gms(read_gms(gms_model(case_.problem, {})));
  const MirFile mir = read_mir(mir_model(case_.problem));
  Random random(17);
  std::set<std::string> differ;
  std::set<std::string> seen;
  for (int trial = 0; trial < 5; ++trial) {
    GmsPoint point;
    MirValues values;
    for (const auto& [name, variable] : gms.variables) {
      point[name] = variable.type == "binary" ? random.whole(0, 1) : random.real(0.1, 3.0);
      values[name_for_mirak(name)] = point[name];
    }
    for (const GmsRow& row : gms.rows) {
      const double value = row.form.at(point);
      const double tolerance = 1e-12 * std::max(1.0, std::abs(value));
      if (row.name == "obj") {
        EXPECT_NEAR(point["sseplus"] - value, evaluate(mir.objective, values),
                    1e-12 * std::max(1.0, std::abs(value)));
        continue;
      }
      // Of a column that may not be chosen: 0 on both sides.
      const bool is_void = std::ranges::all_of(row.form.linear.coefficients,
                                               [](const auto& c) { return c.second == 0.0; });
      const MirStatement* const statement = mir.statement(name_for_mirak(row.name));
      if (statement == nullptr && is_void && row.form.squares.empty()) continue;
      ASSERT_NE(statement, nullptr) << row.name;
      seen.insert(statement->name);
      EXPECT_EQ(statement->relation[0], row.relation == 'l'   ? '<'
                                        : row.relation == 'g' ? '>'
                                                              : '=')
          << row.name;
      if (std::abs(difference_of_sides(*statement, values) - value) > tolerance) {
        differ.insert(kind_of(row.name));
      }
    }
  }
  for (const MirStatement& statement : mir.statements) {
    EXPECT_TRUE(seen.contains(statement.name)) << statement.name;
  }
  EXPECT_EQ(differ, GetParam().differ);
  for (const std::string& kind : differ) {
    EXPECT_NE(std::ranges::find(differences, kind, &Difference::statement), differences.end());
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, Routes, testing::ValuesIn(routes_rows()), RowName());

TEST(RoutesTable, has_no_difference_that_is_never_met) {
  std::set<std::string> met;
  for (const RoutesRow& row : routes_rows()) met.insert(row.differ.begin(), row.differ.end());
  for (const Difference& difference : differences) {
    EXPECT_TRUE(met.contains(std::string(difference.statement))) << difference.statement;
  }
}

// A bound beyond 1e30 is one for mirak; GAMS gets 1e30.
TEST(RoutesTable, wide_bounds_end_at_1e30_for_gams_alone) {
  SubsetCase c;
  c.problem.betaup.assign(SubsetCase::columns, 1e31);
  const GmsModelValues gms = evaluate_gms(read_gms(gms_model(c.problem, {})));
  EXPECT_EQ(gms.variables.at("beta(1)").upper, 1e30);
  EXPECT_EQ(read_mir(mir_model(c.problem)).upper.at("trv_beta_1"), 1e31);
}

// Neither text puts brackets around the sum of squares: for GAMS it is one sum, which sigma
// divides; for mirak sigma divides the last row alone.
TEST(RoutesTable, sigma_divides_all_rows_for_gams_and_the_last_for_mirak) {
  SubsetCase c;
  c.x[3 * SubsetCase::rows + 4] = 2.0;  // 1e20 would hide the other rows
  GmsPoint point;
  MirValues values;
  for (int j = 0; j < SubsetCase::columns; ++j) {
    for (const char* variable : {"y", "beta"}) {
      const std::string name = fmt::format("{}({})", variable, j + 1);
      point[name] = values[name_for_mirak(name)] = 1.0;
    }
  }
  std::array<double, 2> gms{};
  std::array<double, 2> mir{};
  for (std::size_t pass = 0; pass < 2; ++pass) {
    c.problem.sigma = pass == 0 ? 1.0 : 0.25;
    gms[pass] = -evaluate_gms(read_gms(gms_model(c.problem, {}))).rows.back().form.at(point);
    mir[pass] = evaluate(read_mir(mir_model(c.problem)).objective, values);
  }
  double all = 0.0;
  double last = 0.0;
  for (int i = 0; i < SubsetCase::rows; ++i) {
    double error = c.z[at(i)];
    for (int j = 0; j < SubsetCase::columns; ++j) {
      if (c.screened[at(j)]) error -= c.problem.x(i, j);
    }
    if (c.simulated[at(i)]) all += last = error * error;
  }
  EXPECT_NEAR(gms[1] - gms[0], 3.0 * all, 1e-9 * all);
  EXPECT_NEAR(mir[1] - mir[0], 3.0 * last, 1e-9 * all);
}

}  // namespace
}  // namespace torve::test
