#include <cmath>

#include "solvers/custom_constraint.h"
#include "solvers/mir_text.h"

namespace torve {

namespace {

void write_eq1(MirText& text, const BestSubsetProblem& problem) {
  if (!problem.cardinality) return;
  text.line("trv_eq1: ");
  MirNames names(text, "   ");
  for_screened(problem, [&](int j) { names.add(" + ", "trv_y_{}", j + 1); });
  text.number_line(" {} {} ;", problem.exactly_it ? "==" : "<=", problem.it);
}

void write_eq2_and_eq3(MirText& text, const BestSubsetProblem& problem) {
  for_screened(problem, [&](int j) {
    const double bound = problem.betaup[at(j)];
    text.number_line("trv_eq2_{0}: ({1}) * trv_y_{0} - trv_beta_{0} <= 0 ;", j + 1,
                     free_form(-bound));
    text.number_line("trv_eq3_{0}:  trv_beta_{0} - ( {1}) * trv_y_{0} <= 0 ;", j + 1,
                     free_form(bound));
  });
}

void write_pc1(MirText& text, const BestSubsetProblem& problem) {
  if (!has_balance(problem)) return;
  text.line("trv_pc1: ");
  for_screened(problem, [&](int j) {
    if (is_balanced(problem, j)) text.line(" + trv_beta_{}", j + 1);
  });
  text.line(" == 0;");
}

// The fit without brackets around the values.
void write_bare_fit(MirText& text, const BestSubsetProblem& problem, int i) {
  for_screened(problem, [&](int j) {
    text.number_line(" + {} * trv_beta_{}", free_form(problem.x(i, j)), j + 1);
  });
}

// Both statements end with the index, without a semicolon, and the second closes a bracket that
// nothing opens: fixed features of the format.
void write_absolute_errors(MirText& text, const BestSubsetProblem& problem) {
  for_rows(problem, [&](int i) {
    text.number_line("trv_erra_{}: {} - (", i + 1, free_form(problem.z(i)));
    write_bare_fit(text, problem, i);
    text.line(" ) <= trv_e_{}", i + 1);
    text.number_line("trv_errb_{}: {}", i + 1, free_form(-problem.z(i)));
    write_bare_fit(text, problem, i);
    text.line(" ) <= trv_e_{}", i + 1);
  });
}

// The sum of the errors, weighed by a column, may leave 0 only where the column isn't chosen.
void write_error_sum(MirText& text, const BestSubsetProblem& problem, int j) {
  for_rows(problem, [&](int i) {
    text.number_line(" + ({}) * trv_e_{}", free_form(problem.x(i, j)), i + 1);
  });
}

// The factor of the errors is 1 and the sum is over rows that have a value; on the other route it
// is 2 and over all rows. Both are wanted.
void write_error_conditions(MirText& text, const BestSubsetProblem& problem) {
  for_screened(problem, [&](int j) {
    text.line("trv_l1eca_{}: ", j + 1);
    write_error_sum(text, problem, j);
    text.number_line(" <= {} * ( 1 -trv_y_{} ) ;", free_form(problem.betaup[at(j)]), j + 1);
  });
  for_screened(problem, [&](int j) {
    text.line("trv_l1ecb_{}: ", j + 1);
    write_error_sum(text, problem, j);
    text.number_line(" >= {} * ( 1 -trv_y_{} ) ;", free_form(-problem.betaup[at(j)]), j + 1);
  });
}

// An upper side that isn't divided by |z|, and a factor of 100 behind the fit of a small value,
// are fixed features of the format.
void write_percent_errors(MirText& text, const BestSubsetProblem& problem) {
  for_rows(problem, [&](int i) {
    const double z = problem.z(i);
    if (problem.is_divisible(i)) {
      text.number_line("trv_erra1_{}: ( {} - (", i + 1, free_form(z));
      write_fit(text, problem, i);
      text.number_line(") ) /{}* 100 <= trv_mad ;", free_form(std::abs(z)));
      text.number_line("trv_errb1_{}: ( {}", i + 1, free_form(-z));
      write_fit(text, problem, i);
      text.line(") * 100 <= trv_mad;");
    } else {
      text.number_line("trv_erra2_{}: {} - (", i + 1, free_form(z));
      write_fit(text, problem, i);
      text.line(" ) * 100 <= trv_mad ;");
      text.number_line("trv_errb2_{}: {}", i + 1, free_form(-z));
      write_fit(text, problem, i);
      text.line(" <= trv_mad;");
    }
  });
}

void write_sselimit(MirText& text, const BestSubsetProblem& problem) {
  if (!problem.sse_limit) return;
  text.line("trv_sselimit: ");
  write_sse(text, problem, SsePlace::limit);
  text.number_line(" <= {} ; ", free_form(*problem.sse_limit));
}

// A group is active only if something in it is.
void write_selgrp1(MirText& text, const BestSubsetProblem& problem) {
  for (int g = 0; g < problem.ngroups(); ++g) {
    text.line("trv_selgrp1_{0}: trv_yg_{0}", g + 1);
    for_members(problem, g, [&](int j) { text.line(" -  trv_y_{}", j + 1); });
    for_member_groups(problem, g, [&](int h) { text.line(" -  trv_yg_{}", h + 1); });
    text.line(" <= 0 ;");
  }
}

void write_selgrp2(MirText& text, const BestSubsetProblem& problem) {
  for (int g = 0; g < problem.ngroups(); ++g) {
    for_members(problem, g, [&](int j) {
      text.line("trv_selgrp2_{0}_{1}: trv_y_{1}- trv_yg_{0} <= 0 ;", g + 1, j + 1);
    });
  }
}

void write_selgrp3(MirText& text, const BestSubsetProblem& problem) {
  for (int g = 0; g < problem.ngroups(); ++g) {
    for_member_groups(problem, g, [&](int h) {
      text.line("trv_selgrp3_{0}_{1}: trv_yg_{1}- trv_yg_{0} <= 0 ;", g + 1, h + 1);
    });
  }
}

void write_member_count(MirText& text, const BestSubsetProblem& problem, GroupRule rule,
                        std::string_view word, std::string_view relation) {
  for_entries(problem, rule, [&](const GroupEntry& entry) {
    text.line("trv_{}_{}_{}: ", word, entry.m, entry.group + 1);
    for_members(problem, entry.group, [&](int j) { text.line(" +  trv_y_{}", j + 1); });
    for_member_groups(problem, entry.group, [&](int h) { text.line(" +  trv_yg_{}", h + 1); });
    text.number_line(" {} {} ;", relation, entry.parameter);
  });
}

void write_eqreq(MirText& text, const BestSubsetProblem& problem) {
  for_entries(problem, GroupRule::requires_group, [&](const GroupEntry& entry) {
    text.line("trv_eqreq_{0}_{1}: trv_yg_{1} -  trv_yg_{2} <= 0 ;", entry.m, entry.group + 1,
              entry.parameter);
  });
}

void write_eqxcl(MirText& text, const BestSubsetProblem& problem) {
  for_entries(problem, GroupRule::excludes_group, [&](const GroupEntry& entry) {
    text.line("trv_eqxcl_{0}_{1}: trv_yg_{1} +  trv_yg_{2} <= 1 ;", entry.m, entry.group + 1,
              entry.parameter);
  });
}

// The model's value at a point of the bounding set.
void write_value_at_point(MirText& text, const BestSubsetProblem& problem, int point) {
  for_screened(problem, [&](int j) {
    const double x = problem.bounding->crxij(point, j) / problem.xscale[at(j)];
    text.number_line(" + ({}) * trv_beta_{}", free_form(x), j + 1);
  });
}

void write_bounding_set(MirText& text, const BestSubsetProblem& problem) {
  if (!problem.has_bounding()) return;
  for (int i = 0; i < problem.bounding->crndata; ++i) {
    if (has_lower_bound(problem, i)) {
      text.line("trv_conreglo_{}:", i + 1);
      write_value_at_point(text, problem, i);
      text.number_line(" >= {} ;", free_form(*problem.zmin / problem.zscale));
    }
    if (has_upper_bound(problem, i)) {
      text.line("trv_conregup_{}:", i + 1);
      write_value_at_point(text, problem, i);
      text.number_line(" <= {} ;", free_form(*problem.zmax / problem.zscale));
    }
    if (!has_custom_constraints(problem, i)) continue;
    for (const CustomConstraint& constraint : problem.custom) {
      text.line("trv_crc_{}_{}: {}<= 0;", constraint.number, i + 1,
                custom_text_for_mir(problem, constraint, i));
    }
  }
}

}  // namespace

void write_fit(MirText& text, const BestSubsetProblem& problem, int i, double divisor) {
  for_screened(problem, [&](int j) {
    text.number_line(" + ({}) * trv_beta_{}", free_form(problem.x(i, j) / divisor), j + 1);
  });
}

void write_equations(MirText& text, const BestSubsetProblem& problem) {
  write_eq1(text, problem);
  write_eq2_and_eq3(text, problem);
  write_pc1(text, problem);
  if (has_error_variables(problem)) {
    write_absolute_errors(text, problem);
    write_error_conditions(text, problem);
  }
  if (has_mad_variable(problem)) write_percent_errors(text, problem);
  write_sselimit(text, problem);
  write_selgrp1(text, problem);
  write_selgrp2(text, problem);
  write_selgrp3(text, problem);
  write_member_count(text, problem, GroupRule::at_most, "eqnmt", "<=");
  write_member_count(text, problem, GroupRule::at_least, "eqatl", ">=");
  write_eqreq(text, problem);
  write_eqxcl(text, problem);
  write_bounding_set(text, problem);
}

}  // namespace torve
