#include <algorithm>
#include <cmath>

#include "mirsolve/selection/model.h"

namespace mirsolve::selection {

namespace {

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

void subtract(LinearForm& from, const LinearForm& form) {
  from.constant -= form.constant;
  std::vector<std::pair<int, double>> terms;
  auto a = from.terms.begin();
  auto b = form.terms.begin();
  while (a != from.terms.end() || b != form.terms.end()) {
    if (b == form.terms.end() || (a != from.terms.end() && a->first < b->first)) {
      terms.push_back(*a++);
    } else if (a == from.terms.end() || b->first < a->first) {
      terms.emplace_back(b->first, -b->second);
      ++b;
    } else {
      if (a->second != b->second) terms.emplace_back(a->first, a->second - b->second);
      ++a, ++b;
    }
  }
  from.terms = std::move(terms);
}

void turn(LinearForm& form) {
  form.constant = -form.constant;
  for (auto& [variable, factor] : form.terms) factor = -factor;
}

// Whether the squares are the same but for one factor, which is returned.
std::optional<double> ratio(const std::vector<WeightedSquare>& a,
                            const std::vector<WeightedSquare>& b) {
  if (a.size() != b.size() || a.empty()) return std::nullopt;
  const double factor = a.front().weight / b.front().weight;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].form.constant != b[i].form.constant || a[i].form.terms != b[i].form.terms ||
        a[i].weight != factor * b[i].weight) {
      return std::nullopt;
    }
  }
  return factor;
}

// Reads the statements of a problem one by one into a model.
class Recognition {
 public:
  explicit Recognition(const Problem& problem);
  std::optional<Model> run();

 private:
  // What a coefficient may be in one position of its switch.
  struct Range {
    double lower = -infinite;
    double upper = infinite;
    void limit(double factor, double bound) {
      if (factor > 0.0) upper = std::min(upper, bound / factor);
      if (factor < 0.0) lower = std::max(lower, bound / factor);
    }
  };

  bool take_objective();
  bool take_statement(const Statement& statement);
  bool take_row(LinearForm form);
  bool take_link(const LinearForm& form);
  bool take_square_row(const Statement& statement);
  bool take_squares(std::vector<WeightedSquare>& squares) const;
  bool join_square_row();
  bool finish_columns();
  bool is_choice(int variable) const { return choice_of_[at(variable)] >= 0; }
  Row row_over(const std::vector<int>& numbers, const LinearForm& form) const;

  const Problem& problem_;
  Model model_;
  std::vector<int> choice_of_;  // variables, -1 for the others
  std::vector<int> column_of_;
  std::vector<Range> off_;  // by column
  std::vector<Range> on_;
  std::vector<WeightedSquare> square_row_;
  bool has_square_row_ = false;
};

Recognition::Recognition(const Problem& problem)
    : problem_(problem),
      choice_of_(problem.variables.size(), -1),
      column_of_(problem.variables.size(), -1) {
  for (std::size_t i = 0; i < problem.variables.size(); ++i) {
    const Variable& variable = problem.variables[i];
    if (variable.kind == VariableKind::binary) {
      choice_of_[i] = static_cast<int>(model_.choices.size());
      Choice choice;
      choice.variable = static_cast<int>(i);
      choice.may_be_off = variable.lower <= 0.0 && variable.upper >= 0.0;
      choice.may_be_on = variable.lower <= 1.0 && variable.upper >= 1.0;
      model_.choices.push_back(choice);
    } else {
      column_of_[i] = static_cast<int>(model_.columns.size());
      Column column;
      column.variable = static_cast<int>(i);
      model_.columns.push_back(column);
      off_.push_back({variable.lower, variable.upper});
      on_.push_back({variable.lower, variable.upper});
    }
  }
}

Row Recognition::row_over(const std::vector<int>& numbers, const LinearForm& form) const {
  Row row;
  row.limit = -form.constant;
  for (const auto& [variable, factor] : form.terms) {
    row.terms.emplace_back(numbers[at(variable)], factor);
  }
  return row;
}

// Squares of coefficients with factors above 0 are wanted, numbered by columns.
bool Recognition::take_squares(std::vector<WeightedSquare>& squares) const {
  for (WeightedSquare& square : squares) {
    if (!(square.weight > 0.0) || !std::isfinite(square.weight)) return false;
    for (auto& [variable, factor] : square.form.terms) {
      if (is_choice(variable)) return false;
      variable = column_of_[at(variable)];
    }
  }
  return true;
}

bool Recognition::take_objective() {
  std::optional<SquareSum> sum = square_sum(problem_.graph, problem_.objective);
  if (!sum) return false;
  if (problem_.maximize) {
    model_.sign = -1.0;
    turn(sum->rest);
    for (WeightedSquare& square : sum->squares) square.weight = -square.weight;
  }
  if (!take_squares(sum->squares)) return false;
  model_.counts_squares = !sum->squares.empty();
  model_.squares = std::move(sum->squares);
  model_.constant = sum->rest.constant;
  for (const auto& [variable, factor] : sum->rest.terms) {
    if (!is_choice(variable)) return false;
    model_.choices[at(choice_of_[at(variable)])].cost = factor;
  }
  return true;
}

