#include "gms_solver.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>

#include "box_search.h"
#include "gms_numbers.h"
#include "small_optimizer.h"

namespace torve::test {

namespace {

constexpr double exactly = 1e-9;

// A model whose binary variables have values: what is left is a problem in the others.
class Rest {
 public:
  Rest(const std::vector<GmsRow>& rows, const GmsForm& objective,
       const std::map<std::string, GmsVariable>& variables, GmsPoint binaries)
      : objective_(objective), point_(std::move(binaries)) {
    std::map<std::string, std::pair<double, double>> bounds;
    const auto note = [&](const GmsLinear& linear) {
      for (const auto& [name, coefficient] : linear.coefficients) {
        if (point_.contains(name)) continue;
        const GmsVariable& variable = variables.at(name);
        bounds.try_emplace(name, variable.lower, variable.upper);
      }
    };
    for (const GmsRow& row : rows) note(row.form.linear);
    for (const GmsRow& row : rows) {
      for (const GmsForm::Square& square : row.form.squares) note(square.root);
    }
    note(objective.linear);
    for (const GmsForm::Square& square : objective.squares) note(square.root);
    for (const GmsRow& row : rows) take_bounds(row, bounds);
    for (const auto& [name, pair] : bounds) {
      if (pair.first > pair.second + exactly) feasible_ = false;
      if (pair.second - pair.first <= exactly) {
        point_[name] = pair.first;
      } else {
        places_[name] = names_.size();
        names_.push_back(name);
      }
    }
    for (const auto& [name, place] : places_) add_bounds(name, bounds.at(name));
    for (const GmsRow& row : rows) {
      if (!is_bound_[&row]) add_row(row);
    }
  }

  // The least objective that is possible; false when no point is. `point` has the values.
  bool solve(GmsPoint& point, double& value) {
    if (!feasible_) return false;
    std::optional<Row> x;
    if (!squares().empty()) {
      std::vector<Row> a;
      Row b;
      for (const GmsForm::Square& square : squares()) {
        const double root = std::sqrt(square.weight);
        Row row = coefficients(square.root);
        for (double& entry : row) entry *= root;
        a.push_back(std::move(row));
        b.push_back(-root * square.root.at(point_));
      }
      x = constrained_squares(a, b, names_.size(), inequalities_);
    } else {
      x = linear_program(coefficients(objective_.linear), inequalities_);
    }
    if (!x) return false;
    point = point_;
    for (std::size_t p = 0; p < names_.size(); ++p) point[names_[p]] = (*x)[p];
    if (limit_ != nullptr && !limit_->holds(point, exactly * exactly)) return false;
    value = objective_.at(point);
    return true;
  }

 private:
  // The squares to be made least: of the objective, or of a row that limits them.
  const std::vector<GmsForm::Square>& squares() const {
    return objective_.squares.empty() && limit_ != nullptr ? limit_->form.squares
                                                           : objective_.squares;
  }

  Row coefficients(const GmsLinear& linear) const {
    Row row(names_.size(), 0.0);
    for (const auto& [name, coefficient] : linear.coefficients) {
      const auto place = places_.find(name);
      if (place != places_.end()) row[place->second] = coefficient;
    }
    return row;
  }

  // A row with one variable is a bound.
  void take_bounds(const GmsRow& row, std::map<std::string, std::pair<double, double>>& bounds) {
    if (!row.form.squares.empty()) return;
    const std::string* only = nullptr;
    double factor = 0.0;
    for (const auto& [name, coefficient] : row.form.linear.coefficients) {
      if (point_.contains(name) || coefficient == 0.0) continue;
      if (only != nullptr) return;
      only = &name;
      factor = coefficient;
    }
    if (only == nullptr) return;
    is_bound_[&row] = true;
    const double bound = -row.form.linear.at(point_) / factor;
    auto& [lower, upper] = bounds.at(*only);
    const bool from_above = row.relation == 'e' || (row.relation == 'l') == (factor > 0.0);
    const bool from_below = row.relation == 'e' || (row.relation == 'g') == (factor > 0.0);
    if (from_above) upper = std::min(upper, bound);
    if (from_below) lower = std::max(lower, bound);
  }

  void add_bounds(const std::string& name, const std::pair<double, double>& bounds) {
    GmsLinear variable;
    variable.coefficients[name] = 1.0;
    if (std::isfinite(bounds.second))
      inequalities_.push_back({coefficients(variable), bounds.second});
    variable.coefficients[name] = -1.0;
    if (std::isfinite(bounds.first))
      inequalities_.push_back({coefficients(variable), -bounds.first});
  }

