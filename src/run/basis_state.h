#pragma once

#include <array>
#include <string>
#include <vector>

#include "run/arrays.h"
#include "run/formula_table.h"

namespace torve {

inline constexpr int families = 14;
inline constexpr double basislimit = 1e10;  // largest magnitude that a column may reach

enum class Family : int {
  linear,
  logarithm,
  exponential,
  sine,
  cosine,
  monomial,
  pair,
  triple,
  ratio,
  gaussian,
  power_radial,
  kernel,
  custom,
  constant
};

// What one column of the catalogue computes. Inputs and indices count from 0.
struct Column {
  Family family = Family::linear;
  std::array<int, 3> inputs{};  // as many as the family has
  double power = 1.0;           // of families monomial to ratio
  int radial_power = 0;         // of family power_radial
  int index = 0;                // centre, or custom function
  int position = 0;             // of family power_radial: place of its power in the list
};

// The catalogue of candidate columns; all vectors over columns have nbas entries.
struct Basis {
  std::vector<double> monomialpower;
  std::vector<double> multi2power;
  std::vector<double> multi3power;
  std::vector<double> ratiopower;
  std::vector<int> prbfpower;
  std::vector<std::string> custombas;  // formulas, at most 8192 characters

  std::vector<Column> columns;
  std::vector<std::string> basislabel;         // display form, at most 712 characters
  std::vector<std::string> basispower;         // form for solvers
  std::vector<std::string> basismodel;         // form in model text
  std::vector<std::string> basiscaret;         // display form, folded, with ^ for powers
  Array<bool> basisactive;                     // the column may be used
  Array<bool> logusable;                       // ninputs: its logarithm column may exist
  std::array<int, families + 1> basisstart{};  // first column of each family, from 0; then nbas

  Table<double> xij;        // ndatacap x nbas
  Table<double> xijbank;    // nbank x nbas
  Array<double> xijrow;     // nbas: one row for points outside the tables
  Array<bool> rowfailed;    // nbas: columns that failed in the last row
  Array<double> rowinputs;  // ninputs + noutputs: the point handed to formulas

  FormulaTable customformulas;            // one slot a custom function
  FormulaTable constraintformulas;        // one slot a custom constraint
  FormulaTable transformformulas;         // one slot a transformed output
  std::vector<std::string> formulanames;  // folded labels of inputs, then of outputs
};

enum class MemberType : int {
  lin = 1,
  log,
  exp,
  sin,
  cos,
  mono,
  multi2,
  multi3,
  ratio,
  grbf,
  prbf,
  lk,
  cust,
  constant,
  grp
};

// One member of a group, as read.
struct GroupRow {
  int group = 0;  // from 0
  MemberType type = MemberType::lin;
  int member = 0;               // member index from 1; -1 for all
  std::array<int, 3> inputs{};  // input indices of products and ratios, from 1; -1 for all
  double power = 0.0;
  int lineno = 0;  // of the problem file
};

enum class GroupRule : int { at_most = 1, at_least, requires_group, excludes_group };

// One condition on a group.
struct GroupConstraint {
  int group = 0;    // from 0
  int output = -1;  // from 0; -1 for all
  GroupRule rule = GroupRule::at_most;
  int parameter = 0;  // a count, or a group from 1
};

struct Groups {
  std::vector<GroupRow> rows;
  std::vector<GroupConstraint> constraints;
  int rowsread = 0;               // rows of the section, before a row is spread over its members
  std::vector<std::string> echo;  // the lines of both sections, for grps.txt
  Table<bool> grpbas;             // nbas x ngroups: the column belongs to the group
  Table<bool> grpgrp;             // ngroups x ngroups: (g, h) group g holds group h
  Array<bool> on;                 // ngroups: scratch of the group test
  Array<bool> groupcon;           // noutputs: the output has group constraints
};

}  // namespace torve