// a x + b y <= c: one range for the switch off, one for it on.
bool Recognition::take_link(const LinearForm& form) {
  const bool choice_first = is_choice(form.terms[0].first);
  const auto& [choice_variable, b] = form.terms[choice_first ? 0 : 1];
  const auto& [column_variable, a] = form.terms[choice_first ? 1 : 0];
  const int number = column_of_[at(column_variable)];
  const int choice = choice_of_[at(choice_variable)];
  Column& column = model_.columns[at(number)];
  Choice& its_choice = model_.choices[at(choice)];
  if (column.choice != no_switch && column.choice != choice) return false;
  if (its_choice.column >= 0 && its_choice.column != number) return false;
  column.choice = choice;
  its_choice.column = number;
  off_[at(number)].limit(a, -form.constant);
  on_[at(number)].limit(a, -form.constant - b);
  return true;
}

// A row form <= 0.
bool Recognition::take_row(LinearForm form) {
  std::size_t choices = 0;
  for (const auto& [variable, factor] : form.terms) {
    if (!std::isfinite(factor)) return false;
    if (is_choice(variable)) ++choices;
  }
  const std::size_t terms = form.terms.size();
  if (terms == 0) {
    if (form.constant > 0.0) model_.contradicts = true;
  } else if (choices == terms) {
    model_.logic.push_back(row_over(choice_of_, form));
  } else if (choices == 0 && terms == 1) {
    const auto& [variable, factor] = form.terms.front();
    off_[at(column_of_[at(variable)])].limit(factor, -form.constant);
    on_[at(column_of_[at(variable)])].limit(factor, -form.constant);
  } else if (choices == 0) {
    model_.coefficients.push_back(row_over(column_of_, form));
  } else if (choices == 1 && terms == 2) {
    return take_link(form);
  } else {
    return false;
  }
  return true;
}

// The one row with squares, sum of squares <= limit.
bool Recognition::take_square_row(const Statement& statement) {
  if (has_square_row_ || statement.relation == Relation::equal) return false;
  std::optional<SquareSum> less = square_sum(problem_.graph, statement.left);
  std::optional<SquareSum> more = square_sum(problem_.graph, statement.right);
  if (!less || !more) return false;
  if (statement.relation == Relation::at_least) std::swap(less, more);
  if (!more->squares.empty()) return false;
  subtract(less->rest, more->rest);
  if (!less->rest.terms.empty() || !take_squares(less->squares)) return false;
  square_row_ = std::move(less->squares);
  model_.square_limit = -less->rest.constant;
  has_square_row_ = true;
  return true;
}

bool Recognition::take_statement(const Statement& statement) {
  std::optional<LinearForm> left = linear_form(problem_.graph, statement.left);
  const std::optional<LinearForm> right = linear_form(problem_.graph, statement.right);
  if (!left || !right) return take_square_row(statement);
  subtract(*left, *right);
  if (statement.relation != Relation::at_most) {
    LinearForm turned = *left;
    turn(turned);
    if (!take_row(std::move(turned))) return false;
  }
  return statement.relation == Relation::at_least || take_row(std::move(*left));
}

// The squares of the limit are those of the objective, or the objective has none.
bool Recognition::join_square_row() {
  if (!has_square_row_) return true;
  if (square_row_.empty()) {
    if (*model_.square_limit < 0.0) model_.contradicts = true;
    model_.square_limit.reset();
    return true;
  }
  if (!model_.counts_squares) {
    model_.squares = std::move(square_row_);
    return true;
  }
  const std::optional<double> factor = ratio(model_.squares, square_row_);
  if (!factor) return false;
  *model_.square_limit *= *factor;
  return true;
}

// A switch has to turn its coefficient off.
bool Recognition::finish_columns() {
  for (std::size_t j = 0; j < model_.columns.size(); ++j) {
    Column& column = model_.columns[j];
    column.lower = on_[j].lower;
    column.upper = on_[j].upper;
    const bool is_possible = column.lower <= column.upper;
    if (column.choice == no_switch) {
      if (!is_possible) model_.contradicts = true;
      continue;
    }
    Choice& choice = model_.choices[at(column.choice)];
    if (!is_possible) choice.may_be_on = false;
    const bool is_empty = off_[j].lower > off_[j].upper;
    if (is_empty) choice.may_be_off = false;
    if (!is_empty && (off_[j].lower != 0.0 || off_[j].upper != 0.0)) return false;
  }
  for (const Choice& choice : model_.choices) {
    if (!choice.may_be_off && !choice.may_be_on) model_.contradicts = true;
  }
  return true;
}

std::optional<Model> Recognition::run() {
  if (!take_objective()) return std::nullopt;
  for (const Statement& statement : problem_.statements) {
    if (!take_statement(statement)) return std::nullopt;
  }
  if (!join_square_row() || !finish_columns()) return std::nullopt;
  return std::move(model_);
}

}  // namespace

std::optional<Model> recognise(const Problem& problem) {
  return Recognition(problem).run();
}

}  // namespace mirsolve::selection