  void add_row(const GmsRow& row) {
    if (!row.form.squares.empty()) {
      if (limit_ != nullptr || row.relation != 'l') throw std::runtime_error("rows of squares");
      limit_ = &row;
      return;
    }
    const Row left = coefficients(row.form.linear);
    const double right = -row.form.linear.at(point_);
    const auto filled = std::ranges::count_if(left, [](double value) { return value != 0.0; });
    if (filled == 0) {
      if (!row.holds(point_, exactly)) feasible_ = false;
      return;
    }
    Row negative = left;
    for (double& value : negative) value = -value;
    if (row.relation != 'g') inequalities_.push_back({left, right});
    if (row.relation != 'l') inequalities_.push_back({negative, -right});
  }

  const GmsForm& objective_;
  GmsPoint point_;  // of what is fixed
  std::vector<std::string> names_;
  std::map<std::string, std::size_t> places_;
  std::vector<Inequality> inequalities_;
  std::map<const GmsRow*, bool> is_bound_;
  const GmsRow* limit_ = nullptr;
  bool feasible_ = true;
};

// The objective: what the equation of the objective variable says of it. The equation is taken out.
GmsForm take_objective(std::vector<GmsRow>& rows, const std::string& variable) {
  const auto is_it = [&](const GmsRow& row) {
    return row.form.linear.coefficients.contains(variable);
  };
  const auto row = std::ranges::find_if(rows, is_it);
  if (row == rows.end() || row->relation != 'e') throw std::runtime_error("no objective");
  GmsForm form = row->form;
  const double factor = -form.linear.coefficients.at(variable);
  form.linear.coefficients.erase(variable);
  form.linear.constant /= factor;
  for (auto& [name, coefficient] : form.linear.coefficients) coefficient /= factor;
  for (GmsForm::Square& square : form.squares) square.weight /= factor;
  rows.erase(row);
  if (std::ranges::any_of(rows, is_it)) throw std::runtime_error("the objective is used twice");
  return form;
}

std::vector<std::string> binaries_in(const std::vector<GmsRow>& rows, const GmsForm& objective,
                                     const GmsModelValues& model) {
  std::map<std::string, bool> found;
  const auto note = [&](const GmsLinear& linear) {
    for (const auto& [name, coefficient] : linear.coefficients) {
      if (model.variables.at(name).type == "binary") found[name] = true;
    }
  };
  for (const GmsRow& row : rows) note(row.form.linear);
  note(objective.linear);
  std::vector<std::string> names;
  for (const auto& [name, is_there] : found) names.push_back(name);
  if (names.size() > 18) throw std::runtime_error("too many binary variables");
  return names;
}

bool is_logic(const GmsRow& row, const GmsPoint& binaries) {
  return row.form.squares.empty() &&
         std::ranges::all_of(row.form.linear.coefficients,
                             [&](const auto& entry) { return binaries.contains(entry.first); });
}

// --- a box --------------------------------------------------------------------------------------

// Names of the variables in an expression, of which none is indexed; false when one is.
bool collect_variables(const GmsProgram& program, const GmsExpression& expression,
                       std::set<std::string>& names) {
  if (expression.kind == GmsExpression::Kind::reference &&
      program.symbol(expression.name).kind == GmsKind::variable) {
    if (!expression.indices.empty()) return false;
    names.insert(expression.name);
  }
  return std::ranges::all_of(expression.arguments, [&](const GmsExpression& argument) {
    return collect_variables(program, argument, names);
  });
}

// The variables that the objective is sought over; nothing when there are others than a box has.
std::optional<std::set<std::string>> variables_of_box(const GmsProgram& program,
                                                      const GmsModelValues& data) {
  constexpr double no_bound = 1e29;
  std::set<std::string> names;
  for (const GmsEquation& equation : program.equations) {
    if (!equation.indices.empty() || !equation.condition.empty() ||
        !collect_variables(program, equation.left, names) ||
        !collect_variables(program, equation.right, names)) {
      return std::nullopt;
    }
  }
  names.erase(program.objective);
  for (const std::string& name : names) {
    const GmsVariable& variable = data.variables.at(name);
    if (variable.type == "binary" || variable.lower <= -no_bound || variable.upper >= no_bound) {
      return std::nullopt;
    }
  }
  return names;
}

// An option of the solver's own file; a program that names no file has none.
double solver_option(const GmsProgram& program, const GmsModelValues& data, const std::string& name,
                     double otherwise) {
  const auto file = program.option_files.find(program.options.at("nlp") + ".opt");
  if (file == program.option_files.end() || !data.attributes.contains(program.model + ".optfile")) {
    return otherwise;
  }
  for (const std::string& line : file->second) {
    std::istringstream words(line);
    std::string word;
    double value = 0.0;
    if (words >> word && word == name && words >> value) return value;
  }
  return otherwise;
}

// The equations of a program at points of its box.
class BoxEquations {
 public:
  BoxEquations(const GmsProgram& program, const GmsModelValues& data,
               const std::set<std::string>& names)
      : program_(program), data_(data), names_(names.begin(), names.end()) {
    const auto defines = [&](const GmsEquation& equation) {
      return equation.relation == 'e' && equation.left.kind == GmsExpression::Kind::reference &&
             equation.left.name == program.objective;
    };
    if (std::ranges::count_if(program.equations, defines) != 1) {
      throw std::runtime_error("not one equation defines the objective");
    }
    objective_ = &*std::ranges::find_if(program.equations, defines);
  }

