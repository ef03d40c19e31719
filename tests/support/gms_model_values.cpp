#include "gms_model_values.h"

#include <cmath>
#include <functional>
#include <stdexcept>

#include "gms_numbers.h"

namespace torve::test {

namespace {

using Kind = GmsExpression::Kind;
using Elements = GmsElements;

[[noreturn]] void refuse(const std::string& what) {
  throw std::runtime_error(what);
}

GmsForm number(double value) {
  GmsForm form;
  form.linear.constant = value;
  return form;
}

GmsForm scaled(GmsForm form, double factor) {
  form.linear.constant *= factor;
  for (auto& [name, coefficient] : form.linear.coefficients) coefficient *= factor;
  for (GmsForm::Square& square : form.squares) square.weight *= factor;
  return form;
}

void add(GmsForm& form, const GmsForm& more) {
  form.linear.constant += more.linear.constant;
  for (const auto& [name, coefficient] : more.linear.coefficients) {
    form.linear.coefficients[name] += coefficient;
  }
  form.squares.insert(form.squares.end(), more.squares.begin(), more.squares.end());
}

class Evaluator {
 public:
  explicit Evaluator(const GmsProgram& program) : program_(program) {
    for (const auto& [name, symbol] : program.symbols) {
      if (symbol.kind == GmsKind::variable) declare_variables(name, symbol);
    }
    for (const GmsAssignment& assignment : program.assignments) assign(assignment);
  }

  void make_all_rows() {
    for (const GmsEquation& equation : program_.equations) make_rows(equation);
  }

  GmsModelValues take() { return std::move(model_); }

 private:
  GmsForm evaluate(const GmsExpression& expression, Elements& elements) const {
    switch (expression.kind) {
      case Kind::number:
        return number(expression.number);
      case Kind::reference:
        return refer(expression, elements);
      case Kind::negation:
        return scaled(evaluate(expression.arguments[0], elements), -1.0);
      case Kind::operation:
        return operate(expression, elements);
      case Kind::call:
        return call(expression, elements);
      case Kind::sum:
        return sum(expression, elements);
    }
    refuse("no such expression");
  }

  double value(const GmsExpression& expression, Elements& elements) const {
    const GmsForm form = evaluate(expression, elements);
    if (!form.is_number()) refuse("a variable where a number is needed");
    return form.linear.constant;
  }

  void for_each(const std::vector<GmsIndex>& indices, Elements& elements,
                const std::function<void()>& work) const {
    for_each_element(program_, indices, elements, work);
  }

  void declare_variables(const std::string& name, const GmsSymbol& symbol) {
    GmsVariable variable{symbol.type};
    if (symbol.type == "binary") variable = {symbol.type, 0.0, 1.0};
    if (symbol.type == "positive") variable.lower = 0.0;
    GmsExpression reference;
    reference.name = name;
    // The sets of a domain may repeat; those of variables don't.
    for (const std::string& set : symbol.domain) reference.indices.push_back({set, false});
    Elements elements;
    for_each(reference.indices, elements,
             [&] { model_.variables[full_name(reference, elements)] = variable; });
  }

  void assign(const GmsAssignment& assignment) {
    Elements elements;
    for_each(assignment.target.indices, elements, [&] {
      const double result = value(assignment.value, elements);
      const std::string name = full_name(assignment.target, elements);
      const std::string& suffix = assignment.target.suffix;
      switch (program_.symbol(assignment.target.name).kind) {
        case GmsKind::parameter:
          model_.parameters[name] = result;
          return;
        case GmsKind::variable:
          (suffix == "l"    ? model_.variables.at(name).level
           : suffix == "lo" ? model_.variables.at(name).lower
                            : model_.variables.at(name).upper) = result;
          return;
        case GmsKind::model:
        case GmsKind::file:
          model_.attributes[name + "." + suffix] = result;
          return;
        case GmsKind::set:
        case GmsKind::alias:
        case GmsKind::equation:
          break;
      }
      refuse("nothing to assign to");
    });
  }

