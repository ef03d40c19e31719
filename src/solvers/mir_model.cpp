#include "solvers/mir_model.h"

#include "solvers/mir_text.h"

namespace torve {

namespace {

void write_heading(MirText& text, const BestSubsetProblem& problem) {
  text.line("// file written by TORVE");
  if (problem.debug) {
    text.line("// Screened basis functions:");
    for_screened(problem,
                 [&](int j) { text.line("//  j = {},  basis: {}", j + 1, problem.labels[at(j)]); });
    text.empty_line();
  }
  text.empty_line();
}

// The gaps that are 1e-6 whatever the options say are spelled so.
void write_gaps(MirText& text, const BestSubsetProblem& problem) {
  if (problem.tight_gaps) {
    text.line("epsa: 1e-6 ;");
    text.line("epsr: 1e-6 ;");
    return;
  }
  text.number_line("epsa: {} ;", free_form(problem.epsa));
  text.number_line("epsr: {} ;", free_form(problem.epsr));
}

void write_options(MirText& text, const BestSubsetProblem& problem) {
  text.line("OPTIONS{{");
  write_solver_switches(text, problem.allowcplex, problem.print_solver);
  if (problem.cutoff) text.number_line("cutoff: {} ;", free_form(*problem.cutoff));
  write_gaps(text, problem);
  text.number_line("maxtime: {} ;", free_form(problem.seconds));
  if (problem.firstfeas) text.line("firstfeas: 1;");
  if (problem.dive || problem.shortcut) text.line("maxiphdives: -1;");
  if (problem.deltaterm || problem.shortcut) {
    text.line("deltaTerm: 1;");
    text.line("deltaT: 5;");
    text.line("deltaA: 0.1;");
    text.line("deltaR: 0.1;");
  }
  text.line("AbsIntFeasTol: 1e-12;");
  text.line("RelIntFeasTol: 0;");
  text.line("}}");
}

void write_binary_variables(MirText& text, const BestSubsetProblem& problem) {
  text.empty_line();
  text.empty_line();
  text.line("BINARY_VARIABLES ");
  MirNames names(text, "   ");
  for_screened(problem, [&](int j) { names.add(" , ", "trv_y_{}", j + 1); });
  for (int g = 0; g < problem.ngroups(); ++g) names.add(" , ", "trv_yg_{}", g + 1);
  text.line(" ;");
  text.empty_line();
}

void write_positive_variables(MirText& text, const BestSubsetProblem& problem) {
  if (!has_mad_variable(problem) && !has_error_variables(problem)) return;
  text.line("POSITIVE_VARIABLES ");
  MirNames names(text, has_error_variables(problem) ? "   " : " ");
  if (has_error_variables(problem)) {
    for_rows(problem, [&](int i) { names.add(" , ", "trv_e_{}", i + 1); });
  }
  if (has_mad_variable(problem)) names.add(" , ", "trv_mad");
  text.line(" ;");
  text.empty_line();
}

void write_free_variables(MirText& text, const BestSubsetProblem& problem) {
  text.line("VARIABLES ");
  MirNames names(text, "   ");
  for_screened(problem, [&](int j) { names.add(" , ", "trv_beta_{}", j + 1); });
  text.line(" ;");
  text.empty_line();
}

void write_lower_bounds(MirText& text, const BestSubsetProblem& problem) {
  text.line("LOWER_BOUNDS{{");
  if (has_mad_variable(problem) && problem.start) {
    text.number_line("trv_mad: {};", free_form(problem.bestmetric));
  }
  for_screened(problem, [&](int j) {
    text.number_line("   trv_beta_{}: {} ;", j + 1, free_form(-problem.betaup[at(j)]));
  });
  text.line("}}");
  text.empty_line();
}

void write_upper_bounds(MirText& text, const BestSubsetProblem& problem) {
  text.line("UPPER_BOUNDS{{");
  for_screened(problem, [&](int j) {
    text.number_line("   trv_beta_{}: {} ;", j + 1, free_form(problem.betaup[at(j)]));
  });
  text.line("}}");
  text.empty_line();
}

void list_basic_equations(MirNames& names, const BestSubsetProblem& problem) {
  if (problem.cardinality) names.add("", "trv_eq1");
  for_screened(problem, [&](int j) {
    const bool is_first = names.empty();
    names.add(" , ", "trv_eq2_{}", j + 1);
    names.add(is_first ? ", " : " , ", "trv_eq3_{}", j + 1);
  });
  if (has_balance(problem)) names.add(" , ", "trv_pc1");
}

void list_error_equations(MirNames& names, const BestSubsetProblem& problem) {
  if (has_error_variables(problem)) {
    for_rows(problem, [&](int i) {
      names.add(", ", "trv_erra_{}", i + 1);
      names.add(", ", "trv_errb_{}", i + 1);
    });
    for_screened(problem, [&](int j) {
      names.add(", ", "trv_l1eca_{}", j + 1);
      names.add(", ", "trv_l1ecb_{}", j + 1);
    });
  }
  if (has_mad_variable(problem)) {
    for_rows(problem, [&](int i) {
      const int kind = problem.is_divisible(i) ? 1 : 2;
      names.add(", ", "trv_erra{}_{}", kind, i + 1);
      names.add(", ", "trv_errb{}_{}", kind, i + 1);
    });
  }
  // The name stands twice in the list, the statement once: a fixed feature of the format.
  if (problem.sse_limit) {
    names.add(" , ", "trv_sselimit");
    names.add(", ", "trv_sselimit ");
  }
}

void list_group_equations(MirNames& names, const BestSubsetProblem& problem) {
  const int n = problem.ngroups();
  for (int g = 0; g < n; ++g) names.add(", ", "trv_selgrp1_{}", g + 1);
  for (int g = 0; g < n; ++g) {
    for_members(problem, g, [&](int j) { names.add(", ", "trv_selgrp2_{}_{}", g + 1, j + 1); });
  }
  for (int g = 0; g < n; ++g) {
    for_member_groups(problem, g,
                      [&](int h) { names.add(", ", "trv_selgrp3_{}_{}", g + 1, h + 1); });
  }
  const auto list_rule = [&](GroupRule rule, std::string_view word) {
    for_entries(problem, rule, [&](const GroupEntry& entry) {
      names.add(", ", "trv_{}_{}_{}", word, entry.m, entry.group + 1);
    });
  };
  list_rule(GroupRule::at_most, "eqnmt");
  list_rule(GroupRule::at_least, "eqatl");
  list_rule(GroupRule::requires_group, "eqreq");
  list_rule(GroupRule::excludes_group, "eqxcl");
}

void list_bounding_equations(MirNames& names, const BestSubsetProblem& problem) {
  if (!problem.has_bounding()) return;
  for (int i = 0; i < problem.bounding->crndata; ++i) {
    if (has_lower_bound(problem, i)) names.add(", ", "trv_conreglo_{}", i + 1);
    if (has_upper_bound(problem, i)) names.add(", ", "trv_conregup_{}", i + 1);
    if (!has_custom_constraints(problem, i)) continue;
    for (const CustomConstraint& constraint : problem.custom) {
      names.add(", ", "trv_crc_{}_{}", constraint.number, i + 1);
    }
  }
}

void write_equation_names(MirText& text, const BestSubsetProblem& problem) {
  text.line("EQUATIONS ");
  MirNames names(text, " ");
  list_basic_equations(names, problem);
  list_error_equations(names, problem);
  list_group_equations(names, problem);
  list_bounding_equations(names, problem);
  text.line(" ;");
  text.empty_line();
}

// Where nothing is known of the terms only the groups that the closure found are given.
void write_start(MirText& text, const BestSubsetProblem& problem) {
  if (!problem.has_groups() && !problem.start) return;
  text.line("STARTING_POINT{{");
  if (problem.start) {
    for_screened(problem, [&](int j) {
      text.number_line("trv_beta_{}: {};", j + 1, free_form(problem.start->beta[at(j)]));
      text.line("trv_y_{}: {};", j + 1, problem.start->chosen[at(j)] ? 1 : 0);
    });
  }
  for (int g = 0; g < problem.ngroups(); ++g) {
    if (problem.group_start[at(g)]) text.line("trv_yg_{}: 1;", g + 1);
  }
  text.line("}}");
}

}  // namespace

void write_solver_switches(MirText& text, bool allowcplex, bool print_solver) {
  if (!allowcplex) text.line("allowcplex: 0;");
  if (!print_solver) text.line("prlevel: 0;");
}

std::string mir_model(const BestSubsetProblem& problem) {
  MirText text;
  write_heading(text, problem);
  write_options(text, problem);
  write_binary_variables(text, problem);
  write_positive_variables(text, problem);
  write_free_variables(text, problem);
  write_lower_bounds(text, problem);
  write_upper_bounds(text, problem);
  write_equation_names(text, problem);
  write_equations(text, problem);
  write_objective(text, problem);
  write_start(text, problem);
  return text.take();
}

}  // namespace torve
