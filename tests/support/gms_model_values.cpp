#include "gms_model_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <stdexcept>

namespace torve::test {

namespace {

using Kind = GmsExpression::Kind;
using Elements = std::map<std::string, std::string>;  // of the sets that are controlled

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
    for (const GmsEquation& equation : program.equations) make_rows(equation);
  }

  GmsModelValues take() { return std::move(model_); }

  // Calls back for each combination of elements of the indices.
  void for_each(const std::vector<GmsIndex>& indices, Elements& elements,
                const std::function<void()>& work, std::size_t from = 0) const {
    if (from == indices.size()) return work();
    const GmsIndex& index = indices[from];
    if (index.is_element || elements.contains(index.name)) {
      return for_each(indices, elements, work, from + 1);
    }
    for (const std::string& element : program_.set(index.name).elements) {
      elements[index.name] = element;
      for_each(indices, elements, work, from + 1);
    }
    elements.erase(index.name);
  }

  std::string full_name(const GmsExpression& reference, const Elements& elements) const {
    std::string name = reference.name;
    for (std::size_t i = 0; i < reference.indices.size(); ++i) {
      const GmsIndex& index = reference.indices[i];
      name += i == 0 ? '(' : ',';
      name += index.is_element ? index.name : elements.at(index.name);
    }
    if (!reference.indices.empty()) name += ')';
    return name;
  }

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

 private:
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
    if (symbol.kind == GmsKind::set) {
      const std::string element = elements.at(reference.indices[0].name);
      const bool is_in = std::ranges::find(symbol.elements, element) != symbol.elements.end();
      return number(is_in ? 1.0 : 0.0);
    }
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
    if (name == "*" && left.is_number()) return scaled(right, left.linear.constant);
    if (!right.is_number()) refuse("a product of variables");
    const double b = right.linear.constant;
    if (name == "*") return scaled(left, b);
    if (name == "/") {
      if (b == 0.0) refuse("division by zero");
      // Not by the reciprocal: the quotient of two numbers is to be exact.
      return left.is_number() ? number(left.linear.constant / b) : scaled(left, 1.0 / b);
    }
    if (!left.is_number()) refuse("a comparison of variables");
    const double a = left.linear.constant;
    if (name == "**") return number(std::pow(a, b));
    const bool holds = name == "<"     ? a < b
                       : name == ">"   ? a > b
                       : name == "<="  ? a <= b
                       : name == ">="  ? a >= b
                       : name == "eq"  ? a == b
                       : name == "and" ? a != 0.0 && b != 0.0
                                       : a != 0.0 || b != 0.0;
    return number(holds ? 1.0 : 0.0);
  }

  GmsForm call(const GmsExpression& expression, Elements& elements) const {
    if (expression.name == "ord") {
      const auto& all = program_.set(expression.indices[0].name).elements;
      const std::string& element = elements.at(expression.indices[0].name);
      return number(static_cast<double>(std::ranges::find(all, element) - all.begin() + 1));
    }
    const GmsForm argument = evaluate(expression.arguments[0], elements);
    if (expression.name == "power") {
      if (value(expression.arguments[1], elements) != 2.0) refuse("no square");
      if (!argument.squares.empty()) refuse("a square of squares");
      GmsForm form;
      form.squares.push_back({1.0, argument.linear});
      return form;
    }
    if (!argument.is_number()) refuse("a function of variables");
    const double x = argument.linear.constant;
    if (expression.name == "abs") return number(std::abs(x));
    if (expression.name == "log") return number(std::log(x));
    if (expression.name == "exp") return number(std::exp(x));
    if (expression.name == "sin") return number(std::sin(x));
    if (expression.name == "cos") return number(std::cos(x));
    return number(std::sqrt(x));
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

// A number as put writes it. Without a width it gets all its digits.
std::string put_number(double value, const GmsPutItem& item) {
  if (item.width < 0) return fmt::format("{:.17g}", value);
  return fmt::format("{:{}.{}f}", value, item.width, std::max(item.decimals, 0));
}

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

GmsModelValues evaluate_gms(const GmsProgram& program) {
  return Evaluator(program).take();
}

std::string put_text(const GmsProgram& program, const GmsModelValues& model, const GmsPoint& levels,
                     int modelstat) {
  const Evaluator evaluator(program);
  std::string text;
  bool at_start = true;
  const auto put = [&](const GmsPutItem& item, const Elements& elements) {
    if (item.is_new_line) {
      text += '\n';
      at_start = true;
      return;
    }
    double value = 0.0;
    const std::string name = evaluator.full_name(item.value, elements);
    if (item.value.suffix == "modelstat") {
      value = modelstat;
    } else if (program.symbol(item.value.name).kind == GmsKind::parameter) {
      value = model.parameter(name);
    } else if (const auto level = levels.find(name); level != levels.end()) {
      value = level->second;
    }
    if (!at_start) text += ' ';
    text += put_number(value, item);
    at_start = false;
  };
  for (const GmsPut& block : program.puts) {
    Elements elements;
    evaluator.for_each(block.loop, elements, [&] {
      for (const GmsPutItem& item : block.items) put(item, elements);
    });
  }
  return text;
}

}  // namespace torve::test
