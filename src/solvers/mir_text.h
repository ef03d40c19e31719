#pragma once

#include <fmt/format.h>

#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "solvers/best_subset_problem.h"
#include "text/number_edits.h"

namespace torve {

// A text of the solver's language while it is written. Names and indices are part of the words;
// indices are handed over counting from 0 and written counting from 1.
class MirText {
 public:
  // Words without a number.
  template <class... Arguments>
  void line(fmt::format_string<Arguments...> words, Arguments&&... arguments) {
    fmt::format_to(std::back_inserter(text_), words, std::forward<Arguments>(arguments)...);
    text_ += '\n';
  }

  // Words that carry a number stand behind a blank.
  template <class... Arguments>
  void number_line(fmt::format_string<Arguments...> words, Arguments&&... arguments) {
    text_ += ' ';
    line(words, std::forward<Arguments>(arguments)...);
  }

  void empty_line() { text_ += '\n'; }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

// A list of names: each has its separator ahead of it, but for the first, whose place is indented.
class MirNames {
 public:
  MirNames(MirText& text, std::string_view first) : text_(text), first_(first) {}

  template <class... Arguments>
  void add(std::string_view ahead, fmt::format_string<Arguments...> name,
           Arguments&&... arguments) {
    text_.line("{}{}", empty_ ? first_ : ahead,
               fmt::format(name, std::forward<Arguments>(arguments)...));
    empty_ = false;
  }
  bool empty() const { return empty_; }

 private:
  MirText& text_;
  std::string_view first_;
  bool empty_ = true;
};

inline bool has_mad_variable(const BestSubsetProblem& problem) {
  return problem.metric == Metric::madp;
}
inline bool has_error_variables(const BestSubsetProblem& problem) {
  return problem.error == ErrorModel::absolute;
}

// Calls `work` with each column that may be chosen, in order.
template <class Work>
void for_screened(const BestSubsetProblem& problem, const Work& work) {
  for (int j = 0; j < problem.nbas(); ++j) {
    if (problem.screened[at(j)]) work(j);
  }
}

// Calls `work` with each row that has a value, in order.
template <class Work>
void for_rows(const BestSubsetProblem& problem, const Work& work) {
  for (int i = 0; i < problem.ndata(); ++i) {
    if (problem.simulated[at(i)]) work(i);
  }
}

// Calls `work` with each column of a group that may be chosen, in order.
template <class Work>
void for_members(const BestSubsetProblem& problem, int g, const Work& work) {
  for_screened(problem, [&](int j) {
    if (problem.grpbas(j, g)) work(j);
  });
}

// Calls `work` with each group that a group holds, in order.
template <class Work>
void for_member_groups(const BestSubsetProblem& problem, int g, const Work& work) {
  for (int h = 0; h < problem.ngroups(); ++h) {
    if (problem.grpgrp(g, h)) work(h);
  }
}

// Calls `work` with each condition of one rule, in order.
template <class Work>
void for_entries(const BestSubsetProblem& problem, GroupRule rule, const Work& work) {
  for (const GroupEntry& entry : problem.group_entries) {
    if (entry.rule == rule) work(entry);
  }
}

// What a point of the bounding set imposes.
inline bool has_lower_bound(const BestSubsetProblem& problem, int point) {
  return problem.zmin && (problem.bounding->type[at(point)] & 1) != 0;
}
inline bool has_upper_bound(const BestSubsetProblem& problem, int point) {
  return problem.zmax && (problem.bounding->type[at(point)] & 2) != 0;
}
inline bool has_custom_constraints(const BestSubsetProblem& problem, int point) {
  return (problem.bounding->type[at(point)] & 4) != 0;
}

// The columns whose coefficients sum to 0. A column that was screened out has no coefficient: the
// other route fixes it at 0, this one leaves it out.
inline bool is_balanced(const BestSubsetProblem& problem, int j) {
  return problem.prbf && problem.prbf->first <= j && j <= problem.prbf->second;
}
inline bool has_balance(const BestSubsetProblem& problem) {
  bool result = false;
  for_screened(problem, [&](int j) { result = result || is_balanced(problem, j); });
  return result;
}

// The fit at row i as a sum over the coefficients; `divisor` divides every column's value.
void write_fit(MirText& text, const BestSubsetProblem& problem, int i, double divisor = 1.0);

// " + trv_y_<j>" for every column that may be chosen.
void write_chosen_sum(MirText& text, const BestSubsetProblem& problem);

// The options that all problems begin with.
void write_solver_switches(MirText& text, bool allowcplex, bool print_solver);

// Where the squared errors stand: the objective has one more pair of brackets around the value.
enum class SsePlace { objective, limit };
void write_sse(MirText& text, const BestSubsetProblem& problem, SsePlace place);

void write_equations(MirText& text, const BestSubsetProblem& problem);
void write_objective(MirText& text, const BestSubsetProblem& problem);

}  // namespace torve