  const std::vector<std::string>& names() const { return names_; }

  GmsPoint point(const std::vector<double>& x) const {
    GmsPoint point;
    for (std::size_t d = 0; d < x.size(); ++d) point[names_[d]] = x[d];
    return point;
  }

  // NaN where another equation doesn't hold.
  double objective(const std::vector<double>& x) const {
    GmsPoint at = point(x);
    const double value = side(objective_->right, at);
    at[program_.objective] = value;
    for (const GmsEquation& equation : program_.equations) {
      if (&equation != objective_ && !holds(equation, at)) return std::nan("");
    }
    return value;
  }

 private:
  double side(const GmsExpression& expression, const GmsPoint& at) const {
    GmsElements none;
    return number_of(
        program_, expression, none, [&](const GmsExpression& reference, const std::string& name) {
          const bool is_variable = program_.symbol(reference.name).kind == GmsKind::variable;
          return is_variable ? at.at(name) : data_.parameter(name);
        });
  }
  bool holds(const GmsEquation& equation, const GmsPoint& at) const {
    const double left = side(equation.left, at);
    const double right = side(equation.right, at);
    const double tolerance = exactly * (1.0 + std::abs(right));
    if (equation.relation == 'l') return left <= right + tolerance;
    if (equation.relation == 'g') return left >= right - tolerance;
    return std::abs(left - right) <= tolerance;
  }

  const GmsProgram& program_;
  const GmsModelValues& data_;
  std::vector<std::string> names_;
  const GmsEquation* objective_ = nullptr;
};

}  // namespace

GmsSolution solve_gms(const GmsProgram& program, const GmsModelValues& model) {
  std::vector<GmsRow> rows = model.rows;
  const GmsForm objective = take_objective(rows, program.objective);
  const std::vector<std::string> names = binaries_in(rows, objective, model);
  GmsPoint binaries;
  for (const std::string& name : names) binaries[name] = 0.0;
  const auto is_logic_row = [&](const GmsRow& row) { return is_logic(row, binaries); };
  const auto middle = std::stable_partition(rows.begin(), rows.end(), is_logic_row);
  const std::vector<GmsRow> logic(rows.begin(), middle);
  rows.erase(rows.begin(), middle);
  const auto cutoff = model.attributes.find(program.model + ".cutoff");
  GmsSolution best;
  double least = cutoff == model.attributes.end() ? gms_infinity : cutoff->second;
  for (unsigned long subset = 0; subset < (1UL << names.size()); ++subset) {
    for (std::size_t b = 0; b < names.size(); ++b) {
      binaries[names[b]] = ((subset >> b) & 1UL) != 0 ? 1.0 : 0.0;
    }
    if (!std::ranges::all_of(logic,
                             [&](const GmsRow& row) { return row.holds(binaries, exactly); })) {
      continue;
    }
    GmsPoint point;
    double value = 0.0;
    if (!Rest(rows, objective, model.variables, binaries).solve(point, value)) continue;
    if (!(value < least)) continue;
    least = value;
    best.modelstat = 1;
    best.levels = std::move(point);
    best.levels[program.objective] = value;
  }
  return best;
}

bool is_box_search(const GmsProgram& program, const GmsModelValues& data) {
  return program.solved_by == "nlp" && variables_of_box(program, data).has_value();
}

GmsSolution search_gms_box(const GmsProgram& program, const GmsModelValues& data) {
  const auto names = variables_of_box(program, data);
  if (!names) throw std::runtime_error("no box");
  const BoxEquations equations(program, data, *names);
  BoxProblem problem;
  for (const std::string& name : equations.names()) {
    problem.lowest.push_back(data.variables.at(name).lower);
    problem.highest.push_back(data.variables.at(name).upper);
  }
  problem.value = [&](const std::vector<double>& x) { return equations.objective(x); };
  problem.maximize = !program.minimizes;
  problem.least_wanted = data.variables.at(program.objective).lower;
  problem.most_wanted = data.variables.at(program.objective).upper;
  problem.count = static_cast<std::size_t>(solver_option(program, data, "NumSol", 1.0));
  problem.apart = solver_option(program, data, "isoltol", 0.0);
  GmsSolution solution;
  solution.modelstat = 19;
  for (const BoxPoint& found : search_box(problem)) {
    GmsPoint point = equations.point(found.x);
    point[program.objective] = found.value;
    if (solution.modelstat == 1) {
      solution.others.push_back(std::move(point));
    } else {
      solution.modelstat = 1;
      solution.levels = std::move(point);
    }
  }
  return solution;
}

}  // namespace torve::test
