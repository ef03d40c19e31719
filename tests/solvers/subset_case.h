// A best-subset problem of six rows and five columns, made without a run. Column 3 is screened out,
// row 4 has no value, and the value of row 2 is too small to divide by.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "solvers/best_subset_problem.h"

namespace torve::test {

struct SubsetCase {
  static constexpr int rows = 6;
  static constexpr int columns = 5;
  static constexpr int groups = 3;

  SubsetCase();
  SubsetCase(const SubsetCase&) = delete;
  SubsetCase& operator=(const SubsetCase&) = delete;
  ~SubsetCase() { release(); }

  // Groups {1, 2}, {4} and {5, group 1}; group 1 is active at the start. Without conditions.
  void add_groups();
  void add_condition(GroupRule rule, int group, int parameter);
  // Four points: a lower bound, an upper bound, custom constraints, and all of them.
  void add_bounding_set();
  // Nothing may be chosen.
  void screen_all();

  std::array<double, std::size_t{rows} * columns> x{};
  std::array<double, rows> z{};
  std::array<bool, rows> simulated{};
  std::array<bool, columns> screened{};
  std::vector<std::string> labels;
  std::array<bool, std::size_t{columns} * groups> grpbas{};
  std::array<bool, std::size_t{groups} * groups> grpgrp{};
  std::vector<std::string> xlabels;
  MemoryAccount memory;
  CRELEM bounding;
  BestSubsetProblem problem;

 private:
  void release();
};

// Changes that make one kind of problem of it.
void set_metric(SubsetCase& c, Metric metric);
void start_from_model(SubsetCase& c);
void limit_sse(SubsetCase& c);
void scale_bases(SubsetCase& c);
void scale_z(SubsetCase& c);
void add_all_conditions(SubsetCase& c);
void take_absolute_errors(SubsetCase& c);
void take_relative_errors(SubsetCase& c);

}  // namespace torve::test