  void make_rows(const GmsEquation& equation) {
    GmsExpression reference;
    reference.name = equation.name;
    reference.indices = equation.indices;
    Elements elements;
    for_each(equation.indices, elements, [&] {
      for (const GmsExpression& condition : equation.condition) {
        if (value(condition, elements) == 0.0) return;
      }
      GmsRow row{full_name(reference, elements), evaluate(equation.left, elements),
                 equation.relation};
      add(row.form, scaled(evaluate(equation.right, elements), -1.0));
      model_.rows.push_back(std::move(row));
    });
  }

  GmsForm refer(const GmsExpression& reference, const Elements& elements) const {
    const GmsSymbol& symbol = program_.symbol(reference.name);
    if (symbol.kind == GmsKind::set) return number(membership(program_, reference, elements));
    const std::string name = full_name(reference, elements);
    if (symbol.kind == GmsKind::parameter) return number(model_.parameter(name));
    if (symbol.kind != GmsKind::variable) refuse(name + " has no value");
    GmsForm form;
    form.linear.coefficients[name] = 1.0;
    return form;
  }

  GmsForm operate(const GmsExpression& expression, Elements& elements) const {
    const std::string& name = expression.name;
    GmsForm left = evaluate(expression.arguments[0], elements);
    // What stands behind a condition that doesn't hold is evaluated too, as GAMS does.
    GmsForm right = evaluate(expression.arguments[1], elements);
    if (name == "+" || name == "-") {
      add(left, name == "+" ? right : scaled(right, -1.0));
      return left;
    }
    if (left.is_number() && right.is_number()) {
      return number(apply_gms_operation(name, left.linear.constant, right.linear.constant));
    }
    if (name == "*" && left.is_number()) return scaled(right, left.linear.constant);
    if (!right.is_number()) refuse("a product of variables");
    const double b = right.linear.constant;
    if (name == "*") return scaled(left, b);
    if (name != "/") refuse("a comparison of variables");
    if (b == 0.0) refuse("division by zero");
    return scaled(left, 1.0 / b);
  }

  GmsForm call(const GmsExpression& expression, Elements& elements) const {
    if (expression.name == "ord") return number(place_of_element(program_, expression, elements));
    const GmsForm argument = evaluate(expression.arguments[0], elements);
    if (expression.name == "power") {
      if (value(expression.arguments[1], elements) != 2.0) refuse("no square");
      if (!argument.squares.empty()) refuse("a square of squares");
      GmsForm form;
      form.squares.push_back({1.0, argument.linear});
      return form;
    }
    if (!argument.is_number()) refuse("a function of variables");
    return number(apply_gms_function(expression.name, argument.linear.constant));
  }

  GmsForm sum(const GmsExpression& expression, Elements& elements) const {
    GmsForm total;
    for_each(expression.indices, elements, [&] {
      if (expression.arguments.size() > 1 && value(expression.arguments[1], elements) == 0.0) {
        return;
      }
      add(total, evaluate(expression.arguments[0], elements));
    });
    return total;
  }

  const GmsProgram& program_;
  GmsModelValues model_;
};

}  // namespace

double GmsLinear::at(const GmsPoint& point) const {
  double sum = constant;
  for (const auto& [name, coefficient] : coefficients) {
    const auto value = point.find(name);
    if (value != point.end()) sum += coefficient * value->second;
  }
  return sum;
}

double GmsForm::at(const GmsPoint& point) const {
  double sum = linear.at(point);
  for (const Square& square : squares) {
    const double root = square.root.at(point);
    sum += square.weight * root * root;
  }
  return sum;
}

bool GmsRow::holds(const GmsPoint& point, double tolerance) const {
  const double value = form.at(point);
  if (relation == 'l') return value <= tolerance;
  if (relation == 'g') return value >= -tolerance;
  return std::abs(value) <= tolerance;
}

double GmsModelValues::parameter(const std::string& name) const {
  const auto found = parameters.find(name);
  return found == parameters.end() ? 0.0 : found->second;
}

GmsModelValues evaluate_gms_data(const GmsProgram& program) {
  return Evaluator(program).take();
}

GmsModelValues evaluate_gms(const GmsProgram& program) {
  Evaluator evaluator(program);
  evaluator.make_all_rows();
  return evaluator.take();
}

}  // namespace torve::test
