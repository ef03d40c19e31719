#include "subset_case.h"

#include <algorithm>

namespace torve::test {

SubsetCase::SubsetCase() {
  x = {1.0, 1.0,   1.0,  1.0, 1.0,  1.0,                  // constant
       0.5, -1.25, 2.0,  3.5, 0.0,  1e-05,                // x
       0.1, 0.2,   0.3,  0.4, 0.5,  0.6,                  // screened out
       4.0, 1.5,   -0.5, 2.5, 1e20, 3.0,                  // y
       2.0, -0.75, -1.0, 8.0, 0.0,  0.3333333333333333};  // x*y
  z = {2.5, 0.0005, -1.5, 7.0, 12.0, 0.001};
  simulated = {true, true, true, false, true, true};
  screened = {true, true, false, true, true};
  labels = {"1", "x", "x**2", "y", "x*y"};
  xlabels = {"x", "y"};

  problem.it = 2;
  problem.metric = Metric::bic;
  problem.xij = {x.data(), rows, columns, rows};
  problem.zdata = z;
  problem.simulated = simulated;
  problem.screened = screened;
  problem.labels = labels;
  problem.xscale.assign(columns, 1.0);
  problem.betaup = {100.0, 100.0, 100.0, 125.5, 100.0};
  problem.sseterm = true;
  problem.epsa = 0.05;
  problem.epsr = 0.0001;
  problem.seconds = 990.5;
  problem.zlabel = "z1";
  problem.xlabels = xlabels;
}

void SubsetCase::add_groups() {
  std::ranges::fill(grpbas, false);
  std::ranges::fill(grpgrp, false);
  grpbas[0] = grpbas[1] = true;
  grpbas[columns + 2] = grpbas[columns + 3] = true;  // its first member is screened out
  grpbas[2 * columns + 4] = true;
  grpgrp[2] = true;  // group 3 holds group 1
  problem.grpbas = {grpbas.data(), columns, groups, columns};
  problem.grpgrp = {grpgrp.data(), groups, groups, groups};
  problem.group_start = {true, false, true};
}

void SubsetCase::add_condition(GroupRule rule, int group, int parameter) {
  const int m = static_cast<int>(problem.group_entries.size()) + 1;
  problem.group_entries.push_back({m, group, rule, parameter});
}

void SubsetCase::add_bounding_set() {
  constexpr int points = 4;
  bounding.crndata = points;
  bounding.crxij.request(memory, points, columns);
  bounding.crxdata.request(memory, points, 2);
  bounding.type.request(memory, points);
  constexpr double inputs[points][2] = {{0.0, 1.0}, {2.0, -1.0}, {1.0, 0.5}, {-3.0, 4.0}};
  constexpr std::array types = {1, 2, 4, 7};
  for (int i = 0; i < points; ++i) {
    const double a = inputs[i][0];
    const double b = inputs[i][1];
    const std::array values = {1.0, a, a * a, b, a * b};
    for (int j = 0; j < columns; ++j) bounding.crxij(i, j) = values[at(j)];
    bounding.crxdata(i, 0) = a;
    bounding.crxdata(i, 1) = b;
    bounding.type[at(i)] = types[at(i)];
  }
  problem.bounding = &bounding;
  problem.zmin = -4.0;
  problem.zmax = 12.5;
}

void SubsetCase::screen_all() {
  std::ranges::fill(screened, false);
  problem.cardinality = problem.exactly_it;
}

void SubsetCase::release() {
  bounding.crxij.release(memory);
  bounding.crxdata.release(memory);
  bounding.type.release(memory);
}

void set_metric(SubsetCase& c, Metric metric) {
  c.problem.metric = metric;
  c.problem.exactly_it = metric == Metric::aicc || metric == Metric::hqc || metric == Metric::mse;
  if (metric == Metric::madp) {
    c.problem.sseterm = false;
    c.problem.error = ErrorModel::largest_percent;
  }
}

void start_from_model(SubsetCase& c) {
  c.problem.start = StartingPoint{{1.5, 0.0, 0.0, -0.25, 0.0}, {true, false, false, true, false}};
  c.problem.bestmetric = 17.25;
}

void limit_sse(SubsetCase& c) {
  c.problem.sseterm = false;
  c.problem.sse_limit = 2e-10;
}

void scale_bases(SubsetCase& c) {
  c.problem.scalebases = true;
  c.problem.xscale = {1.0, 1.5, 0.35, 3.0, 2.0};
  c.problem.betaup = {100.0, 150.0, 100.0, 300.0, 200.0};
}

void scale_z(SubsetCase& c) {
  c.problem.scalez = true;
  c.problem.zscale = 4.0;
}

void add_all_conditions(SubsetCase& c) {
  c.add_groups();
  c.add_condition(GroupRule::excludes_group, 0, 2);
  c.add_condition(GroupRule::at_most, 0, 1);
  c.add_condition(GroupRule::at_least, 2, 1);
  c.add_condition(GroupRule::requires_group, 1, 3);
  c.add_condition(GroupRule::at_most, 1, 2);
}

void take_absolute_errors(SubsetCase& c) {
  c.problem.error = ErrorModel::absolute;
}
void take_relative_errors(SubsetCase& c) {
  c.problem.error = ErrorModel::relative_squares;
}

}  // namespace torve::test
